// The limits of a host root: no path leads out of it, and nobody else can put code into it.
#include "platform/access/vokRootedHostAccess.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "support/TemporaryDirectory.h"

namespace vokRootedHostAccessTest {
namespace {

struct Inside {
    const char* path;
    const char* underTheRoot;
};

TEST(RootedHostAccess, NoPathLeadsOutOfTheRoot) {
    const TemporaryDirectory root;
    const vokRootedHostAccess host(root.path());
    constexpr Inside rows[] = {
        {"/scratch/../vok.log", "/vok.log"},
        {"/../vok.log", "/vok.log"},
        {"/../../../../etc/passwd", "/etc/passwd"},
        {"/scratch/log/../../../../tmp/vok.log", "/tmp/vok.log"},
        {"../vok.log", "/vok.log"},
        {"logs/../../vok.log", "/vok.log"},
        {"/a/b/..", "/a"},
        {"/..", "/"},
        {"/a/../b/", "/b/"},
        {"/a//../b", "/a/b"},  // the part before it is empty
    };
    for (const auto& row : rows) EXPECT_EQ(host.path(row.path), root.path() + row.underTheRoot) << row.path;
}

TEST(RootedHostAccess, BelowSysTheParentOfALinkIsThatOfItsTarget) {
    const TemporaryDirectory root;
    root.writeFile("/sys/devices/pci0000:00/0000:00:17.0/vendor", "0x8086");
    root.writeFile("/sys/devices/pci0000:00/0000:00:17.0/host0/here", "");
    root.writeFile("/sys/class/scsi_host/host0/here", "");
    ASSERT_EQ(::symlink("../../../devices/pci0000:00/0000:00:17.0/host0",
                        (root.path() + "/sys/class/scsi_host/host0/device").c_str()),
              0);
    const vokRootedHostAccess host(root.path());
    EXPECT_EQ(::access(host.path("/sys/class/scsi_host/host0/device/../vendor").c_str(), R_OK), 0);
    constexpr Inside rows[] = {
        {"/sys/a/../b", "/sys/a/../b"},
        {"/sys/a//../b", "/sys/a//../b"},
        {"/sys/..", "/"},
        {"/sys/../etc", "/etc"},
        {"/sys/a/../../etc", "/etc"},
        {"/sys/a/../../sys/b", "/sys/b"},
        {"/sys/a/./../../etc", "/sys/etc"},  // by the text alone "." is a part
        {"/sys/a/b/c/../..", "/sys/a/b/c/../.."},
        {"/sys/a/b/c/../../..", "/sys"},
        {"/sysfs/../etc", "/etc"},
    };
    for (const auto& row : rows) EXPECT_EQ(host.path(row.path), root.path() + row.underTheRoot) << row.path;
}

TEST(RootedHostAccess, DotsThatAreNoParentStay) {
    const TemporaryDirectory root;
    const vokRootedHostAccess host(root.path());
    for (const char* path : {"/a/..b", "/a/b..", "/a/...", "/a..b/c", "/a/./b", "/"})
        EXPECT_EQ(host.path(path), root.path() + path);
}

struct Rights {
    const char* directory;  // below the root
    mode_t mode;
    uid_t user;
    gid_t group;
    const char* refusal;  // null: accepted
};

class HostRootRights : public testing::TestWithParam<Rights> {};

TEST_P(HostRootRights, DecideWhetherTheRootIsTrusted) {
    if (::geteuid() != 0) GTEST_SKIP() << "only root can give directories away";
    const TemporaryDirectory root;
    root.writeFile("/lib/here", "");
    root.writeFile("/bin/here", "");
    root.writeFile("/sbin/here", "");
    root.writeFile("/usr/sbin/here", "");
    const std::string directory = root.path() + GetParam().directory;
    ASSERT_EQ(::chown(directory.c_str(), GetParam().user, GetParam().group), 0);
    ASSERT_EQ(::chmod(directory.c_str(), GetParam().mode), 0);
    std::string error;
    const auto host = vokOpenHostRoot(root.path(), error);
    EXPECT_EQ(host != nullptr, GetParam().refusal == nullptr) << error;
    EXPECT_EQ(error, GetParam().refusal
                         ? "host root " + root.path() + ": " + directory + " " + GetParam().refusal +
                               ", so its commands and libraries can't be trusted"
                         : "");
}

INSTANTIATE_TEST_SUITE_P(
    Table, HostRootRights,
    testing::Values(Rights{"", 0700, 0, 0, nullptr}, Rights{"", 0755, 0, 12, nullptr},
                    Rights{"", 0775, 0, 0, nullptr}, Rights{"", 0777, 0, 0, "is writable by everyone"},
                    Rights{"", 01777, 0, 0, "is writable by everyone"},
                    Rights{"/lib", 0702, 0, 0, "is writable by everyone"},
                    Rights{"/bin", 0777, 0, 0, "is writable by everyone"},
                    Rights{"/sbin", 0777, 0, 0, "is writable by everyone"},
                    Rights{"/usr", 0777, 0, 0, "is writable by everyone"},
                    Rights{"/usr/sbin", 0777, 0, 0, "is writable by everyone"},
                    Rights{"", 0770, 0, 12, "is writable by group 12, which is not the caller's"},
                    Rights{"/lib", 0775, 0, 12, "is writable by group 12, which is not the caller's"},
                    Rights{"", 0755, 1234, 0, "belongs to user 1234, who is neither root nor the caller"},
                    Rights{"/bin", 0700, 1234, 0,
                           "belongs to user 1234, who is neither root nor the caller"}));

TEST(OpenHostRoot, TheCallersOwnDirectoryIsTrusted) {
    const TemporaryDirectory root;
    ASSERT_EQ(::chmod(root.path().c_str(), 0775), 0);  // of the caller's own group
    std::string error;
    EXPECT_NE(vokOpenHostRoot(root.path(), error), nullptr) << error;
}

}  // namespace
}  // namespace vokRootedHostAccessTest
