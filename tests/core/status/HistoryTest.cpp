#include "core/status/vokHistory.h"

#include <sys/resource.h>
#include <sys/stat.h>
#include <filesystem>
#include <thread>

#include "core/status/StatusFixture.h"
#include "core/status/vokHistoryRing.h"

namespace HistoryTest {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

constexpr char file[] = "/opt/mev/vok/data/vokHistory.bin";

vokHistoryEntry event(int number) {
    vokHistoryEntry entry;
    entry.kind = vokHistoryKind::event;
    entry.time = 1700000000 + number;
    entry.duration = 12;
    entry.event = number;
    entry.outcome = 1;
    entry.subject = "Drive at 203A001B05C20300";
    entry.answer = "accepted";
    return entry;
}

class History : public StatusFixture {
protected:
    std::string hostPath() const { return host.path(file); }
    std::vector<vokHistoryEntry> entries(std::size_t most = 10000) {
        std::vector<vokHistoryEntry> read;
        std::string reason;
        EXPECT_TRUE(vokReadHistory(most, read, reason)) << reason;
        return read;
    }
    std::vector<std::uint64_t> numbers(std::size_t most = 10000) {
        std::vector<std::uint64_t> found;
        for (const vokHistoryEntry& entry : entries(most)) found.push_back(entry.number);
        return found;
    }
    // In a process of its own, as after a restart.
    static void appendInAnotherRun(int count) {
        inAnotherRun([count] {
            for (int i = 1; i <= count; ++i) vokAppendHistory(event(i));
        });
    }
    static void inAnotherRun(const std::function<void()>& body) {
        const pid_t child = ::fork();
        if (child == 0) {
            vokOpenHistory();
            body();
            ::_exit(0);
        }
        int status = -1;
        ASSERT_EQ(::waitpid(child, &status, 0), child);
        ASSERT_EQ(status, 0);
    }
};

// --- what is read ---

TEST_F(History, AnEntryIsReadBackWhole) {
    vokOpenHistory();
    vokHistoryEntry push;
    push.kind = vokHistoryKind::push;
    push.time = 1700000001;
    push.duration = 40;
    push.outcome = 3;
    push.bytes = 10756;
    push.chunks = 190;
    push.answer = "refused with transfer status 5";
    vokAppendHistory(push);
    vokAppendHistory(event(538));
    const auto read = entries();
    ASSERT_THAT(read, SizeIs(2));
    EXPECT_EQ(read[0].number, 1u);
    EXPECT_EQ(read[0].kind, vokHistoryKind::push);
    EXPECT_EQ(read[0].time, 1700000001);
    EXPECT_EQ(read[0].duration, 40u);
    EXPECT_EQ(read[0].event, 0);
    EXPECT_EQ(read[0].outcome, 3u);
    EXPECT_EQ(read[0].bytes, 10756u);
    EXPECT_EQ(read[0].chunks, 190u);
    EXPECT_EQ(read[0].subject, "");
    EXPECT_EQ(read[0].answer, "refused with transfer status 5");
    EXPECT_EQ(read[1].number, 2u);
    EXPECT_EQ(read[1].kind, vokHistoryKind::event);
    EXPECT_EQ(read[1].event, 538);
    EXPECT_EQ(read[1].subject, "Drive at 203A001B05C20300");
    EXPECT_THAT(statusLines(), IsEmpty());
}

TEST_F(History, OnlyTheLastOnesAreReadOldestFirst) {
    vokOpenHistory();
    for (int i = 1; i <= 5; ++i) vokAppendHistory(event(i));
    EXPECT_THAT(numbers(2), ElementsAre(4u, 5u));
    EXPECT_THAT(numbers(0), IsEmpty());
}

TEST_F(History, NothingIsAppendedUnlessTheAgentHasOpenedIt) {
    vokAppendHistory(event(1));
    EXPECT_FALSE(host.root.exists(file));
}

TEST_F(History, ATextIsCutAtItsRoomAndMadePrintable) {
    vokOpenHistory();
    vokHistoryEntry entry = event(1);
    entry.subject = std::string(130, 's');
    entry.answer = "a\nb\x1b[2J";
    vokAppendHistory(entry);
    EXPECT_EQ(entries()[0].subject, std::string(120, 's'));
    EXPECT_EQ(entries()[0].answer, "a?b?[2J");
}

TEST_F(History, ItIsForItsOwnerAlone) {
    ::umask(0);
    vokOpenHistory();
    vokAppendHistory(event(1));
    struct stat found {};
    ASSERT_EQ(::stat(hostPath().c_str(), &found), 0);
    EXPECT_EQ(found.st_mode & 07777u, 0600u);
}

// --- the ring ---

TEST_F(History, TheOldestEntriesMakeRoomWithinTheLargestSize) {
    vokOpenHistory();
    for (int i = 1; i <= 820; ++i) vokAppendHistory(event(i));
    const auto found = numbers();
    ASSERT_THAT(found, SizeIs(818));
    EXPECT_EQ(found.front(), 3u);
    EXPECT_EQ(found.back(), 820u);
    EXPECT_LE(std::filesystem::file_size(hostPath()), 256u * 1024);
}

TEST_F(History, NumberingContinuesOverARestart) {
    appendInAnotherRun(3);
    vokOpenHistory();
    vokAppendHistory(event(1));
    EXPECT_THAT(numbers(), ElementsAre(1u, 2u, 3u, 4u));
}

TEST_F(History, NoEntryIsOverwrittenWhileThoseBeforeItCantBeRead) {
    appendInAnotherRun(3);
    inAnotherRun([] {
        // One more descriptor: enough to open the file for an entry, not to read the others.
        const int next = ::dup(STDERR_FILENO);
        ::close(next);
        rlimit before{};
        ::getrlimit(RLIMIT_NOFILE, &before);
        const rlimit few{static_cast<rlim_t>(next) + 1, before.rlim_max};
        ::setrlimit(RLIMIT_NOFILE, &few);
        vokAppendHistory(event(4));
        ::setrlimit(RLIMIT_NOFILE, &before);
        vokAppendHistory(event(5));
    });
    const auto read = entries();
    ASSERT_THAT(read, SizeIs(4));
    EXPECT_EQ(read[0].event, 1);
    EXPECT_EQ(read[3].event, 5);
    EXPECT_EQ(read[3].number, 4u);
}

TEST_F(History, TheFileIsMadeAgainWhenTheFolderIsRemoved) {
    vokOpenHistory();
    vokAppendHistory(event(1));
    std::filesystem::remove_all(host.path("/opt/mev/vok/data"));
    vokAppendHistory(event(2));
    EXPECT_THAT(numbers(), ElementsAre(2u));
    EXPECT_THAT(statusLines(), IsEmpty());
}

TEST_F(History, SeveralThreadsAppendWithoutLoss) {
    vokOpenHistory();
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i)
        threads.emplace_back([] {
            for (int n = 0; n < 50; ++n) vokAppendHistory(event(n));
        });
    for (std::thread& thread : threads) thread.join();
    EXPECT_THAT(entries(), SizeIs(200));
}

// --- what a kill, a full disk or another program leaves ---

TEST_F(History, AFileThatIsCutShortAnywhereLosesTheEntriesFromThereOnAlone) {
    appendInAnotherRun(3);
    const std::string content = host.root.readFile(file);
    const std::size_t first = vokHistoryRing::offsetOf(1), second = vokHistoryRing::offsetOf(2);
    for (std::size_t size = first; size <= content.size(); ++size) {
        const std::size_t whole = (size - first) / (second - first);
        ASSERT_THAT(vokHistoryRing::entriesOf(content.substr(0, size)), SizeIs(whole)) << size;
    }
}

TEST_F(History, ASlotWithAnyByteChangedIsLeftOutAlone) {
    appendInAnotherRun(3);
    const std::string content = host.root.readFile(file);
    for (std::size_t at = vokHistoryRing::offsetOf(2); at < vokHistoryRing::offsetOf(3); ++at) {
        std::string torn = content;
        torn[at] = static_cast<char>(torn[at] ^ 0x20);
        const auto read = vokHistoryRing::entriesOf(torn);
        ASSERT_THAT(read, SizeIs(2)) << at;
        ASSERT_EQ(read[0].number, 1u);
        ASSERT_EQ(read[1].number, 3u);
    }
}

TEST_F(History, AnEntryInTheSlotOfAnotherIsLeftOut) {
    appendInAnotherRun(2);
    std::string content = host.root.readFile(file);
    content.replace(vokHistoryRing::offsetOf(2), 320, content.substr(vokHistoryRing::offsetOf(1), 320));
    EXPECT_THAT(vokHistoryRing::entriesOf(content), SizeIs(1));
}

TEST_F(History, AKillAtAnyMomentCostsAtMostTheEntryThatIsWritten) {
    std::uint64_t last = 0;
    for (unsigned round = 0; round < 40; ++round) {
        EndlessChild agent([n = 0]() mutable {
            if (n++ == 0) vokOpenHistory();
            vokAppendHistory(event(n));
        });
        ::usleep(2000 + round * 73);
        agent.kill();
        if (!host.root.exists(file)) continue;
        const auto found = numbers();
        if (found.empty()) continue;
        EXPECT_EQ(found.back() - found.front() + 1, found.size()) << "no gap";
        EXPECT_GE(found.back(), last);
        last = found.back();
    }
    EXPECT_GT(last, 0u);
}

TEST_F(History, AFileOfAnotherKindIsReplaced) {
    for (const std::string& content : {std::string(), std::string("short"), std::string(400000, 'x')}) {
        host.root.writeFile(file, content);
        std::vector<vokHistoryEntry> read;
        std::string reason;
        EXPECT_FALSE(vokReadHistory(1, read, reason));
        EXPECT_EQ(reason, hostPath() + " is not a history of the agent");
        appendInAnotherRun(1);
        EXPECT_THAT(numbers(), ElementsAre(1u));
    }
    EXPECT_FALSE(host.root.exists(std::string(file) + ".new"));
}

TEST_F(History, APlantedLinkIsNotFollowedAndIsReportedOnce) {
    host.root.writeFile("/elsewhere", "precious");
    ASSERT_EQ(::symlink(host.path("/elsewhere").c_str(), hostPath().c_str()), 0);
    vokOpenHistory();
    for (int i = 1; i <= 3; ++i) vokAppendHistory(event(i));
    EXPECT_EQ(host.root.readFile("/elsewhere"), "precious");
    EXPECT_THAT(statusLines(), ElementsAre("WARNING STATUS: The history " + hostPath() +
                                           " gets no entries: it is not a regular file of this user"));
}

TEST_F(History, AFullDiskCostsTheEntriesAloneAndIsReportedOnce) {
    vokOpenHistory();
    for (int i = 1; i <= 2; ++i) vokAppendHistory(event(i));
    std::signal(SIGXFSZ, SIG_IGN);
    rlimit before{};
    ::getrlimit(RLIMIT_FSIZE, &before);
    // Room for a part of the next slot.
    const rlimit full{static_cast<rlim_t>(vokHistoryRing::offsetOf(3) + 100), before.rlim_max};
    ::setrlimit(RLIMIT_FSIZE, &full);
    for (int i = 1; i <= 3; ++i) vokAppendHistory(event(i));
    EXPECT_THAT(numbers(), ElementsAre(1u, 2u));
    ::setrlimit(RLIMIT_FSIZE, &before);
    vokAppendHistory(event(4));
    EXPECT_THAT(numbers(), ElementsAre(1u, 2u, 3u));
    EXPECT_THAT(statusLines(), SizeIs(2));
    EXPECT_EQ(statusLines().back(), "INFO STATUS: The history " + hostPath() + " is written again.");
}

TEST_F(History, WithoutAFileThereIsAReason) {
    std::vector<vokHistoryEntry> read;
    std::string reason;
    EXPECT_FALSE(vokReadHistory(1, read, reason));
    EXPECT_EQ(reason, hostPath() + " does not exist");
}

// The same bytes on both ABIs; the checksum was computed by another program.
TEST_F(History, ASlotHasItsFormOnEachAbi) {
    vokHistoryEntry entry = event(538);
    entry.number = 0x1122334455667788;
    entry.bytes = 0x24;
    entry.chunks = 0x25;
    entry.subject = "ab";
    entry.answer = "cd";
    std::string expected = std::string("\1\0\0\0", 4) + "\x88\x77\x66\x55\x44\x33\x22\x11" +
                           std::string("\x1a\xf3\x53\x65\0\0\0\0", 8) + std::string("\x0c\0\0\0\0\0\0\0", 8) +
                           std::string("\x1a\x02\0\0", 4) + std::string("\1\0\0\0", 4) +
                           std::string("\x24\0\0\0\0\0\0\0", 8) + std::string("\x25\0\0\0\0\0\0\0", 8);
    expected += "ab" + std::string(118, '\0') + "cd" + std::string(118 + 24, '\0');
    const vokHistoryRing::SlotBytes slot = vokHistoryRing::slotOf(entry);
    EXPECT_EQ(std::string(slot.begin() + 4, slot.end()), expected);
    EXPECT_EQ(std::string(slot.begin(), slot.begin() + 4), "\x7f\x42\x5f\x0a");
    EXPECT_EQ(std::string(vokHistoryRing::head().data(), 16),
              std::string("VOKHIST1\x40\1\0\0\x32\3\0\0", 16));
}

}  // namespace
}  // namespace HistoryTest
