#include "core/status/vokStatusRecord.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <atomic>
#include <filesystem>
#include <thread>

#include "core/status/StatusFixture.h"
#include "core/status/vokStatusLayout.h"

namespace StatusRecordTest {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

constexpr char file[] = "/var/run/vokStatus.bin";

class StatusRecord : public StatusFixture {
protected:
    std::string hostPath() const { return host.path(file); }
    vokStatusSnapshot status() {
        std::string reason;
        const auto read = vokReadStatus(reason);
        EXPECT_TRUE(read) << reason;
        return read.value_or(vokStatusSnapshot{});
    }
    std::string reasonWithoutStatus() {
        std::string reason;
        EXPECT_FALSE(vokReadStatus(reason));
        return reason;
    }
    std::string foreignLine() const {
        return "WARNING STATUS: There is no status record " + hostPath() +
               ": it is not a regular file of this user";
    }
    void expectRefused() {
        EXPECT_FALSE(vokOpenStatus(sampleStart()));
        EXPECT_THAT(statusLines(), ElementsAre(foreignLine()));
        vokNoteStop(5);  // the agent works on
        EXPECT_FALSE(host.root.exists(std::string(file) + ".new"));
    }
};

// --- what is read ---

TEST_F(StatusRecord, TheStartIsReadBackWithTheClassesThatTheBuildHas) {
    ASSERT_TRUE(vokOpenStatus(sampleStart()));
    const vokStatusSnapshot read = status();
    EXPECT_EQ(read.version, "3.3.2.1");
    EXPECT_EQ(read.process, 4711u);
    EXPECT_EQ(read.start, 1700000000);
    EXPECT_EQ(read.stop, 0);
    EXPECT_EQ(read.refreshSeconds, 3600u);
    EXPECT_EQ(read.pushSeconds, 86400u);
    EXPECT_EQ(read.doorBellSeconds, 600u);
    ASSERT_THAT(read.classes, SizeIs(2));
    EXPECT_EQ(read.classes[0].name, "FibreChannelDevices");
    EXPECT_FALSE(read.classes[0].enabled);
    EXPECT_EQ(read.classes[1].id, 3);
    EXPECT_EQ(read.classes[1].name, "EthernetDevices");
    EXPECT_TRUE(read.classes[1].enabled);
    EXPECT_FALSE(read.classes[1].ready);
    EXPECT_THAT(read.events, IsEmpty());
    EXPECT_THAT(read.hanging, IsEmpty());
    EXPECT_THAT(statusLines(), IsEmpty());
}

TEST_F(StatusRecord, ABuildIsInProgressUntilItsEnd) {
    vokOpenStatus(sampleStart());
    vokNoteBuildBegin(3, 1700000010);
    EXPECT_TRUE(status().classes[1].isBuilding);
    EXPECT_EQ(status().classes[1].buildBegin, 1700000010);
    vokNoteBuildCutShort(3);
    EXPECT_FALSE(status().classes[1].isBuilding);
    EXPECT_FALSE(status().classes[1].ready);

    vokNoteBuildBegin(3, 1700000020);
    vokBuildResult result;
    result.end = 1700000023;
    result.milliseconds = 3100;
    vokNoteInventory(3, 7, {{"EthernetDevices", 4, 1, 1, 1, 2}});
    vokNoteBuildEnd(3, result);
    vokNoteNextBuild(3, 1700003623);
    vokNoteFailedCommand(3);
    vokNoteFailedCommand(3);
    const vokClassStatus read = status().classes[1];
    EXPECT_TRUE(read.ready);
    EXPECT_FALSE(read.isBuilding);
    EXPECT_EQ(read.buildBegin, 0);
    EXPECT_EQ(read.lastBuildEnd, 1700000023);
    EXPECT_EQ(read.lastBuildDuration, 3100u);
    EXPECT_EQ(read.records, 7u);
    EXPECT_EQ(read.builds, 1u);
    EXPECT_EQ(read.nextBuild, 1700003623);
    EXPECT_EQ(read.failedCommands, 2u);
    ASSERT_THAT(read.sections, SizeIs(1));
    EXPECT_EQ(read.sections[0].name, "EthernetDevices");
    EXPECT_EQ(read.sections[0].ok, 4u);
    EXPECT_EQ(read.sections[0].warning, 1u);
    EXPECT_EQ(read.sections[0].critical, 1u);
    EXPECT_EQ(read.sections[0].unknown, 1u);
    EXPECT_EQ(read.sections[0].linkDown, 2u);
    EXPECT_EQ(status().classes[0].failedCommands, 0u);
}

TEST_F(StatusRecord, ACommandOfNoClassIsNotCounted) {
    vokOpenStatus(sampleStart());
    for (const int none : {-1, 8, 100, -100}) {
        vokNoteFailedCommand(none);
        vokNoteBuildBegin(none, 1);
        vokNoteNextBuild(none, 1);
    }
    for (const vokClassStatus& each : status().classes) {
        EXPECT_EQ(each.failedCommands, 0u);
        EXPECT_FALSE(each.isBuilding);
        EXPECT_EQ(each.nextBuild, 0);
    }
}

TEST_F(StatusRecord, OnlyAnAcceptedPushCountsAsSuch) {
    vokOpenStatus(sampleStart());
    vokNotePushBegin(1700000030);
    EXPECT_TRUE(status().push.isRunning);
    vokPushResult result;
    result.end = 1700000031;
    result.milliseconds = 40;
    result.bytes = 10756;
    result.chunks = 190;
    result.answer = vokPushAnswer::accepted;
    result.answerText = "accepted by the controller";
    vokNotePushEnd(result);
    vokNotePushBegin(1700000060);
    result.end = 1700000061;
    result.answer = vokPushAnswer::refused;
    result.answerText = "transfer status 5";
    vokNotePushEnd(result);
    vokNoteNextPush(1700086460);
    const vokPushStatus read = status().push;
    EXPECT_FALSE(read.isRunning);
    EXPECT_EQ(read.begin, 1700000060);
    EXPECT_EQ(read.bytes, 10756u);
    EXPECT_EQ(read.chunks, 190u);
    EXPECT_EQ(read.answer, vokPushAnswer::refused);
    EXPECT_EQ(read.answerText, "transfer status 5");
    EXPECT_EQ(read.duration, 40u);
    EXPECT_EQ(read.lastAccepted, 1700000031);
    EXPECT_EQ(read.next, 1700086460);
    EXPECT_EQ(read.pushes, 2u);
    EXPECT_EQ(read.failed, 1u);
}

TEST_F(StatusRecord, PollsAnswersAndRequestsOfTheDoorBellAreCounted) {
    vokOpenStatus(sampleStart());
    vokNoteDoorBell(10, true, true);
    vokNoteDoorBell(20, true, false);
    vokNoteDoorBell(30, false, false);
    vokNoteNextPoll(40);
    const vokDoorBellStatus read = status().doorBell;
    EXPECT_EQ(read.polls, 3u);
    EXPECT_EQ(read.answered, 2u);
    EXPECT_EQ(read.requests, 1u);
    EXPECT_EQ(read.lastPoll, 30);
    EXPECT_EQ(read.lastAnswer, 20);
    EXPECT_EQ(read.next, 40);
}

TEST_F(StatusRecord, EventsAreCountedByNumberInAscendingOrder) {
    vokOpenStatus(sampleStart());
    for (const int number : {1384, 538, 538, 538, 538}) vokNoteEventRaised(number, 50 + number);
    vokNoteEventFate(1384, vokEventFate::dropped);
    vokNoteEventFate(538, vokEventFate::delivered);
    vokNoteEventFate(538, vokEventFate::delivered);
    vokNoteEventFate(538, vokEventFate::refused);
    vokNoteEventFate(538, vokEventFate::failed);
    const auto read = status().events;
    ASSERT_THAT(read, SizeIs(2));
    EXPECT_EQ(read[0].number, 538);
    EXPECT_EQ(read[0].raised, 4u);
    EXPECT_EQ(read[0].delivered, 2u);
    EXPECT_EQ(read[0].refused, 1u);
    EXPECT_EQ(read[0].failed, 1u);
    EXPECT_EQ(read[0].dropped, 0u);
    EXPECT_EQ(read[0].lastRaised, 588);
    EXPECT_EQ(read[1].number, 1384);
    EXPECT_EQ(read[1].raised, 1u);
    EXPECT_EQ(read[1].dropped, 1u);
}

TEST_F(StatusRecord, EventNumbersBeyondItsRoomAreLeftOut) {
    vokOpenStatus(sampleStart());
    for (int number = 1; number <= 70; ++number) vokNoteEventRaised(number, 1);
    vokNoteEventRaised(0, 1);
    EXPECT_THAT(status().events, SizeIs(64));
    EXPECT_EQ(status().events.back().number, 64);
}

TEST_F(StatusRecord, AHangingOperationIsThereUntilItEnds) {
    vokOpenStatus(sampleStart());
    vokNoteHanging(5, "command \"esxtop\"", 200, -1);
    vokNoteHanging(63, "library call HBA_GetAdapterAttributes of acme", 100, 0);
    vokNoteHanging(64, "beyond", 100, 0);
    const auto read = status().hanging;
    ASSERT_THAT(read, SizeIs(2));
    EXPECT_EQ(read[0].description, "library call HBA_GetAdapterAttributes of acme");
    EXPECT_EQ(read[0].begin, 100);
    EXPECT_EQ(read[0].classId, 0);
    EXPECT_EQ(read[1].description, "command \"esxtop\"");
    EXPECT_EQ(read[1].classId, -1);
    vokNoteHangingEnd(63);
    vokNoteHangingEnd(64);
    EXPECT_THAT(status().hanging, SizeIs(1));
}

TEST_F(StatusRecord, ATextIsCutToItsRoomAndMadePrintable) {
    vokOpenStatus(sampleStart());
    vokNoteHanging(0, (std::string(188, 'x') + "\n\x7f\xc3yz").c_str(), 1, -1);
    EXPECT_EQ(status().hanging[0].description, std::string(188, 'x') + "???y");
}

// --- the file ---

TEST_F(StatusRecord, ItIsForItsOwnerAloneAndLeavesNoOtherFile) {
    ::umask(0);
    ASSERT_TRUE(vokOpenStatus(sampleStart()));
    struct stat found {};
    ASSERT_EQ(::stat(hostPath().c_str(), &found), 0);
    EXPECT_EQ(found.st_mode & 07777u, 0600u);
    EXPECT_FALSE(host.root.exists(std::string(file) + ".new"));
}

TEST_F(StatusRecord, TheLibrariesThatAreLeftOutAreReadBackUpToEight) {
    vokStatusStart start = sampleStart();
    for (int i = 1; i <= 9; ++i)
        start.leftOut.push_back({"lib" + std::to_string(i) + ".so", i + 1, "SIGABRT", "vendor_list"});
    ASSERT_TRUE(vokOpenStatus(start));
    std::string reason;
    const auto status = vokReadStatus(reason);
    ASSERT_TRUE(status);
    ASSERT_EQ(status->leftOut.size(), 8u);
    EXPECT_EQ(status->leftOut[7].name, "lib8.so");
    EXPECT_EQ(status->leftOut[7].crashes, 9);
    EXPECT_EQ(status->leftOut[7].lastEnd, "SIGABRT");
    EXPECT_EQ(status->leftOut[7].lastCall, "vendor_list");
}

TEST_F(StatusRecord, AllItsBlocksAreAllocatedSoThatAFullDiskEndsNoWriter) {
    ASSERT_TRUE(vokOpenStatus(sampleStart()));
    struct stat found {};
    ASSERT_EQ(::stat(hostPath().c_str(), &found), 0);
    EXPECT_EQ(found.st_size, static_cast<off_t>(sizeof(vokStatusLayout::Shared)));
    EXPECT_GE(found.st_blocks * 512, found.st_size);
}

TEST_F(StatusRecord, AStartReplacesTheRecordOfAnEarlierOne) {
    host.root.writeFile(file, "anything");
    host.root.writeFile(std::string(file) + ".new", "left by a start that was killed");
    ASSERT_TRUE(vokOpenStatus(sampleStart()));
    vokNoteStop(1700000099);
    EXPECT_EQ(status().stop, 1700000099);
    ASSERT_TRUE(vokOpenStatus(sampleStart()));
    EXPECT_EQ(status().stop, 0);
}

TEST_F(StatusRecord, APlantedLinkIsRefusedAndNotFollowed) {
    host.root.writeFile("/elsewhere", "precious");
    ASSERT_EQ(::symlink(host.path("/elsewhere").c_str(), hostPath().c_str()), 0);
    expectRefused();
    EXPECT_EQ(host.root.readFile("/elsewhere"), "precious");
    EXPECT_NE(reasonWithoutStatus(), "");
}

TEST_F(StatusRecord, ADirectoryInItsPlaceIsRefused) {
    std::filesystem::create_directory(hostPath());
    expectRefused();
}

TEST_F(StatusRecord, APipeInItsPlaceIsRefusedAndNoReaderWaitsForIt) {
    ASSERT_EQ(::mkfifo(hostPath().c_str(), 0600), 0);
    expectRefused();
    EXPECT_EQ(reasonWithoutStatus(), hostPath() + " is not a regular file of this user");
}

TEST_F(StatusRecord, AFileOfAnotherUserIsRefused) {
    host.root.writeFile(file, "theirs");
    if (::chown(hostPath().c_str(), 12345, 12345) != 0) GTEST_SKIP() << "only root can give a file away";
    if (::geteuid() == 12345) GTEST_SKIP();
    expectRefused();
    EXPECT_EQ(host.root.readFile(file), "theirs");
}

TEST_F(StatusRecord, WithoutItsFolderThereIsNoneAndTheAgentWorksOn) {
    std::filesystem::remove_all(host.path("/var/run"));
    EXPECT_FALSE(vokOpenStatus(sampleStart()));
    EXPECT_THAT(statusLines(), ElementsAre("WARNING STATUS: There is no status record " + hostPath() +
                                           ": it can't be made: No such file or directory"));
    vokNotePushBegin(1);
    vokNoteEventRaised(538, 1);
    EXPECT_EQ(reasonWithoutStatus(), hostPath() + " does not exist");
}

TEST_F(StatusRecord, OnAFullDiskThereIsNoneAndNothingIsLeftAlsoOfAnEarlierRun) {
    std::signal(SIGXFSZ, SIG_IGN);
    rlimit before{};
    ::getrlimit(RLIMIT_FSIZE, &before);
    for (const rlim_t room : {rlim_t{0}, rlim_t{4096}, rlim_t{sizeof(vokStatusLayout::Shared) - 1}}) {
        host.root.writeFile(file, "an agent that was killed");
        const rlimit full{room, before.rlim_max};
        ::setrlimit(RLIMIT_FSIZE, &full);
        const bool isOpen = vokOpenStatus(sampleStart());
        ::setrlimit(RLIMIT_FSIZE, &before);
        EXPECT_FALSE(isOpen) << room;
        EXPECT_FALSE(host.root.exists(file)) << room;
        EXPECT_FALSE(host.root.exists(std::string(file) + ".new")) << room;
    }
}

// --- the process that writes it ---

TEST_F(StatusRecord, ItIsHeldWhileItsProcessLives) {
    EndlessChild agent([] {
        vokOpenStatus(sampleStart());
        ::pause();
    });
    waitUntil([this] { return host.root.exists(file); });
    EXPECT_TRUE(status().isRunning);
    EXPECT_TRUE(status().isRunning) << "a reader doesn't take the lock away";
    agent.kill();
    EXPECT_FALSE(status().isRunning);
    EXPECT_EQ(status().process, 4711u);
}

TEST_F(StatusRecord, ACommandThatOutlivesTheAgentDoesNotHoldIt) {
    int ends[2];
    ASSERT_EQ(::pipe2(ends, O_CLOEXEC), 0);
    EndlessChild agent([&ends] {
        vokOpenStatus(sampleStart());
        if (::fork() == 0) {
            ::dup2(ends[1], STDOUT_FILENO);
            ::execl("/bin/sh", "sh", "-c", "echo $$; exec sleep 1000", nullptr);
        }
        ::pause();
    });
    char text[16] = {};
    ASSERT_GT(::read(ends[0], text, sizeof(text) - 1), 0);
    EXPECT_TRUE(status().isRunning);
    agent.kill();
    EXPECT_FALSE(status().isRunning);
    ::kill(static_cast<pid_t>(std::strtol(text, nullptr, 10)), SIGKILL);
    ::close(ends[0]);
    ::close(ends[1]);
}

// The values of one write are n and n, and n is their count.
void noteBuild(std::uint64_t n) {
    vokBuildResult result;
    result.end = static_cast<time_t>(n);
    result.milliseconds = n;
    vokNoteBuildEnd(3, result);
}

void expectOneWrite(const vokClassStatus& read) {
    EXPECT_EQ(read.builds, read.lastBuildDuration);
    EXPECT_EQ(static_cast<std::int64_t>(read.builds), read.lastBuildEnd);
}

TEST_F(StatusRecord, AKillAtAnyMomentLeavesARecordThatIsRead) {
    for (unsigned round = 0; round < 40; ++round) {
        std::filesystem::remove(hostPath());
        EndlessChild agent([n = std::uint64_t{0}]() mutable {
            if (n == 0) vokOpenStatus(sampleStart());
            noteBuild(++n);
            vokNoteEventRaised(538, static_cast<time_t>(n));
        });
        waitUntil([this] { return host.root.exists(file); });
        ::usleep(round * 37);
        agent.kill();
        const vokStatusSnapshot read = status();
        EXPECT_FALSE(read.isRunning);
        ASSERT_THAT(read.classes, SizeIs(2));
        // The write that was cut off may be seen in part: it differs from the one before by one.
        EXPECT_LE(read.classes[1].lastBuildDuration - read.classes[1].builds, 1u);
    }
}

TEST_F(StatusRecord, AReaderDuringWritesSeesNoPartOfAWrite) {
    ASSERT_TRUE(vokOpenStatus(sampleStart()));
    std::atomic<bool> ends{false};
    std::thread writer([&ends] {
        for (std::uint64_t n = 1; !ends; ++n) {
            noteBuild(n);
            std::this_thread::yield();
        }
    });
    std::thread counter([&ends] {
        while (!ends) vokNoteEventRaised(538, 1);
    });
    std::uint64_t last = 0;
    for (int i = 0; i < 200; ++i) {
        const vokClassStatus read = status().classes[1];
        expectOneWrite(read);
        EXPECT_GE(read.builds, last);
        last = read.builds;
    }
    ends = true;
    writer.join();
    counter.join();
}

TEST_F(StatusRecord, NoCountOfSeveralThreadsIsLost) {
    ASSERT_TRUE(vokOpenStatus(sampleStart()));
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i)
        threads.emplace_back([] {
            for (int n = 0; n < 5000; ++n) {
                vokNoteEventRaised(100 + n % 50, 1);
                vokNoteFailedCommand(3);
            }
        });
    for (std::thread& thread : threads) thread.join();
    const vokStatusSnapshot read = status();
    EXPECT_EQ(read.classes[1].failedCommands, 20000u);
    ASSERT_THAT(read.events, SizeIs(50));
    for (const vokEventCount& event : read.events) EXPECT_EQ(event.raised, 400u);
}

TEST_F(StatusRecord, WithoutAStartNothingIsWritten) {
    vokNotePushBegin(1);
    vokNoteEventRaised(538, 1);
    EXPECT_FALSE(host.root.exists(file));
    EXPECT_EQ(reasonWithoutStatus(), hostPath() + " does not exist");
}

}  // namespace
}  // namespace StatusRecordTest
