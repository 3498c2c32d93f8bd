// Only one vokd runs on a host.
#include <sys/stat.h>
#include <unistd.h>
#include <csignal>

#include "system/SimulatedSystem.h"

namespace SecondDaemonTest {
namespace {

class SecondDaemon : public SimulatedSystem {};

TEST_F(SecondDaemon, IsRefusedWithTheProcessIdOfTheFirstAndDisturbsNothing) {
    startAll();
    startAgent();
    ASSERT_EQ(waitFor("inventory", 1), 0);
    const auto before = startupRecord();
    const Ran second = runAgent({});
    EXPECT_EQ(second.status, 4);
    EXPECT_EQ(second.output,
              "vokd: another vokd runs on this host (process " + std::to_string(agent.process()) + ")\n");
    EXPECT_EQ(startupRecord(), before);
    EXPECT_EQ(stopAgent(), 0);
}

TEST_F(SecondDaemon, MayStartAfterTheFirstWasKilled) {
    startAll();
    startAgent();
    ASSERT_EQ(waitFor("inventory", 1), 0);
    agent.end(SIGKILL);
    startAgent();
    ASSERT_EQ(waitFor("inventory", 2), 0);
    EXPECT_EQ(stopAgent(), 0);
}

TEST_F(SecondDaemon, APlantedLinkInPlaceOfTheLockIsNotFollowed) {
    startAll();
    directory.writeFile("victim", "precious");
    ASSERT_EQ(::symlink((directory.path() + "/victim").c_str(), (root() + "/var/run/vokd.pid").c_str()), 0);
    startAgent();
    ASSERT_EQ(waitFor("inventory", 1), 0);
    EXPECT_NE(agent.errors().find("vokd: running without a lock against a second vokd"), std::string::npos);
    EXPECT_EQ(stopAgent(), 0);
    EXPECT_EQ(directory.readFile("victim"), "precious");
}

TEST_F(SecondDaemon, APlantedPipeInPlaceOfTheLockBlocksNothing) {
    startAll();
    ASSERT_EQ(::mkfifo((root() + "/var/run/vokd.pid").c_str(), 0666), 0);
    startAgent();
    ASSERT_EQ(waitFor("inventory", 1), 0);
    EXPECT_NE(agent.errors().find("/var/run/vokd.pid: not a regular file"), std::string::npos);
    EXPECT_EQ(stopAgent(), 0);
}

}  // namespace
}  // namespace SecondDaemonTest
