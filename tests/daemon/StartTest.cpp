// What a start of vokd reports, on standard error and in the log, and what its commands inherit.
#include <gtest/gtest.h>
#include <unistd.h>
#include <sstream>

#include "daemon/DaemonFixture.h"

namespace StartTest {
namespace {

class Start : public DaemonFixture {};

TEST_F(Start, TheFirstLineOfTheLogNamesTheRunAndTheLastOneItsEnd) {
    configure();
    start();
    ASSERT_TRUE(waitForLog("VOK_SERVER: VOK Server Thread started"));
    const std::string process = std::to_string(agent.process());
    EXPECT_EQ(agent.end(SIGTERM), 0);
    const std::string log = agentLog();
    const std::string first = log.substr(0, log.find('\n'));
    EXPECT_NE(first.find(" VOKD: vokd Version-3.3.2.1 starts: process " + process + ", user " +
                         std::to_string(::geteuid()) + ", log level Info, settings from " + root() +
                         "/etc/config/mev/vok/vok.conf, host root " + root()),
              std::string::npos)
        << first;
    const std::string end = " VOKD: vokd has stopped after SIGTERM\n";
    ASSERT_GE(log.size(), end.size());
    EXPECT_EQ(log.substr(log.size() - end.size()), end);
    EXPECT_LT(log.find("VOK Exiting Gracefully!"), log.rfind("vokd has stopped"));
}

TEST_F(Start, EachRefusedValueIsAWarningOnStandardErrorAndInTheLog) {
    configure(R"("CliMode": "production", "InventoryQueryIntervalInSeconds": "60s", "Loglevel": "Info")");
    start();
    ASSERT_TRUE(waitForLog("VOK_SERVER: VOK Server Thread started"));
    EXPECT_EQ(agent.end(SIGTERM), 0);
    for (const char* finding :
         {"CliMode = \"production\": not one of test, inject; used instead: test",
          "InventoryQueryIntervalInSeconds = \"60s\": only the digits at its start count; used instead: 60",
          "Loglevel = \"Info\": not a setting of this agent; used instead: nothing"}) {
        const std::string text = root() + "/etc/config/mev/vok/vok.conf: " + finding + "\n";
        EXPECT_EQ(occurrences(agent.errors(), "vokd: " + text), 1) << agent.errors();
        EXPECT_EQ(occurrences(agentLog(), " VOKD: " + text), 1) << agentLog();
        EXPECT_LT(agentLog().find("vokd Version-3.3.2.1 starts"), agentLog().find(text));
    }
}

TEST_F(Start, AFileThatIsNotUsedIsOneWarningWithTheReason) {
    constexpr struct {
        const char* text;  // null: no file
        const char* reason;
    } rows[] = {
        {nullptr, "can't be opened: No such file or directory"},
        {"{\"LoggingLevel\": ", "not JSON: "},
        {"[1, 2, 3]", "not a JSON object"},
    };
    for (const auto& row : rows) {
        if (row.text) directory.writeFile("/host/etc/config/mev/vok/vok.conf", row.text);
        const Ran ran = runProgram({VOKD_PROGRAM, "--print-inventory", "--host-root", root()});
        EXPECT_EQ(ran.status, 0);
        const std::string text = root() + "/etc/config/mev/vok/vok.conf: the file is not used: " + row.reason;
        EXPECT_EQ(occurrences(ran.output, "vokd: " + text), 1) << ran.output;
        EXPECT_EQ(occurrences(systemLog(), " VOKD: " + text), 1) << "built-in settings log to the system log";
    }
}

TEST_F(Start, ALogThatCannotBeOpenedIsNamedOnStandardErrorAndTheAgentGoesOn) {
    configure();
    directory.writeFile("/host/scratch/log/vok.log/in-its-place", "");
    directory.writeFile("/host/scratch/log/debug.log/in-its-place", "");
    const Ran ran = runProgram({VOKD_PROGRAM, "--print-inventory", "--host-root", root()});
    EXPECT_EQ(ran.status, 0);
    for (const std::string& log :
         {"agent log " + root() + "/scratch/log/vok.log", "debug log " + root() + "/scratch/log/debug.log"})
        EXPECT_EQ(occurrences(ran.output, "vokd: the " + log + " can't be opened: Is a directory\n"), 1)
            << ran.output;
}

TEST_F(Start, WithoutAFindingNothingIsWarnedOf) {
    configure();
    start();
    ASSERT_TRUE(waitForLog("VOK_SERVER: VOK Server Thread started"));
    EXPECT_EQ(agent.end(SIGTERM), 0);
    EXPECT_EQ(agent.errors().find("vokd: "), std::string::npos) << agent.errors();
}

// As nobody, if the test runs as root; the program and its libraries must then be readable for everyone.
Ran runWithoutRights(std::vector<std::string> command) {
    if (::geteuid() == 0)
        command.insert(command.begin(),
                       {"/usr/bin/setpriv", "--reuid=65534", "--regid=65534", "--clear-groups"});
    return runProgram(command);
}

constexpr char notRoot[] =
    "vokd: not running as root: the IPMI device, the startup record, the pipes of the clients and the "
    "working "
    "directories can't be used\n";

TEST_F(Start, WithoutTheRightsOfRootWhatWillNotWorkIsNamed) {
    if (runWithoutRights({VOKD_PROGRAM, "--version"}).status != 0)
        GTEST_SKIP() << "only this user may run the program";
    const Ran platform = runWithoutRights({VOKD_PROGRAM, "--show-platform"});
    EXPECT_EQ(occurrences(platform.output, notRoot), 1) << platform.output;
    EXPECT_EQ(occurrences(runWithoutRights({VOKD_PROGRAM, "--check-config"}).output, "not running as root"),
              0);
    EXPECT_EQ(runWithoutRights({VOKD_PROGRAM, "--probe-disk", "/dev/null"}).output,
              "vokd: /dev/null is not a SCSI generic node (/dev/sgN)\n");
}

TEST_F(Start, AHostRootNeedsNoRights) {
    if (runWithoutRights({VOKD_PROGRAM, "--version"}).status != 0)
        GTEST_SKIP() << "only this user may run the program";
    configure();
    if (::geteuid() == 0) {
        ASSERT_EQ(runProgram({"/bin/chown", "-R", "65534:65534", directory.path()}).status, 0);
    }
    const Ran ran = runWithoutRights({VOKD_PROGRAM, "--show-platform", "--host-root", root()});
    EXPECT_EQ(ran.status, 0) << ran.output;
    EXPECT_EQ(ran.output.find("not running as root"), std::string::npos) << ran.output;
}

TEST_F(Start, ACommandOfTheAgentInheritsOnlyItsStandardStreams) {
    configure(R"("CaptureUnhandledExceptionStack": "true")");
    command("localcli", "exec /bin/ls -l /proc/self/fd > \"$(dirname \"$0\")/inherited\"\n");
    // The test itself may have inherited more.
    agent = RunningProgram(
        directory.path(), "vokd",
        {"/bin/bash", "-c",
         "for each in /proc/self/fd/*; do n=${each##*/}; ((n > 2)) && eval \"exec $n>&-\"; done; "
         "exec \"$0\" --host-root \"$1\"",
         VOKD_PROGRAM, root()},
        "");
    ASSERT_TRUE(waitForLog("VOK_SERVER: VOK Server Thread started"));
    EXPECT_EQ(agent.end(SIGTERM), 0);
    std::istringstream inherited(directory.readFile("/host/bin/inherited"));
    int streams = 0;
    for (std::string line; std::getline(inherited, line);) {
        const auto arrow = line.find(" -> ");
        if (arrow == std::string::npos) continue;  // the total
        const std::string number =
            line.substr(line.rfind(' ', arrow - 1) + 1, arrow - line.rfind(' ', arrow - 1) - 1);
        if (number == "0" || number == "1" || number == "2")
            ++streams;
        else
            EXPECT_NE(line.find("/proc/"), std::string::npos) << line;  // the directory that ls reads
    }
    EXPECT_EQ(streams, 3);
}

}  // namespace
}  // namespace StartTest
