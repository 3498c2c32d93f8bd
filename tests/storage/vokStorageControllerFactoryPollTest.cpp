// How the factory notices that a SCSI host or device has come or gone.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <chrono>
#include <filesystem>

#include "storage/StorageFixture.h"
#include "storage/vokStorageControllerFactory.h"

namespace vokStorageControllerFactoryPollTest {
namespace {

namespace fs = std::filesystem;

class StorageFactoryPoll : public StorageFixture {
protected:
    StorageFactoryPoll() {
        for (const char* const each : {hosts, devices}) {
            fs::create_directories(host.path(each));
            setTime(each, 1000);
        }
    }
    void setTime(const char* directory, int seconds) const {
        fs::last_write_time(host.path(directory), fs::file_time_type(std::chrono::seconds(seconds)));
    }

    bool factoryLogged(const std::string& line) const { return hasLogged(host, "DEBUG STOR_FACT: " + line); }
    long rebuildRequests() const { return countLogged(host, "DEBUG SAS_RM: Invalidating inventory cache."); }

    vokStorageControllerFactory& factory = *vokStorageControllerFactory::getInstance();
    static constexpr char hosts[] = "/sys/class/scsi_host";
    static constexpr char devices[] = "/sys/class/scsi_device";
};

TEST_F(StorageFactoryPoll, TheFirstLookRequestsNothing) {
    factory.poll();
    factory.poll();
    EXPECT_EQ(rebuildRequests(), 0);
}

TEST_F(StorageFactoryPoll, AChangeOfEitherDirectoryRequestsABuildOnce) {
    factory.poll();
    setTime(hosts, 2000);
    factory.poll();
    EXPECT_EQ(rebuildRequests(), 1);
    factory.poll();
    EXPECT_EQ(rebuildRequests(), 1);
    setTime(devices, 2000);
    factory.poll();
    EXPECT_EQ(rebuildRequests(), 2);
    setTime(hosts, 3000);
    setTime(devices, 3000);
    factory.poll();
    EXPECT_EQ(rebuildRequests(), 3) << "once for both";
    factory.poll();
    EXPECT_EQ(rebuildRequests(), 3);
    EXPECT_EQ(countLogged(host, "DEBUG STOR_FACT: Detected change in SCSI hosts/devices."), 3);
}

// Nothing can set the time of a status change, so an older directory stands for the one before the change.
TEST_F(StorageFactoryPoll, AChangeOfStatusAloneRequestsABuildToo) {
    const std::string classes = host.path("/sys/class");
    fs::rename(classes, classes + ".later");
    fs::create_directory_symlink(OLDER_CLASS_DIRECTORY, classes);
    struct stat before {};
    ASSERT_EQ(::lstat(host.path(hosts).c_str(), &before), 0);
    factory.poll();

    fs::remove(classes);
    fs::rename(classes + ".later", classes);
    const timespec times[] = {before.st_atim, before.st_mtim};
    ASSERT_EQ(::utimensat(AT_FDCWD, host.path(hosts).c_str(), times, 0), 0);
    struct stat after {};
    ASSERT_EQ(::lstat(host.path(hosts).c_str(), &after), 0);
    ASSERT_EQ(after.st_mtime, before.st_mtime);
    ASSERT_NE(after.st_ctime, before.st_ctime);
    factory.poll();
    EXPECT_EQ(rebuildRequests(), 1);
}

TEST_F(StorageFactoryPoll, ADirectoryThatCantBeReadIsNoChange) {
    factory.poll();
    fs::rename(host.path(hosts), host.path("/sys/class/other"));
    factory.poll();
    EXPECT_TRUE(factoryLogged("lstat(scsi_host) completed with -1 (2)."));
    fs::rename(host.path(devices), host.path("/sys/class/another"));
    factory.poll();
    EXPECT_TRUE(factoryLogged("lstat(scsi_device) completed with -1 (2)."));
    EXPECT_EQ(rebuildRequests(), 0);
    setTime("/sys/class/other", 2000);
    fs::rename(host.path("/sys/class/other"), host.path(hosts));
    factory.poll();
    EXPECT_EQ(rebuildRequests(), 1) << "compared with the last that could be read";
}

}  // namespace
}  // namespace vokStorageControllerFactoryPollTest
