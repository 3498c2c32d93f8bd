// The tables of the events of a RAID controller's firmware, row by row; which events are service events shows
// only here.
#include "megaraid/vokMegaRAIDEventRules.h"

#include <gtest/gtest.h>
#include <cstdint>
#include <vector>

namespace vokMegaRAIDEventsRulesTest {
namespace {

using Remark = vokFirmwareEventRemark;
using Step = vokFirmwareEventStep;

constexpr VOK_RESOURCE_HEALTH healths[] = {VOK_HEALTH_UNKNOWN, VOK_HEALTH_CRITICAL, VOK_HEALTH_OK,
                                           VOK_HEALTH_WARNING};

struct Expected {
    int state;   // -1: kept
    int health;  // likewise
    int eventId;
    bool isService;
    Remark remark;
    Step step;
};
constexpr Expected nothing = {-1, -1, 0, false, Remark::none, Step::none};
constexpr Expected only(Remark remark) {
    return {-1, -1, 0, false, remark, Step::none};
}
constexpr Expected only(Step step) {
    return {-1, -1, 0, false, Remark::none, step};
}
constexpr Expected raises(int state, int health, int eventId, bool isService, Step step = Step::none) {
    return {state, health, eventId, isService, Remark::none, step};
}

void expectVerdict(const vokFirmwareEventVerdict& verdict, const Expected& expected) {
    EXPECT_EQ(verdict.status.isSet, expected.state >= 0);
    if (verdict.status.isSet) {
        EXPECT_EQ(verdict.status.state, expected.state);
        EXPECT_EQ(verdict.status.health, expected.health);
    }
    EXPECT_EQ(verdict.action.eventId, expected.eventId);
    EXPECT_EQ(verdict.action.isService, expected.isService);
    EXPECT_EQ(verdict.remark, expected.remark);
    EXPECT_EQ(verdict.step, expected.step);
}

// One row: what is expected for each health, in the order Unknown, Critical, OK, Warning.
struct Row {
    std::vector<std::uint32_t> classes;
    std::vector<std::uint32_t> codes;
    bool forwardsAll;
    Expected expected[4];
};

using Judge = vokFirmwareEventVerdict (*)(const vokFirmwareEventCase& each);

void expectRows(Judge judge, const std::vector<Row>& rows) {
    for (const Row& row : rows)
        for (const std::uint32_t eventClass : row.classes)
            for (const std::uint32_t code : row.codes)
                for (const VOK_RESOURCE_HEALTH health : healths) {
                    SCOPED_TRACE(testing::Message() << "class " << eventClass << ", code " << code
                                                    << ", health " << health << ", " << row.forwardsAll);
                    expectVerdict(judge({eventClass, code, health, row.forwardsAll}), row.expected[health]);
                }
}

TEST(MegaRAIDEventsRules, AVolume) {
    constexpr Expected isOk = only(Remark::itemIsOk);
    constexpr Expected isBad = only(Remark::itemIsBad);
    constexpr Expected isCritical = only(Remark::itemIsCritical);
    constexpr Expected deleted = only(Step::volumeDeleted);
    constexpr Expected optimal = raises(16, 2, 683, false);
    constexpr Expected partly = raises(18, 3, 681, false);
    constexpr Expected degraded = raises(5, 3, 681, false);
    constexpr Expected offline = raises(14, 1, 681, false);
    constexpr Expected failed = raises(11, 1, 681, false);
    constexpr Expected forwarded = raises(-1, -1, 681, false);
    for (const bool forwards : {false, true}) {
        expectRows(vokVolumeVerdictOf,
                   {{{2}, {0x8B}, forwards, {deleted, deleted, deleted, deleted}},
                    {{2}, {0xF9}, forwards, {optimal, optimal, isOk, optimal}},
                    {{2}, {0, 0x8A, 0xFA, 0xFB, 0xFC, 0x220}, forwards, {isOk, isOk, isOk, isOk}},
                    {{3}, {0xFA}, forwards, {partly, isBad, partly, isBad}},
                    {{3}, {0, 0x8B, 0xF9, 0xFB, 0xFC}, forwards, {isBad, isBad, isBad, isBad}},
                    {{0, 1, 6, 7, 0xFFFFFFFF},
                     {0, 0x8B, 0xF9, 0xFA, 0xFB, 0xFC},
                     forwards,
                     {nothing, nothing, nothing, nothing}}});
    }
    expectRows(
        vokVolumeVerdictOf,
        {{{4, 5}, {0xFB}, false, {degraded, isCritical, degraded, isCritical}},
         {{4, 5}, {0xFC}, false, {offline, isCritical, offline, offline}},
         {{4, 5}, {0, 0x10, 0x8B, 0xF9, 0xFA}, false, {isCritical, isCritical, isCritical, isCritical}},
         {{4, 5}, {0xFB}, true, {degraded, forwarded, degraded, forwarded}},
         {{4, 5}, {0xFC}, true, {offline, forwarded, offline, offline}},
         {{4, 5}, {0, 0x10, 0x8B, 0xF9, 0xFA}, true, {failed, failed, failed, failed}}});
}

// Required: only Warning protects a disk from a prediction, so that a critical disk is lowered to Warning.
TEST(MegaRAIDEventsRules, ADisk) {
    constexpr Expected isBad = only(Remark::itemIsBad);
    constexpr Expected isCritical = only(Remark::itemIsCritical);
    constexpr Expected stopped = raises(19, 3, 539, true, Step::predictionLogged);
    constexpr Expected unstopped = raises(19, 3, 539, true, Step::predictionLoggedUnstopped);
    constexpr Expected predicted = raises(19, 3, 539, true);
    constexpr Expected failed = raises(11, 1, 538, true);
    constexpr Expected removed = only(Step::diskRemoved);
    constexpr Expected changed = only(Step::diskStateChanged);
    for (const bool forwards : {false, true}) {
        expectRows(vokDiskVerdictOf,
                   {{{2}, {0x57}, forwards, {stopped, stopped, stopped, isBad}},
                    {{3}, {0x57}, forwards, {unstopped, unstopped, unstopped, isBad}},
                    {{3}, {0x60}, forwards, {predicted, predicted, predicted, isBad}},
                    {{2, 3}, {0x70}, forwards, {removed, removed, removed, removed}},
                    {{2}, {0x72}, forwards, {changed, changed, changed, changed}},
                    {{2}, {0, 0x60, 0x71, 0xF9}, forwards, {nothing, nothing, nothing, nothing}},
                    {{3}, {0, 0x58, 0x71, 0x72}, forwards, {nothing, nothing, nothing, nothing}},
                    {{0, 1, 6, 7, 0xFFFFFFFF},
                     {0, 0x57, 0x60, 0x70, 0x72},
                     forwards,
                     {nothing, nothing, nothing, nothing}}});
    }
    expectRows(vokDiskVerdictOf,
               {{{4, 5}, {0, 0x57, 0x60, 0x70, 0x72}, false, {failed, isCritical, failed, failed}},
                {{4, 5}, {0, 0x57, 0x60, 0x70, 0x72}, true, {failed, failed, failed, failed}}});
}

TEST(MegaRAIDEventsRules, AController) {
    constexpr Expected isOk = only(Remark::controllerIsOk);
    constexpr Expected isCritical = only(Remark::controllerIsCritical);
    constexpr Expected running = raises(23, 2, 397, false);
    constexpr Expected failed = raises(11, 1, 398, true);
    for (const bool forwards : {false, true}) {
        expectRows(
            vokControllerVerdictOf,
            {{{2}, {0x0C, 0x1C4, 0x1F9, 0x1FF}, forwards, {running, running, isOk, running}},
             {{2}, {0, 0x0B, 0x1C3, 0x1FE, 0x220}, forwards, {nothing, nothing, nothing, nothing}},
             {{0, 1, 3, 7, 0xFFFFFFFF}, {0, 0x0C, 0x1C4}, forwards, {nothing, nothing, nothing, nothing}}});
    }
    expectRows(vokControllerVerdictOf,
               {{{4, 5, 6}, {0, 0x0C, 0x1C4, 0x220}, false, {failed, isCritical, failed, failed}},
                {{4, 5, 6}, {0, 0x0C, 0x1C4, 0x220}, true, {failed, failed, failed, failed}}});
}

TEST(MegaRAIDEventsRules, ABatteryWhateverTheClass) {
    struct Group {
        std::vector<std::uint32_t> codes;
        bool changesStatus;
        int eventId;
    };
    const std::vector<std::uint32_t> classes = {0, 1, 2, 3, 4, 5, 6, 7};
    for (const bool forwards : {false, true}) {
        for (const Group& group :
             {Group{{0x92, 0x9A, 0xC8, 0xD3, 0x14A}, true, 1179},
              Group{{0x8E, 0xFD, 0x133, 0x17A}, false, 1179}, Group{{0x96, 0xA1}, true, 1181},
              Group{{0x91, 0x1AF}, true, 1182}, Group{{0x182}, true, 1183}}) {
            const Expected kept = raises(-1, -1, group.eventId, false);
            const Expected changed = group.changesStatus ? raises(5, 3, group.eventId, false) : kept;
            expectRows(vokBatteryVerdictOf,
                       {{classes, group.codes, forwards, {changed, kept, changed, kept}}});
        }
        constexpr Expected unknown = only(Remark::unknownBatteryEvent);
        expectRows(
            vokBatteryVerdictOf,
            {{classes, {0, 0x90, 0x93, 0x183, 0x220}, forwards, {unknown, unknown, unknown, unknown}}});
    }
}

TEST(MegaRAIDEventsRules, TheFirmwareStateOfADisk) {
    struct StateRow {
        std::vector<std::uint32_t> firmwareStates;
        int stateFirst;
        Expected expected[4];
    };
    constexpr Expected isOk = only(Remark::diskIsOk);
    constexpr Expected isBad = only(Remark::diskIsBad);
    constexpr Expected unknown = only(Remark::unknownDiskState);
    constexpr Expected online = raises(15, 2, 540, false);
    constexpr Expected rebuild = raises(20, 2, 540, false);
    constexpr Expected failed = raises(11, 1, 538, true);
    const std::vector<StateRow> rows = {
        {{0, 2, 24, 32, 64}, 15, {online, online, isOk, online}},
        {{20}, 20, {rebuild, rebuild, isOk, rebuild}},
        {{1}, 24, {failed, isBad, failed, failed}},
        {{16}, 14, {failed, isBad, failed, failed}},
        {{17}, 11, {failed, isBad, failed, failed}},
        {{3, 15, 18, 19, 21, 23, 25, 31, 33, 63, 65, 0xFFFF}, 0, {unknown, unknown, unknown, unknown}},
    };
    for (const StateRow& row : rows)
        for (const std::uint32_t firmwareState : row.firmwareStates)
            for (const VOK_RESOURCE_HEALTH health : healths) {
                SCOPED_TRACE(testing::Message() << "state " << firmwareState << ", health " << health);
                const vokDiskStateVerdict found = vokDiskStateVerdictOf(firmwareState, health);
                EXPECT_EQ(found.stateFirst, row.stateFirst);
                expectVerdict(found.verdict, row.expected[health]);
            }
}

TEST(MegaRAIDEventsRules, AnAbsentVolumeIsLoggedForCriticalAndFatalDegradationOnly) {
    for (std::uint32_t eventClass = 0; eventClass < 8; ++eventClass)
        for (const std::uint32_t code : {0xF9u, 0xFAu, 0xFBu, 0xFCu, 0xFDu})
            EXPECT_EQ(vokIsAbsentVolumeLogged(eventClass, code),
                      (eventClass == 4 || eventClass == 5) && (code == 0xFB || code == 0xFC))
                << eventClass << ", " << code;
}

TEST(MegaRAIDEventsRules, AnAbsentDiskIsLoggedFromWarningToFatal) {
    for (std::uint32_t eventClass = 0; eventClass < 8; ++eventClass)
        EXPECT_EQ(vokIsAbsentDiskLogged(eventClass), eventClass >= 3 && eventClass <= 5) << eventClass;
}

}  // namespace
}  // namespace vokMegaRAIDEventsRulesTest
