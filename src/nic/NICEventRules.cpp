// The rules of the Ethernet adapters: from the words of the interface list to state and health, and from a
// change of these to an event.
#include <strings.h>
#include <tuple>

#include "core/base/vokDecisionTable.h"
#include "core/base/vokLog.h"
#include "events/vokEventTable.h"
#include "nic/NICPhysicalAdapter.h"

namespace {

// --- the status of an adapter, by administrative status and link status ---

enum class Admin { notUp, up };
enum class Link { down, unknown, other };

enum AdapterStatus {
    statusUp = 1,
    statusRunning = 2,
    statusUnknown = 3,
    statusLinkDown = 4,
    statusOffAndDown = 5,
    statusOff = 6,
};

struct StatusRow {
    Admin admin;
    Link link;
    AdapterStatus status;

    constexpr auto key() const { return std::pair(admin, link); }
};
constexpr StatusRow statuses[] = {
    {Admin::notUp, Link::down, statusOffAndDown}, {Admin::notUp, Link::unknown, statusOff},
    {Admin::notUp, Link::other, statusOff},       {Admin::up, Link::down, statusLinkDown},
    {Admin::up, Link::unknown, statusUnknown},    {Admin::up, Link::other, statusUp},
};
static_assert(vokKeysAscend(statuses));
static_assert(std::size(statuses) == 2 * 3, "each case has its row");

Admin adminOf(const char* word) {
    return ::strcasecmp(word, "up") == 0 ? Admin::up : Admin::notUp;
}

Link linkOf(const char* word) {
    if (::strcasecmp(word, "down") == 0) return Link::down;
    if (::strcasecmp(word, "unknown") == 0) return Link::unknown;
    return Link::other;
}

// --- state and health of a status; a port with its link down is healthy: the fault is elsewhere ---

struct ConditionRow {
    AdapterStatus status;
    VOK_RESOURCE_STATE state;
    VOK_RESOURCE_HEALTH health;

    constexpr int key() const { return status; }
};
constexpr ConditionRow conditions[] = {
    {statusUp, VOK_STATE_ONLINE, VOK_HEALTH_OK},
    {statusRunning, VOK_STATE_ONLINE, VOK_HEALTH_OK},
    {statusUnknown, VOK_STATE_OFFLINE, VOK_HEALTH_CRITICAL},
    {statusLinkDown, VOK_STATE_LINKDOWN, VOK_HEALTH_OK},
    {statusOffAndDown, VOK_STATE_OFFLINE, VOK_HEALTH_OK},
};
static_assert(vokKeysAscend(conditions));

// --- what a change of state or health means ---

enum ChangeMeaning {
    meansNothing = -1,
    meansBackInService = 1,
    meansLinkRestored = 2,
    meansAdapterFailed = 3,
    meansLinkLost = 4,
};

struct Change {
    VOK_RESOURCE_STATE prevState;
    VOK_RESOURCE_HEALTH prevHealth;
    VOK_RESOURCE_STATE curState;
    VOK_RESOURCE_HEALTH curHealth;
};

struct ChangeRule {
    vokCell<VOK_RESOURCE_STATE> prevState;
    vokCell<VOK_RESOURCE_HEALTH> prevHealth;
    vokCell<VOK_RESOURCE_STATE> curState;
    vokCell<VOK_RESOURCE_HEALTH> curHealth;
    ChangeMeaning meaning;

    constexpr bool fits(const Change& change) const {
        return prevState.fits(change.prevState) && prevHealth.fits(change.prevHealth) &&
               curState.fits(change.curState) && curHealth.fits(change.curHealth);
    }
};
constexpr auto anyState = vokCell<VOK_RESOURCE_STATE>::any();
constexpr auto anyHealth = vokCell<VOK_RESOURCE_HEALTH>::any();
constexpr ChangeRule changes[] = {
    {anyState, anyHealth, VOK_STATE_LINKDOWN, anyHealth, meansLinkLost},
    {anyState, anyHealth, VOK_STATE_OFFLINE, VOK_HEALTH_CRITICAL, meansAdapterFailed},
    {VOK_STATE_LINKDOWN, anyHealth, VOK_STATE_ONLINE, anyHealth, meansLinkRestored},
    {VOK_STATE_OFFLINE, VOK_HEALTH_CRITICAL, VOK_STATE_ONLINE, anyHealth, meansBackInService},
};

constexpr std::size_t states = VOK_STATE_UNCONFIGURED_BAD + 1;
constexpr std::size_t healths = VOK_HEALTH_WARNING + 1;

constexpr Change changeOf(std::size_t number) {
    return {static_cast<VOK_RESOURCE_STATE>(number % states),
            static_cast<VOK_RESOURCE_HEALTH>(number / states % healths),
            static_cast<VOK_RESOURCE_STATE>(number / states / healths % states),
            static_cast<VOK_RESOURCE_HEALTH>(number / states / healths / states)};
}
static_assert(vokEachRuleApplies(changes, states* healths* states* healths, changeOf));

// --- the event of a change ---

struct EventRow {
    ChangeMeaning meaning;
    int eventId;
    bool isService;

    constexpr int key() const { return meaning; }
};
constexpr EventRow events[] = {
    {meansBackInService, 680, false},
    {meansLinkRestored, 1390, false},
    {meansAdapterFailed, 678, true},
    {meansLinkLost, 1384, true},
};
static_assert(vokKeysAscend(events));
static_assert(vokRaisesEventsOf(vokEthernetEvent, events));

}  // namespace

int NICPhysicalAdapter::get_adapter_status(const char* link, const char* admin) {
    return vokFindRow(statuses, std::pair(adminOf(admin), linkOf(link)))->status;
}

void NICPhysicalAdapter::setNICStateHealthValues(int status, VOK_RESOURCE_STATE& state,
                                                 VOK_RESOURCE_HEALTH& health) {
    const ConditionRow* const row = vokFindRow(conditions, status);
    state = row ? row->state : VOK_STATE_OTHER;
    health = row ? row->health : VOK_HEALTH_UNKNOWN;
}

void NICPhysicalAdapter::fetchNICAdapterCondition(VOK_RESOURCE_STATE curState, VOK_RESOURCE_HEALTH curHealth,
                                                  VOK_RESOURCE_STATE prevState,
                                                  VOK_RESOURCE_HEALTH prevHealth, const std::string& intf,
                                                  int& condition) {
    const ChangeRule* const rule = vokFirstRule(changes, Change{prevState, prevHealth, curState, curHealth});
    condition = rule ? rule->meaning : meansNothing;
    if (rule) return;
    VOK_LOG_DEBUG("NIC_CTRL",
                  "State change for %s card noticed fromPrevState : %s, PrevHealth : %s toCurrentState : %s, "
                  "CurrentHealth : %s",
                  intf.c_str(), vokResourceStateMap[prevState], vokResourceHealthMap[prevHealth],
                  vokResourceStateMap[curState], vokResourceHealthMap[curHealth]);
}

void NICPhysicalAdapter::setEventAttributes(int condition, int& eventId, bool& isService) {
    const EventRow* const row = vokFindRow(events, condition);
    eventId = row ? row->eventId : 0;
    isService = row && row->isService;
}
