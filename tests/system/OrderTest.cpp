// The steps of a start and of a stop, in the order in which they must come.
#include <csignal>

#include "system/SimulatedSystem.h"

namespace OrderTest {
namespace {

constexpr char pciList[] = "/opt/mev/vok/data/vok_hwlist.txt";

class Order : public SimulatedSystem {
protected:
    static Json::Value settings() {
        Json::Value settings = usualSettings();
        settings["DebugLogLocation"] = settings["VOKLogLocation"];  // one order of all lines
        return settings;
    }
    // Expects each text in the log, its first occurrence after that of the previous one.
    void expectInOrder(const std::vector<std::string>& texts) {
        const std::string log = agentLog();
        std::size_t previous = 0;
        for (const auto& text : texts) {
            const std::size_t at = log.find(text);
            ASSERT_NE(at, std::string::npos) << text;
            EXPECT_GE(at, previous) << text;
            previous = at;
        }
    }
};

TEST_F(Order, AStartRecordsItselfThenPushesThenOpensTheClientChannel) {
    startAll(settings());
    startAgent();
    ASSERT_TRUE(waitForLog("VOK_SERVER: VOK Server Thread started"));
    ASSERT_EQ(waitFor("poll", 1), 0) << "the door-bell is polled";
    expectInOrder({"JOB_MGR: Successful in creating a file", "JSON_AGGR: Creating Json Aggregator thread",
                   "VOK_SERVER: VOK Server Thread started"});
    EXPECT_TRUE(hostHas("/var/run/mevvok"));
    EXPECT_EQ(stopAgent(), 0);
}

TEST_F(Order, ThePlatformsTablesAreReadBeforeAnyManagerRuns) {
    Json::Value dying = settings();
    dying["SimulateUnhandledException"] = "11";  // as soon as there is one thread
    startHostAlone(dying);
    EXPECT_NE(runAgent({}).status, 0);
    EXPECT_TRUE(hostHas(pciList));
}

TEST_F(Order, AStopEndsChannelDoorBellAndPushBeforeTheManagersAndRemovesThePciListLast) {
    startAll(settings());
    startAgent();
    ASSERT_EQ(waitFor("inventory", 1), 0);
    EXPECT_TRUE(hostHas(pciList));
    EXPECT_EQ(stopAgent(), 0);
    expectInOrder({"VOK_SERVER: Stopping VOK Server.", "VOK_SERVER: Signalled for stop",
                   "IPMI_DB: Stopping IPMI door bell service", "JSON_AGGR: Stopping vokJsonAggr",
                   "JOB_MGR: stopping all the RM", "HOST_RM: Resource manager stop called.",
                   "JOB_MGR: VOK Exiting Gracefully!"});
    EXPECT_FALSE(hostHas(pciList));
}

}  // namespace
}  // namespace OrderTest
