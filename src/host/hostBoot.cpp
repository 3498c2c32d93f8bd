// The host manager's account of the last boot and shutdown.
#include "core/vokLog.h"
#include "events/vokEvent.h"
#include "events/vokEventHandler.h"
#include "host/HostResourceManager.h"
#include "host/vokBootStory.h"
#include "platform/vokHostAccess.h"
#include "platform/vokStartupRecord.h"
#include "platform/vokUtils.h"

namespace {

constexpr char tag[] = "HOST_RM";
constexpr unsigned long settlingMicroseconds = 20 * 1000000UL;

enum BootEvent { noEvent = 0, osBooted = 356, shutdownWasGraceful = 359, shutdownWasNotGraceful = 360 };

struct BootRow {
    vokBootStory story;
    const char* text;  // or null
    BootEvent events[2];
};

constexpr BootRow bootRows[] = {
    {vokBootStory::noEarlierRun, nullptr, {noEvent, noEvent}},
    {vokBootStory::restartedInThisBoot,
     "VOK crashed in current boot so do nothing in point 2",
     {noEvent, noEvent}},
    {vokBootStory::bootedAfterGracefulStop,
     "In gen OS boot logic.Last shutdown was graceful.",
     {shutdownWasGraceful, osBooted}},
    {vokBootStory::crashedInThisBoot,
     "VOK crashed in current boot so do nothing in point 3",
     {noEvent, noEvent}},
    {vokBootStory::bootedWithoutGracefulStop,
     "In gen OS boot logic.Last shutdown was not-graceful.",
     {shutdownWasNotGraceful, osBooted}},
    {vokBootStory::undecided, nullptr, {noEvent, noEvent}},
};

void raise(BootEvent id) {
    vokEventHandler().generateEvent(
        vokEvent(id, "NotApplicable", "Host", false, vokUtils::getTime(), "Not-Available", "VOK"));
}

void tell(vokBootStory story) {
    for (const BootRow& row : bootRows) {
        if (row.story != story) continue;
        if (row.text) VOK_LOG_DEBUG(tag, "%s", row.text);
        for (const BootEvent event : row.events)
            if (event != noEvent) raise(event);
    }
}

}  // namespace

long HostResourceManager::readStartupValue(std::string key) {
    VOK_LOG_DEBUG(tag, "content to match =%s", key.c_str());
    long value = 0;
    bool found = false;
    if (!vokStartupRecord::readValue(key, value, &found)) {
        VOK_LOG_ERROR(tag, "Error occurred in opening vok startup file");
        return 0;
    }
    VOK_LOG_DEBUG(tag, "Successful in opening vok startup file");
    if (found) VOK_LOG_DEBUG(tag, "Found a match %ld", value);
    return value;
}

void HostResourceManager::genOSBootLogic() {
    vokHostAccess().pause(settlingMicroseconds);
    const long boot = vokUtils::getSystemCurrentBootTime();
    const long start = readStartupValue("last_start");
    const long stop = readStartupValue("last_stop");
    tell(decideBootStory(start, stop, boot));
    VOK_LOG_DEBUG(tag,
                  "After sending OS boots events, we can set current_start to last_start otherwise it will "
                  "happen during VOK shutdown. And in case of crash it won't happen.");
    vokStartupRecord::replaceLastStart(readStartupValue("current_start"));
}
