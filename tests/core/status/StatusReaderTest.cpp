// The bytes of a status record, as a file may hold them.
#include "core/status/vokStatusReader.h"

#include <cstring>
#include <limits>
#include <memory>

#include "core/status/StatusFixture.h"
#include "core/status/vokStatusLayout.h"
#include "support/FakeClock.h"

namespace StatusReaderTest {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using vokStatusLayout::Copy;

class StatusReader : public StatusFixture {
protected:
    StatusReader() {
        record->magic = vokStatusLayout::magic;
        record->version = 1;
        record->size = sizeof(Copy);
        record->classes[3].isPresent = 1;
    }

    // Calls `onRead` before each copy of the whole record, with its number from 1.
    std::optional<vokStatusSnapshot> read(const std::function<void(int)>& onRead = {}) {
        int copies = 0;
        return vokAssembleStatus(
            [&](void* bytes, std::size_t wanted) {
                if (wanted == sizeof(Copy) && onRead) onRead(++copies);
                if (wanted > size) return false;
                std::memcpy(bytes, record.get(), wanted);
                return true;
            },
            reason);
    }
    vokStatusLayout::Inventory<std::uint64_t>& inventory() { return record->classes[3].inventory; }

    std::unique_ptr<Copy> record = std::make_unique<Copy>();
    std::size_t size = sizeof(Copy);
    std::string reason;
};

TEST_F(StatusReader, WhatIsNoRecordOfThisVersionIsRefused) {
    EXPECT_TRUE(read());
    record->version = 2;
    EXPECT_FALSE(read());
    EXPECT_EQ(reason, "it is of another version");
    record->version = 1;
    record->size = sizeof(Copy) + 8;
    EXPECT_FALSE(read());
    EXPECT_EQ(reason, "it is of another version");
    record->size = sizeof(Copy);
    record->magic ^= 1;
    EXPECT_FALSE(read());
    EXPECT_EQ(reason, "it is not a status record");
}

TEST_F(StatusReader, AFileThatIsTooShortIsRefused) {
    size = 23;
    EXPECT_FALSE(read());
    EXPECT_EQ(reason, "it is not a status record");
    size = sizeof(Copy) - 1;
    EXPECT_FALSE(read());
    EXPECT_EQ(reason, "it is cut short");
}

TEST_F(StatusReader, AGroupThatIsWrittenMeanwhileIsReadAgain) {
    inventory().records = 1;
    const auto status = read([this](int copy) {
        if (copy == 2) inventory().sequence = 1;
        if (copy == 2) inventory().records = 2;
        if (copy == 3) inventory().sequence = 2;
    });
    ASSERT_TRUE(status);
    EXPECT_EQ(status->classes[0].records, 2u);
    EXPECT_THAT(host.part<FakeClock>().pauses(), ElementsAre(1000u));
}

TEST_F(StatusReader, AGroupWhoseWriteEndsBetweenTheCopiesIsReadAgain) {
    inventory().sequence = 1;
    inventory().records = 1;
    const auto status = read([this](int copy) {
        if (copy == 3) inventory().sequence = 2;
        if (copy == 4) inventory().records = 2;
    });
    ASSERT_TRUE(status);
    EXPECT_EQ(status->classes[0].records, 2u);
}

TEST_F(StatusReader, AGroupThatWasWholeStaysAsItWasThen) {
    record->push.sequence = 1;
    record->push.bytes = 10;
    inventory().records = 1;
    const auto status = read([this](int copy) {
        if (copy < 4) return;
        inventory().sequence = 1;
        inventory().records = 2;
        record->push.sequence = 2;
        record->push.bytes = 11;
    });
    ASSERT_TRUE(status);
    EXPECT_EQ(status->classes[0].records, 1u);
    EXPECT_EQ(status->push.bytes, 11u);
}

TEST_F(StatusReader, AGroupWhoseWriterWasKilledIsGivenAsItIsAfterTwentyAttempts) {
    inventory().sequence = 7;
    inventory().records = 5;
    const auto status = read();
    ASSERT_TRUE(status);
    EXPECT_EQ(status->classes[0].records, 5u);
    EXPECT_THAT(host.part<FakeClock>().pauses(), SizeIs(19));
}

TEST_F(StatusReader, ValuesOutOfTheirRangeAreClamped) {
    record->push.answer = 6;
    std::memset(record->push.answerText.words, 'a', sizeof(record->push.answerText));
    inventory().sectionCount = 1000000000;
    record->operations[0].isHanging = 1;
    record->operations[0].classId = 9;
    record->operations[1].isHanging = 1;
    record->operations[1].classId = 8;
    const auto status = read();
    ASSERT_TRUE(status);
    EXPECT_EQ(status->push.answer, vokPushAnswer::none);
    EXPECT_EQ(status->push.answerText, std::string(192, 'a'));
    EXPECT_THAT(status->classes[0].sections, SizeIs(4));
    EXPECT_EQ(status->hanging[0].classId, -1);
    EXPECT_EQ(status->hanging[1].classId, 7);
}

TEST_F(StatusReader, ALibraryThatIsLeftOutIsReadWithinItsWords) {
    record->leftOut[1].crashes = ~std::uint64_t{0};
    std::memset(record->leftOut[1].name.words, 'n', sizeof(record->leftOut[1].name));
    std::memset(record->leftOut[1].lastCall.words, 'c', sizeof(record->leftOut[1].lastCall));
    const auto status = read();
    ASSERT_TRUE(status);
    ASSERT_THAT(status->leftOut, SizeIs(1));
    EXPECT_EQ(status->leftOut[0].crashes, std::numeric_limits<int>::max());
    EXPECT_EQ(status->leftOut[0].name, std::string(64, 'n'));
    EXPECT_EQ(status->leftOut[0].lastEnd, "");
    EXPECT_EQ(status->leftOut[0].lastCall, std::string(128, 'c'));
}

TEST_F(StatusReader, ARecordOfAllOnesIsRead) {
    std::memset(static_cast<void*>(&record->process), 0xff, sizeof(Copy) - offsetof(Copy, process));
    const auto status = read();
    ASSERT_TRUE(status);
    EXPECT_THAT(status->classes, SizeIs(8));
    EXPECT_EQ(status->version, std::string(32, '?'));
    EXPECT_EQ(status->start, 0) << "no time that this client could show";
    EXPECT_EQ(status->pushSeconds, 253402300799u);
}

// The same words at the same places on both ABIs: the record as a hexadecimal dump, without its words of
// zero.
TEST_F(StatusReader, TheLayoutIsThatOfVersionOneOnEachAbi) {
    vokStatusStart start = sampleStart();
    start.leftOut = {{"libx.so", 2, "SIGBUS", "list"}};
    ASSERT_TRUE(vokOpenStatus(start));
    vokNoteStop(0x11);
    vokNoteNextPush(0x12);
    vokNotePushBegin(0x21);
    vokPushResult push;
    push.end = 0x22;
    push.milliseconds = 0x23;
    push.bytes = 0x24;
    push.chunks = 0x25;
    push.answer = vokPushAnswer::accepted;
    push.answerText = "accepted";
    vokNotePushEnd(push);
    vokNoteDoorBell(0x31, true, true);
    vokNoteNextPoll(0x32);
    vokNoteFailedCommand(3);
    vokNoteNextBuild(3, 0x41);
    vokNoteBuildBegin(3, 0x42);
    vokBuildResult result;
    result.end = 0x43;
    result.milliseconds = 0x44;
    vokNoteInventory(3, 0x45, {{"Drives", 0x51, 0x52, 0x53, 0x54, 0x55}});
    vokNoteBuildEnd(3, result);
    vokNoteEventRaised(538, 0x61);
    vokNoteEventFate(538, vokEventFate::dropped);
    vokNoteHanging(1, "hangs", 0x71, 3);

    const std::string content = host.root.readFile("/var/run/vokStatus.bin");
    std::vector<std::string> words;
    for (std::size_t at = 0; at + 8 <= content.size(); at += 8) {
        std::uint64_t value = 0;
        std::memcpy(&value, content.data() + at, sizeof(value));
        char line[40];
        std::snprintf(line, sizeof(line), "%04zx %llx", at, static_cast<unsigned long long>(value));
        if (value != 0) words.push_back(line);
    }
    EXPECT_EQ(content.size(), 23280u);
    const std::vector<std::string> expected{
        // clang-format off
        // head
        "0000 45544154534b4f56", "0008 1", "0010 5af0", "0018 1267", "0020 6553f100", "0028 e10",
        "0030 15180", "0038 258", "0040 312e322e332e33",
        // stop, next push
        "0060 11", "0068 12",
        // push
        "0070 4", "0078 21", "0088 24", "0090 25", "0098 1", "00a0 23", "00a8 22", "00b0 1",
        "00c0 6465747065636361",
        // door-bell
        "0180 1", "0188 1", "0190 1", "0198 31", "01a0 31", "01a8 32",
        // class 0
        "01b0 1",
        // class 3
        "0660 1", "0668 1", "0670 1", "0678 41",
        // its build
        "0680 4", "0688 1", "0698 43", "06a0 44", "06a8 42", "06b0 1",
        // its inventory
        "06b8 2", "06c0 45", "06c8 1", "06d0 736576697244", "06f0 51", "06f8 52", "0700 53", "0708 54",
        "0710 55",
        // event
        "0e30 21a", "0e38 1", "0e58 1", "0e60 61",
        // operation
        "1d10 2", "1d18 1", "1d20 71", "1d28 4", "1d30 73676e6168",
        // library that is left out
        "5430 2", "5438 6f732e7862696c", "5478 535542474953", "5488 7473696c",
        // clang-format on
    };
    EXPECT_EQ(words, expected);
}

}  // namespace
}  // namespace StatusReaderTest
