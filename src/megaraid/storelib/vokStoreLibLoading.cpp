#include <dlfcn.h>
#include <algorithm>
#include <csignal>
#include <utility>

#include "core/base/vokDecisionTable.h"
#include "core/base/vokLog.h"
#include "megaraid/storelib/vokStoreLibInterface.h"
#include "platform/access/vokChildSignal.h"

namespace {

constexpr char tag[] = "LSI_INTERF";
constexpr char libraryName[] = "libstorelib.so";
constexpr char entryPoint[] = "ProcessLibCommand";

// The log line of a result of the initialisation.
struct InitResult {
    std::uint32_t status;
    const char* text;

    constexpr std::uint32_t key() const { return status; }
};

constexpr InitResult initResults[] = {
    {vokStoreLibSuccess, "InitializeLibraryMR successful"},
    {vokStoreLibFailed, "InitializeLibraryMR failed _FAILED"},
    {vokStoreLibSysfsNotPresent, "InitializeLibraryMR failed:LIBSYSFS_NOT_PRESENT"},
    {vokStoreLibAccessLevelIncorrect, "User Access level incorrect, administrator privilege required"},
    {vokStoreLibNotPresent, "InitializeLibraryMR failed _NOT_PRESENT"},
};
static_assert(vokKeysAscend(initResults));

// The codes of unloadDLL() that unload.
constexpr int unloadAlways = 0;
constexpr int unloadAtEnd = 255;

}  // namespace

std::atomic<vokStoreLibInterface::ProcessLibCommand> vokStoreLibInterface::pfnProcessLibCommandMR{nullptr};
std::atomic<bool> vokStoreLibInterface::libMRPresent{false};
std::atomic<bool> vokStoreLibInterface::initializeMRsuccessful{false};
std::atomic<bool> vokStoreLibInterface::doNotRetryLibLoad{false};
std::mutex vokStoreLibInterface::loadingLock;
std::mutex vokStoreLibInterface::libraryLock;
// Never destroyed, since a thread of the library may still call back when the process ends.
vokLibrary& vokStoreLibInterface::dllInstanceMR = *new vokLibrary;
vokControllerList vokStoreLibInterface::gCtrlListMR{};
vokControllerList vokStoreLibInterface::gCtrlList{};
std::uint32_t vokStoreLibInterface::gTotalControllers = 0;

bool vokStoreLibInterface::vokStoreInit() {
    const std::lock_guard<std::mutex> loading(loadingLock);
    // Deliberately also after a call that failed later on, or found no controllers.
    if (pfnProcessLibCommandMR) return true;
    if (doNotRetryLibLoad) return false;
    {
        const std::lock_guard<std::mutex> lock(libraryLock);
        for (vokControllerList* const list : {&gCtrlListMR, &gCtrlList}) list->count = list->simulation = 0;
        gTotalControllers = 0;
    }
    if (openLibrary() && !findEntryPoint()) return false;
    gCtrlListMR = {};
    std::signal(SIGCHLD, sighdlr);
    if (!libMRPresent) return false;

    VOK_LOG_DEBUG(tag, "Initializing library for MegaRAID SAS Controller...");
    initializeMRsuccessful = true;
    if (InitializeLibraryMR() != vokStoreLibSuccess) {
        VOK_LOG_ERROR(tag, "InitLib failed for MegaRAID SAS Controller!!");
        initializeMRsuccessful = false;
        return false;
    }
    if (gCtrlListMR.simulation == 1)
        VOK_LOG_WARNING(tag, "MegaRAID SAS Controller is running under Simulation Mode.");
    mergeControllerLists();
    if (!controllerList().empty()) return true;
    VOK_LOG_WARNING(tag, "No LSI MR controllers found");
    return false;
}

bool vokStoreLibInterface::openLibrary() {
    vokLibrary library;
    const bool isOpen = library.open(libraryName, RTLD_LAZY);
    libMRPresent = isOpen;
    if (!isOpen) {
        doNotRetryLibLoad = true;
        initializeMRsuccessful = false;
        VOK_LOG_ERROR(tag,
                      "Failed to load library for monitoring MegaRAID devices. If you need VOK to monitor "
                      "this class of devices, then kindly remove and install storelib package and restart "
                      "vok.service.");
        VOK_LOG_DEBUG(tag, "Error occurred while loading MegaRAID lib dlerror = %s",
                      library.reason().c_str());
        return false;
    }
    const std::lock_guard<std::mutex> lock(libraryLock);
    dllInstanceMR = std::move(library);
    return true;
}

bool vokStoreLibInterface::findEntryPoint() {
    VOK_LOG_DEBUG(tag, "Library loaded for MegaRAID SAS Controller.");
    ProcessLibCommand function = nullptr;
    if (!dllInstanceMR.resolve({{entryPoint, function}})) {
        VOK_LOG_DEBUG(tag, "Unable to get Entry Point function address Exiting.");
        return false;
    }
    pfnProcessLibCommandMR = function;
    return true;
}

std::uint32_t vokStoreLibInterface::InitializeLibraryMR() {
    _SL_LIB_CMD_PARAM_T block = vokCommandBlock(vokInitLibraryCommand, &gCtrlListMR);
    block.flag = 1;
    const std::uint32_t status = callLibraryMR(&block);
    if (const InitResult* const result = vokFindRow(initResults, status))
        VOK_LOG_DEBUG(tag, "%s", result->text);
    return status;
}

void vokStoreLibInterface::mergeControllerLists() {
    const std::vector<std::uint32_t> controllers = vokControllersOf(&gCtrlListMR);
    setControllerList(controllers);
}

void vokStoreLibInterface::setControllerList(const std::vector<std::uint32_t>& controllers) {
    const std::lock_guard<std::mutex> lock(libraryLock);
    gCtrlList = {};
    gCtrlList.count = static_cast<std::uint16_t>(controllers.size());
    std::copy(controllers.begin(), controllers.end(), gCtrlList.controllers);
    gTotalControllers = gCtrlList.count;
}

std::vector<std::uint32_t> vokStoreLibInterface::controllerList() const {
    const std::lock_guard<std::mutex> lock(libraryLock);
    return {gCtrlList.controllers, gCtrlList.controllers + gTotalControllers};
}

vokLibrary::Hold vokStoreLibInterface::holdLibrary() const {
    const std::lock_guard<std::mutex> lock(libraryLock);
    return dllInstanceMR.hold();
}

// --- the end ---

std::uint32_t vokStoreLibInterface::UnInitializeLibrary() {
    _SL_LIB_CMD_PARAM_T block = vokCommandBlock(vokExitLibraryCommand, nullptr);
    const std::uint32_t status = callLibraryMR(&block);
    VOK_LOG_DEBUG(tag, "UnInitializeLibrary %s", status == vokStoreLibSuccess ? "successful" : "failed");
    return status;
}

void vokStoreLibInterface::unloadDLL(int code) {
    const std::lock_guard<std::mutex> loading(loadingLock);
    currentController = noController;
    if (!libMRPresent || (code != unloadAlways && code != unloadAtEnd)) return;
    if (!closeLibrary()) VOK_LOG_DEBUG(tag, "ExitLib failed for MegaRAID SAS Controller");
}

void vokStoreLibInterface::unloadDLLs() {
    const std::lock_guard<std::mutex> loading(loadingLock);
    currentController = noController;
    if (!libMRPresent) return;
    if (!closeLibrary()) VOK_LOG_ERROR(tag, "ExitLib failed for MegaRAID SAS Controller!");
}

bool vokStoreLibInterface::closeLibrary() {
    VOK_LOG_DEBUG(tag, "UnInitializing library for MegaRAID SAS Controller.");
    const bool hasExited = UnInitializeLibrary() == vokStoreLibSuccess;
    const std::lock_guard<std::mutex> lock(libraryLock);
    dllInstanceMR.close();
    libMRPresent = false;
    return hasExited;
}
