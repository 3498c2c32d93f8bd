// SIGKILL at random moments of the agent's life: the record is whole each time, and the next start decides
// rightly from it.
#include <chrono>
#include <csignal>
#include <random>
#include <thread>

#include "system/SimulatedSystem.h"

namespace KilledAtAnyMomentTest {
namespace {

using Events = std::vector<int>;

// 200 times as fast: the story of the boot is told 100 ms after a start, the first push follows soon, and a
// poll comes each 300 ms.
constexpr int speed = 200;
constexpr char storyTold[] = "HOST_RM: After sending OS boots events, we can set current_start to last_start";
constexpr int killsInATest = 10;
constexpr int longestLifeMs = 500;

void rest(int milliseconds) {
    std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
}

class KilledAtAnyMoment : public SimulatedSystem, public testing::WithParamInterface<unsigned> {
protected:
    long bootTime() {
        const Json::Value state = hostState();
        return static_cast<long>(state["epoch"].asInt64() - state["uptimeSeconds"].asInt64());
    }

    // What a start has to tell, by the record that it finds.
    Events owed(const std::map<std::string, long>& record, long boot) const {
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

    // One life that is cut short: what it told until then is the beginning of what it owed.
    void liveAndBeKilled(int milliseconds) {
        const bool first = !hostHas("/var/tmp/mevVOKStartup.txt");
        const Events toTell = owed(startupRecord(), bootTime());
        const std::size_t before = events().size();
        startAgent();
        rest(milliseconds);
        agent.end(SIGKILL);
        rest(20);  // for what is still on its way
        const Events told = eventsSince(before);
        ASSERT_LE(told.size(), toTell.size());
        EXPECT_TRUE(std::equal(told.begin(), told.end(), toTell.begin()));
        expectWhole(first);
    }

    // A life that gets to its story: it tells what the record says, and writes down that it did.
    void liveAndTell() {
        const Events toTell = owed(startupRecord(), bootTime());
        const std::size_t before = events().size();
        const int stories = timesLogged(storyTold);
        startAgent();
        ASSERT_TRUE(waitForLog(storyTold, stories + 1));
        ASSERT_TRUE(waitUntil([this] {
            const auto record = startupRecord();
            return record.at("last_start") == record.at("current_start");
        }));
        EXPECT_EQ(eventsSince(before), toTell);
        expectWhole(false);
    }
};

TEST_P(KilledAtAnyMoment, LeavesARecordFromWhichTheNextStartDecidesRightly) {
    const unsigned seed = std::random_device()() + GetParam();
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);
    const auto upTo = [&random](int most) { return std::uniform_int_distribution<int>(0, most)(random); };
    startAll(usualSettings(), speed);
    for (int kill = 0; kill < killsInATest; ++kill) {
        const int life = upTo(longestLifeMs);
        SCOPED_TRACE("kill " + std::to_string(kill) + " after " + std::to_string(life) + " ms");
        liveAndBeKilled(life);
        if (upTo(1) == 1) {
            hostControl({"power-cut"});
            rest(30);  // a host is up for some seconds before its agent starts
        }
        liveAndTell();
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
