#include "storage/vokStorageControllerStatus.h"

#include <strings.h>

#include "core/base/vokDecisionTable.h"

namespace {

// --- a port ---

enum class Report { createdOrRunning, recovery, otherName, noName };
enum class Since { never, overAMinute, lately };
enum class NewState { asReported, running };
enum class NewTimestamp { zero, now, kept };

struct PortCase {
    Report report;
    Since since;
};

struct PortRule {
    Report report;
    vokCell<Since> since;
    NewState state;
    VOK_RESOURCE_HEALTH health;
    NewTimestamp timestamp;
    const char* news;

    constexpr bool fits(const PortCase& each) const {
        return each.report == report && since.fits(each.since);
    }
};

constexpr auto anySince = vokCell<Since>::any();

constexpr PortRule portRules[] = {
    {Report::createdOrRunning, anySince, NewState::asReported, VOK_HEALTH_OK, NewTimestamp::zero, nullptr},
    {Report::recovery, Since::never, NewState::running, VOK_HEALTH_OK, NewTimestamp::now,
     "went into recovery mode."},
    {Report::recovery, Since::overAMinute, NewState::asReported, VOK_HEALTH_WARNING, NewTimestamp::kept,
     "in recovery mode for atleast 60 seconds."},
    {Report::recovery, Since::lately, NewState::running, VOK_HEALTH_OK, NewTimestamp::kept, nullptr},
    {Report::otherName, anySince, NewState::asReported, VOK_HEALTH_CRITICAL, NewTimestamp::zero, nullptr},
    {Report::noName, anySince, NewState::asReported, VOK_HEALTH_CRITICAL, NewTimestamp::zero, nullptr},
};

constexpr PortCase portCase(std::size_t number) {
    return {static_cast<Report>(number / 3), static_cast<Since>(number % 3)};
}
static_assert(vokEachRuleApplies(portRules, 12, portCase));

Report reportOf(int named) {
    if (named < 0) return Report::noName;
    if (named == VOK_STATE_CREATED || named == VOK_STATE_RUNNING) return Report::createdOrRunning;
    return named == VOK_STATE_RECOVERY ? Report::recovery : Report::otherName;
}

Since sinceOf(long lastRecovery, long now) {
    if (lastRecovery == 0) return Since::never;
    // Required in this order: a minute has passed only after the clock was set back.
    return static_cast<long long>(lastRecovery) - now > 59 ? Since::overAMinute : Since::lately;
}

// --- the controller ---

// What a column asks of a number of ports.
enum class Ports {
    any,
    none,
    some,
    someButNotMost,  // above 0, below all but one
    most,            // all but one, or all
    allButOne,
    all,
};

constexpr bool isNumber(Ports wanted, std::size_t count, std::size_t ports) {
    switch (wanted) {
        case Ports::any:
            return true;
        case Ports::none:
            return count == 0;
        case Ports::some:
            return count > 0;
        case Ports::someButNotMost:
            return count > 0 && count + 1 < ports;
        case Ports::most:
            return count + 1 >= ports;
        case Ports::allButOne:
            return count + 1 == ports;
        case Ports::all:
            return count == ports;
    }
    return false;
}

struct ControllerRule {
    Ports running;
    Ports recovering;
    Ports other;
    Ports offline;
    Ports failing;  // other and offline together
    vokControllerStatus status;

    constexpr bool fits(const vokPortCounts& each) const {
        return isNumber(running, each.running, each.ports) &&
               isNumber(recovering, each.recovering, each.ports) && isNumber(other, each.other, each.ports) &&
               isNumber(offline, each.offline, each.ports) && isNumber(failing, each.failing(), each.ports);
    }
};

constexpr vokControllerStatus running = {VOK_STATE_RUNNING, VOK_HEALTH_OK, STORAGE_EVENT_INFO_ALL_PORTS_WELL};
constexpr vokControllerStatus recovering = {VOK_STATE_RECOVERING, VOK_HEALTH_WARNING,
                                            STORAGE_EVENT_INFO_PARTIAL_PROBLEM};
constexpr vokControllerStatus mostlyRecovering = {VOK_STATE_RECOVERING, VOK_HEALTH_CRITICAL,
                                                  STORAGE_EVENT_INFO_SERIOUS_PROBLEM};
constexpr vokControllerStatus degraded = {VOK_STATE_DEGRADED, VOK_HEALTH_WARNING,
                                          STORAGE_EVENT_INFO_PARTIAL_PROBLEM};
constexpr vokControllerStatus mostlyDegraded = {VOK_STATE_DEGRADED, VOK_HEALTH_CRITICAL,
                                                STORAGE_EVENT_INFO_SERIOUS_PROBLEM};
constexpr vokControllerStatus failed = {VOK_STATE_FAILED, VOK_HEALTH_CRITICAL,
                                        STORAGE_EVENT_INFO_SERIOUS_PROBLEM};
constexpr vokControllerStatus offline = {VOK_STATE_OFFLINE, VOK_HEALTH_CRITICAL,
                                         STORAGE_EVENT_INFO_SERIOUS_PROBLEM};

// clang-format off
constexpr ControllerRule controllerRules[] = {
    // running      recovering             other       offline     failing
    {Ports::all,  Ports::any,            Ports::any, Ports::any, Ports::any,            running},
    {Ports::some, Ports::someButNotMost, Ports::any, Ports::any, Ports::none,           recovering},
    {Ports::any,  Ports::most,           Ports::any, Ports::any, Ports::none,           mostlyRecovering},
    {Ports::any,  Ports::any,            Ports::any, Ports::any, Ports::someButNotMost, degraded},
    {Ports::any,  Ports::any,            Ports::any, Ports::any, Ports::allButOne,      mostlyDegraded},
    {Ports::any,  Ports::any,            Ports::all, Ports::any, Ports::any,            failed},
    {Ports::any,  Ports::any,            Ports::any, Ports::all, Ports::any,            offline},
    {Ports::any,  Ports::any,            Ports::any, Ports::any, Ports::all,            failed},
};
// clang-format on

// All counts of up to four ports of each kind.
constexpr vokPortCounts countsCase(std::size_t number) {
    vokPortCounts counts;
    counts.running = number % 5;
    counts.recovering = number / 5 % 5;
    counts.offline = number / 25 % 5;
    counts.other = number / 125;
    counts.ports = counts.running + counts.recovering + counts.failing();
    return counts;
}
static_assert(vokEachRuleApplies(controllerRules, 625, countsCase));

// --- events ---

struct ControllerChange {
    VOK_RESOURCE_HEALTH previous;
    VOK_RESOURCE_HEALTH current;
    int lastEvent;
};

struct ControllerEventRule {
    VOK_RESOURCE_HEALTH previous;
    VOK_RESOURCE_HEALTH current;
    bool isRepeated;  // also after an event with the same outcome
    vokControllerEvent event;

    constexpr bool fits(const ControllerChange& each) const {
        return each.previous == previous && each.current == current &&
               (isRepeated || each.lastEvent != event.outcome);
    }
};

constexpr vokControllerEvent recovered = {{397, false}, vokControllerRecovered};
constexpr vokControllerEvent hasFailed = {{398, true}, vokControllerFailed};

constexpr ControllerEventRule controllerEvents[] = {
    {VOK_HEALTH_CRITICAL, VOK_HEALTH_OK, true, recovered},
    {VOK_HEALTH_OK, VOK_HEALTH_CRITICAL, true, hasFailed},
    {VOK_HEALTH_WARNING, VOK_HEALTH_CRITICAL, false, hasFailed},
    {VOK_HEALTH_WARNING, VOK_HEALTH_OK, false, recovered},
};

struct DiskChange {
    VOK_RESOURCE_STATE previous;
    VOK_RESOURCE_STATE current;
};

struct DiskEventRule {
    VOK_RESOURCE_STATE current;
    vokCell<VOK_RESOURCE_STATE> previous;
    vokStatusEvent event;

    constexpr bool fits(const DiskChange& each) const {
        return each.current == current && previous.fits(each.previous);
    }
};

constexpr auto anyState = vokCell<VOK_RESOURCE_STATE>::any();

constexpr DiskEventRule diskEvents[] = {
    {VOK_STATE_RUNNING, anyState, {540, false}},
    {VOK_STATE_PREDICTIVE_FAILURE, anyState, {539, true}},
    {VOK_STATE_FAILED, anyState, {538, true}},
    {VOK_STATE_OFFLINE, VOK_STATE_PREDICTIVE_FAILURE, {538, true}},
    {VOK_STATE_OFFLINE, VOK_STATE_RUNNING, {538, true}},
};

}  // namespace

int vokStateNamed(const char* name) {
    for (std::size_t i = 0; i < sizeof(vokResourceStateMap) / sizeof(*vokResourceStateMap); ++i)
        if (vokResourceStateMap[i] && ::strcasecmp(vokResourceStateMap[i], name) == 0)
            return static_cast<int>(i);
    return -1;
}

vokPortStatus vokPortStatusOf(const char* text, long lastRecovery, long now) {
    if (!text) return {VOK_STATE_OFFLINE, VOK_HEALTH_CRITICAL, lastRecovery, nullptr};
    const int named = vokStateNamed(text);
    const PortRule& rule = *vokFirstRule(portRules, PortCase{reportOf(named), sinceOf(lastRecovery, now)});
    const auto reported = named < 0 ? VOK_STATE_UNKNOWN : static_cast<VOK_RESOURCE_STATE>(named);
    const long kept = rule.timestamp == NewTimestamp::kept ? lastRecovery : 0;
    return {rule.state == NewState::running ? VOK_STATE_RUNNING : reported, rule.health,
            rule.timestamp == NewTimestamp::now ? now : kept, rule.news};
}

void vokPortCounts::add(VOK_RESOURCE_STATE state) {
    ++ports;
    switch (state) {
        case VOK_STATE_CREATED:
        case VOK_STATE_RUNNING:
            ++running;
            break;
        case VOK_STATE_RECOVERY:
            ++recovering;
            break;
        case VOK_STATE_OFFLINE:
            ++offline;
            break;
        default:
            ++other;
    }
}

const vokControllerStatus* vokControllerStatusOf(const vokPortCounts& counts) {
    const ControllerRule* const rule = vokFirstRule(controllerRules, counts);
    return rule ? &rule->status : nullptr;
}

const vokControllerEvent* vokControllerEventOf(VOK_RESOURCE_HEALTH previous, VOK_RESOURCE_HEALTH current,
                                               int lastEvent) {
    const ControllerEventRule* const rule =
        vokFirstRule(controllerEvents, ControllerChange{previous, current, lastEvent});
    return rule ? &rule->event : nullptr;
}

const vokStatusEvent* vokDiskEventOf(VOK_RESOURCE_STATE previous, VOK_RESOURCE_STATE current) {
    const DiskEventRule* const rule = vokFirstRule(diskEvents, DiskChange{previous, current});
    return rule ? &rule->event : nullptr;
}
