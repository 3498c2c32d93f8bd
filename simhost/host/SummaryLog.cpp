#include "host/SummaryLog.h"

#include <cstdio>
#include <ctime>
#include <filesystem>

#include "common/Files.h"
#include "common/HostState.h"

namespace simhost {

namespace {

constexpr std::int64_t day = 86400 * nanosecondsInSecond;

}  // namespace

std::string summaryStamp(std::int64_t wall) {
    const auto seconds = static_cast<std::time_t>(wall / nanosecondsInSecond);
    std::tm parts{};
    ::gmtime_r(&seconds, &parts);
    char text[64];
    const std::size_t length = std::strftime(text, sizeof(text), "%Y-%m-%dT%H:%M:%SZ", &parts);
    return std::string(text, length);
}

void SummaryLog::append(std::int64_t wall, const char* text) {
    appendLine(path_, summaryStamp(wall) + " " + text);
}

void SummaryLog::writeHistory(std::int64_t boot) {
    std::filesystem::remove(path_);
    append(boot - 30 * day, "bootstop: Host has booted");
    append(boot - 30 * day, "mark: storage-path-claim-completed");
    rebooting(boot - 300 * nanosecondsInSecond);
    append(boot, "mark: storage-path-claim-completed");
    booted(boot);
}

void SummaryLog::rebooting(std::int64_t wall) {
    append(wall, "bootstop: Host is rebooting");
}

void SummaryLog::startWith(std::int64_t boot) {
    std::filesystem::remove(path_);
    booted(boot);
}

void SummaryLog::booted(std::int64_t wall) {
    append(wall, "bootstop: Host has booted");
}

}  // namespace simhost
