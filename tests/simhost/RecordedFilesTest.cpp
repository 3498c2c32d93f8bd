// The files of a recording as one tree.
#include <gtest/gtest.h>
#include <cerrno>

#include "replay/RecordedFiles.h"
#include "simhost/ReplayedMachine.h"

namespace RecordedFilesTest {
using simhost::RecordedFiles;
using Kind = RecordedFiles::Answer::Kind;

namespace {

// /sys/class/net/eth0 is a link to /sys/devices/pci/eth0, which has a link "device" to its parent.
RecordedFiles::Entries linkedTree() {
    return {{"/sys", recordedWay()},
            {"/sys/class", recordedWay()},
            {"/sys/class/net", recordedList({{"eth0", RecordedKind::link}, {"lo", RecordedKind::link}})},
            {"/sys/class/net/eth0", recordedLink("../../devices/pci/eth0")},
            {"/sys/devices", recordedWay()},
            {"/sys/devices/pci", recordedWay()},
            {"/sys/devices/pci/eth0", recordedWay()},
            {"/sys/devices/pci/eth0/device", recordedLink("..")},
            {"/sys/devices/pci/vendor", recordedFile("0x8086\n")},
            {"/etc", recordedLink("/system/etc")}};
}

TEST(RecordedFilesTree, APathIsLocatedThroughTheLinksOnItsWayButNotThroughItsLastName) {
    const RecordedFiles files(linkedTree());
    EXPECT_EQ(files.locate("/sys/class/net/eth0/device/vendor"), "/sys/devices/pci/vendor");
    EXPECT_EQ(files.locate("/sys/class/net/eth0"), "/sys/class/net/eth0");
    EXPECT_EQ(files.locate("/sys/class/net/eth0/.."), "/sys/devices/pci");
    EXPECT_EQ(files.locate("/etc/hosts"), "/system/etc/hosts");
    EXPECT_EQ(files.locate("//sys/./class/"), "/sys/class");
    EXPECT_EQ(files.locate("/"), "/");
    EXPECT_EQ(files.locate("sys"), std::nullopt);
}

TEST(RecordedFilesTree, NoPathLeadsAboveItsRoot) {
    const RecordedFiles files({{"/a", recordedLink("../../b")}});
    EXPECT_EQ(files.locate("/../../etc"), "/etc");
    EXPECT_EQ(files.locate("/a/c"), "/b/c");
    EXPECT_TRUE(files.leadsOut("/a/c"));
    EXPECT_TRUE(files.leadsOut("/b/../.."));
    EXPECT_FALSE(files.leadsOut("/b/.."));
}

TEST(RecordedFilesTree, LinksInACircleHaveNoLocation) {
    const RecordedFiles files({{"/a", recordedLink("/b")}, {"/b", recordedLink("/a")}});
    EXPECT_EQ(files.locate("/a/x"), std::nullopt);
    EXPECT_EQ(files.ask("/a/x").kind, Kind::notRecorded);
}

TEST(RecordedFilesTree, ALinkThatWasRecordedByAPathWithLinksIsFound) {
    const RecordedFiles files(
        {{"/a", recordedLink("z")}, {"/a/l", recordedLink("/y")}, {"/y/f", recordedFile("1")}});
    EXPECT_EQ(files.locate("/z/l/f"), "/y/f");
    EXPECT_EQ(files.ask("/z/l/f").kind, Kind::known);
}

TEST(RecordedFilesTree, WhatTheAgentAskedForIsKnownByEachPathThatLeadsThere) {
    const RecordedFiles files(linkedTree());
    for (const char* path : {"/sys/devices/pci/vendor", "/sys/class/net/eth0/device/vendor"}) {
        const auto answer = files.ask(path);
        EXPECT_EQ(answer.kind, Kind::known) << path;
        EXPECT_EQ(answer.location, "/sys/devices/pci/vendor");
        EXPECT_EQ(answer.type, RecordedKind::file);
    }
}

TEST(RecordedFilesTree, ALinkOnTheWayIsKnownAndADirectoryOnTheWayIsNot) {
    const RecordedFiles files(linkedTree());
    EXPECT_EQ(files.ask("/sys/class/net/eth0").kind, Kind::known);
    EXPECT_EQ(files.ask("/sys/class").kind, Kind::notRecorded) << "its list was not recorded";
    EXPECT_EQ(files.ask("/sys/class/net").kind, Kind::known);
}

TEST(RecordedFilesTree, ANameThatARecordedListLacksIsKnownToBeAbsentAndOneThatItHasIsNot) {
    const RecordedFiles files(linkedTree());
    EXPECT_EQ(files.ask("/sys/class/net/eth1").kind, Kind::known);
    EXPECT_EQ(files.ask("/sys/class/net/eth1").type, RecordedKind::absent);
    EXPECT_EQ(files.ask("/sys/class/net/eth1/speed").kind, Kind::known);
    EXPECT_EQ(files.ask("/sys/class/net/lo").kind, Kind::notRecorded);
    EXPECT_EQ(files.ask("/sys/devices/other").kind, Kind::notRecorded);
}

TEST(RecordedFilesTree, WhatLiesBelowAnAbsentPathOrAFileIsKnownToBeAbsent) {
    RecordedFiles::Entries entries{{"/proc", recordedEntry(RecordedKind::absent)},
                                   {"/f", recordedFile("")},
                                   {"/dev/sg0", recordedEntry(RecordedKind::other)}};
    const RecordedFiles files(entries);
    for (const char* path : {"/proc", "/proc/devices", "/f/x", "/dev/sg0/x"})
        EXPECT_EQ(files.ask(path).kind, Kind::known) << path;
}

TEST(RecordedFilesTree, WhatCouldNotBeReadFailsWithItsError) {
    const RecordedFiles files({{"/speed", recordedFile("", EINVAL)}, {"/d", recordedList({}, EACCES)}});
    EXPECT_EQ(files.ask("/speed").kind, Kind::fails);
    EXPECT_EQ(files.ask("/speed").error, EINVAL);
    EXPECT_EQ(files.ask("/d").kind, Kind::fails);
    EXPECT_EQ(files.ask("/d/x").kind, Kind::notRecorded) << "its list is not known";
}

}  // namespace
}  // namespace RecordedFilesTest
