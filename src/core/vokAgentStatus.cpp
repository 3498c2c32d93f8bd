#include "core/vokAgentStatus.h"

#include <unistd.h>
#include <algorithm>
#include <string>

#include "core/base/vokConfig.h"
#include "core/base/vokVersion.h"
#include "core/inventory/vokResources.h"
#include "core/status/vokHistory.h"
#include "core/status/vokStatusRecord.h"
#include "platform/access/vokHostAccess.h"
#include "platform/access/vokLibraryCrashes.h"

namespace {

constexpr std::uint64_t secondsInMinute = 60;

std::uint64_t positive(long number) {
    return static_cast<std::uint64_t>(std::max(0L, number));
}

vokStatusStart startAt(time_t now) {
    vokConfig& config = *vokConfig::getInstance();
    vokStatusStart start;
    start.version = VOK_VERSION;
    start.process = static_cast<std::uint32_t>(::getpid());
    start.start = now;
    start.pushSeconds = positive(config.getInventoryPushIntervalSettings()) * secondsInMinute;
    start.doorBellSeconds = positive(config.getDoorBellSleepInterval()) * secondsInMinute;
    start.leftOut = vokLibraryCrashes::leftOut();
    for (const vokResource& resource : vokResources()) {
        if (!resource.manager) continue;
        const bool isEnabled = config.isResourceEnabled(resource.id);
        start.classes.push_back({resource.id, isEnabled});
        if (!isEnabled) continue;
        const std::uint64_t refresh = positive(config.getrefreshInterval(vokFindModule(resource.id)->name));
        start.refreshSeconds = std::max(start.refreshSeconds, refresh);
    }
    return start;
}

void appendToHistory(vokHistoryKind kind, time_t now, std::uint64_t milliseconds) {
    vokHistoryEntry entry;
    entry.kind = kind;
    entry.time = now;
    entry.duration = milliseconds;
    entry.subject = std::string("vokd ") + VOK_VERSION + ", process " + std::to_string(::getpid());
    vokAppendHistory(std::move(entry));
}

}  // namespace

vokAgentStatus::vokAgentStatus() {
    const time_t now = vokWallClockSeconds();
    vokOpenStatus(startAt(now));
    vokOpenHistory();
    appendToHistory(vokHistoryKind::start, now, 0);
}

vokAgentStatus::~vokAgentStatus() {
    const time_t now = vokWallClockSeconds();
    vokNoteStop(now);
    appendToHistory(vokHistoryKind::stop, now, stopwatch_.milliseconds());
}
