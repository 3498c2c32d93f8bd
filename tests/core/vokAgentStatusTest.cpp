#include "core/vokAgentStatus.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include "core/status/vokHistory.h"
#include "core/status/vokStatusSnapshot.h"
#include "support/FakeClock.h"
#include "support/FakeHost.h"
#include "support/LoggedLines.h"

namespace vokAgentStatusTest {
namespace {

using testing::SizeIs;

class AgentStatus : public testing::Test {
protected:
    AgentStatus() {
        logEverything(host, R"("EnableResources": ["EthernetDevices", "HostOSInfo"],
                               "PushInventoryFrequencyInMinutes": "30", "IPMIDoorBellMonitorInterval": "20")");
        host.root.writeFile("/var/run/keep", "");
    }
    static vokStatusSnapshot status() {
        std::string reason;
        return vokReadStatus(reason).value_or(vokStatusSnapshot{});
    }

    FakeHost host;
    FakeClock& clock = host.part<FakeClock>();
};

TEST_F(AgentStatus, AStartNamesTheVersionTheProcessAndTheClassesOfTheBuild) {
    const vokAgentStatus agent;
    const vokStatusSnapshot read = status();
    EXPECT_EQ(read.version, "3.3.2.1");
    EXPECT_EQ(read.process, static_cast<std::uint32_t>(::getpid()));
    EXPECT_EQ(read.start, 1700000000);
    EXPECT_EQ(read.stop, 0);
    EXPECT_EQ(read.pushSeconds, 1800u);
    EXPECT_EQ(read.doorBellSeconds, 1200u);
    ASSERT_THAT(read.classes, SizeIs(4));
    EXPECT_EQ(read.classes[0].name, "FibreChannelDevices");
    EXPECT_FALSE(read.classes[0].enabled);
    EXPECT_EQ(read.classes[1].name, "HostOSInfo");
    EXPECT_TRUE(read.classes[1].enabled);
    EXPECT_EQ(read.classes[2].name, "StorageControllers");
    EXPECT_FALSE(read.classes[2].enabled);
    EXPECT_EQ(read.classes[3].name, "EthernetDevices");
    EXPECT_TRUE(read.classes[3].enabled);
}

TEST_F(AgentStatus, AStartAndAGracefulStopAreInTheHistory) {
    {
        const vokAgentStatus agent;
        clock.advance(90);
        clock.advanceSteady(90);
    }
    EXPECT_EQ(status().stop, 1700000090);
    std::vector<vokHistoryEntry> entries;
    std::string reason;
    ASSERT_TRUE(vokReadHistory(10, entries, reason)) << reason;
    ASSERT_THAT(entries, SizeIs(2));
    EXPECT_EQ(entries[0].kind, vokHistoryKind::start);
    EXPECT_EQ(entries[0].time, 1700000000);
    EXPECT_EQ(entries[0].subject, "vokd 3.3.2.1, process " + std::to_string(::getpid()));
    EXPECT_EQ(entries[1].kind, vokHistoryKind::stop);
    EXPECT_EQ(entries[1].time, 1700000090);
    EXPECT_EQ(entries[1].duration, 90000u);
}

}  // namespace
}  // namespace vokAgentStatusTest
