#include "platform/utils/vokStartupRecord.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdio>
#include <ctime>
#include <vector>

#include "platform/utils/platformCheck.h"
#include "support/FakeHost.h"
#include "support/FakeSystemLog.h"
#include "support/LoggedLines.h"

namespace vokStartupRecordTest {
namespace {

using testing::HasSubstr;
using testing::Not;

constexpr char record[] = "/var/tmp/mevVOKStartup.txt";
constexpr char temporary[] = "/var/tmp/mevVOKStartuptmp.txt";

class StartupRecord : public testing::Test {
protected:
    StartupRecord() {
        logEverything(host);
        host.root.writeFile("/var/tmp/other", "another user's file\n");
    }
    ~StartupRecord() override {
        if (::geteuid() == ::getuid()) return;
        EXPECT_EQ(::seteuid(::getuid()), 0);
        ::prctl(PR_SET_DUMPABLE, 1);  // cleared by the change of user; LeakSanitizer attaches to the process
    }

    std::string hostPath(const std::string& absolute) const { return host.root.path() + absolute; }
    std::string text() const { return host.root.readFile(record); }
    void write(const std::string& content) const { host.root.writeFile(record, content); }
    long valueOf(const std::string& key) const {
        long value = -1;
        EXPECT_TRUE(vokStartupRecord::readValue(key, value));
        return value;
    }
    void expectWarningOfAForeignFile() {
        EXPECT_TRUE(hasLogged(host, "WARNING JOB_MGR: " + hostPath(record) +
                                        " is not a plain file of the agent's own user. It is not used."));
    }
    void expectCreatedAgain() const {
        EXPECT_TRUE(vokStartupRecord::create(1700000000));
        struct stat status {};
        ASSERT_EQ(::lstat(hostPath(record).c_str(), &status), 0);
        EXPECT_TRUE(S_ISREG(status.st_mode));
        EXPECT_EQ(text(), "current_start 1700000000\nlast_start 0\nlast_stop 0\n");
    }

    mode_t typeOf(const std::string& path) const {
        struct stat status {};
        return ::lstat(hostPath(path).c_str(), &status) == 0 ? status.st_mode & S_IFMT : 0;
    }
    // The path on the host to which `path` was moved, as the log names it.
    std::string movedTo(const std::string& path) {
        const std::string start =
            "WARNING JOB_MGR: " + hostPath(path) + " is not a regular file. It has been moved to ";
        for (const std::string& line : loggedLines(host))
            if (line.rfind(start, 0) == 0)
                return line.substr(start.size() + host.root.path().size(),
                                   line.size() - start.size() - host.root.path().size() - 1);
        ADD_FAILURE() << "nothing was moved from " << path;
        return "";
    }
    // From now on the agent is a user who can't move or remove the directory under the temporary name, and
    // whose own `files` these are. False if that can't be arranged.
    bool withoutTheTemporaryName(const std::vector<std::string>& files) const {
        constexpr uid_t anotherUser = 12345;
        host.root.writeFile(std::string(temporary) + "/file", "");
        ::chmod(host.root.path().c_str(), 0755);
        ::chmod(hostPath("/var/tmp").c_str(), 01777);
        for (const std::string& file : files)
            if (::chown(hostPath(file).c_str(), anotherUser, anotherUser) != 0) return false;
        return ::seteuid(anotherUser) == 0;
    }

    FakeHost host;
    FakeSystemLog& systemLog = host.part<FakeSystemLog>();
};

// --- paths and modes ---

TEST_F(StartupRecord, LiesNextToTheDirectoryThatItsPathSeemsToName) {
    EXPECT_EQ(vokStartupRecord::recordPath(), host.root.path() + "/var/tmp/mevVOKStartup.txt");
    EXPECT_EQ(vokStartupRecord::temporaryPath(), host.root.path() + "/var/tmp/mevVOKStartuptmp.txt");
}

TEST_F(StartupRecord, IsAccessibleOnlyToItsOwner) {
    ::umask(0);
    vokStartupRecord::create(1);
    struct stat status {};
    ASSERT_EQ(::stat(hostPath(record).c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0600u);
    EXPECT_FALSE(host.root.exists(temporary));
}

// --- rewriting ---

TEST_F(StartupRecord, CanNotBeReadIfItIsMissing) {
    platformCheck::setDirectoryPath();  // logs that this host has no firmware table
    systemLog.clear();
    EXPECT_FALSE(vokStartupRecord::isReadable());
    long value = 5;
    EXPECT_FALSE(vokStartupRecord::readValue("last_start", value));
    EXPECT_EQ(value, 0);
    EXPECT_FALSE(vokStartupRecord::replaceCurrentStart(1));
    EXPECT_FALSE(vokStartupRecord::replaceLastStart(1));
    EXPECT_FALSE(host.root.exists(record));
    EXPECT_TRUE(loggedLines(host).empty());
}

TEST_F(StartupRecord, AStartReplacesEachLineThatHoldsItsKeyAndAddsAnEmptyLine) {
    write("last_stop 7\nxx current_start 5 yy\nanything\nlast_start 6\ncurrent_start\n");
    EXPECT_TRUE(vokStartupRecord::replaceCurrentStart(1700000000));
    EXPECT_EQ(text(),
              "last_stop 7\ncurrent_start 1700000000\nanything\nlast_start 6\ncurrent_start 1700000000\n\n");
}

TEST_F(StartupRecord, AStartOnlyCopiesARecordWithoutACurrentStart) {
    write("last_start 6\nlast_stop 7\n");
    EXPECT_TRUE(vokStartupRecord::replaceCurrentStart(1700000000));
    EXPECT_EQ(text(), "last_start 6\nlast_stop 7\n\n");
}

TEST_F(StartupRecord, AStartAddsAMissingNewlineToTheLastLine) {
    write("last_stop 7\ncurrent_start 0");
    EXPECT_TRUE(vokStartupRecord::replaceCurrentStart(8));
    EXPECT_EQ(text(), "last_stop 7\ncurrent_start 8\n");
}

TEST_F(StartupRecord, AStartTurnsAnEmptyRecordIntoOneEmptyLine) {
    write("");
    EXPECT_TRUE(vokStartupRecord::replaceCurrentStart(8));
    EXPECT_EQ(text(), "\n");
}

TEST_F(StartupRecord, TheLastStartIsReplacedWithoutAddingALine) {
    write("current_start 8\nlast_start 6\nlast_stop 7\n\n");
    EXPECT_TRUE(vokStartupRecord::replaceLastStart(8));
    EXPECT_EQ(text(), "current_start 8\nlast_start 8\nlast_stop 7\n\n");
}

TEST_F(StartupRecord, ALastStartOf0LeavesTheExistingLine) {
    write("current_start 0\nlast_start 6\nlast_stop 7\n");
    EXPECT_TRUE(vokStartupRecord::replaceLastStart(0));
    EXPECT_EQ(text(), "current_start 0\nlast_start 6\nlast_stop 7\n");
}

TEST_F(StartupRecord, AGracefulStopWritesItsThreeLinesInOrder) {
    write("whatever stood here\n");
    EXPECT_TRUE(vokStartupRecord::writeGracefulStop(1600000000, 1600000100));
    EXPECT_EQ(text(), "last_start 1600000000\nlast_stop 1600000100\ncurrent_start 0\n");
}

// --- reading ---

TEST_F(StartupRecord, ValuesAreFoundByKeyInAnyOrder) {
    write("\nlast_stop 3\nlast_start 2\n\ncurrent_start 1");
    EXPECT_EQ(valueOf("current_start"), 1);
    EXPECT_EQ(valueOf("last_start"), 2);
    EXPECT_EQ(valueOf("last_stop"), 3);
}

TEST_F(StartupRecord, TheFirstLineThatHoldsTheKeyCounts) {
    write("see last_start  41;\nlast_start 42\n");
    EXPECT_EQ(valueOf("last_start"), 41);
}

TEST_F(StartupRecord, AMissingKeyYields0AndIsNotFound) {
    write("last_start 0\n");
    long value = 9;
    bool found = false;
    EXPECT_TRUE(vokStartupRecord::readValue("last_start", value, &found));
    EXPECT_TRUE(found);
    EXPECT_EQ(value, 0);
    value = 9;
    EXPECT_TRUE(vokStartupRecord::readValue("last_stop", value, &found));
    EXPECT_FALSE(found);
    EXPECT_EQ(value, 0);
}

TEST_F(StartupRecord, TextThatIsNotANumberYields0AndTooLargeANumberTheMaximum) {
    write("last_start now\nlast_stop 99999999999999999999999\ncurrent_start -5x\n");
    EXPECT_EQ(valueOf("last_start"), 0);
    EXPECT_EQ(valueOf("last_stop"), LONG_MAX);
    EXPECT_EQ(valueOf("current_start"), -5);
}

TEST_F(StartupRecord, OnlyTheFirstMebibyteIsReadAndKept) {
    write("last_start 6\n" + std::string(3 << 20, '\n') + "last_stop 7\n");
    EXPECT_EQ(valueOf("last_start"), 6);
    EXPECT_EQ(valueOf("last_stop"), 0);
    for (int restart = 0; restart < 3; ++restart) EXPECT_TRUE(vokStartupRecord::replaceCurrentStart(1));
    EXPECT_LE(text().size(), (1u << 20) + 4096u);
    EXPECT_EQ(valueOf("last_start"), 6);
}

TEST_F(StartupRecord, OneLongLineOfZeroBytesIsHarmless) {
    write(std::string(2 << 20, '\0'));
    EXPECT_EQ(valueOf("last_start"), 0);
    EXPECT_TRUE(vokStartupRecord::replaceCurrentStart(1));
    EXPECT_TRUE(vokStartupRecord::writeGracefulStop(1, 2));
    EXPECT_EQ(text(), "last_start 1\nlast_stop 2\ncurrent_start 0\n");
}

// --- files planted in a world-writable directory ---

TEST_F(StartupRecord, ALinkWithItsNameIsNotFollowedButMovedAside) {
    ASSERT_EQ(::symlink(hostPath("/var/tmp/other").c_str(), hostPath(record).c_str()), 0);
    EXPECT_FALSE(vokStartupRecord::isReadable());
    expectWarningOfAForeignFile();
    long value = 0;
    EXPECT_FALSE(vokStartupRecord::readValue("last_start", value));
    expectCreatedAgain();
    EXPECT_EQ(typeOf(movedTo(record)), S_IFLNK);
    EXPECT_EQ(host.root.readFile("/var/tmp/other"), "another user's file\n");
}

TEST_F(StartupRecord, AGracefulStopReplacesALinkToo) {
    ASSERT_EQ(::symlink(hostPath("/var/tmp/other").c_str(), hostPath(record).c_str()), 0);
    EXPECT_TRUE(vokStartupRecord::writeGracefulStop(1, 2));
    EXPECT_EQ(text(), "last_start 1\nlast_stop 2\ncurrent_start 0\n");
    EXPECT_EQ(host.root.readFile("/var/tmp/other"), "another user's file\n");
}

TEST_F(StartupRecord, APipeWithItsNameBlocksNothing) {
    ASSERT_EQ(::mkfifo(hostPath(record).c_str(), 0666), 0);
    EXPECT_FALSE(vokStartupRecord::isReadable());
    expectWarningOfAForeignFile();
    expectCreatedAgain();
    EXPECT_EQ(typeOf(movedTo(record)), S_IFIFO);
}

TEST_F(StartupRecord, ASocketWithItsNameIsMovedAside) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    ASSERT_LT(hostPath(record).size(), sizeof(address.sun_path));
    hostPath(record).copy(address.sun_path, sizeof(address.sun_path) - 1);
    const int descriptor = ::socket(AF_UNIX, SOCK_STREAM, 0);
    ASSERT_EQ(::bind(descriptor, reinterpret_cast<sockaddr*>(&address), sizeof(address)), 0);
    EXPECT_FALSE(vokStartupRecord::isReadable());
    expectWarningOfAForeignFile();
    expectCreatedAgain();
    EXPECT_EQ(typeOf(movedTo(record)), S_IFSOCK);
    ::close(descriptor);
}

TEST_F(StartupRecord, ADirectoryWithItsNameIsMovedAsideWithItsContent) {
    host.root.writeFile(std::string(record) + "/file", "planted");
    EXPECT_FALSE(vokStartupRecord::isReadable());
    expectWarningOfAForeignFile();
    expectCreatedAgain();
    EXPECT_EQ(host.root.readFile(movedTo(record) + "/file"), "planted");
}

TEST_F(StartupRecord, WhatHasBeenMovedAsideIsOutOfReachOfOtherUsers) {
    ASSERT_EQ(::mkdir(hostPath(record).c_str(), 0777), 0);
    expectCreatedAgain();
    const std::string moved = movedTo(record);
    struct stat status {};
    ASSERT_EQ(::stat(hostPath(moved.substr(0, moved.rfind('/'))).c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0700u);
}

TEST_F(StartupRecord, AGracefulStopMovesADirectoryAsideToo) {
    ASSERT_EQ(::mkdir(hostPath(record).c_str(), 0777), 0);
    EXPECT_TRUE(vokStartupRecord::writeGracefulStop(1, 2));
    EXPECT_EQ(text(), "last_start 1\nlast_stop 2\ncurrent_start 0\n");
    EXPECT_TRUE(host.root.exists(movedTo(record)));
}

TEST_F(StartupRecord, ADirectoryUnderTheTemporaryNameIsMovedAside) {
    write("last_start 6\ncurrent_start 0\n");
    host.root.writeFile(std::string(temporary) + "/file", "planted");
    EXPECT_TRUE(vokStartupRecord::replaceCurrentStart(7));
    EXPECT_EQ(text(), "last_start 6\ncurrent_start 7\n\n");
    EXPECT_EQ(host.root.readFile(movedTo(temporary) + "/file"), "planted");
    EXPECT_FALSE(host.root.exists(temporary));
}

TEST_F(StartupRecord, ARegularFileIsNotMovedAside) {
    write("last_start 6\ncurrent_start 0\n");
    host.root.writeFile(temporary, "left");
    EXPECT_TRUE(vokStartupRecord::replaceCurrentStart(7));
    for (const std::string& line : loggedLines(host)) EXPECT_THAT(line, Not(HasSubstr("moved"))) << line;
    EXPECT_EQ(text(), "last_start 6\ncurrent_start 7\n\n");
}

TEST_F(StartupRecord, AnotherUsersFileIsNotTrusted) {
    write("current_start 1\nlast_start 2\nlast_stop 1\n");
    if (::chown(hostPath(record).c_str(), 12345, 12345) != 0)
        GTEST_SKIP() << "only root can give a file away";
    EXPECT_FALSE(vokStartupRecord::isReadable());
    expectWarningOfAForeignFile();
    expectCreatedAgain();
    struct stat status {};
    ASSERT_EQ(::stat(hostPath(record).c_str(), &status), 0);
    EXPECT_EQ(status.st_uid, ::geteuid());
}

TEST_F(StartupRecord, ALeftoverTemporaryFileIsIgnored) {
    write("last_start 6\ncurrent_start 0\n");
    host.root.writeFile(temporary, "last_start 9999\nlast_stop 9999\n" + std::string(10000, 'x'));
    EXPECT_TRUE(vokStartupRecord::replaceCurrentStart(7));
    EXPECT_EQ(text(), "last_start 6\ncurrent_start 7\n\n");
    EXPECT_FALSE(host.root.exists(temporary));
}

TEST_F(StartupRecord, ALinkUnderTheTemporaryNameIsNotWrittenThrough) {
    write("last_start 6\ncurrent_start 0\n");
    ASSERT_EQ(::symlink(hostPath("/var/tmp/other").c_str(), hostPath(temporary).c_str()), 0);
    EXPECT_TRUE(vokStartupRecord::replaceCurrentStart(7));
    EXPECT_EQ(text(), "last_start 6\ncurrent_start 7\n\n");
    EXPECT_EQ(host.root.readFile("/var/tmp/other"), "another user's file\n");
}

// --- without a temporary file ---

TEST_F(StartupRecord, IsWrittenInPlaceIfNoTemporaryFileCanBeCreated) {
    write("last_start 1600000000\nlast_stop 1600000100\ncurrent_start 0\n" + std::string(5000, '\n'));
    if (!withoutTheTemporaryName({record})) GTEST_SKIP() << "only root can become another user";
    EXPECT_TRUE(vokStartupRecord::writeGracefulStop(1, 2));
    EXPECT_EQ(text(), "last_start 1\nlast_stop 2\ncurrent_start 0\n");
    EXPECT_TRUE(vokStartupRecord::replaceCurrentStart(1700000000));
    EXPECT_EQ(text(), "last_start 1\nlast_stop 2\ncurrent_start 1700000000\n\n");
    EXPECT_TRUE(host.root.exists(std::string(temporary) + "/file"));
}

TEST_F(StartupRecord, IsCreatedInPlaceIfNoTemporaryFileCanBeCreated) {
    if (!withoutTheTemporaryName({})) GTEST_SKIP() << "only root can become another user";
    expectCreatedAgain();
}

TEST_F(StartupRecord, APlantedFileIsReplacedEvenIfNoTemporaryFileCanBeCreated) {
    if (!withoutTheTemporaryName({"/var/tmp/other"})) GTEST_SKIP() << "only root can become another user";
    ASSERT_EQ(::symlink(hostPath("/var/tmp/other").c_str(), hostPath(record).c_str()), 0);
    expectCreatedAgain();
    EXPECT_EQ(host.root.readFile("/var/tmp/other"), "another user's file\n");
    ASSERT_EQ(::unlink(hostPath(record).c_str()), 0);
    ASSERT_EQ(::mkfifo(hostPath(record).c_str(), 0666), 0);
    expectCreatedAgain();
    ASSERT_EQ(::unlink(hostPath(record).c_str()), 0);
    ASSERT_EQ(::link(hostPath("/var/tmp/other").c_str(), hostPath(record).c_str()), 0);
    expectCreatedAgain();
    EXPECT_EQ(host.root.readFile("/var/tmp/other"), "another user's file\n");
}

// --- its age ---

TEST_F(StartupRecord, TouchingItSetsItsTimeAndLeavesItsContent) {
    write("last_start 6\ncurrent_start 7\n");
    const timespec longAgo[2] = {{1000000, 0}, {1000000, 0}};
    ASSERT_EQ(::utimensat(AT_FDCWD, hostPath(record).c_str(), longAgo, 0), 0);
    const time_t before = ::time(nullptr);
    EXPECT_TRUE(vokStartupRecord::touch());
    struct stat status {};
    ASSERT_EQ(::stat(hostPath(record).c_str(), &status), 0);
    EXPECT_GE(status.st_mtime, before);
    EXPECT_EQ(text(), "last_start 6\ncurrent_start 7\n");
}

TEST_F(StartupRecord, TouchingFollowsNoLinkAndMakesNoFile) {
    EXPECT_FALSE(vokStartupRecord::touch());
    EXPECT_EQ(errno, ENOENT);
    EXPECT_FALSE(host.root.exists(record));
    const timespec longAgo[2] = {{1000000, 0}, {1000000, 0}};
    ASSERT_EQ(::utimensat(AT_FDCWD, hostPath("/var/tmp/other").c_str(), longAgo, 0), 0);
    ASSERT_EQ(::symlink(hostPath("/var/tmp/other").c_str(), hostPath(record).c_str()), 0);
    EXPECT_FALSE(vokStartupRecord::touch());
    ASSERT_EQ(::unlink(hostPath(record).c_str()), 0);
    ASSERT_EQ(::link(hostPath("/var/tmp/other").c_str(), hostPath(record).c_str()), 0);
    EXPECT_FALSE(vokStartupRecord::touch());
    EXPECT_EQ(errno, EPERM);
    struct stat status {};
    ASSERT_EQ(::stat(hostPath("/var/tmp/other").c_str(), &status), 0);
    EXPECT_EQ(status.st_mtime, 1000000);
}

// --- a full disk ---

TEST_F(StartupRecord, OnAFullDiskNoEmptyFileIsLeftThatWouldCountAsARecord) {
    const pid_t child = ::fork();
    if (child == 0) {
        std::signal(SIGXFSZ, SIG_IGN);
        const rlimit none{0, 0};
        ::setrlimit(RLIMIT_FSIZE, &none);
        ::_exit(vokStartupRecord::create(5) ? 1 : 0);
    }
    int status = -1;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
    EXPECT_FALSE(host.root.exists(record));
    EXPECT_FALSE(host.root.exists(temporary));
}

TEST_F(StartupRecord, OnAFullDiskTheExistingRecordStays) {
    write("last_start 6\nlast_stop 7\ncurrent_start 0\n");
    const pid_t child = ::fork();
    if (child == 0) {
        std::signal(SIGXFSZ, SIG_IGN);
        const rlimit none{0, 0};
        ::setrlimit(RLIMIT_FSIZE, &none);
        ::_exit(vokStartupRecord::replaceCurrentStart(8) ? 1 : 0);
    }
    int status = -1;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(text(), "last_start 6\nlast_stop 7\ncurrent_start 0\n");
}

// --- a kill at any moment ---

TEST_F(StartupRecord, AKillAtAnyMomentLeavesACompleteRecord) {
    const std::string started = "last_start 1\nlast_stop 2\ncurrent_start 5\n\n";
    const std::string settled = "last_start 5\nlast_stop 2\ncurrent_start 5\n\n";
    const std::string stopped = "last_start 1\nlast_stop 2\ncurrent_start 0\n";
    int killedBetween = 0;
    for (unsigned round = 0; round < 60; ++round) {
        write(stopped);
        const pid_t child = ::fork();
        if (child == 0) {
            while (true) {
                vokStartupRecord::replaceCurrentStart(5);
                vokStartupRecord::replaceLastStart(5);
                vokStartupRecord::writeGracefulStop(1, 2);
            }
        }
        ASSERT_GT(child, 0);
        ::usleep(500 + round * 37);
        ::kill(child, SIGKILL);
        ASSERT_EQ(::waitpid(child, nullptr, 0), child);
        const std::string left = text();
        ASSERT_TRUE(left == started || left == settled || left == stopped) << left;
        if (host.root.exists(temporary)) ++killedBetween;
        ASSERT_TRUE(vokStartupRecord::replaceCurrentStart(5));
        ASSERT_FALSE(host.root.exists(temporary));
    }
    RecordProperty("kills_with_a_temporary_file_left", killedBetween);
}

}  // namespace
}  // namespace vokStartupRecordTest
