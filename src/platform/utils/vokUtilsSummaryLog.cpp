#include <algorithm>

#include "core/base/vokLog.h"
#include "platform/access/vokHostAccess.h"
#include "platform/access/vokSharedFile.h"
#include "platform/access/vokWorkFile.h"
#include "platform/utils/vokUtils.h"

namespace {

constexpr char summaryLog[] = "/var/log/vmksummary.log";
constexpr char timesFile[] = "/tmp/vokboot.log";

// The time stamps of the last `lines` lines of the summary log that hold `words`, oldest first.
std::vector<long> summaryTimes(const std::string& words, const std::string& lines, const char* failure) {
    const vokWorkFile found(timesFile, vokLeftOver::replaced);
    if (found.isPlanted() ||
        found.appendOutputOf("grep \"" + words + "\" " + vokHostAccess().commandPath(summaryLog) +
                             " | tail " + lines + " | awk '{print $1}'") != 0) {
        VOK_LOG_WARNING("VOK_UTILS", "%s", failure);
        return {};
    }
    std::vector<long> times;
    std::string text;
    if (!vokReadSharedFile(found.hostPath(), text)) return times;
    for (std::string::size_type from = 0; from < text.size();) {
        const auto end = std::min(text.find('\n', from), text.size());
        times.push_back(vokUtils::toEpoc(text.substr(from, end - from)));
        from = end + 1;
    }
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
