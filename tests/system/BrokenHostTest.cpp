// The installed agent on hosts that lack something or are in a bad state: it says what is wrong where an
// operator looks, and goes on if it can. A row is a host.
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>
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
        BrokenHost{"NoRoomForTheLogs", [] { fill("/scratch/log/mev/vok"); }, {}, {}, 0},
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

}  // namespace
}  // namespace BrokenHostTest
