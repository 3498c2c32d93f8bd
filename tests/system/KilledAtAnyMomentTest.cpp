// Whenever the agent is killed, the startup record is whole, and the next start decides from it rightly.
#include <gmock/gmock.h>
#include <ctime>
#include <random>

#include "system/RunningAgent.h"

namespace {

class KilledAtAnyMoment : public RunningAgent {
protected:
    // What a start has to tell, by the values that it finds and the time of the host's boot.
    static std::vector<int> expectedEvents(const StartupValues& found, long boot) {
        if (found.lastStart <= 0) return {};
        const long stop = found.lastStop < 0 ? 0 : found.lastStop;
        if (found.lastStart < stop && boot > stop) return {359, 356};
        if (found.lastStart > stop && boot > found.lastStart) return {360, 356};
        return {};
    }
    long bootTime() {
        const Json::Value state = hostState();
        return static_cast<long>(state["epoch"].asInt64() - state["uptimeSeconds"].asInt64());
    }
};

void sleepMilliseconds(int milliseconds) {
    const timespec time{milliseconds / 1000, milliseconds % 1000 * 1000000L};
    ::nanosleep(&time, nullptr);
}

TEST_F(KilledAtAnyMoment, LeavesARecordFromWhichTheNextStartDecidesRightly) {
    constexpr int kills = 50;
    const unsigned seed = std::random_device()();
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);
    const auto upTo = [&](int most) { return static_cast<int>(random() % static_cast<unsigned>(most + 1)); };

    startMachine("200");
    std::size_t eventsSeen = 0;
    for (int kill = 0; kill < kills; ++kill) {
        SCOPED_TRACE("kill " + std::to_string(kill));
        const StartupValues before = startupValues();
        startAgent();
        sleepMilliseconds(upTo(250));
        killAgent();

        // Either the old values or this life's, never a piece of one.
        const StartupValues after = startupValues();
        if (before.currentStart >= 0 || after.currentStart >= 0) {
            EXPECT_TRUE(after.currentStart == before.currentStart || after.currentStart > before.lastStart);
            EXPECT_TRUE(after.lastStart == before.lastStart || after.lastStart == after.currentStart ||
                        (before.lastStart < 0 && after.lastStart == 0));
            EXPECT_TRUE(after.lastStop == before.lastStop || (before.lastStop < 0 && after.lastStop == 0));
        }
        eventsSeen = eventNumbers().size();

        if (upTo(1) == 0) hostControl({"power-cut", "--down", "5"});
        const std::vector<int> expected = expectedEvents(after, bootTime());

        // The next start lives until it has told its story, and ends in order every third time.
        startAgent();
        ASSERT_TRUE(comesTrue([&] {
            const StartupValues now = startupValues();
            return now.currentStart > 0 && now.currentStart != after.currentStart &&
                   now.lastStart == now.currentStart;
        })) << agentLog();
        std::vector<int> told = eventNumbers();
        told.erase(told.begin(), told.begin() + static_cast<long>(eventsSeen));
        EXPECT_EQ(told, expected) << "last_start " << after.lastStart << " last_stop " << after.lastStop;
        eventsSeen += told.size();
        if (kill % 3 == 0)
            EXPECT_EQ(stopAgent(), 0);
        else
            killAgent();
    }
    EXPECT_EQ(countOf("breaches"), 0);
}

}  // namespace
