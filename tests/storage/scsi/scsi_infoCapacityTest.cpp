#include <gtest/gtest.h>

#include "storage/scsi/ScsiDisk.h"
#include "storage/scsi/scsi_info.h"

namespace scsi_infoCapacityTest {
namespace {

const FakeScsiBytes readCapacity = padded({0x25}, 10);
const FakeScsiBytes readCapacity16 = padded({0x9E, 0x10}, 16);

class ScsiCapacity : public testing::Test {
protected:
    // Of a reply with this length of the list and this format in byte 1.
    int defects(unsigned char format, unsigned length) {
        disk.disk.answer({0x37, 0x00, 0x0D, 0x00, 0x00, 0x00, 0x00, 0x10, 0x00, 0x00},
                         {{0x00, format, static_cast<unsigned char>(length >> 8),
                           static_cast<unsigned char>(length & 0xFF)}});
        return get_defect_data_size(disk.fd(), 5);
    }

    ScsiDisk disk;
};

TEST_F(ScsiCapacity, IsTheAddressOfTheLastBlock) {
    disk.disk.expect({{readCapacity, {{0x8B, 0xBA, 0x0C, 0xAF, 0x00, 0x00, 0x02, 0x00}}}});
    EXPECT_EQ(get_disk_capacity(disk.fd()), 0x8BBA0CAFull);
}

TEST_F(ScsiCapacity, Above32BitsIsReadByTheSecondCommand) {
    disk.disk.expect({{readCapacity, {{0xFF, 0xFF, 0xFF, 0xFF, 0x00, 0x00, 0x02, 0x00}}},
                      {readCapacity16, {{0x01, 0x02, 0x03, 0x04, 0x05, 0x06, 0x07, 0x08}}}});
    EXPECT_EQ(get_disk_capacity(disk.fd()), 0x0102030405060708ull);
    EXPECT_EQ(disk.disk.requests()[1].length, 4096u);
    EXPECT_EQ(disk.disk.requests()[1].timeout, 60000u);
}

TEST_F(ScsiCapacity, OneBelowTheLimitNeedsNoSecondCommand) {
    disk.disk.expect({{readCapacity, {{0xFF, 0xFF, 0xFF, 0xFE}}}});
    EXPECT_EQ(get_disk_capacity(disk.fd()), 0xFFFFFFFEull);
}

TEST_F(ScsiCapacity, IsZeroIfTheSecondCommandFails) {
    disk.disk.answer(readCapacity, {{0xFF, 0xFF, 0xFF, 0xFF}});
    EXPECT_EQ(get_disk_capacity(disk.fd()), 0u);
    EXPECT_TRUE(disk.logged("READ CAPACITY 16 command failed."));
    disk.disk.answer(readCapacity16, FakeScsiReply::ioctlFails(5));
    EXPECT_EQ(get_disk_capacity(disk.fd()), 0u);
    EXPECT_TRUE(disk.logged("IOCTL for READ CAPACITY 16 failed. (-1, 5)"));
    disk.disk.answer(readCapacity16, {{1, 1, 1, 1, 1, 1, 1}});
    EXPECT_EQ(get_disk_capacity(disk.fd()), 0u);
    EXPECT_TRUE(disk.logged("IOCTL for READ CAPACITY 16 returned 7 bytes. (Min expected: 8)"));
}

TEST_F(ScsiCapacity, TheFormatOfDefectsIsOneOfTheBitsOfTheCommand) {
    get_defect_data_size(disk.fd(), 0);
    get_defect_data_size(disk.fd(), 4);
    get_defect_data_size(disk.fd(), 9);
    const auto requests = disk.disk.requests();
    EXPECT_EQ(requests[0].cdb, (FakeScsiBytes{0x37, 0x00, 0x08, 0x00, 0x00, 0x00, 0x00, 0x10, 0x00, 0x00}));
    EXPECT_EQ(requests[1].cdb[2], 0x0C);
    EXPECT_EQ(requests[2].cdb[2], 0x09);  // or, not plus
}

TEST_F(ScsiCapacity, DefectsAreCountedByTheSizeOfTheirFormat) {
    EXPECT_EQ(defects(4, 0x0410), 130);
    EXPECT_EQ(defects(5, 0x0410), 130);
    EXPECT_EQ(defects(0, 0x0410), 260);
    EXPECT_EQ(defects(6, 0x0410), 260);
    EXPECT_EQ(defects(5, 7), 0);
    EXPECT_EQ(defects(5, 0xFFFF), 8191);
}

TEST_F(ScsiCapacity, OfTheFormatTheLowThreeBitsCount) {
    EXPECT_EQ(defects(0xFD, 16), 2);
    EXPECT_EQ(defects(0x18, 16), 4);
}

TEST_F(ScsiCapacity, OtherFormatsAndAnEmptyListHaveNoDefects) {
    for (const unsigned char format : FakeScsiBytes{1, 2, 3, 7}) EXPECT_EQ(defects(format, 16), 0);
    EXPECT_EQ(defects(5, 0), 0);
}

}  // namespace
}  // namespace scsi_infoCapacityTest
