// The signals that do not end vokd.
#include <gtest/gtest.h>
#include <unistd.h>
#include <csignal>
#include <cstdio>

#include "daemon/DaemonFixture.h"

namespace SignalsTest {
namespace {

class Signals : public DaemonFixture {
protected:
    void startAndWait() {
        configure();
        start();
        ASSERT_TRUE(waitForLog("VOK_SERVER: VOK Server Thread started"));
    }
    void moveAway(const std::string& name) const {
        const std::string log = root() + "/scratch/log/" + name;
        ASSERT_EQ(std::rename(log.c_str(), (log + ".1").c_str()), 0);
    }
    void signal(int number) const { ASSERT_EQ(::kill(agent.process(), number), 0); }
};

TEST_F(Signals, SIGHUPOpensBothLogsAgainAfterTheyWereMovedAway) {
    startAndWait();
    moveAway("vok.log");
    moveAway("debug.log");
    const std::string links = root() + "/opt/mev/vok/log/";
    ASSERT_EQ(std::remove((links + "vok.log").c_str()), 0);
    ASSERT_EQ(std::remove((links + "debug.log").c_str()), 0);
    signal(SIGHUP);
    ASSERT_TRUE(waitForLog(" VOKD: SIGHUP: the log files are open again\n"));
    EXPECT_EQ(directory.readFile("/host/opt/mev/vok/log/vok.log"), agentLog()) << "the link is back";
    EXPECT_TRUE(directory.exists("/host/opt/mev/vok/log/debug.log"));
    EXPECT_EQ(agent.end(SIGTERM), 0);
    EXPECT_EQ(occurrences(directory.readFile("/host/scratch/log/vok.log.1"), " starts: process "), 1);
    EXPECT_EQ(occurrences(agentLog(), "VOK Exiting Gracefully!"), 1);
    EXPECT_NE(directory.readFile("/host/scratch/log/debug.log.1"), "");
}

TEST_F(Signals, SIGHUPDuringTheStartIsCarriedOutAfterIt) {
    configure();
    // The start waits for this command.
    command("localcli", "while [ ! -e \"$(dirname \"$0\")/go-on\" ]; do sleep 0.01; done\n");
    start();
    ASSERT_TRUE(waitForLog(" starts: process "));
    moveAway("vok.log");
    signal(SIGHUP);
    signal(SIGUSR1);
    directory.writeFile("/host/bin/go-on", "");
    EXPECT_TRUE(waitForLog(": the log files are open again\n"));
    EXPECT_EQ(agent.end(SIGTERM), 0);
}

TEST_F(Signals, SIGHUPKeepsALogThatCannotBeOpenedAgain) {
    startAndWait();
    moveAway("vok.log");
    directory.writeFile("/host/scratch/log/vok.log/a-directory", "");
    signal(SIGHUP);
    ASSERT_TRUE(
        waitUntil([&] { return systemLog().find("Error opening VOK log file ") != std::string::npos; }));
    EXPECT_EQ(agent.end(SIGTERM), 0);
    const std::string log = directory.readFile("/host/scratch/log/vok.log.1");
    EXPECT_EQ(
        occurrences(log, " VOKD: SIGHUP: a log file can't be opened again; the system log has the reason\n"),
        1);
    EXPECT_EQ(occurrences(log, "VOK Exiting Gracefully!"), 1);
}

TEST_F(Signals, SIGUSR1SIGUSR2AndSIGALRMAreLoggedAndHaveNoEffect) {
    startAndWait();
    signal(SIGUSR1);
    signal(SIGUSR2);
    signal(SIGALRM);
    for (const char* name : {"SIGUSR1", "SIGUSR2", "SIGALRM"})
        EXPECT_TRUE(waitForLog(" VOKD: " + std::string(name) + " has no effect\n"));
    EXPECT_EQ(agent.end(SIGTERM), 0);
}

TEST_F(Signals, TheyWorkAlsoIfTheParentIgnoresThem) {
    configure();
    agent = RunningProgram(
        directory.path(), "vokd",
        {"/bin/sh", "-c", "trap '' HUP INT TERM ALRM; exec \"$0\" --host-root \"$1\"", VOKD_PROGRAM, root()},
        "");
    ASSERT_TRUE(waitForLog("VOK_SERVER: VOK Server Thread started"));
    signal(SIGHUP);
    EXPECT_TRUE(waitForLog(": the log files are open again\n"));
    EXPECT_EQ(agent.end(SIGINT), 0);
    EXPECT_NE(agentLog().find(" VOKD: vokd has stopped after SIGINT\n"), std::string::npos);
}

// The warnings of the start meet the broken pipe.
TEST_F(Signals, StandardStreamsWhoseReaderHasGoneDoNotEndTheAgent) {
    configure(R"("CliMode": "production")");
    int pipe[2];
    ASSERT_EQ(::pipe(pipe), 0);
    ::close(pipe[0]);
    const std::string end = std::to_string(pipe[1]);
    agent = RunningProgram(
        directory.path(), "vokd",
        {"/bin/sh", "-c", "exec \"$0\" --host-root \"$1\" 1>&" + end + " 2>&" + end + " " + end + ">&-",
         VOKD_PROGRAM, root()},
        "");
    ::close(pipe[1]);
    ASSERT_TRUE(waitForLog("VOK_SERVER: VOK Server Thread started"));
    signal(SIGPIPE);
    EXPECT_EQ(agent.end(SIGTERM), 0);
    EXPECT_EQ(occurrences(agentLog(), "CliMode = "), 1);
}

TEST_F(Signals, ALimitOnTheSizeOfFilesDoesNotEndTheAgent) {
    configure();
    agent = RunningProgram(directory.path(), "vokd",
                           {"/usr/bin/prlimit", "--fsize=300", VOKD_PROGRAM, "--host-root", root()}, "");
    ASSERT_TRUE(waitUntil([&] { return agentLog().size() == 300; }));
    ASSERT_TRUE(waitUntil([&] { return debugLog().size() == 300; }));
    EXPECT_EQ(agent.end(SIGTERM), 0);
}

}  // namespace
}  // namespace SignalsTest
