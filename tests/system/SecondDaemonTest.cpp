// Only one vokd runs on a host.
#include <sys/stat.h>
#include <unistd.h>
#include <algorithm>
#include <chrono>
#include <csignal>
#include <thread>

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

TEST_F(SecondDaemon, TenStartedAtOnceAllNameTheOneThatRuns) {
    startAll();
    writeHostFile("/var/run/vokd.pid", "4194304\n");  // of an earlier run; above all process ids
    for (int round = 0; round < 3; ++round) {
        std::vector<RunningProgram> agents;
        for (int i = 0; i < 10; ++i)
            agents.emplace_back(directory.path(), "agent" + std::to_string(i),
                                std::vector<std::string>{VOKD_PROGRAM, "--host-root", root()}, "");
        const auto refused = [](const RunningProgram& each) {
            return each.errors().find(")\n") != std::string::npos;
        };
        const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(20);
        while (std::count_if(agents.begin(), agents.end(), refused) < 9 &&
               std::chrono::steady_clock::now() < limit)
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        const auto holder = std::find_if_not(agents.begin(), agents.end(), refused);
        ASSERT_NE(holder, agents.end());
        const std::string message =
            "vokd: another vokd runs on this host (process " + std::to_string(holder->process()) + ")\n";
        for (auto each = agents.begin(); each != agents.end(); ++each) {
            if (each == holder) continue;
            EXPECT_EQ(each->errors(), message);
        }
    }
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
