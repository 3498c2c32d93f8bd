#include <gtest/gtest.h>
#include <cerrno>

#include "storage/DiskStatus.h"
#include "storage/scsi/ScsiDisk.h"

namespace vokStorageControllerSasHealthTest {
namespace {

// --- SAS ---

TEST_F(DiskStatus, AHealthySasDiskIsRunningWithoutAText) {
    addSasDisk(Media::hdd);
    EXPECT_EQ(newStatus(), running);
    EXPECT_EQ(text(), "");
    EXPECT_EQ(commands(), (std::vector<FakeScsiBytes>{sasTemperature, sasHealth}));
    EXPECT_TRUE(
        logged("0:0:0:0: SAS Disk Status: /dev/sg0 SERIAL-0001 [S=Running; H=OK] (H=0, T=33, M=65, W=-1)"));
}

TEST_F(DiskStatus, AHealthySasSsdIsAskedForItsWearFirst) {
    SasReplies replies;
    replies.wear = 7;
    addSasDisk(Media::ssd, replies);
    EXPECT_EQ(newStatus(), running);
    EXPECT_EQ(commands(), (std::vector<FakeScsiBytes>{sasWear, sasTemperature, sasHealth}));
    EXPECT_TRUE(
        logged("0:0:0:0: SAS Disk Status: /dev/sg0 SERIAL-0001 [S=Running; H=OK] (H=0, T=33, M=65, W=7)"));
}

TEST_F(DiskStatus, TheWearOfASasHddDoesNotCount) {
    SasReplies replies;
    replies.wear = 100;
    addSasDisk(Media::hdd, replies);
    EXPECT_EQ(newStatus(), running);
    disk.setMediaType("");
    EXPECT_EQ(newStatus(), running);
}

TEST_F(DiskStatus, ASasSsdWornTo95PercentIsAPredictiveFailure) {
    SasReplies replies;
    replies.wear = 94;
    addSasDisk(Media::ssd, replies);
    EXPECT_EQ(newStatus(), running);
    replies.wear = 95;
    answerAsSas(*node, replies);
    EXPECT_EQ(newStatus(), predictive);
    EXPECT_EQ(text(), longText(95, 33, 65, 0));
    EXPECT_TRUE(
        logged("0:0:0:0: SAS Disk Status: /dev/sg0 SERIAL-0001 [S=Predictive failure; H=Warning] (H=0, T=33, "
               "M=65, W=95)"));
}

TEST_F(DiskStatus, TheLongTextOfAPredictiveFailure) {
    SasReplies replies;
    replies.wear = 96;
    replies.temperature = 66;
    replies.exceptions = 0x5D10;
    addSasDisk(Media::ssd, replies);
    EXPECT_EQ(newStatus(), predictive);
    EXPECT_EQ(text(),
              "[SSD Wear percentage (96); Threshold (95)], [Current Temp (66 C); Max Operating Temperature "
              "(65 C)], [23824 errors reported in Summary SMART error log / Informational Exceptions log "
              "page.]");
}

// Required: the negative wear stands, and is below the threshold.
TEST_F(DiskStatus, AWearThatASasSsdDoesNotTellIsNegativeInTheTextAsRequired) {
    addSasDisk(Media::ssd);
    node->answer(sasWear, illegalRequest);
    EXPECT_EQ(newStatus(), running);
    EXPECT_TRUE(logged("0:0:0:0: Failed to determine SAS SSD wear [-7]."));
    SasReplies replies;
    replies.exceptions = 1;
    answerAsSas(*node, replies);
    node->answer(sasWear, hardwareError);
    EXPECT_EQ(newStatus(), predictive);
    EXPECT_EQ(text(), longText(-3, 33, 65, 1));
}

// Required: also for the page itself with its DS bit set.
TEST_F(DiskStatus, AWearPageOfAnotherCodeIsAPredictiveFailureAsRequired) {
    addSasDisk(Media::ssd);
    for (const int code : {0x0D, 0x91}) {
        node->answer(sasWear, {zerosWith(12, {{0, code}, {3, 8}})});
        EXPECT_EQ(newStatus(), predictive);
        EXPECT_EQ(text(), longText(255, 33, 65, 0));
    }
}

TEST_F(DiskStatus, ASasDiskIsTooHotAboveItsLimitOnly) {
    SasReplies replies;
    replies.temperature = 65;
    addSasDisk(Media::hdd, replies);
    EXPECT_EQ(newStatus(), running);
    replies.temperature = 66;
    answerAsSas(*node, replies);
    EXPECT_EQ(newStatus(), predictive);
    EXPECT_EQ(text(), longText(-1, 66, 65, 0));
}

// Required: the limit stays -1, so that every temperature is above it.
TEST_F(DiskStatus, TheFallBackTemperatureIsAPredictiveFailureAsRequired) {
    addSasDisk(Media::hdd);
    node->answer(sasTemperature, illegalRequest);
    EXPECT_EQ(newStatus(), predictive);
    EXPECT_EQ(text(), longText(-1, 33, -1, 0));
    EXPECT_EQ(commands(), (std::vector<FakeScsiBytes>{sasTemperature, sasHealth, sasHealth}));
    EXPECT_TRUE(logged("0:0:0:0: Failed to determine SAS temp. Looking up unit temp."));
}

TEST_F(DiskStatus, WithoutAnyTemperatureASasDiskIsJudgedByTheRest) {
    addSasDisk(Media::hdd);
    node->answer(sasTemperature, illegalRequest);
    node->answer(sasHealth, {zerosWith(12, {{0, 0x2F}, {3, 8}, {10, 255}})});
    EXPECT_EQ(newStatus(), running);
    node->answer(sasHealth, {zerosWith(12, {{0, 0x2F}, {3, 8}, {9, 2}, {10, 255}})});
    EXPECT_EQ(newStatus(), predictive);
    EXPECT_EQ(text(), longText(-1, -1, -1, 2));
}

// Ten bytes: the limit that is not there reads as 0.
TEST_F(DiskStatus, ATemperaturePageOfOneParameterHasTheLimit0) {
    addSasDisk(Media::hdd);
    node->answer(sasTemperature, {{0x0D, 0x00, 0x00, 0x06, 0x00, 0x00, 0x03, 0x02, 0x00, 0x21}});
    EXPECT_EQ(newStatus(), predictive);
    EXPECT_EQ(text(), longText(-1, 33, 0, 0));
}

TEST_F(DiskStatus, ASasDiskWithAnErrorCountIsAPredictiveFailureWhateverItsWear) {
    SasReplies replies;
    replies.exceptions = 0x0B01;
    addSasDisk(Media::hdd, replies);
    EXPECT_EQ(newStatus(), predictive);
    EXPECT_EQ(text(), longText(-1, 33, 65, 2817));
    replies.wear = 0;
    disk.setMediaType("SSD");
    EXPECT_EQ(newStatus(), predictive);
    EXPECT_EQ(text(), longText(0, 33, 65, 2817));
}

TEST_F(DiskStatus, ASasDiskWithoutAHealthPageIsFailed) {
    SasReplies replies;
    replies.wear = 100;
    addSasDisk(Media::ssd, replies);
    // The sense data of the last begin with 0xF0; the page before has its DS bit set.
    FakeScsiReply oldError = illegalRequest;
    oldError.sense[0] = 0xF0;
    for (const FakeScsiReply& reply :
         {illegalRequest, hardwareError, FakeScsiReply::ioctlFails(EIO), FakeScsiReply{{0x2F, 0, 0, 8}},
          FakeScsiReply{zerosWith(12, {{0, 0xAF}, {3, 8}})}, oldError}) {
        setRecord("SAS", Media::ssd);
        node->answer(sasHealth, reply);
        EXPECT_EQ(newStatus(), failed);
        EXPECT_EQ(text(), "Failed to read Informational Exceptions log page from disk drive.");
    }
    EXPECT_TRUE(
        logged("0:0:0:0: SAS Disk Status: /dev/sg0 SERIAL-0001 [S=Failed; H=Critical] (H=-7, T=33, M=65, "
               "W=100)"));
}

}  // namespace
}  // namespace vokStorageControllerSasHealthTest
