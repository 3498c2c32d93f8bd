#include <fcntl.h>
#include <unistd.h>
#include <algorithm>
#include <cerrno>

#include "core/base/vokLog.h"
#include "platform/access/vokHostAccess.h"
#include "platform/access/vokSharedFile.h"
#include "platform/utils/vokUtils.h"

namespace {

constexpr char summaryLog[] = "/var/log/vmksummary.log";
constexpr char timesFile[] = "/tmp/vokboot.log";

// The file that a command appends its output to, in a directory that everybody may write to: made anew and
// for root alone before the command runs, so that neither an old content counts nor a planted link is
// followed, and removed at the end.
class OutputFile {
public:
    explicit OutputFile(const std::string& place) : place_(place) {
        ::unlink(place.c_str());
        const int descriptor =
            ::open(place.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600);
        planted_ = descriptor < 0 && errno == EEXIST;
        if (descriptor >= 0) ::close(descriptor);
    }
    ~OutputFile() {
        if (!planted_) ::unlink(place_.c_str());
    }
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;

    // Somebody else's file or directory stands there, so nothing may be written to it.
    bool isPlanted() const { return planted_; }

private:
    std::string place_;
    bool planted_;
};

// The stamps of the last `lines` lines of the summary log that hold `words`, oldest first.
std::vector<long> summaryTimes(const std::string& words, const std::string& lines, const char* failure) {
    IvokHostAccess& host = vokHostAccess();
    const std::string place = host.path(timesFile);
    const OutputFile file(place);
    if (file.isPlanted() ||
        host.runCommand("grep \"" + words + "\" " + host.commandPath(summaryLog) + " | tail " + lines +
                        " | awk '{print $1}' >> " + host.commandPath(timesFile)) != 0) {
        VOK_LOG_WARNING("VOK_UTILS", "%s", failure);
        return {};
    }
    std::vector<long> times;
    std::string text;
    if (!vokReadSharedFile(place, text)) return times;
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
