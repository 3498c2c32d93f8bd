#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <atomic>
#include <thread>

#include "core/base/Logger.h"
#include "platform/access/vokLongOperation.h"
#include "support/FakeClock.h"
#include "support/LoggedLines.h"

namespace vokLongOperationLogTest {
namespace {

TEST(LongOperationLog, ABeginAndAnEndAreWarnings) {
    const FakeHost host;
    logEverything(host);
    Logging::Logger::loggerInit();
    std::atomic<int> lines{0};
    host.part<FakeSystemLog>().onLine = [&lines](const std::string&) { ++lines; };
    auto& clock = host.part<FakeClock>();
    {
        const vokLongOperationWatch watch;
        const vokLongOperation operation(vokOperationKind::command, "esxtop -b -n 1");
        clock.waitForSteadyWaits(1);
        clock.advanceSteady(31);
        while (lines == 0) std::this_thread::yield();
        clock.advanceSteady(9);
    }
    EXPECT_THAT(loggedLines(host),
                testing::ElementsAre("WARNING WATCH: Still not ended after 31 s: command \"esxtop -b -n 1\"",
                                     "WARNING WATCH: Ended after 40 s: command \"esxtop -b -n 1\""));
}

}  // namespace
}  // namespace vokLongOperationLogTest
