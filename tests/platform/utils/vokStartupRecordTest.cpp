#include "platform/utils/vokStartupRecord.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>
#include <climits>
#include <csignal>
#include <cstdio>

#include "platform/utils/platformCheck.h"
#include "support/FakeHost.h"
#include "support/FakeSystemLog.h"
#include "support/LoggedLines.h"

namespace vokStartupRecordTest {
namespace {

using testing::HasSubstr;

constexpr char record[] = "/var/tmp/mevVOKStartup.txt";
constexpr char temporary[] = "/var/tmp/mevVOKStartuptmp.txt";

class StartupRecord : public testing::Test {
protected:
    StartupRecord() {
        logEverything(host);
        host.root.writeFile("/var/tmp/other", "another user's file\n");
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

TEST_F(StartupRecord, ALinkWithItsNameIsNotFollowedButReplaced) {
    ASSERT_EQ(::symlink(hostPath("/var/tmp/other").c_str(), hostPath(record).c_str()), 0);
    EXPECT_FALSE(vokStartupRecord::isReadable());
    expectWarningOfAForeignFile();
    long value = 0;
    EXPECT_FALSE(vokStartupRecord::readValue("last_start", value));
    expectCreatedAgain();
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
}

TEST_F(StartupRecord, ASocketWithItsNameIsReplaced) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    ASSERT_LT(hostPath(record).size(), sizeof(address.sun_path));
    hostPath(record).copy(address.sun_path, sizeof(address.sun_path) - 1);
    const int descriptor = ::socket(AF_UNIX, SOCK_STREAM, 0);
    ASSERT_EQ(::bind(descriptor, reinterpret_cast<sockaddr*>(&address), sizeof(address)), 0);
    EXPECT_FALSE(vokStartupRecord::isReadable());
    expectWarningOfAForeignFile();
    expectCreatedAgain();
    ::close(descriptor);
}

TEST_F(StartupRecord, AnEmptyDirectoryWithItsNameIsReplaced) {
    ASSERT_EQ(::mkdir(hostPath(record).c_str(), 0777), 0);
    EXPECT_FALSE(vokStartupRecord::isReadable());
    expectWarningOfAForeignFile();
    expectCreatedAgain();
}

TEST_F(StartupRecord, ADirectoryThatIsNotEmptyCanNotBeReplaced) {
    host.root.writeFile(std::string(record) + "/file", "");
    EXPECT_FALSE(vokStartupRecord::create(1));
    EXPECT_FALSE(host.root.exists(temporary));
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
    host.root.writeFile(std::string(temporary) + "/file", "");
    EXPECT_TRUE(vokStartupRecord::writeGracefulStop(1, 2));
    EXPECT_EQ(text(), "last_start 1\nlast_stop 2\ncurrent_start 0\n");
    EXPECT_TRUE(vokStartupRecord::replaceCurrentStart(1700000000));
    EXPECT_EQ(text(), "last_start 1\nlast_stop 2\ncurrent_start 1700000000\n\n");
}

TEST_F(StartupRecord, IsCreatedInPlaceIfNoTemporaryFileCanBeCreated) {
    host.root.writeFile(std::string(temporary) + "/file", "");
    expectCreatedAgain();
}

TEST_F(StartupRecord, APlantedFileIsReplacedEvenIfNoTemporaryFileCanBeCreated) {
    host.root.writeFile(std::string(temporary) + "/file", "");
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
