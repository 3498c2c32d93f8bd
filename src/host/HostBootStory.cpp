// How the last run of the agent ended, and whether the host has booted since.
#include "core/base/vokLog.h"
#include "events/vokEventHandler.h"
#include "host/HostResourceManager.h"
#include "platform/access/vokHostAccess.h"
#include "platform/utils/vokStartupRecord.h"
#include "platform/utils/vokUtils.h"

namespace {

constexpr unsigned long pauseBeforeStory = 20000000;  // microseconds

constexpr int eventBooted = 356;
constexpr int eventGracefulShutdown = 359;
constexpr int eventUngracefulShutdown = 360;

enum class Order { before, equal, after };

Order orderOf(long a, long b) {
    return a < b ? Order::before : a > b ? Order::after : Order::equal;
}

// One row of the decision: how the last start stands to the last graceful stop, and whether the host has
// booted since the later of the two.
struct Story {
    Order startToStop;
    bool bootedSince;
    const char* text;
    int shutdownEvent;  // followed by the boot event; 0: no event at all
};

constexpr Story stories[] = {
    {Order::before, false, "VOK crashed in current boot so do nothing in point 2", 0},
    {Order::before, true, "In gen OS boot logic.Last shutdown was graceful.", eventGracefulShutdown},
    {Order::after, false, "VOK crashed in current boot so do nothing in point 3", 0},
    {Order::after, true, "In gen OS boot logic.Last shutdown was not-graceful.", eventUngracefulShutdown},
};

// Null when there is nothing to compare with, or nothing to tell.
const Story* storyOf(long start, long stop, long boot) {
    if (start == 0) return nullptr;
    const Order order = orderOf(start, stop);
    const bool bootedSince = boot > (order == Order::before ? stop : start);
    for (const auto& story : stories)
        if (story.startToStop == order && story.bootedSince == bootedSince) return &story;
    return nullptr;
}

void raise(int id, const char* source) {
    vokEventHandler().generateEvent(vokEvent(id, "NotApplicable", "Host", false, vokUtils::getTime(),
                                             "Not-Available", Json::Value(), source));
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
    vokHostAccess().pause(pauseBeforeStory);
    const long boot = vokUtils::getSystemCurrentBootTime();
    const long start = readStartupValue("last_start");
    const long stop = readStartupValue("last_stop");
    if (const Story* const story = storyOf(start, stop, boot)) {
        VOK_LOG_DEBUG("HOST_RM", "%s", story->text);
        if (story->shutdownEvent != 0) {
            raise(story->shutdownEvent, "VOK");
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
