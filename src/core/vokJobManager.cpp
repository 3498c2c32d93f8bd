#include "core/vokJobManager.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <stdexcept>
#include <vector>

#include "core/base/vokConfig.h"
#include "core/base/vokLog.h"
#include "core/base/vokModules.h"
#include "core/inventory/vokFactory.h"
#include "core/inventory/vokResourceManager.h"
#include "core/inventory/vokResources.h"
#include "events/client/vokServer.h"
#include "platform/access/vokHostAccess.h"
#include "platform/access/vokWorkScope.h"
#include "platform/firmware/vokPlatformFamily.h"
#include "platform/utils/vokStartupRecord.h"
#include "platform/utils/vokUtils.h"

pthread_t vokJobManager::threads[vokJobManager::positions];
int vokJobManager::retval[vokJobManager::positions] = {-1, -1, -1, -1, -1, -1, -1, -1};

namespace {

constexpr char tag[] = "JOB_MGR";

std::vector<int> resourceList() {
    std::vector<int> ids;
    for (const vokModule& module : vokModules)
        if (module.id < TRUSTED_PLATFORM_MODULE) ids.push_back(module.id);
    if (vokIsFirstPlatform(vokUtils::getPlatformFamily())) ids.push_back(TRUSTED_PLATFORM_MODULE);
    return ids;
}

bool canHaveManager(int id) {
    const vokModule* const module = vokFindModule(id);
    return module && module->canBeEnabled;
}

}  // namespace

vokJobManager* vokJobManager::getInstance() {
    static vokJobManager* const instance = new vokJobManager;
    return instance;
}

bool vokJobManager::startResourceManagers() {
    vokStartFileOperations(0);
    std::fill(std::begin(retval), std::end(retval), -1);
    const std::vector<int> ids = resourceList();
    for (std::size_t position = 0; position < ids.size(); ++position) {
        const int id = ids[position];
        if (!canHaveManager(id)) continue;
        retval[position] =
            vokHostAccess().startThread(&threads[position], initializeResourceManager,
                                        reinterpret_cast<void*>(static_cast<std::intptr_t>(id)));
        if (retval[position] != 0) {
            VOK_LOG_ERROR(tag, "Error:unable to create thread");
            return false;
        }
        simulateUnhandledExceptions();
    }
    return true;
}

void vokJobManager::stopResourceManagers() {
    VOK_LOG_INFO(tag, "stopping all the RM");
    for (const vokResource& resource : vokResources()) {
        if (!vokConfig::getInstance()->isResourceEnabled(resource.id)) continue;
        vokResourceManager* const manager = vokFactory().createInstance(resource.id);
        if (manager) manager->stopResourceManagerJob();
    }
    for (const vokResource& resource : vokResources()) {
        const int position = resource.id;  // in the list of resources
        if (position >= positions || retval[position] != 0) continue;
        vokHostAccess().joinThread(threads[position]);
        retval[position] = -1;
    }
    VOK_LOG_INFO(tag, "VOK Exiting Gracefully!");
    vokStartFileOperations(1);
}

void vokJobManager::vokStartFileOperations(int mode) {
    if (mode != 0) {
        vokStartupRecord::writeGracefulStop(currentStartTime, vokWallClockSeconds());
        return;
    }
    currentStartTime = vokWallClockSeconds();
    struct sysinfo information {};
    long bootTime = static_cast<long>(currentStartTime) - 1;
    if (const int result = vokHostAccess().systemInformation(&information); result == 0) {
        bootTime = static_cast<long>(currentStartTime) - static_cast<long>(information.uptime);
    } else {
        const int error = errno;
        VOK_LOG_WARNING(tag, "Unable to fetch system Up Time - %d, %d : %s", result, error,
                        vokUtils::getErrorDescription(error).c_str());
    }
    vokUtils::setSystemCurrentBootTime(bootTime);

    if (vokStartupRecord::isReadable()) {
        vokStartupRecord::replaceCurrentStart(currentStartTime);
    } else if (vokStartupRecord::create(currentStartTime)) {
        VOK_LOG_INFO(tag, "Successful in creating a file");
    } else {
        VOK_LOG_ERROR(tag, "Error opening the vok startup file");
    }
}

bool vokJobManager::startVOKServer() {
    VOKServer::initializeVOKServer();
    return true;
}

void vokJobManager::stopVOKServer() {
    VOKServer::stopVOKServer();
}

void* initializeResourceManager(void* id) {
    const int resource = static_cast<int>(reinterpret_cast<std::intptr_t>(id));
    const auto module = VOK_MODULE_NAME_MAP.find(static_cast<MODULE_NAME>(resource));
    if (module == VOK_MODULE_NAME_MAP.end()) {
        VOK_LOG_WARNING(tag, "Unable to find module name for Resource Manager [%d].", resource);
        return nullptr;
    }
    if (!vokConfig::getInstance()->isResourceEnabled(resource)) {
        VOK_LOG_DEBUG(tag, "Resource manager %s [%d] is disabled.", module->second, resource);
        return nullptr;
    }
    VOK_LOG_DEBUG(tag, "Creating thread for %s", module->second);
    vokResourceManager* const manager = vokFactory().createInstance(resource);
    if (!manager) {
        VOK_LOG_WARNING(tag, "No resource manager for %s [%d] in this build.", module->second, resource);
        return nullptr;
    }
    const vokWorkScope scope(resource);
    manager->init();
    return nullptr;
}

void simulateUnhandledExceptions() {
    const int simulated = vokConfig::getInstance()->getUnhandledExceptionToSimulate();
    if (simulated == SIGSEGV) {
        VOK_LOG_WARNING(tag, "Simulating unhandled exception SIGSEGV. (%ld)", static_cast<long>(simulated));
        // Both volatile: otherwise the compiler may remove the store.
        volatile int* volatile nowhere = nullptr;
        *nowhere = 10;  // NOLINT(clang-analyzer-core.NullDereference): the crash is intended
    } else if (simulated == SIGABRT) {
        VOK_LOG_WARNING(tag, "Simulating unhandled exception SIGABRT. (%ld)", static_cast<long>(simulated));
        throw std::invalid_argument("Simulated Agent Exception");
    }
}
