// The factory of plain SCSI hosts with one registered class of controllers, which does what a test says.
#pragma once

#include <atomic>
#include <functional>
#include <string>
#include <vector>

#include "storage/ScriptedStorage.h"
#include "storage/StorageFixture.h"
#include "storage/vokHeldReference.h"
#include "storage/vokStorageControllerFactory.h"

namespace factoryFixture {

using Classes = vokRegistryManager<_VOK_STORAGE_CONTROLLER_CLASS_METADATA>;
using List = std::vector<vokHeldReference<IvokStorageController>>;

constexpr unsigned int chipset = 0x28268086;
constexpr unsigned int board = 0x00018086;

// What the registered class of controllers does and has been asked.
struct Claims {
    CallList calls;
    unsigned int chipset = 0x28268086;  // it takes only these
    bool hasMemory = true;
    std::vector<bool> firstPasses;
    std::vector<ScriptedController*> created;  // some may be deleted
    std::atomic<int> deleted{0};               // also by other threads
    std::function<void()> onRefresh = [] {};
    std::function<void()> onClaim = [] {};
};
inline Claims* claims = nullptr;

class CountedController : public ScriptedController {
public:
    using ScriptedController::ScriptedController;

protected:
    ~CountedController() override { ++claims->deleted; }
};

inline bool claimScripted(unsigned int chipsetID, unsigned int boardID, std::string& location, bool firstPass,
                          vokStorageController** device) {
    claims->calls.add("claim " + location);
    claims->firstPasses.push_back(firstPass);
    claims->onClaim();
    *device = nullptr;
    if (chipsetID != claims->chipset) return false;
    if (!claims->hasMemory) return true;
    auto* const controller = new CountedController(chipsetID, boardID, location, 1, firstPass);
    controller->calls = &claims->calls;
    claims->created.push_back(controller);
    *device = controller;
    return true;
}

inline void refreshScripted() {
    claims->calls.add("refresh");
    claims->onRefresh();
}

class StorageFactory : public StorageFixture {
protected:
    StorageFactory() {
        claims = &ownClaims;
        Classes::_registryList().clear();  // of the library's own classes
        Classes({"ScriptedController", claimScripted, refreshScripted});
    }
    ~StorageFactory() override {
        factory.shutdownFactory();
        claims = nullptr;
        Classes::_registryList().clear();
        SASResourceManager::Factories::_registryList().clear();
    }

    List walk() {
        std::vector<IvokStorageController*> list;
        factory.discoverControllers(list);
        return vokTakeReferences(list);
    }
    List known(unsigned char mask = 255) {
        std::vector<IvokStorageController*> list;
        factory.getControllers(mask, list);
        return vokTakeReferences(list);
    }
    bool factoryLogged(const std::string& line) const { return hasLogged(host, "DEBUG STOR_FACT: " + line); }
    long pushRequests() const {
        return countLogged(host, "DEBUG SAS_RM: Signalling for inventory push to RMC on cache build.");
    }
    void addHost(int number, int ata = 0) {
        FakePort port;
        port.host = number;
        port.ata = ata;
        tree.addPort(port);
    }

    Claims ownClaims;
    vokStorageControllerFactory& factory = *vokStorageControllerFactory::getInstance();
};

}  // namespace factoryFixture
