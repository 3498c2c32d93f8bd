#include "megaraid/vokMegaRAIDEventRules.h"

#include <cstddef>

#include "core/base/vokDecisionTable.h"
#include "megaraid/storelib/vokSASEventDetail.h"

namespace {

using Remark = vokFirmwareEventRemark;
using Step = vokFirmwareEventStep;

using OneOf = vokOneOf<5>;

constexpr OneOf anyNumber = OneOf::any();
constexpr OneOf information = {vokEventClassInformation};
constexpr OneOf warning = {vokEventClassWarning};
constexpr OneOf criticalOrFatal = {vokEventClassCritical, vokEventClassFatal};
constexpr OneOf warningToFatal = {vokEventClassWarning, vokEventClassCritical, vokEventClassFatal};
constexpr OneOf criticalToDead = {vokEventClassCritical, vokEventClassFatal, vokEventClassDead};

// What a rule asks of the health that was last reported.
enum class Health {
    any,
    notOk,
    notWarning,
    notCritical,
    good,                   // neither Critical nor Warning
    notCriticalOrForwards,  // or the setting forwards all critical events
    never,                  // the rule only names the text of the log
};

constexpr bool passes(Health wanted, VOK_RESOURCE_HEALTH health, bool forwardsAll) {
    switch (wanted) {
        case Health::any:
            return true;
        case Health::notOk:
            return health != VOK_HEALTH_OK;
        case Health::notWarning:
            return health != VOK_HEALTH_WARNING;
        case Health::notCritical:
            return health != VOK_HEALTH_CRITICAL;
        case Health::good:
            return health != VOK_HEALTH_CRITICAL && health != VOK_HEALTH_WARNING;
        case Health::notCriticalOrForwards:
            return health != VOK_HEALTH_CRITICAL || forwardsAll;
        case Health::never:
            return false;
    }
    return false;
}

struct Rule {
    OneOf classes;
    OneOf codes;
    Health health;
    vokNewStatus status;
    vokFirmwareEventAction action;
    Remark otherwise;
    Step step = Step::none;

    constexpr bool fits(const vokFirmwareEventCase& each) const {
        return classes.fits(each.eventClass) && codes.fits(each.eventCode);
    }
};

constexpr vokNewStatus kept;
constexpr vokFirmwareEventAction noEvent;

// --- a volume ---

constexpr vokNewStatus optimal = {VOK_STATE_OPTIMAL, VOK_HEALTH_OK};
constexpr vokNewStatus partlyDegraded = {VOK_STATE_PARTIALLY_DEGRADED, VOK_HEALTH_WARNING};
constexpr vokNewStatus degraded = {VOK_STATE_DEGRADED, VOK_HEALTH_WARNING};
constexpr vokNewStatus offline = {VOK_STATE_OFFLINE, VOK_HEALTH_CRITICAL};
constexpr vokNewStatus failed = {VOK_STATE_FAILED, VOK_HEALTH_CRITICAL};

constexpr std::uint32_t becameDegraded = 0xFB;
constexpr std::uint32_t becameOffline = 0xFC;

// The last three rules are followed by the forwarding rules if nothing is done.
// clang-format off
constexpr Rule volumeRules[] = {
    {information,     {0x8B},           Health::any,         kept,           noEvent,      Remark::none,
     Step::volumeDeleted},
    {information,     {0xF9},           Health::notOk,       optimal,        {683, false}, Remark::itemIsOk},
    {information,     anyNumber,        Health::never,       kept,           noEvent,      Remark::itemIsOk},
    {warning,         {0xFA},           Health::good,        partlyDegraded, {681, false}, Remark::itemIsBad},
    {warning,         anyNumber,        Health::never,       kept,           noEvent,      Remark::itemIsBad},
    {criticalOrFatal, {becameDegraded}, Health::good,        degraded,       {681, false}, Remark::itemIsCritical},
    {criticalOrFatal, {becameOffline},  Health::notCritical, offline,        {681, false}, Remark::itemIsCritical},
    {criticalOrFatal, anyNumber,        Health::never,       kept,           noEvent,      Remark::itemIsCritical},
};
// clang-format on

// With the setting only.
struct ForwardingRule {
    OneOf codes;
    vokNewStatus status;
    vokFirmwareEventAction action;

    constexpr bool fits(std::uint32_t eventCode) const { return codes.fits(eventCode); }
};

constexpr ForwardingRule forwardingRules[] = {
    {{becameDegraded, becameOffline}, kept, {681, false}},
    {anyNumber, failed, {681, false}},
};

// --- a disk ---

constexpr vokNewStatus predicted = {VOK_STATE_PREDICTIVE_FAILURE, VOK_HEALTH_WARNING};

// Required: a prediction lowers a critical disk to Warning.
// clang-format off
constexpr Rule diskRules[] = {
    {information,     {0x57},    Health::notWarning, predicted, {539, true}, Remark::itemIsBad,
     Step::predictionLogged},
    {information,     {0x70},    Health::any,        kept,      noEvent,     Remark::none, Step::diskRemoved},
    {information,     {0x72},    Health::any,        kept,      noEvent,     Remark::none, Step::diskStateChanged},
    {warning,         {0x57},    Health::notWarning, predicted, {539, true}, Remark::itemIsBad,
     Step::predictionLoggedUnstopped},
    {warning,         {0x60},    Health::notWarning, predicted, {539, true}, Remark::itemIsBad},
    {warning,         {0x70},    Health::any,        kept,      noEvent,     Remark::none, Step::diskRemoved},
    {criticalOrFatal, anyNumber, Health::notCriticalOrForwards, failed, {538, true}, Remark::itemIsCritical},
};
// clang-format on

// --- the firmware state of a disk ---

struct Branch {
    Health health;
    bool isFailed;  // sets the state Failed; otherwise the state that was set first stays
    VOK_RESOURCE_HEALTH newHealth;
    vokFirmwareEventAction action;
    Remark otherwise;
};

constexpr Branch goodBranch = {Health::notOk, false, VOK_HEALTH_OK, {540, false}, Remark::diskIsOk};
constexpr Branch badBranch = {Health::notCritical, true, VOK_HEALTH_CRITICAL, {538, true}, Remark::diskIsBad};
constexpr Branch unrecognized = {Health::never, false, VOK_HEALTH_UNKNOWN, noEvent, Remark::unknownDiskState};

struct FirmwareStateRule {
    OneOf firmwareStates;
    VOK_RESOURCE_STATE stateFirst;
    Branch branch;

    constexpr bool fits(std::uint32_t firmwareState) const { return firmwareStates.fits(firmwareState); }
};

constexpr FirmwareStateRule firmwareStateRules[] = {
    {{0, 2, 24, 32, 64}, VOK_STATE_ONLINE, goodBranch},
    {{20}, VOK_STATE_REBUILD, goodBranch},
    {{1}, VOK_STATE_UNCONFIGURED_BAD, badBranch},
    {{16}, VOK_STATE_OFFLINE, badBranch},
    {{17}, VOK_STATE_FAILED, badBranch},
    {anyNumber, VOK_STATE_UNKNOWN, unrecognized},
};

// --- the controller ---

constexpr vokNewStatus running = {VOK_STATE_RUNNING, VOK_HEALTH_OK};

// clang-format off
constexpr Rule controllerRules[] = {
    {information,    {0x0C, 0x1C4, 0x1F9, 0x1FF}, Health::notOk,                 running, {397, false},
     Remark::controllerIsOk},
    {criticalToDead, anyNumber,                   Health::notCriticalOrForwards, failed,  {398, true},
     Remark::controllerIsCritical},
};
// clang-format on

// --- its battery ---

struct BatteryRule {
    OneOf codes;
    bool changesStatus;  // of a controller in good health
    vokFirmwareEventAction action;
    Remark remark;

    constexpr bool fits(std::uint32_t eventCode) const { return codes.fits(eventCode); }
};

constexpr BatteryRule batteryRules[] = {
    {{0x92, 0x9A, 0xC8, 0xD3, 0x14A}, true, {1179, false}, Remark::none},
    {{0x8E, 0xFD, 0x133, 0x17A}, false, {1179, false}, Remark::none},
    {{0x96, 0xA1}, true, {1181, false}, Remark::none},
    {{0x91, 0x1AF}, true, {1182, false}, Remark::none},
    {{0x182}, true, {1183, false}, Remark::none},
    {anyNumber, false, noEvent, Remark::unknownBatteryEvent},
};

// --- no rule is hidden ---

constexpr std::size_t eventClasses = vokEventClassUnknown + 1;

constexpr vokFirmwareEventCase volumeOrDiskCase(std::size_t number) {
    return {static_cast<std::uint32_t>(number % eventClasses),
            static_cast<std::uint32_t>(number / eventClasses + 0x57), VOK_HEALTH_UNKNOWN, false};
}
static_assert(vokEachRuleApplies(volumeRules, eventClasses*(0xFD - 0x57), volumeOrDiskCase));
static_assert(vokEachRuleApplies(diskRules, eventClasses*(0x73 - 0x57), volumeOrDiskCase));

constexpr vokFirmwareEventCase controllerCase(std::size_t number) {
    return {static_cast<std::uint32_t>(number), 0x0C, VOK_HEALTH_UNKNOWN, false};
}
static_assert(vokEachRuleApplies(controllerRules, eventClasses, controllerCase));

constexpr std::uint32_t numberCase(std::size_t number) {
    return static_cast<std::uint32_t>(number);
}
static_assert(vokEachRuleApplies(forwardingRules, becameOffline + 1, numberCase));
static_assert(vokEachRuleApplies(firmwareStateRules, 65, numberCase));
static_assert(vokEachRuleApplies(batteryRules, 0x183, numberCase));

template <std::size_t count>
vokFirmwareEventVerdict verdictOf(const Rule (&rules)[count], const vokFirmwareEventCase& each) {
    const Rule* const rule = vokFirstRule(rules, each);
    if (!rule) return {};
    if (!passes(rule->health, each.eventHealth, each.forwardsAll)) return {{}, {}, rule->otherwise};
    return {rule->status, rule->action, Remark::none, rule->step};
}

}  // namespace

vokFirmwareEventVerdict vokVolumeVerdictOf(const vokFirmwareEventCase& each) {
    const vokFirmwareEventVerdict verdict = verdictOf(volumeRules, each);
    if (verdict.remark != Remark::itemIsCritical || !each.forwardsAll) return verdict;
    const ForwardingRule& rule = *vokFirstRule(forwardingRules, each.eventCode);
    return {rule.status, rule.action};
}

vokFirmwareEventVerdict vokDiskVerdictOf(const vokFirmwareEventCase& each) {
    return verdictOf(diskRules, each);
}

vokFirmwareEventVerdict vokControllerVerdictOf(const vokFirmwareEventCase& each) {
    return verdictOf(controllerRules, each);
}

vokFirmwareEventVerdict vokBatteryVerdictOf(const vokFirmwareEventCase& each) {
    const BatteryRule& rule = *vokFirstRule(batteryRules, each.eventCode);
    const bool isChanged = rule.changesStatus && passes(Health::good, each.eventHealth, false);
    return {isChanged ? degraded : kept, rule.action, rule.remark};
}

vokDiskStateVerdict vokDiskStateVerdictOf(std::uint32_t firmwareState, VOK_RESOURCE_HEALTH eventHealth) {
    const FirmwareStateRule& rule = *vokFirstRule(firmwareStateRules, firmwareState);
    const Branch& branch = rule.branch;
    if (!passes(branch.health, eventHealth, false)) return {rule.stateFirst, {{}, {}, branch.otherwise}};
    const VOK_RESOURCE_STATE state = branch.isFailed ? VOK_STATE_FAILED : rule.stateFirst;
    return {rule.stateFirst, {{state, branch.newHealth}, branch.action}};
}

bool vokIsAbsentVolumeLogged(std::uint32_t eventClass, std::uint32_t eventCode) {
    return criticalOrFatal.fits(eventClass) && OneOf({becameDegraded, becameOffline}).fits(eventCode);
}

bool vokIsAbsentDiskLogged(std::uint32_t eventClass) {
    return warningToFatal.fits(eventClass);
}
