// The command line, and the exit statuses.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <csignal>
#include <sstream>

#include "simhost/RunningProgram.h"
#include "support/TemporaryDirectory.h"

namespace CommandLineTest {
namespace {

Ran vokd(std::vector<std::string> options) {
    options.insert(options.begin(), VOKD_PROGRAM);
    return runProgram(options);
}

TEST(CommandLine, VersionIsOneLine) {
    const Ran ran = vokd({"--version"});
    EXPECT_EQ(ran.status, 0);
    EXPECT_EQ(ran.output, "vokd 3.3.2.1\n");
}

TEST(CommandLine, HelpNamesEveryOptionAndEveryExitStatus) {
    const Ran ran = vokd({"--help"});
    EXPECT_EQ(ran.status, 0);
    for (const char* option : {"--help", "--version", "--host-root DIR", "--check-config",
                               "--print-inventory", "--probe-disk NODE", "--record FILE", "--plain"})
        EXPECT_NE(ran.output.find(option), std::string::npos) << option;
    for (const char* status : {"\n  0 ", "\n  1 ", "\n  2 ", "\n  3 ", "\n  4 ", "\n  5 ", "\n  6 ", "\n  7 ",
                               "\n  8 ", "\n  9 ", "\n  10 ", "\n  11 ", "\n  12 ", "\n  245 ", "\n  246 "})
        EXPECT_NE(ran.output.find(status), std::string::npos) << status;
}

TEST(CommandLine, HelpFitsATerminalOf80Columns) {
    std::istringstream help(vokd({"--help"}).output);
    int lines = 0;
    for (std::string line; std::getline(help, line); ++lines) EXPECT_LE(line.size(), 80u) << line;
    EXPECT_GT(lines, 30);
}

TEST(CommandLine, AnInvalidCommandLineEndsWithTwoAndStartsNothing) {
    for (const std::vector<std::string>& options : std::vector<std::vector<std::string>>{
             {"--no-such-option"},
             {"word"},
             {"--host-root"},
             {"--host-root", ""},
             {"--check-config", "--print-inventory"},
             {"--probe-disk"},
             {"--probe-disk", ""},
             {"--probe-disk", "dev/sg3"},
             {"--probe-disk", "/dev/sg3", "--check-config"},
             {"--probe-disk", "/dev/sg3", "--print-inventory"},
             {"--probe-disk", "/dev/sg3", "--show-platform"},
         }) {
        const Ran ran = vokd(options);
        EXPECT_EQ(ran.status, 2) << options[0];
        EXPECT_NE(ran.output, "") << options[0];
    }
}

TEST(CommandLine, AMissingHostRootEndsWithThreeAndIsNamed) {
    const Ran ran = vokd({"--host-root", "/no/such/directory"});
    EXPECT_EQ(ran.status, 3);
    EXPECT_NE(ran.output.find("/no/such/directory"), std::string::npos) << ran.output;
}

TEST(CommandLine, AFileIsNotAHostRoot) {
    const TemporaryDirectory directory;
    directory.writeFile("file", "");
    EXPECT_EQ(vokd({"--host-root", directory.path() + "/file"}).status, 3);
}

TEST(CommandLine, OutputThatCannotBeWrittenEndsWithEightInEveryMode) {
    const TemporaryDirectory directory;
    directory.writeFile("/var/run/here", "");
    for (const char* mode :
         {"--help", "--version", "--check-config", "--show-platform", "--print-inventory"}) {
        const Ran ran = runProgram({"/bin/sh", "-c", "exec \"$0\" $1 --host-root \"$2\" > /dev/full",
                                    VOKD_PROGRAM, mode, directory.path()});
        EXPECT_EQ(ran.status, 8) << mode;
        const std::string said = "vokd: standard output: No space left on device\n";
        ASSERT_GE(ran.output.size(), said.size()) << mode;
        EXPECT_EQ(ran.output.substr(ran.output.size() - said.size()), said) << mode;
    }
}

// A reader that has gone raises SIGPIPE with the same write.
TEST(CommandLine, AReaderThatHasGoneEndsWithEightAndNotWithASignal) {
    const TemporaryDirectory directory;
    const Ran ran = runProgram(
        {"/bin/bash", "-c",
         "{ sleep 0.1; \"$0\" --check-config --host-root \"$1\"; echo \"status $?\" >&2; } | :", VOKD_PROGRAM,
         directory.path()});
    EXPECT_NE(ran.output.find("vokd: standard output: Broken pipe\nstatus 8\n"), std::string::npos)
        << ran.output;
}

// Otherwise the document would go into the first file that vokd opens: its own lock.
TEST(CommandLine, AClosedStandardOutputEndsWithEightToo) {
    const TemporaryDirectory directory;
    directory.writeFile("/var/run/here", "");
    const Ran ran = runProgram({"/bin/sh", "-c", "exec \"$0\" --print-inventory --host-root \"$1\" >&-",
                                VOKD_PROGRAM, directory.path()});
    EXPECT_EQ(ran.status, 8);
    EXPECT_NE(ran.output.find("vokd: standard output: Bad file descriptor\n"), std::string::npos)
        << ran.output;
    const std::string lock = directory.readFile("/var/run/vokd.pid");
    EXPECT_EQ(lock.find_first_not_of("0123456789\n"), std::string::npos) << lock;
}

TEST(CommandLine, ACommandThatTheAgentRunsCanWaitForItsChildrenAndDoesNotIgnoreSIGPIPE) {
    const TemporaryDirectory directory;
    directory.writeFile("/var/run/here", "");
    directory.writeFile("/bin/localcli",
                        "#!/bin/sh\n"
                        "grep '^SigIgn:' /proc/self/status > \"$(dirname \"$0\")/ignored\"\n"
                        "sleep 0.01 & wait\n"
                        "echo '   Product: Waited For It'\n");
    ASSERT_EQ(::chmod((directory.path() + "/bin/localcli").c_str(), 0755), 0);
    const Ran ran = runProgram(
        {"/usr/bin/timeout", "20", VOKD_PROGRAM, "--print-inventory", "--host-root", directory.path()});
    EXPECT_EQ(ran.status, 0);
    EXPECT_NE(ran.output.find("WaitedForIt"), std::string::npos) << ran.output;
    const std::string ignored = directory.readFile("/bin/ignored");
    ASSERT_GE(ignored.size(), 18u);
    const unsigned long long set = std::stoull(ignored.substr(7), nullptr, 16);
    EXPECT_EQ(set >> (SIGPIPE - 1) & 1, 0u) << ignored;
}

TEST(CommandLine, ALogDirectoryThatCannotBeCreatedEndsTheProgramWithTheStatusOfThatLog) {
    const TemporaryDirectory directory;
    directory.writeFile("in-the-way", "");
    directory.writeFile("/var/run/here", "");
    directory.writeFile("/etc/config/mev/vok/vok.conf",
                        R"({"VOKLogLocation": "/in-the-way/deeper/vok.log", "LoggingLevel": "Info"})");
    Ran ran = vokd({"--host-root", directory.path()});
    EXPECT_EQ(ran.status, 246);
    EXPECT_EQ(ran.output, "vokd: the directory " + directory.path() +
                              "/in-the-way/deeper of the agent log can't be created: Not a directory\n");
    directory.writeFile("/etc/config/mev/vok/vok.conf",
                        R"({"DebugLogLocation": "/in-the-way/deeper/debug.log", "LoggingLevel": "Info"})");
    ran = vokd({"--host-root", directory.path()});
    EXPECT_EQ(ran.status, 245);
    EXPECT_EQ(ran.output, "vokd: the directory " + directory.path() +
                              "/in-the-way/deeper of the debug log can't be created: Not a directory\n");
}

TEST(CommandLine, TheWarningsOfTheSettingsComeBeforeALogDirectoryThatEndsTheProgram) {
    const TemporaryDirectory directory;
    const std::string file = directory.path() + "/etc/config/mev/vok/vok.conf";
    directory.writeFile("in-the-way", "");
    directory.writeFile("/opt/mev/vok/log", "a file");
    directory.writeFile("/var/run/here", "");
    directory.writeFile("/etc/config/mev/vok/vok.conf",
                        R"({"VOKLogLocation": "/in-the-way/deeper/vok.log", "LoggingLevel": "debug",
                            "CaptureUnhandledExceptionStack": "true"})");
    const Ran ran = vokd({"--host-root", directory.path()});
    EXPECT_EQ(ran.status, 246);
    EXPECT_EQ(ran.output,
              "vokd: no stack traces: " + directory.path() +
                  "/opt/mev/vok/log can't be created: Not a directory\n"
                  "vokd: " +
                  file +
                  ": LoggingLevel = \"debug\": not one of Info, Error, Warning; used instead: Warning\n"
                  "vokd: the directory " +
                  directory.path() +
                  "/in-the-way/deeper of the agent log can't be created: Not a directory\n");
}

TEST(CommandLine, AHostRootThatEverybodyMayWriteEndsWithThreeAndIsNamed) {
    const TemporaryDirectory directory;
    directory.writeFile("/lib/here", "");
    ASSERT_EQ(::chmod((directory.path() + "/lib").c_str(), 0777), 0);
    const Ran ran = vokd({"--check-config", "--host-root", directory.path()});
    EXPECT_EQ(ran.status, 3);
    EXPECT_EQ(ran.output,
              "vokd: host root " + directory.path() + ": " + directory.path() +
                  "/lib is writable by everyone, so its commands and libraries can't be trusted\n");
}

}  // namespace
}  // namespace CommandLineTest
