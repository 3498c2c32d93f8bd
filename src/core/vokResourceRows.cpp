// The resource classes of this agent; a new class is a new row.
#include "core/inventory/vokResources.h"
#include "events/vokEventTable.h"
#include "fc/FCResourceManager.h"
#include "host/HostResourceManager.h"
#include "nic/NICResourceManager.h"
#include "storage/SASResourceManager.h"

namespace {

template <typename Manager>
vokResourceManager* instanceOf() {
    return Manager::getInstance();
}

template <typename Manager>
void raiseTestEventOf(int id, const std::string& location) {
    Manager::getInstance()->generateTestEvent(id, location);
}

constexpr vokResource rows[] = {
    vokResource{HOST_OS_INFO}
        .managedBy(instanceOf<HostResourceManager>)
        .inDocument("Oem", vokSectionForm::object)
        .withTestEvents(
            vokHostEvent,
            [](int id, const std::string&) { HostResourceManager::getInstance()->generateTestEvent(id); }),
    vokResource{STORAGE_CONTROLLERS}
        .managedBy(instanceOf<SASResourceManager>)
        .inDocument("StorageControllers")
        .withInventory(1, "StorageControllers")
        .withInventory(2, "Drives")
        .withInventory(3, "Volumes")
        .withInventory(4, "StorageEnclosures")
        .withTestEvents(vokStorageEvent,
                        [](int id, const std::string& location) {
                            SASResourceManager::generateTestEvent(id, location, false);
                        }),
    vokResource{ETHERNET_DEVICES}
        .managedBy(instanceOf<NICResourceManager>)
        .inDocument("EthernetDevices")
        .withTestEvents(vokEthernetEvent, raiseTestEventOf<NICResourceManager>),
    vokResource{FIBRE_CHANNEL_DEVICES}
        .managedBy(instanceOf<FCResourceManager>)
        .inDocument("FibreChannelDevices")
        .withTestEvents(vokFibreChannelEvent, raiseTestEventOf<FCResourceManager>),
    // Reserved: they have keys in the document, but can't be enabled.
    vokResource{NVME_CONTROLLERS}.withInventory(1, "StorageControllers").withInventory(2, "Drives"),
    vokResource{GPU_DEVICES}.inDocument("Processors"),
    vokResource{INFINIBAND_DEVICES}.inDocument("InfiniBandDevices"),
    vokResource{TRUSTED_PLATFORM_MODULE}.inDocument("TrustedPlatformModule", vokSectionForm::object),
};

[[maybe_unused]] const bool rowsAreBound = (vokBindResources(vokResourceTable(rows)), true);

}  // namespace

// Set when the library is loaded, in this order, so that every manager exists before the first caller runs.
// A manager's constructor must therefore not access the host, since the host access may still be replaced.
vokResourceManager* const HostClassObj = HostResourceManager::getInstance();
vokResourceManager* const SASClassObj = SASResourceManager::getInstance();
vokResourceManager* const NICClassObj = NICResourceManager::getInstance();
vokResourceManager* const FCClassObj = FCResourceManager::getInstance();
