#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>
#include <string>
#include <vector>

#include "platform/utils/vokUtils.h"
#include "support/FakeHost.h"

namespace vokUtilsDirectoriesTest {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using Names = std::vector<std::string>;

// A host with a directory /d that holds these names.
FakeHost hostWith(const Names& names) {
    FakeHost host;
    ::mkdir((host.root.path() + "/d").c_str(), 0700);
    for (const auto& name : names) host.root.writeFile("/d/" + name, "");
    return host;
}

using Lister = int (*)(const std::string& path, Names& out);

int listNameSpaces(const std::string& path, Names& out) {
    return vokUtils::dirListNvmeNameSpaces(path, "", out);
}

const Lister all[] = {[](const std::string& path, Names& out) { return vokUtils::dirList(path, out); },
                      [](const std::string& path, Names& out) { return vokUtils::dirPciList(path, out); },
                      [](const std::string& path, Names& out) { return vokUtils::dirListIB(path, out); },
                      listNameSpaces};

}  // namespace

TEST(DirList, ListsEveryNameInAlphabeticalOrder) {
    hostWith({"b", "a", ".hidden", "..twice", "c"});
    Names out;
    EXPECT_EQ(vokUtils::dirList("/d", out), 0);
    EXPECT_EQ(out.size(), 5u);
    EXPECT_THAT(out, testing::UnorderedElementsAre("..twice", ".hidden", "a", "b", "c"));
    EXPECT_THAT(Names(out.end() - 3, out.end()), ElementsAre("a", "b", "c"));
}

TEST(DirList, ListsDirectoriesAndLinksToo) {
    const auto host = hostWith({"file", "sub/file"});
    ASSERT_EQ(::symlink("nowhere", (host.root.path() + "/d/link").c_str()), 0);
    Names out;
    EXPECT_EQ(vokUtils::dirList("/d", out), 0);
    EXPECT_THAT(out, ElementsAre("file", "link", "sub"));
}

TEST(DirPciList, ListsTheNamesThatStartWith00InReverseOrder) {
    hostWith({"0000:01:00.0", "0000:02:00.0", "0001:00:00.0", "0100:00:00.0", "0", "x00"});
    Names out;
    EXPECT_EQ(vokUtils::dirPciList("/d", out), 0);
    EXPECT_THAT(out, ElementsAre("0001:00:00.0", "0000:02:00.0", "0000:01:00.0"));
}

TEST(DirListIB, ListsTheNamesThatContainIbInReverseOrder) {
    hostWith({"ib0", "mlx5_ib1", "IB2", "eth0", "i_b"});
    Names out;
    EXPECT_EQ(vokUtils::dirListIB("/d", out), 0);
    EXPECT_THAT(out, ElementsAre("mlx5_ib1", "ib0"));
}

TEST(DirListNvmeNameSpaces, ListsTheNamesThatStartWithThePrefixInOrder) {
    hostWith({"nvme0n2", "nvme0n1", "nvme1n1", "xnvme0n3", "nvme"});
    Names out;
    EXPECT_EQ(vokUtils::dirListNvmeNameSpaces("/d", "nvme0", out), 0);
    EXPECT_THAT(out, ElementsAre("nvme0n1", "nvme0n2"));
}

TEST(DirListNvmeNameSpaces, WithoutAPrefixTheDirectoryItselfAndItsParentAreStillLeftOut) {
    hostWith({"a"});
    Names out;
    EXPECT_EQ(vokUtils::dirListNvmeNameSpaces("/d", "", out), 0);
    EXPECT_EQ(vokUtils::dirListNvmeNameSpaces("/d", ".", out), 0);
    EXPECT_THAT(out, ElementsAre("a"));
}

TEST(DirectoryListers, KeepTheEarlierContentOfTheListAfterOrBeforeTheNames) {
    hostWith({"00ib1", "00ib2"});
    Names appended{"old"};
    vokUtils::dirListNvmeNameSpaces("/d", "00", appended);
    EXPECT_THAT(appended, ElementsAre("old", "00ib1", "00ib2"));
    Names pci{"old"};
    vokUtils::dirPciList("/d", pci);
    EXPECT_THAT(pci, ElementsAre("00ib2", "00ib1", "old"));
    Names infiniBand{"old"};
    vokUtils::dirListIB("/d", infiniBand);
    EXPECT_THAT(infiniBand, ElementsAre("00ib2", "00ib1", "old"));
}

TEST(DirectoryListers, APathWithoutALeadingSlashGetsOne) {
    hostWith({"00ib"});
    for (const auto list : all) {
        Names out;
        EXPECT_EQ(list("d", out), 0);
        EXPECT_THAT(out, ElementsAre("00ib"));
    }
}

TEST(DirectoryListers, AnEmptyDirectoryIsNotAFailure) {
    hostWith({});
    for (const auto list : all) {
        Names out;
        EXPECT_EQ(list("/d", out), 0);
        EXPECT_THAT(out, IsEmpty());
    }
}

TEST(DirectoryListers, AMissingDirectoryOrAFileFailsAndLeavesTheListUnchanged) {
    hostWith({"00ib"});
    for (const auto list : all) {
        Names out{"old"};
        EXPECT_EQ(list("/none", out), -1);
        EXPECT_EQ(list("/d/00ib", out), -1);
        EXPECT_THAT(out, ElementsAre("old"));
    }
}

TEST(DirectoryListers, ASymbolicLinkToADirectoryFails) {
    const auto host = hostWith({"00ib"});
    ASSERT_EQ(::symlink("d", (host.root.path() + "/link").c_str()), 0);
    for (const auto list : all) {
        Names out;
        EXPECT_EQ(list("/link", out), -1);
        EXPECT_THAT(out, IsEmpty());
    }
}

TEST(DirectoryListers, ALinkOnTheWayToTheDirectoryIsFollowed) {
    const auto host = hostWith({"sub/00ib"});
    ASSERT_EQ(::symlink("d", (host.root.path() + "/link").c_str()), 0);
    Names out;
    EXPECT_EQ(vokUtils::dirList("/link/sub", out), 0);
    EXPECT_THAT(out, ElementsAre("00ib"));
}

}  // namespace vokUtilsDirectoriesTest
