#include "storage/vokStorageControllerFactory.h"

#include <unistd.h>
#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdint>
#include <new>
#include <utility>

#include "core/base/vokLog.h"
#include "platform/access/vokHostAccess.h"
#include "platform/access/vokSortedDirectory.h"
#include "platform/pci/vokDirectoryFilters.h"
#include "platform/pci/vokSysfsReaders.h"
#include "storage/SASResourceManager.h"
#include "storage/storage_utils.h"
#include "storage/vokStorageController.h"
#include "storage/vokStorageControllerClass.h"
#include "storage/vokSysfsLink.h"

namespace {

constexpr char tag[] = "STOR_FACT";
constexpr char hostDirectory[] = "/sys/class/scsi_host/";
constexpr std::size_t longestLink = 255;
constexpr std::size_t locationLength = 12;  // of "0000:00:17.0"

using ControllerClasses = vokRegistryManager<_VOK_STORAGE_CONTROLLER_CLASS_METADATA>;

// True until the first walk has ended.
std::atomic<bool> isFirstPass{true};

bool isReadable(const std::string& path) {
    return ::access(vokHostAccess().path(path).c_str(), R_OK) == 0;
}

// A device id in the upper and a vendor id in the lower 16 bits.
unsigned int idOf(const std::string& devicePath, const std::string& vendorPath) {
    const unsigned int device = get_sysfs_shex(devicePath.c_str());
    const unsigned int vendor = get_sysfs_shex(vendorPath.c_str());
    return device << 16 | vendor;
}

// The last PCI location in a path, which is that of the deepest function. Empty without one.
std::string lastLocation(std::string path) {
    std::string location;
    char* rest = &path[0];
    while (char* const found = strstr_pcilocation(rest)) {
        location.assign(found + 1, locationLength);
        rest = found + 1;
    }
    return location;
}

}  // namespace

struct vokStorageControllerFactory::Port {
    // False if the attributes of its PCI function can't be read.
    bool readIds() {
        for (const char* const function : {"/device/../", "/device/../../"}) {
            const std::string directory = path + function;
            if (!isReadable(directory + "vendor")) continue;
            chipset = idOf(directory + "device", directory + "vendor");
            board = idOf(directory + "subsystem_device", directory + "subsystem_vendor");
            return true;
        }
        return false;
    }
    // False if the port's path holds no PCI location.
    bool readLocation() {
        const std::string device = path + "/device";
        const std::string link = vokLinkText(device).substr(0, longestLink);
        VOK_LOG_DEBUG(tag, "Scsi Link %s -- buffer %s", path.c_str(), link.c_str());
        location = lastLocation(link);
        if (location.empty()) location = lastLocation(vokResolvedPath(device));
        return !location.empty();
    }

    std::string path;
    unsigned int chipset = 0;
    unsigned int board = 0;
    std::string location;
};

vokStorageControllerFactory* vokStorageControllerFactory::getInstance() {
    static auto* const instance = new vokStorageControllerFactory;
    return instance;
}

// --- the walk ---

void vokStorageControllerFactory::discoverControllers(std::vector<IvokStorageController*>& out) {
    for (const auto& each : ControllerClasses::_registryList())
        if (each.refreshVendorInterfaceCache) each.refreshVendorInterfaceCache();

    const std::lock_guard<std::recursive_mutex> locker(lock);
    VOK_LOG_DEBUG(tag, "Searching for storage controllers.");
    changed = false;
    letRemovedControllersGo();
    // The walk adds the ports again, so a controller that has gone is afterwards one without a port.
    for (IvokStorageController* const controller : controllers) {
        controller->clearPortList();
        controller->setNewDevice(false);
    }
    const vokSortedDirectory entries(vokHostAccess().path(hostDirectory), file_select);
    // All controllers will be taken for gone.
    if (entries.count() < 0 && errno != ENOENT)
        VOK_LOG_WARNING(tag, "Unable to list %s: (%d).", hostDirectory, errno);
    for (int i = 0; i < entries.count(); ++i) processPort(std::string(hostDirectory) + entries.name(i));
    removeControllersWithoutPorts();
    if (changed) SASResourceManager::sendInventorytToRMCOnCacheBuild();

    out = controllers;
    for (IvokStorageController* const controller : out) controller->addReference();
    isFirstPass = false;
}

void vokStorageControllerFactory::processPort(const std::string& path) {
    VOK_LOG_DEBUG(tag, "Processing %s", path.c_str());
    Port port;
    port.path = path;
    if (!port.readIds()) {
        VOK_LOG_DEBUG(tag, "Unable to access PCI card information for %s.", path.c_str());
        return;
    }
    if (SASResourceManager::isControllerModelSupported(port.chipset, port.board)) {
        VOK_LOG_DEBUG(tag,
                      "Skipping controller model [0x%08x 0x%08x], since it is handled by another factory "
                      "instance.",
                      port.chipset, port.board);
        return;
    }
    if (!port.readLocation()) {
        VOK_LOG_DEBUG(tag, "Skipping host port [%s 0x%x 0x%x] due to absence of PCI location.", path.c_str(),
                      port.chipset, port.board);
        return;
    }
    const auto existing =
        FindExistingController(port.chipset, port.board, port.location.c_str(), port.path.c_str());
    if (existing && !existing->isRemoved()) {
        VOK_LOG_DEBUG(tag, "Found port %s on controller @ %s.", path.c_str(), port.location.c_str());
        existing->addPort(port.path);
        return;
    }
    vokHeldReference<vokStorageController> device(claim(port));
    if (!device) return;
    VOK_LOG_DEBUG(tag, "%s [0x%X, 0x%X %s] managed by device object: [%p]", path.c_str(), port.chipset,
                  port.board, port.location.c_str(), static_cast<void*>(device.get()));
    if (existing) device->processDeviceAddition(existing.get());
    device->addPort(port.path);
    controllers.reserve(controllers.size() + 1);  // before the reference is given away
    controllers.push_back(device.release());
    changed = true;
}

vokStorageController* vokStorageControllerFactory::claim(Port& port) {
    VOK_LOG_DEBUG(tag, "Claim processing for %s [0x%x 0x%x] @ %s", port.path.c_str(), port.chipset,
                  port.board, port.location.c_str());
    vokStorageController* device = nullptr;
    const auto claims = [&](auto claimDevice) {
        return claimDevice(port.chipset, port.board, port.location, isFirstPass, &device);
    };
    const auto& classes = ControllerClasses::_registryList();
    const bool claimed = std::any_of(classes.begin(), classes.end(),
                                     [&](const auto& each) { return claims(each.claimDevice); }) ||
                         claims(vokStorageController::claimDevice);
    if (claimed && device) return device;
    VOK_LOG_DEBUG(tag, "Skipping port %s [0x%X, 0x%X %s] - Claim status: [%d]; Device object: [%p]",
                  port.path.c_str(), port.chipset, port.board, port.location.c_str(), claimed ? 1 : 0,
                  static_cast<void*>(device));
    return nullptr;
}

void vokStorageControllerFactory::letRemovedControllersGo() {
    const auto isHeld = [](const vokWeakReference& each) {
        return vokHeldReference<vokRemoveLock>(each.hold()) != nullptr;
    };
    removedControllers.erase(
        std::stable_partition(removedControllers.begin(), removedControllers.end(), isHeld),
        removedControllers.end());

    const auto removed =
        std::stable_partition(controllers.begin(), controllers.end(),
                              [](IvokStorageController* each) { return !each->isRemoved(); });
    const std::vector<IvokStorageController*> dropped(removed, controllers.end());
    controllers.erase(removed, controllers.end());
    for (IvokStorageController* const controller : dropped) {
        removedControllers.emplace_back(*controller);
        controller->dropReference();
        changed = true;
    }
}

void vokStorageControllerFactory::removeControllersWithoutPorts() {
    const auto absent = std::stable_partition(
        controllers.begin(), controllers.end(),
        [](IvokStorageController* each) { return each->isRemoved() || each->getPortListSize() > 0; });
    const std::vector<IvokStorageController*> gone(absent, controllers.end());
    controllers.erase(absent, controllers.end());
    for (IvokStorageController* const controller : gone) {
        removedControllers.emplace_back(*controller);
        controller->processDeviceRemoval();  // which drops the factory's reference
        changed = true;
    }
}

vokHeldReference<IvokStorageController> vokStorageControllerFactory::FindExistingController(
    unsigned int chipset, unsigned int board, const char* pciLocation, const char* second) {
    const std::lock_guard<std::recursive_mutex> locker(lock);
    const auto matches = [=](IvokStorageController* controller) {
        return controller->isMatchingController(chipset, board, pciLocation, second);
    };
    const auto found = std::find_if(controllers.begin(), controllers.end(), matches);
    if (found != controllers.end()) {
        (*found)->addReference();
        return vokHeldReference<IvokStorageController>(*found);
    }
    // The latest first: it has taken over what those before it knew.
    for (auto each = removedControllers.rbegin(); each != removedControllers.rend(); ++each) {
        vokHeldReference<IvokStorageController> removed(static_cast<IvokStorageController*>(each->hold()));
        if (removed && matches(removed.get())) return removed;
    }
    return nullptr;
}

// --- the known controllers ---

void vokStorageControllerFactory::getControllers(unsigned char familyMask,
                                                 std::vector<IvokStorageController*>& out) {
    const std::lock_guard<std::recursive_mutex> locker(lock);
    out.clear();
    for (IvokStorageController* const controller : controllers) {
        if (!(controller->getFamilyFlags() & familyMask)) continue;
        controller->addReference();
        out.push_back(controller);
    }
}

void vokStorageControllerFactory::deleteControllers(unsigned char familyMask) {
    const std::lock_guard<std::recursive_mutex> locker(lock);
    const auto deleted = std::stable_partition(
        controllers.begin(), controllers.end(),
        [familyMask](IvokStorageController* each) { return !(each->getFamilyFlags() & familyMask); });
    const std::vector<IvokStorageController*> dropped(deleted, controllers.end());
    controllers.erase(deleted, controllers.end());
    for (IvokStorageController* const controller : dropped) controller->dropReference();
}

void vokStorageControllerFactory::shutdownFactory() {
    VOK_LOG_DEBUG(tag, "Initiating shutdown sequence.");
    std::vector<IvokStorageController*> all;
    {
        const std::lock_guard<std::recursive_mutex> locker(lock);
        all.swap(controllers);
    }
    for (IvokStorageController* const controller : all) {
        if (controller->isRemoved()) {
            controller->dropReference();
        } else {
            controller->disableEvents();
            controller->processDeviceRemoval();  // which drops the factory's reference
        }
    }
}

std::vector<std::tuple<unsigned int, unsigned int>>&
vokStorageControllerFactory::getSupportedControllerModels() {
    return supportedModels;
}

// --- changes of /sys ---

struct vokStorageControllerFactory::Directory {
    const char* path;
    const char* name;  // in the log
};

void vokStorageControllerFactory::poll() {
    // Not by ||: each is looked at.
    const bool hostsChanged = hasChanged({"/sys/class/scsi_host", "scsi_host"}, scsiHost);
    const bool devicesChanged = hasChanged({"/sys/class/scsi_device", "scsi_device"}, scsiDevice);
    if (!hostsChanged && !devicesChanged) return;
    VOK_LOG_DEBUG(tag, "Detected change in SCSI hosts/devices.");
    SASResourceManager::invalidateInventoryCache();
}

bool vokStorageControllerFactory::hasChanged(const Directory& directory, struct stat& last) {
    struct stat now {};
    if (const int result = ::lstat(vokHostAccess().path(directory.path).c_str(), &now); result != 0) {
        const int reason = errno;
        VOK_LOG_DEBUG(tag, "lstat(%s) completed with %d (%d).", directory.name, result, reason);
        return false;
    }
    const bool isFirstLook = last.st_mtime == 0 && last.st_ctime == 0;
    const bool differs = now.st_mtime != last.st_mtime || now.st_ctime != last.st_ctime;
    last = now;
    return differs && !isFirstLook;
}

// --- the class that takes what no other class wants ---

bool vokStorageController::claimDevice(unsigned int chipsetID, unsigned int boardID, std::string& pciLocation,
                                       bool firstDiscoveryPass, vokStorageController** device) {
    *device = nullptr;
    unsigned char family = 0;
    if (!getStorageControllerModel(chipsetID, boardID, vokAnyFamily, &family)) return false;
    try {
        *device = new vokStorageController(chipsetID, boardID, pciLocation, family, firstDiscoveryPass);
        VOK_LOG_DEBUG(tag, "Claimed device [%s 0x%x 0x%x].", pciLocation.c_str(), chipsetID, boardID);
    } catch (const std::bad_alloc&) {
        VOK_LOG_ERROR(tag, "Out of memory!");
    }
    return true;
}
