#include <gtest/gtest.h>

#include "storage/scsi/ScsiDisk.h"
#include "storage/scsi/scsi_info.h"

namespace scsi_infoModePagesTest {
namespace {

const FakeScsiBytes rigidDiskPage = {0x5A, 0x00, 0x04, 0x00, 0x00, 0x00, 0x00, 0x10, 0x00, 0x00};
const FakeScsiBytes exceptionsControlPage = {0x1A, 0x08, 0x1C, 0x00, 0xFF, 0x00};
const FakeScsiBytes portPage = {0x1A, 0x08, 0x19, 0x00, 0xFF, 0x00};

class ScsiModePages : public testing::Test {
protected:
    int answered(int (*ask)(int), const FakeScsiBytes& cdb, const FakeScsiBytes& bytes) {
        disk.disk.answer(cdb, {bytes});
        return ask(disk.fd());
    }
    int smart(const FakeScsiBytes& bytes) { return answered(is_unit_smart, exceptionsControlPage, bytes); }
    int protocol(const FakeScsiBytes& bytes) {
        return answered(get_scsi_transport_protocol, portPage, bytes);
    }

    ScsiDisk disk;
};

// Required: 10,000 per minute, 0x2710 on the wire, reads as 0x1027.
TEST_F(ScsiModePages, TheRotationRateHasItsTwoBytesExchanged) {
    EXPECT_EQ(answered(get_unit_speed, rigidDiskPage, zerosWith(40, {{36, 0x27}, {37, 0x10}})), 0x1027);
    EXPECT_TRUE(disk.logged("Speed Response: 27 10"));
}

TEST_F(ScsiModePages, AByteOf11hInTheDataMeansSmart) {
    EXPECT_EQ(smart({0x00, 0x00, 0x00, 0x02, 0x00, 0x11}), 1);
    EXPECT_TRUE(disk.logged("Smart Response: 00 00 00 02"));
    EXPECT_EQ(smart({0x00, 0x00, 0x00, 0x02, 0x11, 0x00}), 1);
    EXPECT_EQ(smart({0x00, 0x00, 0x00, 0x02, 0x10, 0x12}), 0);
}

TEST_F(ScsiModePages, AByteOf11hAfterTheDataDoesNotCount) {
    EXPECT_EQ(smart({0x00, 0x11, 0x00, 0x02, 0x00, 0x00, 0x11}), 0);
}

TEST_F(ScsiModePages, ALengthOf0OrAbove100MeansNoSmartWhateverWasReceived) {
    EXPECT_EQ(smart({0x00, 0x00, 0x00, 0x00, 0x11}), 0);
    EXPECT_EQ(smart({0x00, 0x00, 0x00, 101, 0x11}), 0);
    EXPECT_EQ(smart({0x00, 0x00, 0x10, 0x08, 0x11}), 0);
}

TEST_F(ScsiModePages, ALengthOf100IsLookedAtToItsLastByte) {
    EXPECT_EQ(smart(zerosWith(104, {{3, 100}, {103, 0x11}})), 1);
}

TEST_F(ScsiModePages, DataThatEndBeforeTheirLengthAreMinus4) {
    EXPECT_EQ(smart({0x00, 0x00, 0x00, 0x02, 0x11}), -4);
    EXPECT_TRUE(disk.logged("IOCTL for MODE SENSE returned 5 bytes. (Min expected: 6)"));
}

TEST_F(ScsiModePages, TheProtocolIsTheLowFourBitsAfterTheHeaderOfFourBytes) {
    EXPECT_EQ(protocol({0x17, 0x00, 0x10, 0x00, 0x19, 0x06, 0xF6}), 6);
    EXPECT_TRUE(disk.logged("PSPP Response: 17 00 10 00 19 06 f6"));
    EXPECT_EQ(protocol({0x17, 0x00, 0x10, 0x00, 0x99, 0x06, 0x0F}), 15);  // PS bit
}

TEST_F(ScsiModePages, AnotherOrAnEmptyPortPageIsMinus1) {
    EXPECT_EQ(protocol({0x17, 0x00, 0x10, 0x00, 0x18, 0x06, 0x06}), -1);
    EXPECT_EQ(protocol({0x17, 0x00, 0x10, 0x00, 0x59, 0x06, 0x06}), -1);  // the form of a subpage
    EXPECT_EQ(protocol({0x17, 0x00, 0x10, 0x00, 0x19, 0x00, 0x06}), -1);
}

}  // namespace
}  // namespace scsi_infoModePagesTest
