// SIGKILL at random moments of a run: the record is complete each time, and the next start decides correctly
// from it.
#include <chrono>
#include <csignal>
#include <random>
#include <thread>

#include "system/SimulatedSystem.h"

namespace KilledAtAnyMomentTest {
namespace {

using Events = std::vector<int>;

// At this speed the boot verdict comes 100 ms after a start, the first push follows soon, and a poll comes
// every 300 ms.
constexpr int speed = 200;
constexpr char verdictReached[] =
    "HOST_RM: After sending OS boots events, we can set current_start to last_start";
constexpr int killsInATest = 10;
constexpr int longestRunMs = 500;

void sleepMs(int milliseconds) {
    std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
}

class KilledAtAnyMoment : public SimulatedSystem, public testing::WithParamInterface<unsigned> {
protected:
    long bootTime() {
        const Json::Value state = hostState();
        return static_cast<long>(state["epoch"].asInt64() - state["uptimeSeconds"].asInt64());
    }

    // The events that a start must raise, by the record that it finds.
    Events expectedEvents(const std::map<std::string, long>& record, long boot) const {
        const long start = record.count("last_start") ? record.at("last_start") : 0;
        const long stop = record.count("last_stop") ? record.at("last_stop") : 0;
        if (start == 0 || start == stop) return {};
        if (start < stop) return boot > stop ? Events{359, 356} : Events{};
        return boot > start ? Events{360, 356} : Events{};
    }

    void expectWhole(bool mayBeMissing) {
        const std::string text = hostFile("/var/tmp/mevVOKStartup.txt");
        if (text.empty() && mayBeMissing) return;
        for (const char* key : {"current_start ", "last_start ", "last_stop "})
            EXPECT_EQ(occurrences("\n" + text, std::string("\n") + key), 1) << text;
        const auto record = startupRecord();
        EXPECT_EQ(record.size(), 3u) << text;
        for (const auto& [key, value] : record) EXPECT_GE(value, 0) << key;
    }

    Events eventsSince(std::size_t count) const {
        const Events all = events();
        return Events(all.begin() + static_cast<std::ptrdiff_t>(count), all.end());
    }

    // A run that is killed: the events raised until then are the first of the expected ones.
    void runAndKill(int milliseconds) {
        const bool first = !hostHas("/var/tmp/mevVOKStartup.txt");
        const Events expected = expectedEvents(startupRecord(), bootTime());
        const std::size_t before = events().size();
        startAgent();
        sleepMs(milliseconds);
        agent.end(SIGKILL);
        sleepMs(20);  // for events in transit
        const Events raised = eventsSince(before);
        ASSERT_LE(raised.size(), expected.size());
        EXPECT_TRUE(std::equal(raised.begin(), raised.end(), expected.begin()));
        expectWhole(first);
    }

    // A run that reaches its boot verdict: it raises the expected events and then records that it did.
    void runToTheVerdict() {
        const Events expected = expectedEvents(startupRecord(), bootTime());
        const std::size_t before = events().size();
        const int verdicts = timesLogged(verdictReached);
        startAgent();
        ASSERT_TRUE(waitForLog(verdictReached, verdicts + 1));
        ASSERT_TRUE(waitUntil([this] {
            const auto record = startupRecord();
            return record.at("last_start") == record.at("current_start");
        }));
        EXPECT_EQ(eventsSince(before), expected);
        expectWhole(false);
    }
};

TEST_P(KilledAtAnyMoment, LeavesARecordFromWhichTheNextStartDecidesCorrectly) {
    const unsigned seed = std::random_device()() + GetParam();
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);
    const auto upTo = [&random](int most) { return std::uniform_int_distribution<int>(0, most)(random); };
    startAll(usualSettings(), speed);
    for (int kill = 0; kill < killsInATest; ++kill) {
        const int duration = upTo(longestRunMs);
        SCOPED_TRACE("kill " + std::to_string(kill) + " after " + std::to_string(duration) + " ms");
        runAndKill(duration);
        if (upTo(1) == 1) {
            hostControl({"power-cut"});
            sleepMs(30);  // a host is up for some seconds before its agent starts
        }
        runToTheVerdict();
        if (HasFatalFailure()) return;
        if (upTo(2) == 0) {
            agent.end(SIGKILL);
        } else {
            EXPECT_EQ(stopAgent(), 0);
        }
    }
}

INSTANTIATE_TEST_SUITE_P(FiftyTimes, KilledAtAnyMoment, testing::Values(1u, 2u, 3u, 4u, 5u));

}  // namespace
}  // namespace KilledAtAnyMomentTest
