// The states of a port, their health, and the events of every change from one state to another.
#include <gmock/gmock.h>

#include "fc/FCFixture.h"

namespace FCEventRulesTest {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

// --- state and health ---

struct PortStateRow {
    HBA_PORTSTATE portState;
    const char* state;
    const char* health;
};
constexpr PortStateRow portStateRows[] = {
    {2, "Online", "OK"},
    {3, "Offline", "Warning"},
    {4, "Bypassed", "Warning"},
    {5, "Diagnostic mode", "Warning"},
    {6, "Linkdown", "Critical"},
    {7, "Error", "Critical"},
    {8, "Loopback", "Warning"},
    {0, "Unknown", "Unknown"},
    {1, "Unknown", "Unknown"},
    {9, "Unknown", "Unknown"},  // of newer versions of the standard
    {0xFFFFFFFF, "Unknown", "Unknown"},
};

TEST(FCStates, FollowTheirTable) {
    for (const PortStateRow& row : portStateRows) {
        const VOK_RESOURCE_STATE state = FCResourceManager::getState(static_cast<int>(row.portState));
        EXPECT_STREQ(vokResourceStateMap[state], row.state) << row.portState;
        EXPECT_STREQ(vokResourceHealthMap[FCResourceManager::getHealth(state)], row.health) << row.portState;
    }
}

TEST(FCStates, OfOtherResourcesHaveNoHealthHere) {
    for (const int state : {0, 2, 3, 4, 5, 6, 7, 9, 11, 16, 17, 18, 19, 20, 21, 22, 23, 24, 25, 255})
        EXPECT_EQ(FCResourceManager::getHealth(static_cast<VOK_RESOURCE_STATE>(state)), VOK_HEALTH_UNKNOWN)
            << state;
}

class FCStatus : public FCFixture {};

TEST_F(FCStatus, IsThatOfTheTableInTheInventory) {
    for (const PortStateRow& row : portStateRows) {
        buildWith(row.portState);
        const Json::Value status = inventory().at(0)["Status"];
        EXPECT_EQ(status["State"], row.state) << row.portState;
        EXPECT_EQ(status["Health"], row.health) << row.portState;
    }
}

// --- events ---

// From the state of a row to that of a column: unknown, online, offline, bypassed, diagnostics, link down,
// error, loopback. 0: no event.
constexpr HBA_PORTSTATE order[] = {1, 2, 3, 4, 5, 6, 7, 8};
constexpr int expected[8][8] = {
    {0, 384, 385, 0, 386, 386, 388, 0},    // unknown
    {386, 0, 385, 0, 386, 386, 388, 0},    // online
    {386, 384, 0, 0, 386, 386, 388, 0},    // offline
    {386, 384, 385, 0, 386, 386, 388, 0},  // bypassed
    {386, 384, 385, 0, 0, 386, 388, 0},    // diagnostics
    {386, 1391, 385, 0, 386, 0, 388, 0},   // link down
    {386, 384, 385, 0, 386, 386, 0, 0},    // error
    {386, 384, 385, 0, 386, 386, 388, 0},  // loopback
};

class FCChanges : public FCFixture {
protected:
    FCChanges() { letEventsPass(ipmi); }
};

TEST_F(FCChanges, RaiseTheEventsOfTheirTableForEveryPairOfStates) {
    for (int from = 0; from < 8; ++from)
        for (int to = 0; to < 8; ++to) {
            buildWith(order[from]);
            const std::vector<int> ids = buildWith(order[to]);
            if (expected[from][to] == 0)
                EXPECT_THAT(ids, IsEmpty()) << order[from] << " to " << order[to];
            else
                EXPECT_THAT(ids, ElementsAre(expected[from][to])) << order[from] << " to " << order[to];
        }
}

TEST(FCEventInfo, RequiresServiceForAFailureAndALostLinkOnlyAndLeavesTheMarkOtherwise) {
    struct Row {
        VOK_RESOURCE_STATE current;
        int eventId;
        bool mark;
    };
    constexpr Row rows[] = {
        {VOK_STATE_LINKDOWN, 386, true}, {VOK_STATE_ERROR, 388, true},
        {VOK_STATE_UNKNOWN, 386, true},  {VOK_STATE_DIAGNOSTIC_MODE, 386, true},
        {VOK_STATE_OFFLINE, 385, false}, {VOK_STATE_ONLINE, 384, false},
        {VOK_STATE_LOOPBACK, 0, false},  {VOK_STATE_BYPASSED, 0, false},
        {VOK_STATE_DEGRADED, 386, true}, {VOK_STATE_UNCONFIGURED_BAD, 386, true},
    };
    for (const Row& row : rows) {
        int eventId = 7;
        bool isService = false;
        FCResourceManager::fetchFCEventInfo(row.current, VOK_STATE_RUNNING, eventId, isService);
        EXPECT_EQ(eventId, row.eventId) << row.current;
        EXPECT_EQ(isService, row.mark) << row.current;
        isService = true;
        FCResourceManager::fetchFCEventInfo(row.current, VOK_STATE_RUNNING, eventId, isService);
        EXPECT_TRUE(isService) << row.current;
    }
}

TEST(FCEventInfo, OfAStateUnderTheKeyDiagnosticModeWouldBeNoEvent) {
    EXPECT_EQ(FCResourceManager::fcStateToEnumMap.at("DiagnosticMode"), 4);
    FCResourceManager::fcStateToEnumMap["Diagnostic mode"] = fcDiagnostic;
    int eventId = 7;
    bool isService = false;
    FCResourceManager::fetchFCEventInfo(VOK_STATE_DIAGNOSTIC_MODE, VOK_STATE_ONLINE, eventId, isService);
    EXPECT_EQ(eventId, 0);
    EXPECT_FALSE(isService);
}

TEST(FCStateMap, HasTheSevenStatesOfAPort) {
    const std::map<std::string, fcState> seven = {{"Linkdown", fcState(0)},      {"Error", fcState(1)},
                                                  {"Offline", fcState(2)},       {"Online", fcState(3)},
                                                  {"Loopback", fcState(5)},      {"Bypassed", fcState(6)},
                                                  {"DiagnosticMode", fcState(4)}};
    EXPECT_EQ(FCResourceManager::fcStateToEnumMap, seven);
}

TEST(FCStateMap, TakesAnyOtherStateInAsLinkDown) {
    int eventId = 0;
    bool isService = false;
    FCResourceManager::fetchFCEventInfo(VOK_STATE_UNKNOWN, VOK_STATE_ONLINE, eventId, isService);
    FCResourceManager::fetchFCEventInfo(VOK_STATE_DIAGNOSTIC_MODE, VOK_STATE_ONLINE, eventId, isService);
    FCResourceManager::fetchFCEventInfo(VOK_STATE_ONLINE, VOK_STATE_UNKNOWN, eventId, isService);
    ASSERT_EQ(FCResourceManager::fcStateToEnumMap.size(), 9u);
    EXPECT_EQ(FCResourceManager::fcStateToEnumMap.at("Unknown"), fcLinkDown);
    EXPECT_EQ(FCResourceManager::fcStateToEnumMap.at("Diagnostic mode"), fcLinkDown);
}

}  // namespace
}  // namespace FCEventRulesTest
