#include <cerrno>
#include <cstring>

#include "core/base/vokLog.h"
#include "platform/firmware/vokSmBiosRecords.h"
#include "platform/utils/vokUtils.h"

std::atomic<bool> vokUtils::smbiosVmwareInit{false};
std::atomic<bool> vokUtils::systemInformationCached{false};
std::mutex vokUtils::systemInformationMutex;
std::string vokUtils::platformFamily;
std::string vokUtils::systemManufacturer;

void vokUtils::initializeSMBIOS() {
    if (SmBiosInit() != 0) {
        const int reason = errno;
        VOK_LOG_DEBUG("VOK_UTILS", "Error starting SMBIOS table, Error : %d , Reason : %s", reason,
                      getErrorDescription(reason).c_str());
        return;
    }
    smbiosVmwareInit = true;
    VOK_LOG_DEBUG("VOK_UTILS", "SMBIOS table initiated");
}

std::string vokUtils::getPlatformFamily() {
    cacheSystemInformation();
    return platformFamily;
}

std::string vokUtils::getSystemManufacturer() {
    cacheSystemInformation();
    return systemManufacturer;
}

// The flag is set even if reading failed: by the time of another attempt the table has been released.
void vokUtils::cacheSystemInformation() {
    if (systemInformationCached) return;
    const std::lock_guard<std::mutex> lock(systemInformationMutex);
    if (systemInformationCached) return;
    setSystemInformation();
    systemInformationCached = true;
}

void vokUtils::setSystemInformation() {
    platformFamily.clear();
    if (!smbiosVmwareInit) {
        VOK_LOG_WARNING("VOK_UTILS",
                        "SMBIOS module could not be initialized. Hence, VOK system information will not be "
                        "populated.");
        return;
    }
    vokSmBiosRecords<DmiSystemInfo> systems;
    if (systems.fetch() != 0)
        VOK_LOG_DEBUG("VOK_UTILS", "Could not retrieve system information from SMBIOS table.");
    if (systems.empty()) return;
    platformFamily = systems.begin()->family;
    systemManufacturer = systems.begin()->manufacturer;
    VOK_LOG_DEBUG("VOK_UTILS", "platformFamily is [%s]", platformFamily.c_str());
    VOK_LOG_DEBUG("VOK_UTILS", "System Manufacturer is [%s]", systemManufacturer.c_str());
}
