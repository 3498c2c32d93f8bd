#include "core/inventory/vokFactory.h"

#include "core/base/vokModules.h"
#include "host/HostResourceManager.h"
#include "nic/NICResourceManager.h"

// Set when the library is loaded, in this order, so that every manager exists before the first caller runs.
// Null: this build has no such manager.
vokResourceManager* const HostClassObj = HostResourceManager::getInstance();
vokResourceManager* const SASClassObj = nullptr;
vokResourceManager* const NICClassObj = NICResourceManager::getInstance();
vokResourceManager* const FCClassObj = nullptr;

vokResourceManager* vokFactory::createInstance(int id) {
    switch (id) {
        case FIBRE_CHANNEL_DEVICES:
            return FCClassObj;
        case HOST_OS_INFO:
            return HostClassObj;
        case STORAGE_CONTROLLERS:
            return SASClassObj;
        case ETHERNET_DEVICES:
            return NICClassObj;
        default:
            return nullptr;
    }
}
