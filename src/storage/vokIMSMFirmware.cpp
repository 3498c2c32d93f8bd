#include "storage/vokIMSMFirmware.h"

#include <unistd.h>
#include <cerrno>
#include <cstdio>
#include <cstring>

#include "core/base/vokLog.h"
#include "platform/access/vokCommandStream.h"
#include "platform/utils/vokCommandOutcome.h"

namespace {

constexpr char tag[] = "STOR_LB";
constexpr const char* mdadmPaths[] = {"/usr/sbin/mdadm", "/sbin/mdadm"};
constexpr char grep[] = "/usr/bin/grep";
constexpr char versionMark[] = "Version : ";
constexpr char controllerMark[] = "Controller : ";
// More than mdadm prints; limits the memory that a runaway command can take.
constexpr std::size_t maxOutputSize = 65536;

// The host path of mdadm as a word of a command, or empty.
std::string findMdadm() {
    for (const char* path : mdadmPaths)
        if (::access(vokHostAccess().path(path).c_str(), R_OK | X_OK) == 0)
            return vokHostAccess().commandPath(path);
    return "";
}

// The text after the mark, or null if the line doesn't contain it.
const char* textAfter(const char* line, const char* mark) {
    const char* const found = std::strstr(line, mark);
    return found ? found + std::strlen(mark) : nullptr;
}

}  // namespace

std::string vokIMSMFirmware::platformDetails() {
    const std::string mdadm = findMdadm();
    if (mdadm.empty()) {
        VOK_LOG_INFO(tag, "Unable to find mdadm at standard location.");
        return "";
    }
    const std::string command =
        mdadm + " --detail-platform | " + grep + " -e \"" + versionMark + "\" -e \"" + controllerMark + "\"";
    vokCommandStream stream(command);
    if (!stream) {
        const int reason = errno;
        VOK_LOG_ERROR(tag, "popen(%s) failed: %d", command.c_str(), reason);
        return "";
    }
    std::string output;
    char line[256];
    while (output.size() < maxOutputSize && std::fgets(line, sizeof(line), stream.get())) output += line;
    const int status = stream.close();
    vokReportCommand(tag, command, vokGrepFailure(status, errno));
    VOK_LOG_DEBUG(tag, "mdadm output:\n%s\n", output.c_str());
    return output;
}

vokIMSMFirmware::vokIMSMFirmware(std::string details) {
    std::string pending;
    char* rest = nullptr;
    for (const char* line = ::strtok_r(details.data(), "\n", &rest); line && count_ < functions_.size();
         line = ::strtok_r(nullptr, "\n", &rest)) {
        if (const char* const version = textAfter(line, versionMark)) {
            pending = version;
        } else if (const char* const controller = textAfter(line, controllerMark)) {
            functions_[count_++] = {controller, pending};
            pending.clear();
        }
    }
}

const char* vokIMSMFirmware::versionOf(const std::string& pciLocation) const {
    for (std::size_t i = 0; i < count_; ++i)
        if (functions_[i].controller.find(pciLocation) != std::string::npos)
            return functions_[i].version.c_str();
    return nullptr;
}

const char* getIMSMFirmwareVersion(const std::string& pciLocation) {
    static const vokIMSMFirmware firmware;
    return firmware.versionOf(pciLocation);
}
