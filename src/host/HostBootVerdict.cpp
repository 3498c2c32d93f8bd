// How the last run of the agent ended, and whether the host has booted since.
#include <utility>

#include "core/base/vokDecisionTable.h"
#include "core/base/vokLog.h"
#include "events/vokEventHandler.h"
#include "events/vokEventTable.h"
#include "host/HostResourceManager.h"
#include "platform/access/vokHostAccess.h"
#include "platform/utils/vokStartupRecord.h"
#include "platform/utils/vokUtils.h"

namespace {

constexpr unsigned long pauseBeforeVerdict = 20000000;  // microseconds

constexpr int eventBooted = 356;
constexpr int eventGracefulShutdown = 359;
constexpr int eventUngracefulShutdown = 360;

enum class Order { before, equal, after };

Order orderOf(long a, long b) {
    return a < b ? Order::before : a > b ? Order::after : Order::equal;
}

// The order of the last start and the last graceful stop, and whether the host has booted since the later
// of the two. A start and a stop at the same time have no row.
struct BootVerdict {
    Order startToStop;
    bool bootedSince;
    const char* text;
    int eventId;  // of the shutdown, followed by the boot event; 0: no event at all

    constexpr auto key() const { return std::pair(startToStop, bootedSince); }
};

constexpr BootVerdict verdicts[] = {
    {Order::before, false, "VOK crashed in current boot so do nothing in point 2", 0},
    {Order::before, true, "In gen OS boot logic.Last shutdown was graceful.", eventGracefulShutdown},
    {Order::after, false, "VOK crashed in current boot so do nothing in point 3", 0},
    {Order::after, true, "In gen OS boot logic.Last shutdown was not-graceful.", eventUngracefulShutdown},
};
static_assert(vokKeysAscend(verdicts));
static_assert(vokRaisesEventsOf(vokHostEvent, verdicts));

// Null when there is no earlier run to compare with, or nothing to log.
const BootVerdict* verdictOf(long start, long stop, long boot) {
    if (start == 0) return nullptr;
    const Order order = orderOf(start, stop);
    const bool bootedSince = boot > (order == Order::before ? stop : start);
    return vokFindRow(verdicts, std::pair(order, bootedSince));
}

void raise(int id, const char* source) {
    vokEventFields event;
    event.id = id;
    event.physicalLocation = "NotApplicable";
    event.module = "Host";
    event.time = vokUtils::getTime();
    event.partNumber = "Not-Available";
    event.source = source;
    vokEventHandler().generateEvent(vokEvent(std::move(event)));
}

}  // namespace

long HostResourceManager::readStartupValue(std::string key) {
    VOK_LOG_DEBUG("HOST_RM", "content to match =%s", key.c_str());
    long value = 0;
    bool found = false;
    if (!vokStartupRecord::readValue(key, value, &found)) {
        VOK_LOG_ERROR("HOST_RM", "Error occurred in opening vok startup file");
        return 0;
    }
    VOK_LOG_DEBUG("HOST_RM", "Successful in opening vok startup file");
    if (found) VOK_LOG_DEBUG("HOST_RM", "Found a match %ld", value);
    return value;
}

void HostResourceManager::genOSBootLogic() {
    vokHostAccess().pause(pauseBeforeVerdict);
    const long boot = vokUtils::getSystemCurrentBootTime();
    const long start = readStartupValue("last_start");
    const long stop = readStartupValue("last_stop");
    if (const BootVerdict* const verdict = verdictOf(start, stop, boot)) {
        VOK_LOG_DEBUG("HOST_RM", "%s", verdict->text);
        if (verdict->eventId != 0) {
            raise(verdict->eventId, "VOK");
            raise(eventBooted, "VOK");
        }
    }
    VOK_LOG_DEBUG("HOST_RM",
                  "After sending OS boots events, we can set current_start to last_start otherwise it will "
                  "happen during VOK shutdown. And in case of crash it won't happen.");
    vokStartupRecord::replaceLastStart(readStartupValue("current_start"));
}

void HostResourceManager::generateTestEvent(int id) {
    raise(id, "VOK-CLI");
}
