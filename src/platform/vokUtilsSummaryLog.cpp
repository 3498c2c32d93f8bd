#include <unistd.h>
#include <algorithm>

#include "core/vokLog.h"
#include "platform/vokHostAccess.h"
#include "platform/vokSharedFile.h"
#include "platform/vokUtils.h"

namespace {

constexpr char summaryLog[] = "/var/log/vmksummary.log";
constexpr char timesFile[] = "/tmp/vokboot.log";

// The stamps of the last `lines` lines of the summary log that hold `words`, oldest first.
std::vector<long> summaryTimes(const char* words, const char* lines, const char* failure) {
    IvokHostAccess& host = vokHostAccess();
    const std::string place = host.path(timesFile);
    // The command appends, and follows a link that somebody planted: so nothing may be there before.
    ::unlink(place.c_str());
    const int status =
        host.runCommand(std::string("grep \"") + words + "\" " + host.commandPath(summaryLog) + " | tail " +
                        lines + " | awk '{print $1}' >> " + host.commandPath(timesFile));
    if (status != 0) {
        VOK_LOG_WARNING("VOK_UTILS", "%s", failure);
        ::unlink(place.c_str());
        return {};
    }
    std::vector<long> times;
    std::string text;
    if (vokReadSharedFile(place, text)) {
        for (std::string::size_type from = 0; from < text.size();) {
            const auto end = std::min(text.find('\n', from), text.size());
            times.push_back(vokUtils::toEpoc(text.substr(from, end - from)));
            from = end + 1;
        }
    }
    ::unlink(place.c_str());
    return times;
}

}  // namespace

void vokUtils::fetchSystemBootTime(long& boot, long& previousBoot) {
    const auto times =
        summaryTimes("Host has booted", "-2", "Error occurred in gathering system boot time information.");
    boot = times.empty() ? 0 : times.back();
    previousBoot = times.size() < 2 ? 0 : times[times.size() - 2];
}

void vokUtils::fetchSystemShutdownTime(long& shutdown) {
    const auto times = summaryTimes("Host is rebooting", "-1",
                                    "Error occurred in gathering system last shutdown time information.");
    shutdown = times.empty() ? 0 : times.back();
}
