// vokd --record as a program: what it refuses, what it leaves, and its exit statuses.
#include <sys/stat.h>
#include <csignal>

#include "daemon/DaemonFixture.h"
#include "recording/Archive.h"

namespace RecordTest {
namespace {

class Record : public DaemonFixture {
protected:
    Record() {
        directory.writeFile("/host/etc/config/mev/vok/vok.conf",
                            R"({"EnableResources": ["HostOSInfo"], "LoggingLevel": "Info",
                                "EnableDebugLog": "true", "VOKLogLocation": "/scratch/log/vok.log",
                                "DebugLogLocation": "/scratch/log/debug.log"})");
        command("esxtop", "exit 1\n");
        command("localcli", "exit 1\n");
    }
    std::string archive() const { return directory.path() + "/host.tar"; }
    Ran record(std::vector<std::string> more = {}) const {
        std::vector<std::string> words = {VOKD_PROGRAM, "--host-root", root(), "--record", archive()};
        words.insert(words.end(), more.begin(), more.end());
        return runProgram(words);
    }
    recording::Recording load() const {
        std::string error;
        auto loaded = recording::loadArchive(archive(), error);
        EXPECT_TRUE(loaded) << error;
        return loaded.value_or(recording::Recording());
    }
};

TEST_F(Record, TheArchiveIsPrivateAndHasTheInventoryThatWouldBePrinted) {
    const Ran ran = record({"--plain"});
    EXPECT_EQ(ran.status, 0) << ran.output;
    struct stat status {};
    ASSERT_EQ(::stat(archive().c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0600u);
    const recording::Recording recorded = load();
    EXPECT_EQ(recorded.agentVersion, "3.3.2.1");
    EXPECT_EQ(recorded.abi, sizeof(void*) == 4 ? "i386" : "x86_64");
    EXPECT_FALSE(recorded.redacted);
    EXPECT_EQ(recorded.document.find(R"({"HostDataCollection":)"), 0u) << recorded.document;
    EXPECT_EQ(recorded.document.back(), '\n');
    EXPECT_EQ(recorded.files.count("/etc/config/mev/vok/vok.conf"), 1u);
}

TEST_F(Record, TheSummaryCountsWhatWasRecordedAndSaysThatNothingWasReplaced) {
    const Ran ran = record({"--plain"});
    for (const char* line :
         {"Recorded to ", "\n  bytes  ", "\n  files  ", "\n  commands  ", "\n  device requests  ",
          "\n  library calls  ", "\n  replaced          nothing: it identifies the host"})
        EXPECT_NE(ran.output.find(line), std::string::npos) << line << ran.output;
}

TEST_F(Record, WithoutPlainWhatIdentifiesTheHostIsReplacedAndCounted) {
    const Ran ran = record();
    EXPECT_EQ(ran.status, 0);
    EXPECT_EQ(ran.output.find("it identifies the host"), std::string::npos) << ran.output;
    EXPECT_TRUE(load().redacted);
}

TEST_F(Record, AnExistingFileIsRefusedAndStaysAsItIs) {
    directory.writeFile("host.tar", "precious");
    const Ran ran = record();
    EXPECT_EQ(ran.status, 8);
    EXPECT_EQ(ran.output, "vokd: no recording in " + archive() + ": File exists\n");
    EXPECT_EQ(directory.readFile("host.tar"), "precious");
}

TEST_F(Record, AMissingDirectoryIsRefused) {
    const Ran ran =
        runProgram({VOKD_PROGRAM, "--host-root", root(), "--record", directory.path() + "/no/host.tar"});
    EXPECT_EQ(ran.status, 8);
    EXPECT_NE(ran.output.find("No such file or directory"), std::string::npos) << ran.output;
}

TEST_F(Record, ASummaryThatCannotBeWrittenEndsWithEight) {
    const Ran ran = runProgram({"/bin/sh", "-c", "exec \"$0\" --host-root \"$1\" --record \"$2\" > /dev/full",
                                VOKD_PROGRAM, root(), archive()});
    EXPECT_EQ(ran.status, 8) << ran.output;
}

TEST_F(Record, ARunningAgentIsRefusedAndNoFileIsLeft) {
    configure();
    start();
    ASSERT_TRUE(waitForLog("vokd Version"));
    const Ran ran = record();
    EXPECT_EQ(ran.status, 4) << ran.output;
    EXPECT_FALSE(directory.exists("host.tar"));
    EXPECT_EQ(agent.end(SIGTERM), 0);
}

TEST_F(Record, AMissingHostRootEndsWithThree) {
    EXPECT_EQ(runProgram({VOKD_PROGRAM, "--host-root", "/no/such/directory", "--record", archive()}).status,
              3);
    EXPECT_FALSE(directory.exists("host.tar"));
}

TEST_F(Record, SigtermDuringTheBuildEndsWithNineAndLeavesNoFile) {
    command("localcli", "touch \"" + directory.path() + "/runs\"; sleep 60\n");
    agent = RunningProgram(directory.path(), "vokd",
                           {VOKD_PROGRAM, "--host-root", root(), "--record", archive()}, "");
    ASSERT_TRUE(waitUntil([&] { return directory.exists("runs"); }));
    EXPECT_EQ(agent.end(SIGTERM), 9);
    EXPECT_FALSE(directory.exists("host.tar"));
}

TEST_F(Record, PlainAloneAndTwoModesAreAWrongCommandLine) {
    for (const std::vector<std::string>& words :
         std::vector<std::vector<std::string>>{{"--plain"},
                                               {"--record"},
                                               {"--record", ""},
                                               {"--record", "-"},
                                               {"--record", "a", "--print-inventory"},
                                               {"--record", "a", "--check-config"},
                                               {"--record", "a", "--probe-disk", "/dev/sg0"}}) {
        std::vector<std::string> command = words;
        command.insert(command.begin(), VOKD_PROGRAM);
        EXPECT_EQ(runProgram(command).status, 2) << words[0];
    }
}

TEST_F(Record, NothingElseIsLeftOnTheHost) {
    EXPECT_EQ(record().status, 0);
    EXPECT_FALSE(directory.exists("/host/var/tmp/mevVOKStartup.txt"));
    EXPECT_FALSE(directory.exists("/host/opt/mev/vok/data/vok_hwlist.txt"));
    EXPECT_FALSE(directory.exists("/host/host.tar"));
}

}  // namespace
}  // namespace RecordTest
