// The installed agent on hosts that lack something or are in a bad state: it says what is wrong where an
// operator looks, and goes on if it can. A row is a host.
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>

#include "system/InstalledSystem.h"

namespace BrokenHostTest {

namespace fs = std::filesystem;

namespace {

void fileInPlaceOf(const std::string& path) {
    fs::remove_all(path);
    fs::create_directories(fs::path(path).parent_path());
    std::ofstream{path};
}

void removeIpmiDevice() {
    ::umount("/dev/ipmi0");
    fs::remove("/dev/ipmi0");
}

void fill(const std::string& directory) {
    mountMemory(directory, 4);
    std::ofstream(directory + "/filler") << std::string(8192, 'x') << std::flush;
}

struct BrokenHost {
    const char* name;
    void (*breakIt)();
    std::vector<std::string> logged;  // texts in the agent log
    std::vector<std::string> errors;  // and on standard error
    int status;                       // of the agent's end: by SIGTERM if 0, by itself otherwise
};

class ABrokenHost : public InstalledSystem, public testing::WithParamInterface<BrokenHost> {};

TEST_P(ABrokenHost, IsReportedAndTheAgentStopsGracefullyOrSaysWhyItCanNotRun) {
    writeSettings(quickSettings());
    GetParam().breakIt();
    start();
    for (const std::string& text : GetParam().logged)
        EXPECT_TRUE(waitForLine(text)) << text << "\n" << logText();
    if (GetParam().status == 0) {
        ASSERT_TRUE(waitUntil([] { return fs::exists("/var/run/mevvok"); })) << "it is up to its last step";
    }
    EXPECT_EQ(agent.end(GetParam().status == 0 ? SIGTERM : 0), GetParam().status);
    for (const std::string& text : GetParam().errors)
        EXPECT_NE(agent.errors().find(text), std::string::npos) << agent.errors();
}

INSTANTIATE_TEST_SUITE_P(
    Table, ABrokenHost,
    testing::Values(
        BrokenHost{"DataFolderIsAFile",
                   [] { fileInPlaceOf("/opt/mev/vok/data"); },
                   {"JOB_MGR: The working folder /opt/mev/vok/data can't be made: Not a directory."},
                   {"vokd: The working folder /opt/mev/vok/data can't be made: Not a directory.\n"},
                   0},
        BrokenHost{"DataFolderIsReadOnly",
                   [] { mountMemory("/opt/mev/vok/data", 4, true); },
                   {"JOB_MGR: The working folder /opt/mev/vok/data can't be written: Read-only file system."},
                   {"vokd: The working folder /opt/mev/vok/data can't be written: Read-only file system.\n"},
                   0},
        BrokenHost{
            "NoRoomInTheDataFolder",
            [] { fill("/opt/mev/vok/data"); },
            {"JOB_MGR: The working folder /opt/mev/vok/data can't be written: No space left on device.",
             "JSON_AGGR: No inventory information found!"},
            {"vokd: The working folder /opt/mev/vok/data can't be written: No space left on device.\n"},
            0},
        BrokenHost{"DataFolderIsOpenToAll",
                   [] { ::chmod("/opt/mev/vok/data", 0777); },
                   {"JOB_MGR: The working folder /opt/mev/vok/data has mode 0777; changed to 0700."},
                   {},
                   0},
        BrokenHost{
            "NoRoomForTheLogs",
            [] { fill("/scratch/log/mev/vok"); },
            {},
            {"vokd: the agent log /scratch/log/mev/vok/vok.log can't be written: No space left on device\n"},
            0},
        BrokenHost{
            "FileInPlaceOfALogDirectory",
            [] { fileInPlaceOf("/scratch/log"); },
            {},
            {"vokd: the directory /scratch/log/mev/vok of the agent log can't be created: Not a directory\n"},
            246},
        // Each attempt to open it takes six seconds.
        BrokenHost{"NoIpmiDevice",
                   [] { removeIpmiDevice(); },
                   {"IPMI: /dev/ipmi0 can't be opened: No such file or directory",
                    "JSON_AGGR: An Error occurred in delivering inventory string to RMC!"},
                   {},
                   0},
        BrokenHost{"DirectoryInPlaceOfTheStartupRecord",
                   [] { fs::create_directories("/var/tmp/mevVOKStartup.txt/planted"); },
                   {"JOB_MGR: /var/tmp/mevVOKStartup.txt is not a regular file. It has been moved to "
                    "/var/tmp/mevVOKStartup.txt.moved-"},
                   {},
                   0}),
    [](const auto& each) { return each.param.name; });

using ABrokenHostWithCommands = InstalledSystem;

TEST_F(ABrokenHostWithCommands, ALostListOfAdaptersIsAWarningWithTheStatusOfTheCommand) {
    writeSettings(quickSettings());
    hostControl({"command", "localcli", "fail", "4"});
    start();
    EXPECT_TRUE(
        waitForLine("NIC_RM: No Ethernet adapter is known until the next build (exit status 4) : "
                    "localcli network nic list"))
        << logText();
    EXPECT_EQ(agent.end(SIGTERM), 0);
}

TEST_F(ABrokenHostWithCommands, ACommandThatHangsDoesNotDelayTheEndForLongAndIsNotLeftBehind) {
    writeSettings(quickSettings());
    hostControl({"command", "localcli", "hang", "1000000000"});
    start();
    ASSERT_TRUE(waitUntil([this] { return !runningCommands("localcli").empty(); })) << logText();
    const auto before = std::chrono::steady_clock::now();
    EXPECT_EQ(agent.end(SIGTERM), 0);
    EXPECT_LT(std::chrono::steady_clock::now() - before, std::chrono::seconds(10));
    EXPECT_EQ(runningCommands("localcli"), (std::map<pid_t, std::string>{}));
}

TEST_F(ABrokenHostWithCommands, SettingsThatAreNotUsedAreNamedOnStandardErrorAndInTheLog) {
    struct Row {
        const char* text;
        const char* finding;
        bool namesALog;  // otherwise the system log is used
    };
    for (const Row& row :
         {Row{"", "the file is not used: can't be opened: No such file or directory", false},
          Row{"{ no JSON", "the file is not used: ", false},
          Row{R"({"LoggingLevel": "loud", "VOKLogLocation": "/scratch/log/mev/vok/vok.log"})",
              "LoggingLevel = \"loud\": not one of Info, Error, Warning; used instead: Warning", true}}) {
        SCOPED_TRACE(row.text);
        fs::remove("/etc/config/mev/vok/vok.conf");
        if (*row.text != 0) std::ofstream("/etc/config/mev/vok/vok.conf") << row.text;
        const std::string finding = std::string("/etc/config/mev/vok/vok.conf: ") + row.finding;
        const Ran ran =
            runProgram({"/bin/sh", "-c", "exec /opt/mev/vok/bin/vokd --print-inventory 2>&1 >/dev/null"});
        EXPECT_EQ(ran.status, 0);
        EXPECT_EQ(ran.output.find("vokd: " + finding), 0U) << ran.output;
        EXPECT_EQ(logText().find("VOKD: " + finding) != std::string::npos, row.namesALog) << logText();
        EXPECT_NE(runProgram({"/opt/mev/vok/bin/vokd", "--check-config"}).status, 0);
    }
}

}  // namespace
}  // namespace BrokenHostTest
