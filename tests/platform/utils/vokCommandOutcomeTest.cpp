#include "platform/utils/vokCommandOutcome.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <cerrno>
#include <csignal>

#include "support/FakeHost.h"
#include "support/FakeSystemLog.h"
#include "support/LoggedLines.h"

namespace vokCommandOutcomeTest {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

constexpr int exited(int status) {
    return status << 8;
}

TEST(CommandFailure, IsTheExitStatusTheSignalOrTheReason) {
    EXPECT_EQ(vokCommandFailure(0, EIO), "");
    EXPECT_EQ(vokCommandFailure(exited(1), 0), "exit status 1");
    EXPECT_EQ(vokCommandFailure(exited(255), 0), "exit status 255");
    EXPECT_EQ(vokCommandFailure(SIGKILL, 0), "signal 9");
    EXPECT_EQ(vokCommandFailure(-1, EAGAIN), "could not be run: Resource temporarily unavailable");
}

TEST(CommandFailure, OfGrepIsNotThatNoLineMatched) {
    EXPECT_EQ(vokGrepFailure(0, 0), "");
    EXPECT_EQ(vokGrepFailure(exited(1), 0), "");
    EXPECT_EQ(vokGrepFailure(exited(2), 0), "exit status 2");
    EXPECT_EQ(vokGrepFailure(SIGHUP, 0), "signal 1");  // a wait status of 1
    EXPECT_EQ(vokGrepFailure(-1, EPERM), "could not be run: Operation not permitted");
}

TEST(ReportedCommand, OnlyAChangeIsLogged) {
    const FakeHost host;
    logEverything(host);
    for (const char* outcome : {"", "", "exit status 1", "exit status 1", "signal 9", "signal 9", "", ""})
        vokReportCommand("SOME_TAG", "list 1", outcome);
    EXPECT_THAT(loggedLines(host), ElementsAre("WARNING SOME_TAG: Command failed (exit status 1) : list 1",
                                               "WARNING SOME_TAG: Command failed (signal 9) : list 1",
                                               "INFO SOME_TAG: Command succeeds again : list 1"));
}

TEST(ReportedCommand, EachCommandHasItsOwnOutcome) {
    const FakeHost host;
    logEverything(host);
    vokReportCommand("A", "list 2", "exit status 1");
    vokReportCommand("A", "list 3", "");
    vokReportCommand("A", "list 3", "exit status 1");
    vokReportCommand("A", "list 2", "exit status 1");
    EXPECT_THAT(loggedLines(host), ElementsAre("WARNING A: Command failed (exit status 1) : list 2",
                                               "WARNING A: Command failed (exit status 1) : list 3"));
}

// The 1025th takes the place of another one, whose next failure is logged again.
TEST(ReportedCommand, OfEndlesslyManyNamesOnlySomeAreRemembered) {
    const FakeHost host;
    logEverything(host);
    const auto failAll = [](int count) {
        for (int i = 0; i < count; ++i) vokReportCommand("A", "get " + std::to_string(i), "exit status 1");
    };
    auto& log = host.part<FakeSystemLog>();
    failAll(1024);
    EXPECT_THAT(log.lines(), SizeIs(1024));
    log.clear();
    failAll(1024);
    EXPECT_THAT(log.lines(), IsEmpty());
    failAll(1025);
    EXPECT_THAT(log.lines(), SizeIs(1));
    log.clear();
    failAll(1025);
    EXPECT_THAT(log.lines(), testing::Not(IsEmpty()));
}

}  // namespace
}  // namespace vokCommandOutcomeTest
