// A machine on which no thread can be created.
#include <csignal>

#include "system/SimulatedSystem.h"

namespace StartFailureTest {
namespace {

// Larger than the address space: each thread requests a stack of this size.
constexpr const char* hugeStack = sizeof(void*) == 8 ? "--stack=140000000000000" : "--stack=4000000000";

class StartFailure : public SimulatedSystem {};

TEST_F(StartFailure, EndsWithItsOwnStatusAndWithoutAStopOfTheManagers) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    GTEST_SKIP() << "a sanitizer does not start under such a limit";
#endif
    startAll();
    const Ran ran = runProgram({"/usr/bin/prlimit", hugeStack, VOKD_PROGRAM, "--host-root", root()});
    EXPECT_EQ(ran.status, 1) << ran.output;
    EXPECT_EQ(ran.output, "vokd: a thread could not be created, the agent is not running\n");
    EXPECT_EQ(timesLogged("JOB_MGR: Error:unable to create thread"), 1);
    EXPECT_EQ(timesLogged("stopping all the RM"), 0);
    EXPECT_EQ(timesLogged("Creating Json Aggregator thread"), 0);
    EXPECT_GT(startupRecord().at("current_start"), 0);
}

}  // namespace
}  // namespace StartFailureTest
