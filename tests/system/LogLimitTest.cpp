// The daemon makes the logger check the sizes of its files: one beyond the limit is moved to the backups.
#include <sys/statvfs.h>
#include <unistd.h>
#include <csignal>
#include <filesystem>

#include "system/SimulatedSystem.h"

namespace LogLimitTest {
namespace {

class LogLimit : public SimulatedSystem {
protected:
    void SetUp() override {
        struct statvfs room {};
        if (::statvfs(directory.path().c_str(), &room) != 0 ||
            static_cast<double>(room.f_bavail) * static_cast<double>(room.f_frsize) < 3e9)
            GTEST_SKIP() << "less than 3 GB of room for a log of that size and its backup";
    }
    // Runs the agent on a host whose log already has this size; returns the number of backups.
    std::size_t backupsOfALogOf(off_t size) {
        startAll();
        std::filesystem::create_directories(root() + "/scratch/log/mev/vok");
        const std::string log = root() + "/scratch/log/mev/vok/vok.log";
        writeHostFile("/scratch/log/mev/vok/vok.log", "the first line\n");
        EXPECT_EQ(::truncate(log.c_str(), size), 0);
        startAgent();
        EXPECT_EQ(waitFor("inventory", 1), 0);
        EXPECT_EQ(stopAgent(), 0);
        return hostDirectory("/scratch/log/mev/vok/backup_log").size();
    }
};

TEST_F(LogLimit, AFileLargerThan499999999BytesIsBackedUpWholeAndStartedAgain) {
    EXPECT_EQ(backupsOfALogOf(500000000), 1u);
    const std::string name = hostDirectory("/scratch/log/mev/vok/backup_log").at(0);
    EXPECT_EQ(name.find("vok.log_"), 0u) << name;
    const std::string backup = root() + "/scratch/log/mev/vok/backup_log/" + name;
    EXPECT_GE(std::filesystem::file_size(backup), 500000000u);
    EXPECT_LT(std::filesystem::file_size(root() + "/scratch/log/mev/vok/vok.log"), 1000000u);
    EXPECT_EQ(timesLogged("VOK Exiting Gracefully!"), 1) << "the log continues in the new file";
}

TEST_F(LogLimit, AFileBelowThatIsLeftAlone) {
    EXPECT_EQ(backupsOfALogOf(499900000), 0u);
}

}  // namespace
}  // namespace LogLimitTest
