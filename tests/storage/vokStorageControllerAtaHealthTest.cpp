#include <gtest/gtest.h>
#include <cerrno>
#include <utility>

#include "storage/DiskStatus.h"
#include "storage/scsi/ScsiDisk.h"

namespace vokStorageControllerAtaHealthTest {
namespace {

// --- ATA ---

TEST_F(DiskStatus, AHealthySataDiskIsRunningWithoutAText) {
    addSataDisk(Media::hdd);
    EXPECT_EQ(newStatus(), running);
    EXPECT_EQ(text(), "");
    EXPECT_EQ(commands(), (std::vector<FakeScsiBytes>{ataTemperature, ataHealth}));
    EXPECT_TRUE(
        logged("0:0:0:0: ATA Temperature Info: [Rev=0x0001, Page=0x05, CT=0x21, Flags=0xc0, MT=0x41, "
               "Flags=0xc0]"));
    EXPECT_TRUE(
        logged("0:0:0:0: ATA Disk Status: /dev/sg0 SERIAL-0001 [S=Running; H=OK] (H=0, T=33, M=65, W=-1)"));
}

TEST_F(DiskStatus, AHealthySataSsdIsAskedForItsWearFirst) {
    SataReplies replies;
    replies.wear = 7;
    addSataDisk(Media::ssd, replies);
    EXPECT_EQ(newStatus(), running);
    EXPECT_EQ(commands(), (std::vector<FakeScsiBytes>{ataWear, ataTemperature, ataHealth}));
    EXPECT_TRUE(
        logged("0:0:0:0: ATA Disk Status: /dev/sg0 SERIAL-0001 [S=Running; H=OK] (H=0, T=33, M=65, W=7)"));
}

TEST_F(DiskStatus, TheProtocolAtaHasTheRuleOfSata) {
    SataReplies replies;
    replies.wear = 95;
    addSataDisk(Media::ssd, replies);
    disk.setProtocol("ATA");
    EXPECT_EQ(newStatus(), predictive);
    EXPECT_EQ(text(), longText(95, 33, 65, 0));
}

TEST_F(DiskStatus, ASataSsdWornTo95PercentIsAPredictiveFailure) {
    SataReplies replies;
    replies.wear = 94;
    addSataDisk(Media::ssd, replies);
    EXPECT_EQ(newStatus(), running);
    replies.wear = 95;
    answerAsSata(*node, replies);
    EXPECT_EQ(newStatus(), predictive);
    EXPECT_EQ(text(), longText(95, 33, 65, 0));
}

TEST_F(DiskStatus, TheWearOfASataHddDoesNotCount) {
    SataReplies replies;
    replies.wear = 100;
    addSataDisk(Media::hdd, replies);
    EXPECT_EQ(newStatus(), running);
}

TEST_F(DiskStatus, AWearPageThatASataSsdDoesNotHaveIsNotAskedForAgain) {
    const std::vector<std::pair<FakeScsiReply, int>> rows = {{illegalRequest, -7}, {aborted, -9}};
    for (const auto& [reply, wear] : rows) {
        SataReplies replies;
        replies.errors = 3;
        addSataDisk(Media::ssd, replies);
        node->answer(ataWear, reply);
        EXPECT_EQ(newStatus(), predictive);
        EXPECT_EQ(text(), longText(wear, 33, 65, 3));
        EXPECT_TRUE(
            warned("0:0:0:0: The SSD Statistics Page(07h) is not supported by Device Statistics Log(04h)"));
        EXPECT_FALSE(disk.getIfSSDWearPageSupported());
        EXPECT_TRUE(disk.getIfTempPageSupported());
        EXPECT_EQ(newStatus(), predictive);
        EXPECT_EQ(text(), longText(-1, 33, 65, 3));
        EXPECT_EQ(commands(), (std::vector<FakeScsiBytes>{ataWear, ataTemperature, ataHealth, ataTemperature,
                                                          ataHealth}));
        tree.removeDisk(link);
    }
}

TEST_F(DiskStatus, AWearPageThatFailsOtherwiseIsAskedForAgain) {
    SataReplies replies;
    replies.errors = 3;
    addSataDisk(Media::ssd, replies);
    node->answer(ataWear, hardwareError);
    EXPECT_EQ(newStatus(), predictive);
    EXPECT_EQ(text(), longText(-3, 33, 65, 3));
    EXPECT_TRUE(logged("0:0:0:0: Failed to determine ATA SSD wear [-3]."));
    EXPECT_TRUE(disk.getIfSSDWearPageSupported());
}

TEST_F(DiskStatus, ASataDiskIsTooHotAboveItsLimitOnly) {
    SataReplies replies;
    replies.temperature = 65;
    addSataDisk(Media::hdd, replies);
    EXPECT_EQ(newStatus(), running);
    replies.temperature = 66;
    answerAsSata(*node, replies);
    EXPECT_EQ(newStatus(), predictive);
    EXPECT_EQ(text(), longText(-1, 66, 65, 0));
}

TEST_F(DiskStatus, TemperaturesBelow0CountAsTheyAre) {
    SataReplies replies;
    replies.temperature = -5;
    replies.maximum = -6;
    addSataDisk(Media::hdd, replies);
    EXPECT_EQ(newStatus(), predictive);
    EXPECT_EQ(text(), longText(-1, -5, -6, 0));
}

TEST_F(DiskStatus, ADiskBelowAcs2IsNotAskedForItsTemperature) {
    SataReplies replies;
    replies.temperature = 99;
    addSataDisk(Media::hdd, replies);
    for (const int revision : {0, 0x01FF}) {
        disk.setATAMajorRevision(revision);
        EXPECT_EQ(newStatus(), running);
    }
    EXPECT_EQ(commands(), (std::vector<FakeScsiBytes>{ataHealth, ataHealth}));
}

const std::string shortText =
    "[SSD Wear percentage (-1); Threshold (95)], [3 errors reported in Summary SMART error log / "
    "Informational Exceptions log page.]";

TEST_F(DiskStatus, WithoutAValidTemperatureTheTextDoesNotTellIt) {
    SataReplies replies;
    replies.errors = 3;
    addSataDisk(Media::hdd, replies);
    disk.setATAMajorRevision(0);
    EXPECT_EQ(newStatus(), predictive);
    EXPECT_EQ(text(), shortText);
}

TEST_F(DiskStatus, ATemperaturePageThatASataDiskDoesNotHaveIsNotAskedForAgain) {
    for (const FakeScsiReply& reply : {illegalRequest, aborted}) {
        SataReplies replies;
        replies.errors = 3;
        addSataDisk(Media::hdd, replies);
        node->answer(ataTemperature, reply);
        EXPECT_EQ(newStatus(), predictive);
        EXPECT_EQ(text(), shortText);
        EXPECT_TRUE(warned(
            "0:0:0:0: The Temperature Statistics Page(05h) is not supported by Device Statistics Log(04h)"));
        EXPECT_FALSE(disk.getIfTempPageSupported());
        EXPECT_TRUE(disk.getIfSSDWearPageSupported());
        EXPECT_EQ(newStatus(), predictive);
        EXPECT_EQ(commands(), (std::vector<FakeScsiBytes>{ataTemperature, ataHealth, ataHealth}));
        tree.removeDisk(link);
    }
}

TEST_F(DiskStatus, ATemperaturePageThatFailsOtherwiseIsAskedForAgain) {
    addSataDisk(Media::hdd);
    node->answer(ataTemperature, FakeScsiReply::ioctlFails(EIO));
    EXPECT_EQ(newStatus(), running);
    EXPECT_TRUE(logged("0:0:0:0: Failed to retrieve ATA temp. (-2)"));
    EXPECT_TRUE(disk.getIfTempPageSupported());
}

// A hot disk whose page does not have both values is not judged by its temperature.
TEST_F(DiskStatus, ATemperaturePageThatCannotBeReadIsNotValid) {
    addSataDisk(Media::hdd);
    const FakeScsiBytes whole = zerosWith(512, {{0, 1}, {2, 5}, {8, 70}, {15, 0xC0}, {88, 60}, {95, 0xC0}});
    const auto with = [&whole](std::size_t at, int value) {
        FakeScsiBytes page = whole;
        page[at] = static_cast<unsigned char>(value);
        return page;
    };
    const FakeScsiBytes cut(whole.begin(), whole.begin() + 95);
    const FakeScsiBytes one(1);
    node->answer(ataTemperature, {whole});
    EXPECT_EQ(newStatus(), predictive);
    for (const FakeScsiBytes& page : {with(0, 0), with(2, 7), with(15, 0), with(95, 0), cut, one}) {
        node->answer(ataTemperature, {page});
        EXPECT_EQ(newStatus(), running);
    }
    EXPECT_EQ(timesLogged("0:0:0:0: Failed to read ATA temp values from log page. "), 6);
}

TEST_F(DiskStatus, ATemperaturePageIsLoggedFrom96BytesOn) {
    addSataDisk(Media::hdd);
    const std::string line =
        "0:0:0:0: ATA Temperature Info: [Rev=0x0201, Page=0x05, CT=0x1f, Flags=0x80, MT=0x3c, Flags=0x40]";
    FakeScsiBytes page = zerosWith(96, {{0, 1}, {1, 2}, {2, 5}, {8, 31}, {15, 0x80}, {88, 60}, {95, 0x40}});
    node->answer(ataTemperature, {page});
    EXPECT_EQ(newStatus(), running);
    EXPECT_EQ(timesLogged(line), 1);
    page.pop_back();
    node->answer(ataTemperature, {page});
    EXPECT_EQ(newStatus(), running);
    EXPECT_EQ(timesLogged(line), 1);
}

TEST_F(DiskStatus, ASataDiskWithAnErrorCountIsAPredictiveFailureWhateverItsWear) {
    SataReplies replies;
    replies.errors = 515;
    addSataDisk(Media::ssd, replies);
    EXPECT_EQ(newStatus(), predictive);
    EXPECT_EQ(text(), longText(0, 33, 65, 515));
}

TEST_F(DiskStatus, ASataDiskWithoutAnErrorLogIsFailed) {
    SataReplies replies;
    replies.wear = 100;
    addSataDisk(Media::ssd, replies);
    for (const FakeScsiReply& reply : {illegalRequest, aborted, hardwareError, FakeScsiReply::ioctlFails(EIO),
                                       FakeScsiReply{{1, 0, 0}}, FakeScsiReply{FakeScsiBytes(512)}}) {
        setRecord("SATA", Media::ssd);
        node->answer(ataHealth, reply);
        EXPECT_EQ(newStatus(), failed);
        EXPECT_EQ(text(), "Failed to read Summary SMART Error Log from disk drive.");
    }
    EXPECT_TRUE(
        logged("0:0:0:0: ATA Disk Status: /dev/sg0 SERIAL-0001 [S=Failed; H=Critical] (H=-1, T=-1, M=-1, "
               "W=100)"));
}

}  // namespace
}  // namespace vokStorageControllerAtaHealthTest
