// The rules of the Fibre Channel adapters: from the state of a port to state and health, and from a change
// of state to an event.
#include "core/base/vokDecisionTable.h"
#include "core/base/vokLog.h"
#include "events/vokEventTable.h"
#include "fc/FCResourceManager.h"

namespace {

constexpr char tag[] = "FC_RM";

// --- the state of a port, and the health of a state ---

struct StateRow {
    HBA_PORTSTATE portState;
    VOK_RESOURCE_STATE state;

    constexpr HBA_PORTSTATE key() const { return portState; }
};
constexpr StateRow states[] = {
    {HBA_PORTSTATE_ONLINE, VOK_STATE_ONLINE},     {HBA_PORTSTATE_OFFLINE, VOK_STATE_OFFLINE},
    {HBA_PORTSTATE_BYPASSED, VOK_STATE_BYPASSED}, {HBA_PORTSTATE_DIAGNOSTICS, VOK_STATE_DIAGNOSTIC_MODE},
    {HBA_PORTSTATE_LINKDOWN, VOK_STATE_LINKDOWN}, {HBA_PORTSTATE_ERROR, VOK_STATE_ERROR},
    {HBA_PORTSTATE_LOOPBACK, VOK_STATE_LOOPBACK},
};
static_assert(vokKeysAscend(states));

struct HealthRow {
    VOK_RESOURCE_STATE state;
    VOK_RESOURCE_HEALTH health;

    constexpr VOK_RESOURCE_STATE key() const { return state; }
};
constexpr HealthRow healths[] = {
    {VOK_STATE_BYPASSED, VOK_HEALTH_WARNING}, {VOK_STATE_DIAGNOSTIC_MODE, VOK_HEALTH_WARNING},
    {VOK_STATE_ERROR, VOK_HEALTH_CRITICAL},   {VOK_STATE_LINKDOWN, VOK_HEALTH_CRITICAL},
    {VOK_STATE_LOOPBACK, VOK_HEALTH_WARNING}, {VOK_STATE_OFFLINE, VOK_HEALTH_WARNING},
    {VOK_STATE_ONLINE, VOK_HEALTH_OK},
};
static_assert(vokKeysAscend(healths));

// --- the event of a change ---

struct Change {
    fcState current;
    VOK_RESOURCE_STATE previous;
};

struct EventRule {
    fcState current;
    vokCell<VOK_RESOURCE_STATE> previous;
    int eventId;
    bool setsService;

    constexpr bool fits(const Change& change) const {
        return current == change.current && previous.fits(change.previous);
    }
};
constexpr auto anyState = vokCell<VOK_RESOURCE_STATE>::any();
constexpr EventRule rules[] = {
    {fcLinkDown, anyState, 386, true}, {fcError, anyState, 388, true},
    {fcOffline, anyState, 385, false}, {fcOnline, VOK_STATE_LINKDOWN, 1391, false},
    {fcOnline, anyState, 384, false},  {fcDiagnostic, anyState, 0, false},
    {fcLoopback, anyState, 0, false},  {fcBypassed, anyState, 0, false},
};
static_assert(vokRaisesEventsOf(vokFibreChannelEvent, rules));

constexpr std::size_t resourceStates = VOK_STATE_UNCONFIGURED_BAD + 1;
constexpr std::size_t portStates = fcBypassed + 1;
constexpr Change changeOf(std::size_t number) {
    return {static_cast<fcState>(number / resourceStates),
            static_cast<VOK_RESOURCE_STATE>(number % resourceStates)};
}
static_assert(vokEachRuleApplies(rules, portStates* resourceStates, changeOf));

// "Unknown" for a number that is no state.
const char* textOf(VOK_RESOURCE_STATE state) {
    const bool isState = static_cast<std::size_t>(state) < resourceStates;
    return vokResourceStateMap[isState ? state : VOK_STATE_UNKNOWN];
}

}  // namespace

// By rule "DiagnosticMode" is not the text of the state, which is "Diagnostic mode" and so becomes link down.
std::map<std::string, fcState> FCResourceManager::fcStateToEnumMap = {
    {"Linkdown", fcLinkDown},         {"Error", fcError},
    {"Offline", fcOffline},           {"Online", fcOnline},
    {"DiagnosticMode", fcDiagnostic}, {"Loopback", fcLoopback},
    {"Bypassed", fcBypassed},
};

VOK_RESOURCE_STATE FCResourceManager::getState(int portState) {
    const StateRow* const row = vokFindRow(states, static_cast<HBA_PORTSTATE>(portState));
    return row ? row->state : VOK_STATE_UNKNOWN;
}

VOK_RESOURCE_HEALTH FCResourceManager::getHealth(VOK_RESOURCE_STATE state) {
    const HealthRow* const row = vokFindRow(healths, state);
    return row ? row->health : VOK_HEALTH_UNKNOWN;
}

void FCResourceManager::fetchFCEventInfo(VOK_RESOURCE_STATE current, VOK_RESOURCE_STATE previous,
                                         int& eventId, bool& isService) {
    const fcState state = fcStateToEnumMap[textOf(current)];  // an absent text enters as link down
    const EventRule* const rule = vokFirstRule(rules, Change{state, previous});
    eventId = rule->eventId;
    if (rule->setsService) isService = true;
}

void FCResourceManager::compareStatusAndFetchEventAttributes(VOK_RESOURCE_STATE state, VOK_RESOURCE_HEALTH,
                                                             const std::string& wwnn, int& eventId,
                                                             bool& isService) {
    for (const vokFCDeviceInfo& before : adapters.previous) {
        const VOK_RESOURCE_STATE previous = before.getvokFCStatus().getFCDeviceState();
        if (before.getvokFCWWNN() == wwnn && previous != state)
            fetchFCEventInfo(state, previous, eventId, isService);
    }
    if (eventId < 1) VOK_LOG_DEBUG(tag, "No FCHBA event detected to generate");
}
