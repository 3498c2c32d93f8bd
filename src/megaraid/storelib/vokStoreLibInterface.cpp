#include "megaraid/storelib/vokStoreLibInterface.h"

#include <string_view>

#include "core/base/vokDecisionTable.h"
#include "core/base/vokLog.h"
#include "platform/access/vokHostAccess.h"

namespace {

constexpr char tag[] = "LSI_INTERF";
constexpr int lockTries = 3;
constexpr unsigned long lockPause = 2000000;  // microseconds

// What a kind of build builds, in the order of the columns.
struct KindOfBuild {
    std::string_view kind;
    bool controllers;
    bool disks;
    bool volumes;

    constexpr std::string_view key() const { return kind; }
};

constexpr KindOfBuild kindsOfBuild[] = {
    {"ALL_EVENT", true, true, true},     //
    {"All", true, true, true},           //
    {"CTRL_EVENT", true, false, false},  //
    {"LD_EVENT", false, false, true},    //
    {"PD_EVENT", false, true, false},
};
static_assert(vokKeysAscend(kindsOfBuild));

}  // namespace

std::mutex vokStoreLibInterface::cache_lock;

vokStoreLibInterface* vokStoreLibInterface::getInstance() {
    static auto* const instance = new vokStoreLibInterface;
    return instance;
}

// --- readers ---

std::unique_lock<std::mutex> vokStoreLibInterface::takeLock() {
    std::unique_lock<std::mutex> lock(cache_lock, std::defer_lock);
    for (int i = 0; i < lockTries; ++i) {
        if (lock.try_lock()) return lock;
        vokHostAccess().pause(lockPause);
    }
    VOK_LOG_WARNING(tag, "Failed to acquire lock.");
    return lock;
}

template <typename Builds, typename... Key>
auto vokStoreLibInterface::read(const Builds& builds, Key... key) {
    const std::unique_lock<std::mutex> lock = takeLock();
    return builds.list(lock ? vokBuild::current : vokBuild::previous, key...);
}

std::vector<CTRL_INFO> vokStoreLibInterface::getControllerCollection() {
    return *read(controllers_);
}

CTRL_INFO vokStoreLibInterface::getControllerInventory(std::uint32_t controllerId) {
    const vokBuiltList<CTRL_INFO> controllers = read(controllers_);
    for (const CTRL_INFO& each : *controllers)
        if (each.controllerId == controllerId) return each;
    CTRL_INFO none;
    none.controllerId = vokNoControllerId;
    return none;
}

std::uint32_t vokStoreLibInterface::getControllerID(const std::string& pciLocation) {
    const vokBuiltList<CTRL_INFO> controllers = read(controllers_);
    for (const CTRL_INFO& each : *controllers)
        if (each.pciLocation == pciLocation) return each.controllerId;
    return vokNoControllerId;
}

std::vector<PD_INFO> vokStoreLibInterface::getPDInventoryForCtrl(std::uint32_t controllerId) {
    return *read(disks_, controllerId);
}

std::vector<LD_INFO> vokStoreLibInterface::getLDInventoryForCtrl(std::uint32_t controllerId) {
    return *read(volumes_, controllerId);
}

// --- builds ---

void vokStoreLibInterface::cacheBuild(const std::string& kind) {
    VOK_LOG_DEBUG(tag, "vokStoreLibInterface::cacheBuild()");
    if (!initializeMRsuccessful) {
        VOK_LOG_DEBUG(tag, "MR library was not initialized hence cancelling cache build");
        return;
    }
    {
        const std::lock_guard<std::mutex> lock(cache_lock);
        const KindOfBuild* const row = vokFindRow(kindsOfBuild, std::string_view(kind));
        if (row && row->controllers) buildControllerInfo();
        if (row && row->disks) buildPDInfo();
        if (row && row->volumes) buildLDInfo();
    }
    VOK_LOG_DEBUG(tag, "vokStoreLibInterface::cacheBuild() complete");
}
