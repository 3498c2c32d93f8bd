// Events on their way to the controller: test and injected events of the client through the real daemon, and
// many at once during inventories and door-bell polls.
#include <algorithm>
#include <atomic>
#include <csignal>
#include <mutex>
#include <sstream>
#include <thread>

#include "core/vokJobManager.h"
#include "events/vokEventHandler.h"
#include "platform/access/vokHostAccess.h"
#include "platform/utils/vokUtils.h"
#include "rmc/ipmi/vokipmi.h"
#include "rmc/vokIPMIDBService.h"
#include "rmc/vokJsonAggregator.h"
#include "system/SimulatedSystem.h"

namespace EventsTest {
namespace {

constexpr char hostLocation[] = "0123456789ABCDEF";

class Events : public SimulatedSystem {
protected:
    // Has the client send this event.
    Ran inject(const std::string& text, const std::string& file = "event.json") {
        directory.writeFile(file, text);
        return runClient({"inject", directory.path() + "/" + file});
    }
    bool controllerPrintedInOrder(const std::string& first, const std::string& second) const {
        const std::string account = controllerProgram.output();
        const auto at = account.find(first);
        return at != std::string::npos && account.find(second) != std::string::npos &&
               at < account.find(second);
    }
    void expectNothingBrokenOrLost() {
        EXPECT_EQ(controllerCount("violations"), 0) << controllerProgram.errors();
        EXPECT_EQ(controllerCount("abandonedTransfers"), 0);
        EXPECT_EQ(controllerCount("transfersInProgress"), 0);
        EXPECT_EQ(controllerCount("shortPayloads"), 0);
        EXPECT_EQ(timesLogged("FAILURE in logging event to RMC"), 0);
        EXPECT_EQ(timesLogged("An Error occurred in delivering inventory string to RMC!"), 0);
    }
};

// --- the client and the daemon ---

TEST_F(Events, ATestEventListsTheEnabledAndTheOperationalResources) {
    Json::Value settings = usualSettings();
    settings["EnableResources"][0] = "All";
    startAll(settings);
    startAgentAndWaitForItsPush();
    ASSERT_TRUE(waitForLog("HOST_RM: Exiting CacheBuild"));
    const Ran ran = runClient({"test", "708"});
    EXPECT_EQ(ran.status, 0) << ran.output;
    ASSERT_EQ(waitFor("event", 1), 0);
    const Json::Value event = eventObjects().at(0);
    EXPECT_EQ(event["ID"], 708);
    EXPECT_EQ(event["Source"], "VOK-CLI");
    EXPECT_FALSE(event.isMember("PhysicalLocation"));
    EXPECT_EQ(event["VariableData"]["EventInfo"], "VOK Test Event");
    const Json::Value& enabled = event["VariableData"]["EnabledResourceType"];
    ASSERT_EQ(enabled.size(), 4u);
    EXPECT_EQ(enabled[0], "HostOSInfo");
    EXPECT_EQ(enabled[1], "StorageControllers");
    EXPECT_EQ(enabled[2], "EthernetDevices");
    EXPECT_EQ(enabled[3], "FibreChannelDevices");
    EXPECT_EQ(event["VariableData"]["OperationalResourceType"][0], "HostOSInfo");
    EXPECT_EQ(stopAgent(), 0);
    expectNothingBrokenOrLost();
}

TEST_F(Events, AnInjectedEventArrivesOnOneLineWithTheClientAsItsSource) {
    startAll();
    startAgentAndWaitForItsPush();
    const Ran ran = inject(
        "{\n \"PhysicalLocation\": \"0123456789ABCDEF\",\n \"Source\": \"somebody\",\n"
        " \"ID\": 538, \"Note\": \"caf\xc3\xa9\"\n}\n");
    EXPECT_EQ(ran.status, 0) << ran.output;
    ASSERT_EQ(waitFor("event", 1), 0);
    EXPECT_EQ(
        eventTexts(),
        std::vector<std::string>{
            R"({"ID":538,"Note":"caf\u00e9","PhysicalLocation":"0123456789ABCDEF","Source":"VOK-CLI"})"});
    EXPECT_EQ(stopAgent(), 0);
    expectNothingBrokenOrLost();
}

TEST_F(Events, TheClientReportsTheRefusalOfAnInjectedEventAndOfATestEvent) {
    startAll();
    startAgentAndWaitForItsPush();
    controllerControl({"answer", "status", "5", "--of", "event", "--count", "2"});
    EXPECT_EQ(inject(R"({"ID":538,"PhysicalLocation":"0123456789ABCDEF0123456789ABCDEF"})").status, 2);
    EXPECT_EQ(runClient({"test", "356"}).status, 2);
    EXPECT_EQ(timesLogged("EVT_HANDLER: FAILURE in logging event to RMC"), 2);
    EXPECT_EQ(eventTexts(), std::vector<std::string>());
    EXPECT_EQ(stopAgent(), 0);
    EXPECT_EQ(runClient({"test", "356"}).status, 3) << "no agent is running";
}

TEST_F(Events, TheClientReportsACompletionCodeThatCountsAsSuccess) {
    startAll();
    startAgentAndWaitForItsPush();
    controllerControl({"answer", "completion", "0xCE", "--of", "event", "--count", "0"});
    const Ran injected = inject(R"({"ID":538,"PhysicalLocation":"0123456789ABCDEF0123456789ABCDEF"})");
    EXPECT_EQ(injected.status, 7);
    EXPECT_NE(injected.output.find("completion code 0xCE (response could not be provided)"),
              std::string::npos)
        << injected.output;
    EXPECT_EQ(runClient({"test", "356"}).status, 7);
    EXPECT_EQ(timesLogged("EVT_HANDLER: FAILURE in logging event to RMC"), 0);
    EXPECT_EQ(timesLogged("IPMI: MPEventGen on /dev/ipmi0: request 1 was answered with completion code 0xCE"),
              2);
    EXPECT_EQ(stopAgent(), 0);
}

TEST_F(Events, TheClientReportsASilentControllerAndAMissingDevice) {
    startHostAlone(usualSettings(), usualSpeed, {"--ipmi-timeout", "0.3"});
    startController();
    startAgentAndWaitForItsPush();
    controllerControl({"answer", "never", "--of", "event", "--count", "0"});
    const Ran silent = runClient({"test", "356"});
    EXPECT_EQ(silent.status, 7);
    EXPECT_NE(
        silent.output.find("completion code 0xC3 (timeout; the driver's own answer if the controller is "
                           "silent)"),
        std::string::npos)
        << silent.output;
    hostControl({"ipmi", "absent"});
    const Ran absent = runClient({"test", "356"});
    EXPECT_EQ(absent.status, 2);
    EXPECT_NE(absent.output.find("the device can't be opened: No such file or directory"), std::string::npos)
        << absent.output;
    EXPECT_EQ(timesLogged("IPMI: /dev/ipmi0 can't be opened: No such file or directory; no IPMI driver is "
                          "loaded"),
              1);
    EXPECT_EQ(stopAgent(), 0);
}

TEST_F(Events, BeforeTheFirstPushAnInjectedEventAndThoseOfTheHostPassAndTheAgentsOwnIsDropped) {
    Json::Value settings = usualSettings();
    settings["InventoryQueryIntervalInSeconds"] = "100000";
    startAll(settings);
    startAgent();
    ASSERT_TRUE(waitForLog("VOK_SERVER: VOK Server Thread started"));
    ASSERT_TRUE(waitForLog("HOST_RM: Exiting CacheBuild"));
    EXPECT_EQ(runClient({"test", "708"}).status, 8);
    EXPECT_EQ(runClient({"test", "434"}).status, 0);
    EXPECT_EQ(inject(R"({"ID":538,"PhysicalLocation":"0123456789ABCDEF0123456789ABCDEF"})").status, 0);
    EXPECT_EQ(events(), (std::vector<int>{434, 538}));
    EXPECT_EQ(stopAgent(), 0);
    EXPECT_EQ(controllerCount("inventories"), 0);
    expectNothingBrokenOrLost();
}

TEST_F(Events, AClockSetBackDuringARunHidesTheNextBoot) {
    startAll();
    startAgentAndWaitForItsPush();
    EXPECT_EQ(agent.end(SIGKILL), 128 + SIGKILL);
    hostControl({"clock", "jump", "-100000"});
    hostControl({"power-cut"});
    startAgent();
    ASSERT_EQ(waitFor("inventory", 2), 0);
    EXPECT_EQ(events(), std::vector<int>());
    EXPECT_TRUE(waitForLog("HOST_RM: VOK crashed in current boot so do nothing in point 3"));
    EXPECT_EQ(stopAgent(), 0);
}

// --- during an inventory ---

TEST_F(Events, AnInjectedEventDuringAPushArrivesAfterTheWholeInventory) {
    startAll(settingsWithoutPolls());
    controllerControl({"answer", "late", "1000", "--at-chunk", "4", "--of", "inventory"});
    startAgent();
    ASSERT_EQ(waitFor("request", 4), 0);
    EXPECT_EQ(controllerCount("inventories"), 0);
    EXPECT_EQ(inject(R"({"ID":538,"PhysicalLocation":"0123456789ABCDEF0123456789ABCDEF"})").status, 0);
    EXPECT_TRUE(controllerPrintedInOrder("inventory 1:", "event 1:")) << controllerProgram.output();
    EXPECT_EQ(stopAgent(), 0);
    expectNothingBrokenOrLost();
}

TEST_F(Events, EventsOfSeveralThreadsDuringALargePushArriveAfterTheWholeInventory) {
    keepsInventories = false;
    startAll();
    vokSetHostAccess(access());
    controllerControl({"answer", "late", "1500", "--at-chunk", "100", "--of", "inventory"});
    const std::string document =
        R"({"HostDataCollection":{"Drives":[")" + std::string(100000, 'd') + R"("]}})";
    std::thread push(
        [&] { EXPECT_EQ(ipmi::IPMIUtils().RMC_CLI_Cmd_Execution("WriteInventory", document), 0); });
    EXPECT_EQ(waitFor("request", 100), 0);
    std::vector<std::thread> raisers;
    for (const int id : {356, 359, 360, 434, 435, 1337})  // those that pass before a first push
        raisers.emplace_back([id] {
            vokEventHandler().generateEvent(
                vokEvent(id, hostLocation, "Host", false, vokUtils::getTime(), "", "VOK"));
        });
    EXPECT_EQ(controllerCount("inventories"), 0) << "the inventory is still on its way";
    for (std::thread& raiser : raisers) raiser.join();
    push.join();
    EXPECT_TRUE(inventoryText(1) == document);
    EXPECT_TRUE(controllerPrintedInOrder("inventory 1:", "event 1:")) << controllerProgram.output();
    std::vector<int> ids = events();
    std::sort(ids.begin(), ids.end());
    EXPECT_EQ(ids, (std::vector<int>{356, 359, 360, 434, 435, 1337}));
    expectNothingBrokenOrLost();
}

// --- two minutes of everything ---

class TwoMinutes : public Events {
protected:
    static constexpr int speed = 30;  // four seconds of real time
    static constexpr int raiserCount = 6;

    // Timer, door-bell and refresh at their shortest.
    static Json::Value busySettings() {
        Json::Value settings = usualSettings();
        settings["PushInventoryFrequencyInMinutes"] = "1";
        return settings;
    }
    // The simulated clock, from the first call on.
    bool running() {
        std::call_once(started_, [this] { end_ = vokWallClockSeconds() + 120; });
        return vokWallClockSeconds() < end_;
    }
    // Texts of every length up to several requests.
    static std::string textOf(int raiser, int number) {
        return std::string(static_cast<std::size_t>((raiser * 53 + number * 37) % 400),
                           static_cast<char>('a' + raiser));
    }
    // Expects each raiser's events whole and in order, and no others except `besides`.
    void expectAllArrived(const std::vector<int>& raised, const std::vector<int>& besides) {
        std::vector<int> next(raised.size(), 0);
        std::vector<int> others;
        for (const Json::Value& event : eventObjects()) {
            const Json::Value& data = event["VariableData"];
            if (event["ID"] != 538) {
                others.push_back(event["ID"].asInt());
                continue;
            }
            const auto raiser = static_cast<std::size_t>(data["Raiser"].asInt());
            ASSERT_LT(raiser, raised.size());
            EXPECT_EQ(data["Number"].asInt(), next[raiser]++) << "of raiser " << raiser;
            EXPECT_EQ(data["Text"].asString(), textOf(data["Raiser"].asInt(), data["Number"].asInt()));
        }
        EXPECT_EQ(next, raised);
        EXPECT_EQ(others, besides);
        for (const int number : raised) EXPECT_GE(number, 3) << "a raiser that sent hardly any events";
    }

private:
    std::once_flag started_;
    std::atomic<time_t> end_{0};
};

TEST_F(TwoMinutes, OfEventsInventoriesAndPollsFromManyThreadsMixNothingAndLoseNothing) {
    keepsEvents = false;
    startAll(busySettings(), speed);
    vokSetHostAccess(access());
    ASSERT_TRUE(vokJobManager::getInstance()->startResourceManagers());
    vokJsonAggregator::getInstance()->sendInventory(false);
    vokIPMIDBService::getInstance()->startvokIPMIDBService();
    ASSERT_TRUE(waitUntil([] { return vokJsonAggregator::getInstance()->isInventorySent(); }));

    std::vector<int> raised(raiserCount, 0);
    std::vector<std::thread> threads;
    for (int raiser = 0; raiser < raiserCount; ++raiser)
        threads.emplace_back([this, raiser, &number = raised[static_cast<std::size_t>(raiser)]] {
            for (; running(); ++number) {
                Json::Value data;
                data["Raiser"] = raiser;
                data["Number"] = number;
                data["Text"] = textOf(raiser, number);
                vokEventHandler().generateEvent(
                    vokEvent(538, hostLocation, "SASHBA", true, vokUtils::getTime(), "P", data, "VOK"));
            }
        });
    // Polls and pushes, which come once a minute by themselves, also come every few seconds.
    threads.emplace_back([this] {
        while (running()) {
            ipmi::IPMIUtils().checkIPMIDBRequest();
            vokHostAccess().pause(1000000);
        }
    });
    threads.emplace_back([this] {
        while (running()) {
            vokJsonAggregator::getInstance()->sendInventory(true);
            vokHostAccess().pause(5000000);
        }
    });
    for (std::thread& thread : threads) thread.join();
    vokIPMIDBService::getInstance()->stopvokIPMIDBService();
    vokJsonAggregator::getInstance()->stopvokJsonAggregator();
    vokJobManager::getInstance()->stopResourceManagers();

    expectAllArrived(raised, {});
    EXPECT_GE(controllerCount("inventories"), 5);
    EXPECT_GE(controllerCount("polls"), 5);
    expectNothingBrokenOrLost();
}

TEST_F(TwoMinutes, OfClientsInventoriesAndRingsAtTheRealDaemonMixNothingAndLoseNothing) {
    startAll(busySettings(), speed);
    vokSetHostAccess(access());  // for the host's clock
    startAgentAndWaitForItsPush();

    std::vector<int> raised(raiserCount, 0);
    std::atomic<int> testEvents{0};
    std::vector<std::thread> threads;
    for (int raiser = 0; raiser < raiserCount; ++raiser)
        threads.emplace_back([this, raiser, &number = raised[static_cast<std::size_t>(raiser)], &testEvents] {
            for (; running(); ++number) {
                Json::Value event;
                event["ID"] = 538;
                event["VariableData"]["Raiser"] = raiser;
                event["VariableData"]["Number"] = number;
                event["VariableData"]["Text"] = textOf(raiser, number);
                const Ran ran = inject(event.toStyledString(), "event-" + std::to_string(raiser));
                EXPECT_EQ(ran.status, 0) << ran.output;
                if (number % 4 != raiser % 4) continue;
                const Ran test = runClient({"test", "435"});
                EXPECT_EQ(test.status, 0) << test.output;
                ++testEvents;
            }
        });
    controllerControl({"ring", "--times", "3"});
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(stopAgent(), 0);

    expectAllArrived(raised, std::vector<int>(static_cast<std::size_t>(testEvents), 435));
    EXPECT_GE(controllerCount("inventories"), 2);
    EXPECT_GE(controllerCount("polls"), 1);
    expectNothingBrokenOrLost();
    std::vector<std::string> left = hostDirectory("/var/run");
    left.erase(std::remove_if(left.begin(), left.end(),
                              [](const std::string& name) { return name.rfind("mevvokcli", 0) != 0; }),
               left.end());
    EXPECT_EQ(left, std::vector<std::string>()) << "pipes that clients left";
}

}  // namespace
}  // namespace EventsTest
