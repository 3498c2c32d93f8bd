// The host's clock is set while the agent runs: what it does on timers goes on.
#include "system/SimulatedSystem.h"

namespace ClockTest {
namespace {

class ClockIsSet : public SimulatedSystem {
protected:
    static constexpr char hostBuild[] = "HOST_RM: Exiting CacheBuild";
    static constexpr char adapterBuild[] = "NIC_RM: Exiting CacheBuild";
    static constexpr char poll[] = "IPMI_DB: Checking IPMI door bell request";

    // Host and adapters, a door-bell poll a minute, and a push a day.
    void startWithAdapters() {
        Json::Value settings = usualSettings();
        settings["EnableResources"].append("EthernetDevices");
        settings["PushInventoryFrequencyInMinutes"] = "1440";
        startAll(settings);
        startAgentAndWaitForItsPush();
        ASSERT_TRUE(waitForLog(adapterBuild));
        // A wait begins after the first push, as those of the managers and the door-bell have long begun.
        ASSERT_TRUE(waitForLog(poll));
    }
    void expectLine(const std::string& words) const {
        EXPECT_TRUE(waitForLog("CLOCK: The clock was set " + words)) << agentLog();
        EXPECT_EQ(timesLogged("CLOCK:"), 1);
    }
    // Each timer has ended its wait, and the controller can ring again.
    void expectThatAllGoesOn(int hostBuilds, int adapterBuilds, int polls) {
        EXPECT_TRUE(waitForLog(hostBuild, hostBuilds + 2));
        EXPECT_TRUE(waitForLog(adapterBuild, adapterBuilds + 1));
        EXPECT_TRUE(waitForLog(poll, polls + 2));
        EXPECT_EQ(waitFor("inventory", 2), 0) << "the push whose predecessor is still to come";
        controllerControl({"ring"});
        EXPECT_EQ(waitFor("inventory", 3), 0);
        EXPECT_EQ(stopAgent(), 0);
        EXPECT_EQ(controllerCount("violations"), 0);
    }
};

TEST_F(ClockIsSet, BackByADayAndEveryTimerGoesOn) {
    startWithAdapters();
    const int hostBuilds = timesLogged(hostBuild), adapterBuilds = timesLogged(adapterBuild);
    const int polls = timesLogged(poll);
    hostControl({"clock", "jump", "-86400"});
    expectLine("back by 86");
    expectThatAllGoesOn(hostBuilds, adapterBuilds, polls);
}

TEST_F(ClockIsSet, ForwardByAYearAndBackAndEveryTimerGoesOn) {
    startWithAdapters();
    hostControl({"clock", "jump", "+31536000"});
    // All timers have timed out and begun waits of the wrong year.
    ASSERT_EQ(waitFor("inventory", 2), 0);
    ASSERT_TRUE(waitForLog("CLOCK: The clock was set forward by 31"));
    ASSERT_TRUE(waitForLog(adapterBuild, 2));
    const int hostBuilds = timesLogged(hostBuild), polls = timesLogged(poll);
    hostControl({"clock", "jump", "-31536000"});
    EXPECT_TRUE(waitForLog("CLOCK: The clock was set back by 31"));
    EXPECT_EQ(timesLogged("CLOCK:"), 2);
    EXPECT_TRUE(waitForLog(hostBuild, hostBuilds + 2));
    EXPECT_TRUE(waitForLog(adapterBuild, 3));
    EXPECT_TRUE(waitForLog(poll, polls + 2));
    EXPECT_EQ(waitFor("inventory", 3), 0);
    EXPECT_EQ(stopAgent(), 0);
    EXPECT_EQ(controllerCount("violations"), 0);
}

TEST_F(ClockIsSet, WithoutThatNothingIsLogged) {
    startWithAdapters();
    ASSERT_TRUE(waitForLog(hostBuild, 5));
    EXPECT_EQ(stopAgent(), 0);
    EXPECT_EQ(timesLogged("CLOCK:"), 0);
}

}  // namespace
}  // namespace ClockTest
