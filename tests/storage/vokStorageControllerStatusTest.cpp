// The tables of status and events, each against an independent evaluation of its rules.
#include "storage/vokStorageControllerStatus.h"

#include <gtest/gtest.h>
#include <algorithm>
#include <array>
#include <map>
#include <string>
#include <vector>

#include "storage/StorageFixture.h"

namespace vokStorageControllerStatusTest {
namespace {

// --- the status of a port ---

class PortStatus : public StorageFixture {
protected:
    static constexpr long now = 1700000000;
    static constexpr char path[] = "/sys/class/scsi_host/host0";

    PortStatus() {
        tree.addController({});
        tree.addPort({});
    }
    // The port after its attribute "state" has been read as this text.
    vokStorageControllerPortInfo judged(const std::string& text, long lastRecovery = 0) {
        tree.setPortState(0, text);
        return judgedAsItIs(lastRecovery);
    }
    vokStorageControllerPortInfo judgedAsItIs(long lastRecovery) {
        clock.set(now);
        vokStorageControllerPortInfo port;
        port.setOSInstanceName(path);
        port.setLastRecoveryTimestamp(lastRecovery);
        port.setState(VOK_STATE_DOWN);
        port.setHealth(VOK_HEALTH_UNKNOWN);
        controller->discoverControllerPortStatus(port);
        return port;
    }
    void expectStatus(const vokStorageControllerPortInfo& port, int state, int health, long lastRecovery) {
        EXPECT_EQ(port.getState(), state);
        EXPECT_EQ(port.getHealth(), health);
        EXPECT_EQ(port.getLastRecoveryTimestamp(), lastRecovery);
    }

    const Held<TestController> controller = newController({path});
};

TEST_F(PortStatus, APortWithoutAReadableStateIsOfflineAndKeepsItsTimestamp) {
    tree.removePort(0);
    expectStatus(judgedAsItIs(77), 14, 1, 77);
    expectStatus(judgedAsItIs(0), 14, 1, 0);
}

TEST_F(PortStatus, AnEmptyStateIsUnreadable) {
    expectStatus(judged("", 77), 14, 1, 77);
}

TEST_F(PortStatus, CreatedAndRunningAreWellAndClearTheTimestamp) {
    expectStatus(judged("Created", 77), 4, 2, 0);
    expectStatus(judged("Running", 77), 23, 2, 0);
}

TEST_F(PortStatus, TheCaseOfTheStateIsIgnored) {
    expectStatus(judged("created"), 4, 2, 0);
    expectStatus(judged("RUNNING"), 23, 2, 0);
    expectStatus(judged("recovery"), 23, 2, now);
    expectStatus(judged("oFFLINE"), 14, 1, 0);
    expectStatus(judged("predictive failure"), 19, 1, 0);
}

TEST_F(PortStatus, APortThatGoesIntoRecoveryRunsOnAndNotesTheTime) {
    expectStatus(judged("Recovery", 0), 23, 2, now);
    EXPECT_EQ(timesLogged("Controller port [/sys/class/scsi_host/host0] went into recovery mode."), 1);
}

TEST_F(PortStatus, APortInRecoveryRunsOn) {
    for (const long since : {now, now - 59, now - 60, now - 3600, 1L, now + 1, now + 59}) {
        SCOPED_TRACE(since);
        expectStatus(judged("Recovery", since), 23, 2, since);
    }
    EXPECT_FALSE(logged("Controller port [/sys/class/scsi_host/host0] went into recovery mode."));
}

// Required: the difference is the timestamp minus the time, so only a clock set back makes a warning.
TEST_F(PortStatus, APortIsInRecoveryOnlyAfterTheClockWasSetBackByAMinuteAsRequired) {
    for (const long since : {now + 60, now + 61, now + 86400}) {
        SCOPED_TRACE(since);
        expectStatus(judged("Recovery", since), 22, 3, since);
    }
    EXPECT_EQ(timesLogged("Controller port [/sys/class/scsi_host/host0] in recovery mode for atleast 60 "
                          "seconds."),
              3);
}

TEST_F(PortStatus, AnyOtherNameIsThatStateAndCriticalWithoutATimestamp) {
    const std::map<std::string, int> names = {{"Unknown", 0},
                                              {"Bypassed", 1},
                                              {"Cancel", 2},
                                              {"Cancel/Recovery", 3},
                                              {"Degraded", 5},
                                              {"Deleted", 6},
                                              {"Deleted/Recovery", 7},
                                              {"Diagnostic mode", 8},
                                              {"Down", 9},
                                              {"Error", 10},
                                              {"Failed", 11},
                                              {"Linkdown", 12},
                                              {"Loopback", 13},
                                              {"Offline", 14},
                                              {"Online", 15},
                                              {"Optimal", 16},
                                              {"Other", 17},
                                              {"Partially degraded", 18},
                                              {"Predictive failure", 19},
                                              {"Rebuild", 20},
                                              {"Recovering", 21},
                                              {"Unconfigured bad", 24}};
    for (const auto& [name, state] : names) {
        SCOPED_TRACE(name);
        expectStatus(judged(name, 77), state, 1, 0);
    }
}

TEST_F(PortStatus, ATextThatNamesNoStateIsUnknownAndCritical) {
    expectStatus(judged("dancing", 77), 0, 1, 0);
    expectStatus(judged("Running.", 77), 0, 1, 0);
    expectStatus(judged("Run", 77), 0, 1, 0);
}

// --- the status of a controller: all combinations of up to eight ports ---

enum Kind { running, recovering, offline, other, kinds };

struct Expected {
    int state;
    int health;
    std::string text;
};

std::string seriousText(std::size_t ports) {
    if (ports == 1)
        return "The storage controller port has gone offline or will be removed from the system, or has been "
               "in recovery state for >= 60 seconds.";
    return "At least " + std::to_string(ports - 1) + " of " + std::to_string(ports) +
           " ports of the storage controller have gone offline or will be removed from the system, or have "
           "been in recovery state for >= 60 seconds.";
}

// The rules as plain conditions, on signed numbers.
Expected expectedOf(const std::array<int, kinds>& count) {
    const int ports = count[running] + count[recovering] + count[offline] + count[other];
    const int failing = count[offline] + count[other];
    const std::string serious = ports > 0 ? seriousText(static_cast<std::size_t>(ports)) : "";
    if (count[running] == ports) return {23, 2, "The storage controller port(s) are now online."};
    if (count[running] > 0 && count[recovering] > 0 && count[recovering] < ports - 1 && failing == 0)
        return {21, 3, ""};
    if (count[recovering] >= ports - 1 && failing == 0) return {21, 1, serious};
    if (failing > 0 && failing < ports - 1) return {5, 3, ""};
    if (failing == ports - 1) return {5, 1, serious};
    if (count[other] == ports) return {11, 1, serious};
    if (count[offline] == ports) return {14, 1, serious};
    if (failing == ports) return {11, 1, serious};
    return {0, 0, ""};
}

class ControllerStatus : public testing::Test {
protected:
    void setPorts(const std::vector<VOK_RESOURCE_STATE>& states) {
        controller->currentInfo.clearControllerPortList();
        for (const VOK_RESOURCE_STATE state : states) {
            vokStorageControllerPortInfo port;
            port.setState(state);
            controller->currentInfo.addControllerPort(port);
        }
        controller->currentInfo.setState(VOK_STATE_BYPASSED);
        controller->currentInfo.setHealth(VOK_HEALTH_UNKNOWN);
        controller->currentInfo.setEventInfoString("before");
        controller->computeControllerStatus();
    }
    void expectStatus(const Expected& expected) {
        EXPECT_EQ(controller->currentInfo.getState(), expected.state);
        EXPECT_EQ(controller->currentInfo.getHealth(), expected.health);
        EXPECT_EQ(controller->currentInfo.getEventInfoString(), expected.text);
    }

    FakeHost host;
    const Held<TestController> controller = newController();
};

TEST_F(ControllerStatus, AllCombinationsOfUpToEightPortsFollowTheRules) {
    constexpr std::array<VOK_RESOURCE_STATE, kinds> stateOf = {VOK_STATE_RUNNING, VOK_STATE_RECOVERY,
                                                               VOK_STATE_OFFLINE, VOK_STATE_FAILED};
    for (std::size_t ports = 0; ports <= 8; ++ports) {
        // Each number in base 4 is one combination, in each order of the ports.
        for (std::size_t combination = 0; combination < (std::size_t{1} << (2 * ports)); ++combination) {
            std::vector<VOK_RESOURCE_STATE> states;
            std::array<int, kinds> count = {};
            for (std::size_t port = 0; port < ports; ++port) {
                const std::size_t kind = combination >> (2 * port) & 3;
                ++count.at(kind);
                states.push_back(stateOf.at(kind));
            }
            vokPortCounts counted;
            for (const VOK_RESOURCE_STATE state : states) counted.add(state);
            const vokControllerStatus* const status = vokControllerStatusOf(counted);
            const Expected expected = expectedOf(count);
            ASSERT_NE(status, nullptr) << ports << "/" << combination;
            ASSERT_EQ(status->state, expected.state) << ports << "/" << combination;
            ASSERT_EQ(status->health, expected.health) << ports << "/" << combination;
            // The orders of one combination differ in nothing but the order, so one of them shows the rest.
            if (!std::is_sorted(states.begin(), states.end())) continue;
            setPorts(states);
            expectStatus(expected);
            ASSERT_FALSE(HasFailure()) << ports << "/" << combination;
        }
    }
}

TEST_F(ControllerStatus, CreatedAndRunningCountAsRunning) {
    setPorts({VOK_STATE_CREATED, VOK_STATE_RUNNING});
    expectStatus({23, 2, "The storage controller port(s) are now online."});
}

TEST_F(ControllerStatus, EveryStateWithoutARuleOfItsOwnCountsAsOther) {
    for (int state = 0; state < 25; ++state) {
        if (state == 4 || state == 14 || state == 22 || state == 23) continue;
        SCOPED_TRACE(state);
        setPorts({static_cast<VOK_RESOURCE_STATE>(state)});
        expectStatus({11, 1, seriousText(1)});
    }
}

TEST_F(ControllerStatus, AControllerWithoutPortsIsRunning) {
    setPorts({});
    expectStatus({23, 2, "The storage controller port(s) are now online."});
}

TEST_F(ControllerStatus, TheOnlyPortOfflineMeansOffline) {
    setPorts({VOK_STATE_OFFLINE});
    expectStatus({14, 1, seriousText(1)});
}

TEST_F(ControllerStatus, OnePortRunningAndOneInRecoveryIsCriticalNotAWarning) {
    setPorts({VOK_STATE_RUNNING, VOK_STATE_RECOVERY});
    expectStatus({21, 1,
                  "At least 1 of 2 ports of the storage controller have gone offline or will be removed from "
                  "the system, or have been in recovery state for >= 60 seconds."});
}

TEST_F(ControllerStatus, OnePortOfThreeInRecoveryIsAWarningWithoutAText) {
    setPorts({VOK_STATE_RUNNING, VOK_STATE_RECOVERY, VOK_STATE_RUNNING});
    expectStatus({21, 3, ""});
}

TEST_F(ControllerStatus, OnePortOfThreeOfflineIsDegradedWithAWarning) {
    setPorts({VOK_STATE_RUNNING, VOK_STATE_OFFLINE, VOK_STATE_RUNNING});
    expectStatus({5, 3, ""});
}

TEST_F(ControllerStatus, ThreePortsOfFourOfflineIsDegradedAndCritical) {
    setPorts({VOK_STATE_OFFLINE, VOK_STATE_OFFLINE, VOK_STATE_RUNNING, VOK_STATE_OFFLINE});
    expectStatus({5, 1,
                  "At least 3 of 4 ports of the storage controller have gone offline or will be removed from "
                  "the system, or have been in recovery state for >= 60 seconds."});
}

TEST_F(ControllerStatus, OfflineAndFailedPortsTogetherMeanFailed) {
    setPorts({VOK_STATE_OFFLINE, VOK_STATE_FAILED});
    expectStatus({11, 1, seriousText(2)});
}

TEST_F(ControllerStatus, TheRecordsOfThePortsAreCountedNotTheirPaths) {
    controller->portList.clear();
    setPorts({VOK_STATE_OFFLINE, VOK_STATE_OFFLINE});
    expectStatus({14, 1, seriousText(2)});
    controller->portList = {"a", "b", "c"};
    setPorts({VOK_STATE_RUNNING, VOK_STATE_RUNNING});
    expectStatus({23, 2, "The storage controller port(s) are now online."});
}

TEST_F(ControllerStatus, OnlyStateHealthAndTextOfTheRecordChange) {
    controller->currentInfo.setModel("Array 930");
    controller->currentInfo.setEventState(VOK_STATE_DEGRADED);
    setPorts({VOK_STATE_RUNNING});
    EXPECT_EQ(controller->currentInfo.getModel(), "Array 930");
    EXPECT_EQ(controller->currentInfo.getEventState(), VOK_STATE_DEGRADED);
    EXPECT_EQ(controller->currentInfo.getControllerPortListSize(), 1u);
}

// Of a class that limits its ports.
class LimitedController : public TestController {
public:
    using TestController::TestController;
    unsigned int getMaxSupportedControllerPorts() { return 4; }
};

TEST_F(ControllerStatus, TheLimitOfASubclassHidesThatOfTheBaseWhichKeepsItsOwnAsRequired) {
    const Held<LimitedController> limited(new LimitedController(1, 2, "0000:3b:00.0", 1, true));
    EXPECT_EQ(limited->getMaxSupportedControllerPorts(), 4u);
    EXPECT_EQ(static_cast<vokStorageController*>(limited.get())->getMaxSupportedControllerPorts(), 0u);
    vokStorageControllerPortInfo port;
    port.setState(VOK_STATE_RUNNING);
    limited->currentInfo.addControllerPort(port);
    limited->computeControllerStatus();
    // A controller with one of four ports would be degraded.
    EXPECT_EQ(limited->currentInfo.getState(), VOK_STATE_RUNNING);
}

TEST(PortCounts, AStatusThatNoRuleFitsIsUnknown) {
    vokPortCounts counts;
    counts.ports = 3;  // that count as nothing
    EXPECT_EQ(vokControllerStatusOf(counts), nullptr);
}

TEST_F(ControllerStatus, OnlyAllWellAndASeriousProblemHaveAText) {
    setPorts({VOK_STATE_RUNNING, VOK_STATE_RUNNING});
    EXPECT_EQ(controller->formatControllerEventInfoString(STORAGE_EVENT_INFO_ALL_PORTS_WELL),
              "The storage controller port(s) are now online.");
    EXPECT_EQ(controller->formatControllerEventInfoString(STORAGE_EVENT_INFO_PARTIAL_PROBLEM), "");
    EXPECT_EQ(controller->formatControllerEventInfoString(STORAGE_EVENT_INFO_SERIOUS_PROBLEM),
              seriousText(2));
    EXPECT_EQ(controller->formatControllerEventInfoString(static_cast<STORAGE_EVENT_INFO_TYPE>(0)), "");
    setPorts({});
    EXPECT_EQ(controller->formatControllerEventInfoString(STORAGE_EVENT_INFO_SERIOUS_PROBLEM), "");
}

}  // namespace
}  // namespace vokStorageControllerStatusTest
