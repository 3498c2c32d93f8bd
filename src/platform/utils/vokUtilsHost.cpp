#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstring>

#include "core/base/vokLog.h"
#include "platform/access/vokCommandStream.h"
#include "platform/access/vokHostAccess.h"
#include "platform/utils/vokCommandOutcome.h"
#include "platform/utils/vokUtils.h"

std::mutex vokUtils::osNamesMutex;
std::string vokUtils::OSName;
std::string vokUtils::OSVersion;
std::atomic<long> vokUtils::_currentBootTime{0};

namespace {

constexpr int esxiHost = 104;
// More than the version command prints; limits the memory that a runaway command can take.
constexpr std::size_t maxTextSize = 65536;

// Reads the text after the first ":" of the command's output, without any white space.
bool readProductValue(const char* command, std::string& value) {
    vokCommandStream stream(command);
    if (!stream) {
        vokReportCommand("VOK_UTILS", command, vokCommandFailure(-1, errno));
        return false;
    }
    std::string text;
    char buffer[40];
    while (text.size() < maxTextSize && std::fgets(buffer, sizeof(buffer), stream.get())) text += buffer;
    text.erase(std::remove_if(text.begin(), text.end(), [](unsigned char c) { return std::isspace(c); }),
               text.end());
    value = text.substr(text.find(':') + 1);  // without a colon: the whole text
    const int status = stream.close();
    std::string outcome = vokCommandFailure(status, errno);
    if (outcome.empty() && value.empty()) outcome = "exit status 0, but no value";
    vokReportCommand("VOK_UTILS", command, outcome);
    return true;
}

bool readSystemName(utsname& name) {
    if (vokHostAccess().systemName(&name) == 0) return true;
    const int reason = errno;
    VOK_LOG_ERROR("VOK_UTILS", "uname failed with error = %d", reason);
    return false;
}

}  // namespace

std::string vokUtils::readHostName() {
    utsname name{};
    return readSystemName(name) ? name.nodename : " ";
}

std::string vokUtils::readHostOSDescription() {
    utsname name{};
    if (!readSystemName(name)) return "";
    return std::string(name.sysname) + " " + name.nodename + " " + name.release + " " + name.version + " " +
           name.machine;
}

std::string vokUtils::readHostOSName() {
    return cachedProductValue(OSName, "localcli system version get | grep -i Product",
                              "Error occurred in identifying OS Name.");
}

std::string vokUtils::readHostOSVersion() {
    return cachedProductValue(OSVersion, "localcli system version get | grep -i Version:",
                              "Error occurred in identifying OS version.");
}

std::string vokUtils::cachedProductValue(std::string& cache, const char* command, const char* failure) {
    {
        const std::lock_guard<std::mutex> lock(osNamesMutex);
        if (!cache.empty()) return cache;
    }
    std::string value;
    if (!readProductValue(command, value)) VOK_LOG_ERROR("VOK_UTILS", "%s", failure);
    const std::lock_guard<std::mutex> lock(osNamesMutex);
    if (!value.empty()) cache = value;
    return cache;
}

int vokUtils::getOSType() {
    return esxiHost;
}

int vokUtils::getOSType(int* type) {
    if (type) *type = esxiHost;
    return 1;
}

std::string vokUtils::getErrorDescription(int errnum) {
    char text[256] = {};
    return ::strerror_r(errnum, text, sizeof(text));
}

void vokUtils::setSystemCurrentBootTime(long seconds) {
    _currentBootTime = seconds;
}

long vokUtils::getSystemCurrentBootTime() {
    return _currentBootTime;
}

void vokUtils::setCacheRefreshTimeInterval(long seconds) {
    cacheRefreshTimeInterval = seconds;
}

long vokUtils::getCacheRefreshTimeInterval() const {
    return cacheRefreshTimeInterval;
}
