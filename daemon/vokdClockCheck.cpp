#include "daemon/vokdClockCheck.h"

#include <sys/sysinfo.h>
#include <cstdlib>
#include <ctime>

#include "core/base/vokLog.h"
#include "core/inventory/vokResourceManager.h"
#include "core/inventory/vokResources.h"
#include "platform/access/vokHostAccess.h"
#include "platform/access/vokWait.h"
#include "rmc/vokIPMIDBService.h"
#include "rmc/vokJsonAggregator.h"

namespace {

constexpr char tag[] = "CLOCK";
constexpr long long nanosecondsInSecond = 1000000000;

// Returns the number of threads that were woken.
int endOvertakenWaits() {
    int woken = 0;
    for (const vokResource& resource : vokResources()) {
        vokResourceManager* const manager = resource.manager ? resource.manager() : nullptr;
        if (manager && manager->recheckWait()) ++woken;
    }
    if (vokJsonAggregator::getInstance()->recheckWait()) ++woken;
    if (vokIPMIDBService::getInstance()->recheckWait()) ++woken;
    return woken;
}

}  // namespace

vokdClockCheck::vokdClockCheck() : last_(readOffset()) {}

void vokdClockCheck::run() {
    const std::optional<Offset> now = readOffset();
    bool wasSet = false;
    if (now && last_) {
        constexpr long long threshold = vokClockStepSeconds * nanosecondsInSecond;
        wasSet = now->least - last_->most > threshold || last_->least - now->most > threshold;
        const long long seconds =
            ((now->least - last_->least) + (now->most - last_->most)) / 2 / nanosecondsInSecond;
        if (wasSet)
            VOK_LOG_WARNING(tag, "The clock was set %s by %lld seconds", seconds < 0 ? "back" : "forward",
                            std::llabs(seconds));
    }
    if (now) last_ = now;
    if (endOvertakenWaits() > 0 && !wasSet) VOK_LOG_WARNING(tag, "The clock was set forward and back again");
}

std::optional<vokdClockCheck::Offset> vokdClockCheck::readOffset() {
    timespec before{}, after{};
    struct sysinfo information {};
    if (vokHostAccess().wallClock(&before) != 0 || vokHostAccess().systemInformation(&information) != 0 ||
        vokHostAccess().wallClock(&after) != 0)
        return std::nullopt;
    const auto nanoseconds = [](const timespec& time) {
        return static_cast<long long>(time.tv_sec) * nanosecondsInSecond + time.tv_nsec;
    };
    // The uptime has been rounded down to whole seconds.
    const long long uptime = static_cast<long long>(information.uptime) * nanosecondsInSecond;
    return Offset{nanoseconds(before) - uptime - nanosecondsInSecond, nanoseconds(after) - uptime};
}
