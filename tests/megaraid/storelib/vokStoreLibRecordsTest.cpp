#include "megaraid/storelib/vokStoreLibRecords.h"

#include <gtest/gtest.h>
#include <array>
#include <string>
#include <vector>

#include "support/FakeHost.h"
#include "support/LoggedLines.h"

namespace vokStoreLibRecordsTest {
namespace {

const std::string bytes =
    "\x01\x02\x03\x84"
    "abc\0d";

TEST(RecordReader, ANumberIsLittleEndianAndUnsigned) {
    const vokRecordReader record(bytes.data(), 9);
    EXPECT_EQ(record.number({0, 1}), 0x01u);
    EXPECT_EQ(record.number({1, 2}), 0x0302u);
    EXPECT_EQ(record.number({0, 4}), 0x84030201u);
    EXPECT_EQ(record.number({0, 8}), 0x0063626184030201u);
    EXPECT_EQ(record.number({0, 2}, 2), 0x8403u);
}

TEST(RecordReader, ANumberThatIsNotWhollyThereIsZero) {
    const vokRecordReader record(bytes.data(), 4);
    EXPECT_EQ(record.number({3, 1}), 0x84u);
    EXPECT_EQ(record.number({3, 2}), 0u);
    EXPECT_EQ(record.number({4, 1}), 0u);
    EXPECT_EQ(record.number({0, 4}, 1), 0u);
    EXPECT_EQ(record.number({static_cast<std::size_t>(-1), 1}), 0u);
}

TEST(RecordReader, BytesEndWithTheRecord) {
    const vokRecordReader record(bytes.data(), 6);
    EXPECT_EQ(record.bytes({4, 5}), "ab");
    EXPECT_EQ(record.bytes({6, 1}), "");
    EXPECT_EQ(record.bytes({7, 1}), "");
}

TEST(RecordReader, ATextEndsWithItsFirstNul) {
    const vokRecordReader record(bytes.data(), 9);
    EXPECT_EQ(record.text({4, 5}), "abc");
    EXPECT_EQ(record.text({4, 2}), "ab");
}

TEST(RecordReader, ACountBeyondTheRoomOfTheBlockIsClampedWithAWarning) {
    const FakeHost host;
    logEverything(host);
    const std::array<unsigned char, 4> three = {3, 0, 0, 0};
    constexpr vokRecordEntries list = {{0, 4}, 4, 2, 3};
    EXPECT_EQ(vokRecordReader(three).count(list, "list"), 3u);
    const std::array<unsigned char, 4> many = {4, 0, 0, 1};
    EXPECT_EQ(vokRecordReader(many).count(list, "list"), 3u);
    EXPECT_EQ(vokRecordReader(three.data(), 3).count(list, "list"), 0u);
    const std::string room = "WARNING LSI_INTERF: The list reports ";
    EXPECT_EQ(countLogged(host, room + "16777220 entries; only the 3 that it has room for are read."), 1);
}

TEST(RecordReader, TheEntriesOfAListAreReadAtTheirStride) {
    const FakeHost host;
    const std::array<unsigned char, 12> list = {2, 0, 0, 0, 9, 0xAB, 0x01, 9, 9, 0xCD, 0x02, 9};
    constexpr vokRecordEntries entries = {{0, 4}, 4, 4, 2};
    EXPECT_EQ(vokRecordReader(list).entries(entries, {1, 2}, "list"),
              (std::vector<std::uint64_t>{0x01AB, 0x02CD}));
}

TEST(RecordReader, TextLosesEveryKindOfWhiteSpace) {
    EXPECT_EQ(vokWithoutSpace(" a\tb\nc\vd\fe\rf "), "abcdef");
    EXPECT_EQ(vokWithoutSpace("\xA0\xFF"), "\xA0\xFF");
}

TEST(StoreLibBlocks, ACommandBlockIsZeroedAndHasItsCommand) {
    int data = 0;
    const _SL_LIB_CMD_PARAM_T block = vokCommandBlock(vokDiskRecordCommand, &data);
    EXPECT_EQ(block.commandType, 2);
    EXPECT_EQ(block.command, 0);
    EXPECT_EQ(block.dataSize, 512u);
    EXPECT_EQ(block.data, &data);
    EXPECT_EQ(block.flag, 0);
    EXPECT_EQ(block.controllerId, 0u);
    EXPECT_EQ(block.deviceId, 0);
    EXPECT_EQ(block.targetId, 0);
    EXPECT_EQ(block.input, nullptr);
}

}  // namespace
}  // namespace vokStoreLibRecordsTest
