// The root of a replayed host.
#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>
#include <cerrno>
#include <filesystem>
#include <fstream>

#include "replay/ReplayLayout.h"
#include "simhost/ReplayedMachine.h"

namespace ReplayLayoutTest {
namespace fs = std::filesystem;
using simhost::RecordedFiles;
using testing::HasSubstr;

namespace {

class Layout : public testing::Test {
protected:
    Layout() { fs::create_directories(root + "/run/simhost"); }

    void layOut(const RecordedFiles::Entries& entries, const std::string& configuration = "") {
        simhost::ReplaySources sources;
        sources.module = directory.path() + "/module.so";
        if (!configuration.empty()) sources.configuration = configuration;
        layOutReplay(root, RecordedFiles(entries), sources);
    }
    std::string content(const std::string& path) const {
        std::ifstream file(root + path, std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }
    fs::file_type type(const std::string& path) const { return fs::symlink_status(root + path).type(); }

    TemporaryDirectory directory;
    const std::string root = directory.path() + "/root";
};

TEST_F(Layout, RecordedFilesHaveTheirContentAndTheirDirectories) {
    layOut({{"/sys/a/b", recordedFile(std::string("\0\xFF", 2))}, {"/etc", recordedWay()}});
    EXPECT_EQ(content("/sys/a/b"), std::string("\0\xFF", 2));
    EXPECT_EQ(type("/etc"), fs::file_type::directory);
    for (const char* place : {"/opt/mev/vok/log", "/opt/mev/vok/data", "/var/run", "/var/tmp", "/var/log"})
        EXPECT_EQ(type(place), fs::file_type::directory) << place;
    EXPECT_EQ(fs::read_symlink(root + "/lib/libvok-hostaccess.so"), directory.path() + "/module.so");
}

TEST_F(Layout, AFileCountsAsAProgramThatMayBeRun) {
    layOut({{"/usr/sbin/mdadm", recordedFile("#!/bin/sh\n")}});
    EXPECT_EQ(::access((root + "/usr/sbin/mdadm").c_str(), R_OK | X_OK), 0);
}

TEST_F(Layout, AListHasEachOfItsNamesInItsKind) {
    layOut({{"/dev", recordedList({{"f", RecordedKind::file},
                                   {"d", RecordedKind::directory},
                                   {"l", RecordedKind::link},
                                   {"sg0", RecordedKind::other},
                                   {"asked", RecordedKind::file}})},
            {"/dev/asked", recordedFile("1")}});
    EXPECT_EQ(type("/dev/f"), fs::file_type::regular);
    EXPECT_EQ(type("/dev/d"), fs::file_type::directory);
    EXPECT_EQ(type("/dev/l"), fs::file_type::symlink);
    EXPECT_EQ(type("/dev/sg0"), fs::file_type::socket);
    EXPECT_EQ(content("/dev/asked"), "1");
}

TEST_F(Layout, ARelativeLinkIsAsRecordedAndAnAbsoluteOneStaysWithinTheRoot) {
    layOut({{"/a/b/relative", recordedLink("../../c/f")},
            {"/a/b/absolute", recordedLink("/c/f")},
            {"/a/b/below", recordedLink("/a/b")},
            {"/c/f", recordedFile("here")}});
    EXPECT_EQ(fs::read_symlink(root + "/a/b/relative"), "../../c/f");
    EXPECT_EQ(fs::read_symlink(root + "/a/b/absolute"), "../../c/f");
    EXPECT_EQ(fs::read_symlink(root + "/a/b/below"), ".");
    EXPECT_EQ(content("/a/b/absolute"), "here");
}

TEST_F(Layout, AFileThatWasRecordedThroughALinkLiesWhereTheLinkLeads) {
    layOut({{"/c", recordedLink("d")}, {"/c/f", recordedFile("1")}, {"/d/g", recordedFile("2")}});
    EXPECT_EQ(content("/d/f"), "1");
    EXPECT_EQ(content("/c/g"), "2");
}

TEST_F(Layout, ADirectoryOfTheAgentMayBeALinkOfTheRecordedHost) {
    layOut({{"/var/run", recordedLink("/run")}, {"/lib", recordedLink("usr/lib")}});
    EXPECT_EQ(fs::read_symlink(root + "/var/run"), "../run");
    EXPECT_EQ(fs::read_symlink(root + "/lib"), "usr/lib");
    EXPECT_EQ(fs::read_symlink(root + "/lib/libvok-hostaccess.so"), directory.path() + "/module.so");
}

TEST_F(Layout, ALinkThatLeadsOutOfTheHostIsRefused) {
    for (const auto& entries :
         {RecordedFiles::Entries{{"/a/l", recordedLink("../../x")}},
          RecordedFiles::Entries{{"/d/e/l", recordedLink("/x")}, {"/y", recordedLink("d/e/l/../..")}}}) {
        try {
            layOut(entries);
            ADD_FAILURE() << "laid out";
        } catch (const std::runtime_error& error) {
            EXPECT_THAT(error.what(), HasSubstr("leads out of the recorded host"));
        }
    }
}

TEST_F(Layout, ANameInAListThatIsNoneIsRefused) {
    for (const char* name : {"", ".", "..", "../../x", "a/b"})
        EXPECT_THROW(layOut({{"/d", recordedList({{name, RecordedKind::file}})}}), std::runtime_error)
            << name;
    EXPECT_FALSE(fs::exists(directory.path() + "/x"));
}

TEST_F(Layout, NothingOfTheRecordingTakesThePlaceOfTheSimulation) {
    directory.writeFile("root/run/simhost/state", "clock");
    layOut({{"/lib/libvok-hostaccess.so", recordedFile("evil")},
            {"/run/simhost/state", recordedFile("evil")},
            {"/.vok-simhost", recordedFile("evil")}});
    EXPECT_EQ(fs::read_symlink(root + "/lib/libvok-hostaccess.so"), directory.path() + "/module.so");
    EXPECT_EQ(content("/run/simhost/state"), "clock");
    EXPECT_FALSE(fs::exists(root + "/.vok-simhost"));
}

TEST_F(Layout, WhatAHostBeforeLeftIsRemovedAndWhatItsLinksLeadToIsNot) {
    directory.writeFile("machine/keep", "1");
    directory.writeFile("root/.vok-simhost", "mark");
    directory.writeFile("root/run/old", "1");
    directory.writeFile("root/etc/old", "1");
    fs::create_directory_symlink(directory.path() + "/machine", root + "/sys");
    layOut({{"/sys/new", recordedFile("1")}});
    EXPECT_FALSE(fs::exists(root + "/etc/old"));
    EXPECT_FALSE(fs::exists(root + "/run/old"));
    EXPECT_TRUE(fs::exists(root + "/.vok-simhost"));
    EXPECT_EQ(type("/sys"), fs::file_type::directory);
    EXPECT_TRUE(fs::exists(directory.path() + "/machine/keep"));
    EXPECT_FALSE(fs::exists(directory.path() + "/machine/new"));
}

TEST_F(Layout, AGivenConfigurationReplacesTheRecordedOne) {
    const RecordedFiles::Entries entries{{"/etc/config/mev/vok/vok.conf", recordedFile("old")}};
    layOut(entries);
    EXPECT_EQ(content("/etc/config/mev/vok/vok.conf"), "old");
    layOut(entries, "new");
    EXPECT_EQ(content("/etc/config/mev/vok/vok.conf"), "new");
}

TEST_F(Layout, NothingCanBeMadeBelowThePlaceOfWhatIsNotRecorded) {
    layOut({});
    EXPECT_NE(::mkdir((root + "/run/simhost/not-recorded/x").c_str(), 0700), 0);
    EXPECT_EQ(errno, ENOTDIR);
}

}  // namespace
}  // namespace ReplayLayoutTest
