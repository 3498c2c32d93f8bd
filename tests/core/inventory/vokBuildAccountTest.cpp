// What the status record says of the builds of a manager.
#include "core/inventory/vokBuildAccount.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "core/inventory/SampleManager.h"
#include "core/status/vokStatusRecord.h"
#include "platform/utils/vokCommandOutcome.h"

namespace vokBuildAccountTest {
namespace {

using testing::SizeIs;

class BuildAccount : public testing::Test {
protected:
    BuildAccount() {
        host.root.writeFile("/var/run/keep", "");
        vokStatusStart start;
        start.classes = {{2, true}, {3, true}};
        vokOpenStatus(start);
    }
    static vokClassStatus statusOf(int id) {
        std::string reason;
        for (const vokClassStatus& status : vokReadStatus(reason).value_or(vokStatusSnapshot{}).classes)
            if (status.id == id) return status;
        return {};
    }
    static Json::Value document(const char* state, const char* health) {
        Json::Value value(Json::objectValue);
        value["Status"]["State"] = state;
        value["Status"]["Health"] = health;
        return value;
    }

    FakeHost host;
    FakeClock& clock = host.part<FakeClock>();
};

TEST_F(BuildAccount, ABuildIsInProgressUntilItsEventsAreRaised) {
    SampleManager manager;
    manager.records = {1, 2, 3};
    manager.onGather = [&] {
        EXPECT_TRUE(statusOf(3).isBuilding);
        EXPECT_EQ(statusOf(3).buildBegin, 1700000000);
        manager.records = {1, 2, 3};
        clock.advance(4);
        clock.advanceSteady(4);
        return SampleManager::gathered::complete;
    };
    manager.onAfterBuild = [] { EXPECT_FALSE(statusOf(3).ready); };
    manager.cacheBuild();
    const vokClassStatus status = statusOf(3);
    EXPECT_TRUE(status.ready);
    EXPECT_FALSE(status.isBuilding);
    EXPECT_EQ(status.records, 3u);
    EXPECT_EQ(status.lastBuildEnd, 1700000004);
    EXPECT_EQ(status.lastBuildDuration, 4000u);
    EXPECT_EQ(status.builds, 1u);
}

TEST_F(BuildAccount, ABuildThatTheStopCutsShortIsNotCounted) {
    SampleManager manager;
    manager.onGather = [] { return SampleManager::gathered::cutShort; };
    manager.cacheBuild();
    EXPECT_FALSE(statusOf(3).isBuilding);
    EXPECT_FALSE(statusOf(3).ready);
    EXPECT_EQ(statusOf(3).builds, 0u);
}

TEST_F(BuildAccount, AnAbandonedBuildEndsReadyAndEmpty) {
    SampleManager manager;
    manager.onGather = [] { return SampleManager::gathered::abandoned; };
    manager.cacheBuild();
    EXPECT_TRUE(statusOf(3).ready);
    EXPECT_EQ(statusOf(3).records, 0u);
    EXPECT_EQ(statusOf(3).lastBuildEnd, 1700000000);
}

TEST_F(BuildAccount, ACommandThatFailsWithinABuildIsCountedToItsClass) {
    SampleManager manager;
    manager.onGather = [] {
        vokReportCommand("TAG", "command 1", "exit status 1");
        vokReportCommand("TAG", "command 1", "exit status 1");
        vokReportCommand("TAG", "command 2", "");
        return SampleManager::gathered::complete;
    };
    manager.cacheBuild();
    vokReportCommand("TAG", "command 3", "exit status 1");
    EXPECT_EQ(statusOf(3).failedCommands, 2u);
    EXPECT_EQ(statusOf(2).failedCommands, 0u);
}

TEST_F(BuildAccount, RecordsAreCountedBySectionAndHealth) {
    const vokBuildAccount account(2);
    vokAccountForInventory(
        2, {{document("Running", "OK"), document("Running", "Critical")},
            {document("Online", "OK"), document("Linkdown", "Warning"), document("Linkdown", "Unknown"),
             Json::Value("no object"), Json::Value(Json::objectValue)},
            {}});
    const auto sections = statusOf(2).sections;
    ASSERT_THAT(sections, SizeIs(3));
    EXPECT_EQ(sections[0].name, "StorageControllers");
    EXPECT_EQ(sections[0].ok, 1u);
    EXPECT_EQ(sections[0].critical, 1u);
    EXPECT_EQ(sections[1].name, "Drives");
    EXPECT_EQ(sections[1].ok, 1u);
    EXPECT_EQ(sections[1].warning, 1u);
    EXPECT_EQ(sections[1].unknown, 3u);
    EXPECT_EQ(sections[1].linkDown, 2u);
    EXPECT_EQ(sections[2].name, "Volumes");
    EXPECT_EQ(sections[2].ok + sections[2].warning + sections[2].critical + sections[2].unknown, 0u);
    EXPECT_EQ(statusOf(2).records, 7u);
}

TEST_F(BuildAccount, AnInventoryThatChangesBetweenTwoBuildsIsNoted) {
    SampleManager manager;
    manager.cacheBuild();
    EXPECT_EQ(statusOf(3).records, 1u);
    manager.records = {1, 2};
    manager.createJsonStringUsingJsonCpp();
    EXPECT_EQ(statusOf(3).records, 2u);
    EXPECT_EQ(statusOf(3).builds, 1u);
}

TEST_F(BuildAccount, TheNextBuildIsPlannedWhileTheLoopWaits) {
    SampleManager manager;
    clock.onTimedWait = [&](const timespec& deadline) {
        EXPECT_EQ(statusOf(3).nextBuild, static_cast<std::int64_t>(deadline.tv_sec));
        manager.stopSample = true;  // the waiter's mutex is held
        return true;
    };
    manager.init();
    EXPECT_EQ(statusOf(3).nextBuild, 0) << "none after the end of the run";
}

TEST_F(BuildAccount, AWaitThatEndsBeforeTheRefreshIsDuePlansNoBuild) {
    class OftenAwake : public SampleManager {
        long wakeInterval(long) override { return 10; }
    } manager;
    clock.onTimedWait = [&](const timespec& deadline) {
        EXPECT_EQ(deadline.tv_sec, 1700000010);
        EXPECT_EQ(statusOf(3).nextBuild, 1700000060) << "a minute after the first";
        manager.stopSample = true;  // the waiter's mutex is held
        return true;
    };
    manager.init();
}

}  // namespace
}  // namespace vokBuildAccountTest
