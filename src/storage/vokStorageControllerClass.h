// The classes that take care of particular controllers. Each registers how it claims a controller; the
// factory asks them in turn.
#pragma once

#include <algorithm>
#include <string>
#include <utility>

#include "storage/vokRegistryManager.h"

class vokStorageController;

struct _VOK_STORAGE_CONTROLLER_CLASS_METADATA {
    // True: the decision is made, and `*device` is the new controller, or null if there is no memory for it.
    // False: not a controller of this class, and `*device` is null.
    using ClaimDevice = bool (*)(unsigned int chipsetID, unsigned int boardID, std::string& pciLocation,
                                 bool firstDiscoveryPass, vokStorageController** device);

    std::string className;
    ClaimDevice claimDevice;
    void (*refreshVendorInterfaceCache)();  // called before each walk
};

// Registering a class again replaces its first registration.
template <>
inline vokRegistryManager<_VOK_STORAGE_CONTROLLER_CLASS_METADATA>::vokRegistryManager(
    _VOK_STORAGE_CONTROLLER_CLASS_METADATA registered) {
    auto& list = _registryList();
    const auto isSame = [&registered](const auto& each) { return each.className == registered.className; };
    list.erase(std::remove_if(list.begin(), list.end(), isSame), list.end());
    list.push_back(std::move(registered));
}
