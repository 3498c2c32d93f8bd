#include "rmc/vokJsonAggregator.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <future>
#include <thread>

#include "core/inventory/vokFactory.h"
#include "core/inventory/vokResourceManager.h"
#include "core/inventory/vokResources.h"
#include "rmc/StandInManagers.h"
#include "rmc/vokIPMIDBService.h"
#include "support/FakeClock.h"
#include "support/FakeCommands.h"
#include "support/FakeHost.h"
#include "support/FakeIpmi.h"
#include "support/FakeSystem.h"

namespace AggregatorTest {
namespace {

using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;

// Thrown out of a wait to end a thread's body that would otherwise run for ever.
struct EndOfTest {};

class Aggregator : public testing::Test {
protected:
    void configure(const std::string& more = "") {
        host.root.writeFile("/etc/config/mev/vok/vok.conf",
                            R"({"LoggingLevel": "Info", "EnableDebugLog": "true",
                                "VOKLogLocation": "/log/vok.log", "DebugLogLocation": "/log/debug.log")" +
                                more + "}");
    }
    // Of every manager in this build; on this host those of adapters and storage controllers stay empty.
    void buildInventories() {
        for (const vokResource& resource : vokResources())
            if (vokResourceManager* const manager = vokFactory().createInstance(resource.id))
                manager->cacheBuild();
    }
    void buildHostInventory() { vokFactory().createInstance(1)->cacheBuild(); }
    std::string log() { return host.root.readFile("/log/vok.log"); }
    std::string debugLog() { return host.root.readFile("/log/debug.log"); }
    std::vector<std::string> payloads() { return ipmi.remoteCommandPayloads(); }
    static std::size_t count(const std::string& text, const std::string& word) {
        std::size_t found = 0;
        for (auto at = text.find(word); at != std::string::npos; at = text.find(word, at + 1)) ++found;
        return found;
    }
    FakeHost host;
    FakeClock& clock = host.part<FakeClock>();
    FakeCommands& commands = host.part<FakeCommands>();
    FakeSystem& system = host.part<FakeSystem>();
    FakeIpmi& ipmi = host.add<FakeIpmi>();
    vokJsonAggregator& aggregator = *vokJsonAggregator::getInstance();
};

TEST_F(Aggregator, TheDocumentIsOneLineWithSortedKeysUnderOneKey) {
    configure(R"(, "PushInventoryFrequencyInMinutes": "30")");
    ::setenv("TZ", "UTC", 1);
    commands.output["localcli system version get | grep -i Product"] = "   Product: VMware ESXi\n";
    commands.output["localcli system version get | grep -i Version:"] = "   Version: 7.0.3\n";
    buildHostInventory();
    EXPECT_EQ(
        aggregator.getInventoryDocument(),
        R"({"HostDataCollection":{"Oem":{"CollectionInfo":{"CollectionFrequencyMin":30,)"
        R"("CollectionType":"RemoteSupport","LastCollection":"Nov 14 22:13:20"},"HostOSInfo":{"HostName":)"
        R"("testhost","IPv4Addresses":[{"Address":"10.1.2.3"}],"OSDescription":)"
        R"("VMkernel testhost 7.0.3 #1 SMP Release build-20036589 x86_64","OSMemorySummary":)"
        R"({"TotalFreeSystemMemoryGiB":0.0,"TotalSystemMemoryGiB":0.0},"OSName":"VMwareESXi",)"
        R"("OSSoftwareSummary":{"VokSwVersion":"3.3.2.1"},"OSType":104,"OSVersion":"7.0.3"}}}})");
    EXPECT_TRUE(ipmi.requests().empty());
    EXPECT_FALSE(aggregator.isInventorySent());
}

TEST_F(Aggregator, InvalidBytesStillYieldAValidDocument) {
    configure();
    system.nodeName = "bad\xff\xfe\x01name";
    buildHostInventory();
    const std::string document = aggregator.getInventoryDocument();
    for (const char c : document) EXPECT_TRUE(c >= 0x20 && c < 0x7F) << document;
    EXPECT_THAT(document, HasSubstr("bad"));
}

TEST_F(Aggregator, APushSendsTheDocumentAndOpensTheGate) {
    configure();
    buildHostInventory();
    aggregator.createInventoryJsonString();
    EXPECT_TRUE(aggregator.isInventorySent());
    ASSERT_EQ(payloads().size(), 1U);
    EXPECT_EQ(payloads()[0], aggregator.getInventoryDocument());
    EXPECT_THAT(log(), HasSubstr("JSON_AGGR: *************printing final Json String*******\n"));
    EXPECT_THAT(log(), HasSubstr("JSON_AGGR: " + payloads()[0] + "\n"));
    EXPECT_THAT(debugLog(), HasSubstr("JSON_AGGR: RM inventory type: [0]\n"));
    EXPECT_THAT(debugLog(), HasSubstr("JSON_AGGR: Success in delivering inventory string to RMC!\n"));
}

TEST_F(Aggregator, AFailedPushIsLoggedAndOpensTheGateToo) {
    configure();
    buildHostInventory();
    ipmi.answer({{0, 5, 0, 0, 0}});
    aggregator.createInventoryJsonString();
    EXPECT_TRUE(aggregator.isInventorySent());
    EXPECT_THAT(log(), EndsWith("JSON_AGGR: An Error occurred in delivering inventory string to RMC!\n"));
}

TEST_F(Aggregator, WhatTheControllerAnsweredToAPushIsInTheLog) {
    configure();
    buildHostInventory();
    aggregator.createInventoryJsonString();
    const std::string size = std::to_string(payloads().at(0).size());
    const std::string requests = std::to_string(ipmi.requests().size());
    EXPECT_THAT(log(), HasSubstr("JSON_AGGR: Inventory of " + size + " bytes in " + requests +
                                 " requests: the controller accepted it\n"));
}

TEST_F(Aggregator, APushThatASilentControllerCountsAsDoneIsNotCalledAccepted) {
    configure();
    buildHostInventory();
    ipmi.answer({{0xC3}});
    aggregator.createInventoryJsonString();
    EXPECT_THAT(log(), HasSubstr(" requests: request 1 was answered with completion code 0xC3 (timeout; "));
    EXPECT_THAT(log(), Not(HasSubstr("accepted")));
    EXPECT_THAT(debugLog(), HasSubstr("JSON_AGGR: Success in delivering inventory string to RMC!\n"));
}

TEST_F(Aggregator, TheGateOpensAlthoughNothingWasSent) {
    configure(R"(, "EnableResources": ["NoSuchResource"])");
    aggregator.createInventoryJsonString();
    EXPECT_TRUE(aggregator.isInventorySent());
    EXPECT_TRUE(ipmi.requests().empty());
    EXPECT_THAT(log(), EndsWith("JSON_AGGR: No inventory information found!\n"));
}

TEST_F(Aggregator, WithAllResourcesDisabledItIsReadyAfterOnePause) {
    configure(R"(, "EnableResources": ["NoSuchResource"], "InventoryQueryIntervalInSeconds": "7")");
    std::vector<long long> waits;
    clock.onTimedWait = [&](const timespec&) -> bool {
        waits.push_back(clock.waitedSeconds().back());
        if (waits.size() == 2) throw EndOfTest{};
        return false;
    };
    EXPECT_THROW(aggregator.initializeCachePush(), EndOfTest);
    EXPECT_THAT(waits, ElementsAre(7, 1440 * 60));
    EXPECT_EQ(count(log(), "No inventory information found!"), 1U);
    EXPECT_TRUE(aggregator.isInventorySent());
    EXPECT_TRUE(ipmi.requests().empty());
}

TEST_F(Aggregator, AnInvalidByteLosesNothingAfterIt) {
    configure();
    system.nodeName = "rack\xC3";
    buildHostInventory();
    EXPECT_THAT(aggregator.getInventoryDocument(), HasSubstr(R"("HostName":"rack\ufffd","IPv4Addresses")"));
}

TEST_F(Aggregator, AReadyHostIsPushedAfterOnePauseAndMissingManagersAreSkipped) {
    configure(R"(, "InventoryQueryIntervalInSeconds": "3")");
    standInFor(0, nullptr);
    buildInventories();
    clock.onTimedWait = [&](const timespec&) -> bool {
        if (clock.waitedSeconds().size() == 2) throw EndOfTest{};
        EXPECT_EQ(clock.waitedSeconds(), std::vector<long long>{3});
        return false;
    };
    EXPECT_THROW(aggregator.initializeCachePush(), EndOfTest);
    EXPECT_EQ(payloads().size(), 1U);
    EXPECT_THAT(debugLog(), HasSubstr("JSON_AGGR: Entry checkIfInventoryReady\n"));
    EXPECT_THAT(debugLog(), HasSubstr("JSON_AGGR: Aggregator thread sleeping for 3 sec iteration no. 1\n"));
    EXPECT_THAT(log(), Not(HasSubstr("not ready")));
}

TEST_F(Aggregator, AfterNinePausesTheFirstPushGoesOutWithoutAColdManager) {
    configure();
    int waits = 0;
    clock.onTimedWait = [&](const timespec&) -> bool {
        ++waits;
        if (waits == 10) throw EndOfTest{};
        return false;
    };
    EXPECT_THROW(aggregator.initializeCachePush(), EndOfTest);
    EXPECT_EQ(waits, 10);
    EXPECT_EQ(count(log(), "JSON_AGGR: RM 1 not ready with inventory\n"), 9U);
    EXPECT_TRUE(payloads().empty());  // there was nothing to send
    EXPECT_TRUE(aggregator.isInventorySent());
    // The ninth pass requested a push from the cold manager after its build.
    EXPECT_THAT(debugLog(), Not(HasSubstr("hostRM Requesting cache push")));
    buildHostInventory();
    EXPECT_THAT(debugLog(), HasSubstr("hostRM Requesting cache push"));
    EXPECT_THAT(debugLog(), HasSubstr("JSON_AGGR: Request to send inventory\n"));
}

TEST_F(Aggregator, ARequestBeforeTheFirstPushIsServedByIt) {
    configure();
    buildInventories();
    aggregator.sendInventory(true);
    aggregator.sendInventory(true);
    EXPECT_EQ(count(debugLog(), "JSON_AGGR: Dropping inventory send request\n"), 2U);
    clock.onTimedWait = [&, waits = 0](const timespec&) mutable -> bool {
        if (++waits == 2) throw EndOfTest{};
        return false;
    };
    EXPECT_THROW(aggregator.initializeCachePush(), EndOfTest);
    // One push for both requests.
    EXPECT_EQ(payloads().size(), 1U);
}

TEST_F(Aggregator, ARequestDuringAPushIsServedRightAfterIt) {
    configure();
    buildInventories();
    bool requested = false;
    const auto take = ipmi.onRequest;
    ipmi.onRequest = [&](const FakeIpmiRequest& request) {
        if (!requested && request.data[2] == 0x14) {
            requested = true;
            aggregator.sendInventory(true);
        }
        return take(request);
    };
    std::vector<std::size_t> pushedAtWait;
    clock.onTimedWait = [&](const timespec&) -> bool {
        pushedAtWait.push_back(ipmi.remoteCommandPayloads().size());
        if (pushedAtWait.size() == 2) throw EndOfTest{};
        return false;
    };
    EXPECT_THROW(aggregator.initializeCachePush(), EndOfTest);
    // There is no wait between the first push and the second.
    EXPECT_THAT(pushedAtWait, ElementsAre(0, 2));
}

TEST_F(Aggregator, AWakeUpOfAnyKindLeadsToAPush) {
    configure();
    buildInventories();
    clock.onTimedWait = [&, waits = 0](const timespec&) mutable -> bool {
        if (++waits == 3) throw EndOfTest{};
        return true;  // a signal without a request
    };
    EXPECT_THROW(aggregator.initializeCachePush(), EndOfTest);
    EXPECT_EQ(payloads().size(), 2U);
}

TEST_F(Aggregator, TheLargestIntervalNeitherOverflowsNorSpins) {
    configure(R"(, "PushInventoryFrequencyInMinutes": "2147483647")");
    buildInventories();
    std::vector<time_t> deadlines;
    clock.onTimedWait = [&](const timespec& deadline) -> bool {
        deadlines.push_back(deadline.tv_sec);
        if (deadlines.size() == 2) throw EndOfTest{};
        return true;
    };
    EXPECT_THROW(aggregator.initializeCachePush(), EndOfTest);
    ASSERT_EQ(deadlines.size(), 2U);
    const long long wanted = 1700000000LL + 2147483647LL * 60;
    EXPECT_EQ(deadlines[1],
              static_cast<time_t>(std::min<long long>(wanted, std::numeric_limits<time_t>::max())));
}

TEST_F(Aggregator, AClockThatFailsInTheReadinessPauseEndsTheThreadWithoutAPush) {
    configure(R"(, "EnableDebugLog": "false")");
    buildHostInventory();
    clock.failReads(1);
    aggregator.initializeCachePush();
    EXPECT_TRUE(clock.waitedSeconds().empty());
    EXPECT_TRUE(payloads().empty());
    EXPECT_FALSE(aggregator.isInventorySent());
    EXPECT_THAT(log(), EndsWith("JSON_AGGR: Failed to get current time! (errno: 22)\n"));
}

TEST_F(Aggregator, AStopBeforeTheReadinessPauseIsOverSendsNothing) {
    configure();
    buildHostInventory();
    // The stop precedes the thread's body, which must notice it without waiting.
    aggregator.stopvokJsonAggregator();
    aggregator.initializeCachePush();
    EXPECT_TRUE(payloads().empty());
    EXPECT_FALSE(aggregator.isInventorySent());
    EXPECT_THAT(debugLog(), HasSubstr("JSON_AGGR: Stopping vokJsonAggr\n"));
    EXPECT_THAT(debugLog(), HasSubstr("JSON_AGGR: Signaled for stop.\n"));
}

TEST_F(Aggregator, TheThreadIsCreatedAndJoined) {
    configure();
    buildHostInventory();
    clock.onTimedWait = [&](const timespec&) -> bool {
        std::this_thread::yield();
        return true;
    };
    aggregator.sendInventory(false);
    while (payloads().empty()) std::this_thread::yield();
    aggregator.stopvokJsonAggregator();
    const std::size_t pushed = payloads().size();
    EXPECT_GE(pushed, 1U);
    EXPECT_THAT(debugLog(), HasSubstr("JSON_AGGR: Creating Json Aggregator thread\n"));
    EXPECT_EQ(payloads().size(), pushed);
}

// --- the door-bell's thread ---

class DoorBell : public Aggregator {
protected:
    vokIPMIDBService& service = *vokIPMIDBService::getInstance();
};

TEST_F(DoorBell, TheFirstPollComesAfterOneIntervalAndARingRequestsAPush) {
    configure(R"(, "IPMIDoorBellMonitorInterval": "3")");
    ipmi.onRequest = [](const FakeIpmiRequest&) {
        const std::string text("\0xWriteInventory", 16);
        return FakeIpmiReply{{text.begin(), text.end()}};
    };
    clock.onTimedWait = [&](const timespec&) -> bool {
        EXPECT_EQ(clock.waitedSeconds().back(), 180);
        EXPECT_EQ(ipmi.requests().size(), clock.waitedSeconds().size() - 1);
        if (clock.waitedSeconds().size() == 3) throw EndOfTest{};
        return false;
    };
    EXPECT_THROW(service.startMonitoring(), EndOfTest);
    EXPECT_EQ(ipmi.requests().size(), 2U);
    EXPECT_EQ(count(debugLog(), "JSON_AGGR: Dropping inventory send request\n"), 2U);
}

TEST_F(DoorBell, AClockThatFailsEndsTheThread) {
    configure(R"(, "EnableDebugLog": "false")");
    clock.failReads(1);
    service.startMonitoring();
    EXPECT_TRUE(clock.waitedSeconds().empty());
    EXPECT_TRUE(ipmi.requests().empty());
    EXPECT_THAT(log(), EndsWith("IPMI_DB: Failed to get current time! (error no: 22)\n"));
}

TEST_F(DoorBell, WithoutASettingTheIntervalIsTenMinutes) {
    configure();
    clock.onTimedWait = [&](const timespec&) -> bool {
        EXPECT_EQ(clock.waitedSeconds().back(), 600);
        throw EndOfTest{};
    };
    EXPECT_THROW(service.startMonitoring(), EndOfTest);
    EXPECT_EQ(clock.waitedSeconds().size(), 1U);
}

TEST_F(DoorBell, APollWithoutARingRequestsNothing) {
    configure();
    ipmi.answer({{0}});
    clock.onTimedWait = [&](const timespec&) -> bool {
        if (clock.waitedSeconds().size() == 2) throw EndOfTest{};
        return false;
    };
    EXPECT_THROW(service.startMonitoring(), EndOfTest);
    EXPECT_EQ(ipmi.requests().size(), 1U);
    EXPECT_EQ(count(debugLog(), "IPMI_DB: Door bell thread woke up\n"), 1U);
    EXPECT_THAT(debugLog(), Not(HasSubstr("inventory send request")));
}

TEST_F(DoorBell, APollThatFailsRequestsNothingAndTheNextIntervalTriesAgain) {
    configure();
    ipmi.answer(FakeIpmiReply::sendFails());
    clock.onTimedWait = [&](const timespec&) -> bool {
        if (clock.waitedSeconds().size() == 3) throw EndOfTest{};
        return false;
    };
    EXPECT_THROW(service.startMonitoring(), EndOfTest);
    EXPECT_EQ(ipmi.requests().size(), 2U);
    EXPECT_EQ(count(log(), "IPMI_DB: An error occurred in checking RMC request via IPMI\n"), 2U);
    EXPECT_THAT(debugLog(), Not(HasSubstr("inventory send request")));
}

TEST_F(DoorBell, AStopIsNotMissedAndNothingIsPolled) {
    configure();
    clock.onTimedWait = [](const timespec&) -> bool {
        ADD_FAILURE() << "the thread waits although it was stopped";
        return true;
    };
    service.stopvokIPMIDBService();
    service.startvokIPMIDBService();
    service.stopvokIPMIDBService();
    EXPECT_TRUE(ipmi.requests().empty());
}

}  // namespace
}  // namespace AggregatorTest
