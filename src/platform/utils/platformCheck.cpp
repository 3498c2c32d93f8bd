#include "platform/utils/platformCheck.h"

#include <syslog.h>
#include <cerrno>

#include "platform/access/vokHostAccess.h"
#include "platform/firmware/vokSmBiosRecords.h"
#include "platform/utils/vokUtils.h"

std::mutex platformCheck::platformCheckLock;
bool platformCheck::isFilled = false;
std::string platformCheck::directoryPath;
std::string platformCheck::startupFilePath;
std::string platformCheck::cardManufacturer;

namespace {

// Failures go to the system log directly: this may run before the agent's log is open. The table is still
// held for vokUtils, which releases it.
std::string manufacturerOfFirmware() {
    if (SmBiosInit() != 0) {
        const int reason = errno;
        vokHostAccess().systemLog(LOG_INFO, "Error starting SMBIOS table, Error : " + std::to_string(reason) +
                                                " , Reason : " + vokUtils::getErrorDescription(reason));
        return "";
    }
    vokSmBiosRecords<DmiSystemInfo> systems;
    if (systems.fetch() == 0) return systems.begin()->manufacturer;
    vokHostAccess().systemLog(
        LOG_WARNING, "Unable to fetch smbios type " + std::to_string(smbiosSystemInfoType) + " record");
    return "";
}

}  // namespace

std::string platformCheck::getDirectoryPath() {
    return filled(directoryPath);
}

std::string platformCheck::getStartupFilePath() {
    return filled(startupFilePath);
}

std::string platformCheck::getCardManufacturer() {
    return filled(cardManufacturer);
}

void platformCheck::setDirectoryPath() {
    const std::lock_guard<std::mutex> lock(platformCheckLock);
    fill();
}

void platformCheck::fill() {
    directoryPath = "/opt/mev/vok";
    startupFilePath = "/var/tmp/mev";
    cardManufacturer = manufacturerOfFirmware();
    isFilled = true;
}

// Filled once, even without a manufacturer, so that a host without the table is not searched for it in every
// cycle.
std::string platformCheck::filled(const std::string& text) {
    const std::lock_guard<std::mutex> lock(platformCheckLock);
    if (!isFilled) fill();
    return text;
}
