// --probe-disk as a program: it takes no lock.
#include <gtest/gtest.h>

#include "daemon/DaemonFixture.h"

namespace ProbeBesideAgentTest {
namespace {

class ProbeBesideAgent : public DaemonFixture {};

TEST_F(ProbeBesideAgent, ProbesWhileTheAgentRuns) {
    configure();
    start();
    ASSERT_TRUE(waitUntil([this] { return !directory.readFile("/host/var/run/vokd.pid").empty(); }));
    EXPECT_EQ(runProgram({VOKD_PROGRAM, "--print-inventory", "--host-root", root()}).status, 4);
    const Ran ran = runProgram({VOKD_PROGRAM, "--probe-disk", "/dev/sg3", "--host-root", root()});
    EXPECT_EQ(ran.status, 10);
    EXPECT_EQ(ran.output, "vokd: /dev/sg3 can't be opened: No such file or directory\n");
    EXPECT_EQ(agent.end(SIGTERM), 0);
}

}  // namespace
}  // namespace ProbeBesideAgentTest
