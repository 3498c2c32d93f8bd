#include "megaraid/vokMegaRAIDControllerFactory.h"

#include <algorithm>

#include "core/base/vokLog.h"
#include "megaraid/storelib/vokStoreLibInterface.h"
#include "megaraid/vokIOLoadingHelper.h"
#include "megaraid/vokMegaRAIDController.h"
#include "storage/SASResourceManager.h"
#include "storage/storage_utils.h"

namespace {

constexpr char tag[] = "LSI_FACTORY";

const SASResourceManager::Factories registration(vokMegaRAIDControllerFactory::getInstance());

// All that this factory holds are of this class.
vokMegaRAIDController& raidControllerOf(IvokStorageController* controller) {
    return *static_cast<vokMegaRAIDController*>(controller);
}

}  // namespace

vokMegaRAIDControllerFactory* vokMegaRAIDControllerFactory::getInstance() {
    static auto* const instance = new vokMegaRAIDControllerFactory;
    return instance;
}

void vokMegaRAIDControllerFactory::discoverControllers(std::vector<IvokStorageController*>& out) {
    VOK_LOG_DEBUG(tag, "vokMegaRAIDControllerFactory::discoverControllers");
    out.clear();
    resetControllerDetection();
    if (!loadLibrary()) return;
    // Without the lock: the removal of the last one waits for events, which fetch the controllers.
    for (IvokStorageController* const gone : updateControllers())
        gone->processDeviceRemoval();  // which drops the factory's reference
    vokIOLoadingHelper::updateServerIOLoadingTable();
    getControllers(out);
    VOK_LOG_DEBUG(tag, "size of _controllerList is %zu", out.size());
}

bool vokMegaRAIDControllerFactory::loadLibrary() {
    const std::lock_guard<std::recursive_mutex> locker(lock);
    if (isLSILibLoaded) return true;
    vokStoreLibInterface& library = *vokStoreLibInterface::getInstance();
    if (!library.vokStoreInit()) {
        VOK_LOG_DEBUG(tag, "Issue occurred in discovering LSI MR inventory.");
        return false;
    }
    library.cacheBuild("All");
    isLSILibLoaded = true;
    return true;
}

std::vector<IvokStorageController*> vokMegaRAIDControllerFactory::updateControllers() {
    const std::lock_guard<std::recursive_mutex> locker(lock);
    const std::vector<CTRL_INFO> present = vokStoreLibInterface::getInstance()->getControllerCollection();
    if (controllers.empty()) {
        VOK_LOG_DEBUG(tag, "First inventory build");
        for (const CTRL_INFO& info : present) addController(info);
        return {};
    }
    for (const CTRL_INFO& info : present) {
        VOK_LOG_DEBUG(tag, "discoverControllers ID = %d SN = %s", static_cast<int>(info.controllerId),
                      info.serialNumber.c_str());
        // Required: two controllers without a serial number are one.
        const auto same = std::find_if(controllers.begin(), controllers.end(), [&](auto* controller) {
            return raidControllerOf(controller).getDeviceName() == info.serialNumber;
        });
        if (same == controllers.end()) {
            addController(info);
        } else {
            raidControllerOf(*same).setDeviceDetected(true);
            VOK_LOG_DEBUG(tag, "Controller instance exists in inventory.");
        }
    }
    countControllers();
    const auto absent = std::stable_partition(controllers.begin(), controllers.end(), [](auto* controller) {
        return raidControllerOf(controller).getDeviceDetected();
    });
    std::vector<IvokStorageController*> gone(absent, controllers.end());
    controllers.erase(absent, controllers.end());
    if (controllers.empty())
        VOK_LOG_WARNING(tag,
                        "No RAID controller is left. Neither new RAID controllers nor their events are "
                        "noticed until the agent starts again.");
    return gone;
}

void vokMegaRAIDControllerFactory::addController(const CTRL_INFO& info) {
    vokHeldReference<vokMegaRAIDController> controller(new vokMegaRAIDController(info.controllerId));
    controller->setDeviceName(info.serialNumber);
    controller->setDeviceDetected(true);
    controllers.reserve(controllers.size() + 1);  // before the reference is given away
    controllers.push_back(controller.release());
}

void vokMegaRAIDControllerFactory::countControllers() const {
    vokMegaRAIDController::totalLSICtrls = static_cast<int>(controllers.size());
}

void vokMegaRAIDControllerFactory::shutdownFactory() {
    {
        const std::lock_guard<std::recursive_mutex> locker(lock);
        countControllers();
    }
    vokStorageControllerFactory::shutdownFactory();
}

void vokMegaRAIDControllerFactory::poll() {}

std::vector<std::tuple<unsigned int, unsigned int>>&
vokMegaRAIDControllerFactory::getSupportedControllerModels() {
    static std::vector<std::tuple<unsigned int, unsigned int>> models = {
        {0x005D1000, 0x93631000}, {0x005D1000, 0x9A631000}, {0x005D1000, 0},
        {0x10E21000, 0x40101000}, {0x10E21000, 0x40001000}, {0x10E21000, 0},
    };
    return models;
}

void vokMegaRAIDControllerFactory::getControllers(std::vector<IvokStorageController*>& out) {
    getControllers(vokAnyFamily, out);
}

void vokMegaRAIDControllerFactory::resetControllerDetection() {
    const std::lock_guard<std::recursive_mutex> locker(lock);
    for (IvokStorageController* const controller : controllers)
        raidControllerOf(controller).setDeviceDetected(false);
}
