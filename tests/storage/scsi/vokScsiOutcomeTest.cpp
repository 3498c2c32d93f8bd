// How the last question of a thread ended.
#include <gtest/gtest.h>
#include <cerrno>
#include <thread>

#include "storage/scsi/ScsiDisk.h"
#include "storage/scsi/scsi_info.h"
#include "storage/scsi/vokScsiQuestion.h"

namespace vokScsiOutcomeTest {
namespace {

const FakeScsiBytes readTemperature = {0x4D, 0, 0x4D, 0, 0, 0, 0, 0, 0x10, 0};

TEST(ScsiOutcome, OfARefusedCommandHasItsCodeAndItsSense) {
    const ScsiDisk disk;
    EXPECT_EQ(get_sas_temp(disk.fd()), nullptr);
    EXPECT_EQ(vokLastScsiOutcome().code, VOK_SCSI_ILLEGAL_REQUEST);
    EXPECT_EQ(vokLastScsiOutcome().reply.sense[12], 0x20);
}

TEST(ScsiOutcome, OfAFailedIoctlHasItsError) {
    ScsiDisk disk;
    disk.disk.answer(readTemperature, FakeScsiReply::ioctlFails(ENODEV));
    EXPECT_EQ(get_sas_temp(disk.fd()), nullptr);
    EXPECT_EQ(vokLastScsiOutcome().code, VOK_SCSI_IOCTL_FAILED);
    EXPECT_EQ(vokLastScsiOutcome().reply.error, ENODEV);
}

TEST(ScsiOutcome, OfAShortReplyHasTheBytesThatAreNeededAlsoIfTheReplyItselfSaysSo) {
    ScsiDisk disk;
    disk.disk.answer(readTemperature, {{0x0D, 0, 0}});
    EXPECT_EQ(get_sas_temp(disk.fd()), nullptr);
    EXPECT_EQ(vokLastScsiOutcome().code, VOK_SCSI_REPLY_TOO_SHORT);
    EXPECT_EQ(vokLastScsiOutcome().needed, 4u);
    disk.disk.answer(readTemperature, {{0x0D, 0, 0, 9, 0, 0}});
    EXPECT_EQ(get_sas_temp(disk.fd()), nullptr);
    EXPECT_EQ(vokLastScsiOutcome().code, VOK_SCSI_REPLY_TOO_SHORT);
    EXPECT_EQ(vokLastScsiOutcome().needed, 13u);
    EXPECT_EQ(vokLastScsiOutcome().reply.received, 6u);
}

TEST(ScsiOutcome, IsReplacedByTheNextQuestionAndCleared) {
    ScsiDisk disk;
    EXPECT_LT(get_sas_health(disk.fd()), 0);
    disk.disk.answer(readTemperature, {zerosWith(16, {{0, 0x0D}})});
    EXPECT_FALSE(takenBytes(get_sas_temp(disk.fd()), 16).empty());
    EXPECT_EQ(vokLastScsiOutcome().code, 0);
    EXPECT_EQ(vokLastScsiOutcome().reply.received, 16u);
    vokClearScsiOutcome();
    EXPECT_EQ(vokLastScsiOutcome().reply.received, 0u);
}

TEST(ScsiOutcome, IsThatOfTheThread) {
    const ScsiDisk disk;
    EXPECT_LT(get_sas_health(disk.fd()), 0);
    int other = -1;
    std::thread([&other] { other = vokLastScsiOutcome().code; }).join();
    EXPECT_EQ(other, 0);
    EXPECT_EQ(vokLastScsiOutcome().code, VOK_SCSI_ILLEGAL_REQUEST);
}

}  // namespace
}  // namespace vokScsiOutcomeTest
