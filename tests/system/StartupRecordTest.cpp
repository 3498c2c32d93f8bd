// The events that a start derives from the record of the previous one.
#include <unistd.h>
#include <csignal>

#include "system/SimulatedSystem.h"

namespace StartupRecordTest {
namespace {

class StartupRecord : public SimulatedSystem {
protected:
    using Events = std::vector<int>;

    // Starts the agent and returns after its boot verdict and its push, when nothing more happens by itself.
    void runUntilSettled() {
        const int pushes = controllerCount("inventories");
        startAgent();
        ASSERT_EQ(waitFor("inventory", pushes + 1), 0);
        ASSERT_TRUE(waitUntil([this] {
            const auto record = startupRecord();
            return record.at("last_start") == record.at("current_start");
        }));
    }
};

TEST_F(StartupRecord, DistinguishesEachKindOfRestart) {
    startAll();
    runUntilSettled();
    EXPECT_EQ(events(), Events{}) << "the first start ever has nothing to compare with";
    EXPECT_EQ(startupRecord().at("last_stop"), 0);

    EXPECT_EQ(stopAgent(), 0);
    hostControl({"reboot"});
    runUntilSettled();
    EXPECT_EQ(events(), (Events{359, 356}));

    agent.end(SIGKILL);
    hostControl({"power-cut"});
    runUntilSettled();
    EXPECT_EQ(events(), (Events{359, 356, 360, 356}));

    agent.end(SIGKILL);
    runUntilSettled();
    EXPECT_EQ(events(), (Events{359, 356, 360, 356})) << "the agent died and came back within one boot";

    EXPECT_EQ(stopAgent(), 0);
    runUntilSettled();
    EXPECT_EQ(events(), (Events{359, 356, 360, 356})) << "it was stopped and started by hand";
    EXPECT_EQ(stopAgent(), 0);
    EXPECT_EQ(controllerCount("violations"), 0);
}

TEST_F(StartupRecord, IsWrittenBeforeAnythingElseHappens) {
    startAll();
    startAgent();
    ASSERT_TRUE(waitForLog("Creating thread for"));
    const auto record = startupRecord();
    EXPECT_GT(record.at("current_start"), 0);
    EXPECT_EQ(record.at("last_start"), 0);
    EXPECT_EQ(record.at("last_stop"), 0);
    EXPECT_EQ(stopAgent(), 0);
}

TEST_F(StartupRecord, APlantedLinkIsNotFollowed) {
    startAll();
    directory.writeFile("victim", "precious");
    ASSERT_EQ(
        ::symlink((directory.path() + "/victim").c_str(), (root() + "/var/tmp/mevVOKStartup.txt").c_str()),
        0);
    runUntilSettled();
    EXPECT_EQ(stopAgent(), 0);
    EXPECT_EQ(directory.readFile("victim"), "precious");
}

TEST_F(StartupRecord, FullOfRubbishCountsAsNoEarlierRun) {
    startAll();
    writeHostFile("/var/tmp/mevVOKStartup.txt", std::string(5000, '\xff') + "\nlast_start elephant\n\0\n");
    startAgent();
    ASSERT_EQ(waitFor("inventory", 1), 0);
    EXPECT_EQ(events(), Events{});
    EXPECT_EQ(stopAgent(), 0);
    EXPECT_EQ(startupRecord().at("current_start"), 0);
    EXPECT_GT(startupRecord().at("last_start"), 0);
}

// The host booted long after all times in these records.
struct Left {
    const char* name;
    std::string content;
    std::vector<int> events;
};

class RecordLeft : public StartupRecord, public testing::WithParamInterface<Left> {};

TEST_P(RecordLeft, CausesItsEventsAtTheNextStart) {
    startAll();
    writeHostFile("/var/tmp/mevVOKStartup.txt", GetParam().content);
    startAgent();
    ASSERT_EQ(waitFor("inventory", 1), 0);
    EXPECT_EQ(events(), GetParam().events);
    EXPECT_EQ(stopAgent(), 0);
    EXPECT_EQ(controllerCount("violations"), 0);
}

INSTANTIATE_TEST_SUITE_P(
    Table, RecordLeft,
    testing::Values(Left{"WithoutALastStop", "current_start 5\nlast_start 1000\n", {360, 356}},
                    Left{"WithEqualTimes", "last_start 1000\nlast_stop 1000\ncurrent_start 0\n", {}},
                    Left{"Empty", "", {}},
                    Left{"WithGarbageBetween",
                         "\x01\x80=\nlast_start 1000\n\n====\nlast_stop 2000 or so\ncurrent_",
                         {359, 356}},
                    Left{"WithTwoLinesOfAKeyOfWhichTheFirstCounts",
                         "last_start 1000\nlast_start 3000\nlast_stop 2000\ncurrent_start 0\n",
                         {359, 356}},
                    Left{"OfAMegabyte",
                         std::string(500000, 'x') + "\nlast_start 3000\nlast_stop 2000\n" +
                             std::string(500000, '\n'),
                         {360, 356}}),
    [](const auto& row) { return std::string(row.param.name); });

TEST_F(StartupRecord, WithoutACurrentStartKeepsItsLastStart) {
    startAll();
    writeHostFile("/var/tmp/mevVOKStartup.txt", "last_start 1000\nlast_stop 2000\n");
    startAgent();
    ASSERT_EQ(waitFor("inventory", 1), 0);
    EXPECT_EQ(events(), (Events{359, 356}));
    EXPECT_EQ(startupRecord().at("last_start"), 1000);
    EXPECT_EQ(stopAgent(), 0);
}

}  // namespace
}  // namespace StartupRecordTest
