#include <gtest/gtest.h>
#include <scsi/sg.h>
#include <cstdlib>

#include "storage/scsi/ScsiDisk.h"
#include "storage/scsi/scsi_info.h"

namespace scsi_infoInquiryTest {
namespace {

const FakeScsiBytes inquiry = {0x12, 0x00, 0x00, 0x00, 0xFC, 0x00};
const FakeScsiBytes characteristics = {0x12, 0x01, 0xB1, 0x00, 0xFC, 0x00};
const FakeScsiBytes serialNumberPage = {0x12, 0x01, 0x80, 0x00, 0xFC, 0x00};

// The standard data of a disk, 36 bytes and what `more` has.
FakeScsiBytes standardData(const std::string& more = "") {
    const std::string text = "MEV     MK001200JWJNQ   D003" + more;
    FakeScsiBytes bytes = zerosWithText(8 + text.size(), 8, text);
    bytes[2] = 6;
    bytes[4] = static_cast<unsigned char>(bytes.size() - 4);
    return bytes;
}

FakeScsiBytes serialNumber(const std::string& text) {
    FakeScsiBytes bytes = zerosWithText(4 + text.size(), 4, text);
    bytes[1] = 0x80;
    bytes[3] = static_cast<unsigned char>(text.size());
    return bytes;
}

// A disk whose completed commands have this status although the driver finds nothing to report.
class QuietScsi : public FakeScsi {
public:
    using FakeScsi::FakeScsi;
    int control(unsigned long request, void* argument) override {
        const int result = FakeScsi::control(request, argument);
        auto& header = *static_cast<sg_io_hdr_t*>(argument);
        header.info = SG_INFO_OK;
        header.status = 4;  // CONDITION MET
        return result;
    }
};

class ScsiInquiry : public testing::Test {
protected:
    int answered(int (*ask)(int), const FakeScsiBytes& cdb, const FakeScsiBytes& bytes) {
        disk.disk.answer(cdb, {bytes});
        return ask(disk.fd());
    }
    std::string textOf(char* (*ask)(int), const FakeScsiBytes& cdb, const FakeScsiBytes& bytes) {
        disk.disk.answer(cdb, {bytes});
        return takenText(ask(disk.fd()));
    }
    int rate(const FakeScsiBytes& bytes) {
        return answered(get_scsi_disk_medium_rotation_rate, characteristics, bytes);
    }

    ScsiDisk disk;
};

// --- block device characteristics ---

TEST_F(ScsiInquiry, ARateOf1IsASolidStateDisk) {
    EXPECT_EQ(answered(is_unit_ssd, characteristics, {0x00, 0xB1, 0x00, 0x3C, 0x00, 0x01}), 1);
    EXPECT_TRUE(disk.logged("SSD Response: 00 b1 00 3c 00 01"));
    EXPECT_EQ(answered(is_unit_ssd, characteristics, {0x00, 0xB1, 0x00, 0x3C, 0x27, 0x10}), 0);
    EXPECT_EQ(answered(is_unit_ssd, characteristics, {0x00, 0xB1, 0x00, 0x3C, 0x01, 0x01}), 0);
    EXPECT_EQ(answered(is_unit_ssd, characteristics, {0x00, 0xB1, 0x00, 0x3C, 0x00, 0x00}), 0);
}

TEST_F(ScsiInquiry, WithAnotherStatusThanGoodNothingIsASolidStateDisk) {
    auto& quiet = disk.host.add<QuietScsi>("/dev/sg4");
    quiet.answer(characteristics, {{0x00, 0xB1, 0x00, 0x3C, 0x00, 0x01}});
    const vokDevice device("/dev/sg4", O_RDWR);
    EXPECT_EQ(is_unit_ssd(device.descriptor()), 0);
    EXPECT_EQ(get_scsi_disk_medium_rotation_rate(device.descriptor()), 1);
}

TEST_F(ScsiInquiry, TheRotationRateHasTheMoreSignificantByteFirst) {
    EXPECT_EQ(rate({0x00, 0xB1, 0x00, 0x3C, 0x27, 0x10}), 10000);
    EXPECT_TRUE(disk.logged("DMRR Response: 00 b1 00 3c 27 10"));
    EXPECT_EQ(rate({0x00, 0xB1, 0x00, 0x3C, 0x00, 0x01}), 1);
    EXPECT_EQ(rate({0x00, 0xB1, 0x01, 0x00, 0x00, 0x01}), 1);
    EXPECT_EQ(rate({0x00, 0xB1, 0x00, 0x02, 0x00, 0x00}), 0);
}

TEST_F(ScsiInquiry, TheRateOfAnotherOrATooShortPageIsMinus1) {
    EXPECT_EQ(rate({0x00, 0xB0, 0x00, 0x3C, 0x27, 0x10}), -1);
    EXPECT_EQ(rate({0x00, 0xB1, 0x00, 0x01, 0x27, 0x10}), -1);
}

// --- standard data ---

TEST_F(ScsiInquiry, TheStandardDataAreCopiedWithANul) {
    disk.disk.answer(inquiry, {standardData()});
    FakeScsiBytes expected = standardData();
    expected.push_back(0);
    EXPECT_EQ(takenBytes(get_identify_info(disk.fd()), 37), expected);
}

TEST_F(ScsiInquiry, WhatFollowsTheAdditionalLengthIsNotCopied) {
    FakeScsiBytes bytes = padded(standardData(), 40);
    bytes[36] = 'x';
    disk.disk.answer(inquiry, {bytes});
    EXPECT_EQ(takenBytes(get_identify_info(disk.fd()), 37).back(), 0);
}

TEST_F(ScsiInquiry, ShortStandardDataHaveRoomForTheirReaders) {
    disk.disk.answer(inquiry, {{0x05, 0x00, 0x00, 0x00, 0x01}});
    EXPECT_EQ(takenBytes(get_identify_info(disk.fd()), 37), padded({0x05, 0x00, 0x00, 0x00, 0x01}, 37));
}

TEST_F(ScsiInquiry, StandardDataThatEndBeforeTheirLengthAreNotThere) {
    FakeScsiBytes bytes = standardData();
    bytes[4] = 33;
    disk.disk.answer(inquiry, {bytes});
    EXPECT_EQ(get_identify_info(disk.fd()), nullptr);
    EXPECT_TRUE(disk.logged("IOCTL for standard inquiry returned 36 bytes. (Min expected: 37)"));
}

TEST_F(ScsiInquiry, TheLongestStandardDataAreCopiedToTheirEnd) {
    FakeScsiBytes bytes(252, 'x');
    bytes[4] = 248;
    disk.disk.answer(inquiry, {bytes});
    FakeScsiBytes expected = bytes;
    expected.push_back(0);
    EXPECT_EQ(takenBytes(get_identify_info(disk.fd()), 253), expected);
    bytes[4] = 249;
    disk.disk.answer(inquiry, {bytes});
    EXPECT_EQ(get_identify_info(disk.fd()), nullptr);
}

// --- serial numbers ---

TEST_F(ScsiInquiry, TheSerialNumberInTheStandardDataHas20Characters) {
    EXPECT_EQ(textOf(get_unit_sn_from_device_inquiry, inquiry, standardData("  S0K5MYY40000K62872UR")),
              "  S0K5MYY40000K62872");
}

TEST_F(ScsiInquiry, StandardDataWithAnAdditionalLengthBelow52HaveNoSerialNumber) {
    FakeScsiBytes bytes = standardData("S0K5MYY40000K6287200");
    ASSERT_EQ(bytes[4], 52);
    EXPECT_EQ(textOf(get_unit_sn_from_device_inquiry, inquiry, bytes), "S0K5MYY40000K6287200");
    bytes[4] = 51;
    EXPECT_EQ(textOf(get_unit_sn_from_device_inquiry, inquiry, bytes), "(null)");
}

TEST_F(ScsiInquiry, StandardDataOf55BytesHaveNoSerialNumber) {
    FakeScsiBytes bytes = standardData("S0K5MYY40000K628720");
    bytes[4] = 52;
    EXPECT_EQ(textOf(get_unit_sn_from_device_inquiry, inquiry, bytes), "(null)");
    EXPECT_TRUE(disk.logged("IOCTL for standard inquiry returned 55 bytes. (Min expected: 56)"));
}

TEST_F(ScsiInquiry, WithAnotherStatusThanGoodTheStandardDataHaveNoSerialNumber) {
    auto& quiet = disk.host.add<QuietScsi>("/dev/sg4");
    quiet.answer(inquiry, {standardData("S0K5MYY40000K6287200")});
    const vokDevice device("/dev/sg4", O_RDWR);
    EXPECT_EQ(get_unit_sn_from_device_inquiry(device.descriptor()), nullptr);
}

TEST_F(ScsiInquiry, TheSerialNumberOfPage80HasNoLeadingBlanksAndKeepsThoseAtItsEnd) {
    EXPECT_EQ(textOf(get_unit_sn_from_device_vpd_pg80, serialNumberPage, serialNumber("   S0K5 MYY4 ")),
              "S0K5 MYY4 ");
}

TEST_F(ScsiInquiry, ASerialNumberOfBlanksIsAnEmptyText) {
    EXPECT_EQ(textOf(get_unit_sn_from_device_vpd_pg80, serialNumberPage, serialNumber("    ")), "");
    EXPECT_EQ(textOf(get_unit_sn_from_device_vpd_pg80, serialNumberPage, serialNumber("")), "");
}

TEST_F(ScsiInquiry, AnotherPageHasNoSerialNumber) {
    FakeScsiBytes bytes = serialNumber("S0K5");
    bytes[1] = 0x83;
    EXPECT_EQ(textOf(get_unit_sn_from_device_vpd_pg80, serialNumberPage, bytes), "(null)");
}

// Required: the length of the page is compared without its header of four bytes.
TEST_F(ScsiInquiry, APageWithAsManyBytesAsItsLengthIsEnoughAndTheRestIsNotThere) {
    FakeScsiBytes bytes = serialNumber("S0K5MYY4");
    bytes.resize(8);
    EXPECT_EQ(textOf(get_unit_sn_from_device_vpd_pg80, serialNumberPage, bytes), "S0K5");
    bytes.pop_back();
    EXPECT_EQ(textOf(get_unit_sn_from_device_vpd_pg80, serialNumberPage, bytes), "(null)");
    EXPECT_TRUE(disk.logged("IOCTL for VPD page 80 inquiry returned 7 bytes. (Min expected: 8)"));
}

TEST_F(ScsiInquiry, WhatLiesInTheBufferAfterTheReceivedBytesIsNotThere) {
    FakeScsiReply reply;
    reply.data = serialNumber("S0K5MYY4");
    reply.residual = 252 - 8;
    disk.disk.answer(serialNumberPage, reply);
    EXPECT_EQ(takenText(get_unit_sn_from_device_vpd_pg80(disk.fd())), "S0K5");
}

TEST_F(ScsiInquiry, APageThatReachesBeyondTheTransferEndsWithIt) {
    FakeScsiBytes bytes(252, 'x');
    bytes[1] = 0x80;
    bytes[2] = 0;
    bytes[3] = 252;
    EXPECT_EQ(textOf(get_unit_sn_from_device_vpd_pg80, serialNumberPage, bytes), std::string(248, 'x'));
    bytes[2] = 0xFF;
    bytes[3] = 0xFF;
    EXPECT_EQ(textOf(get_unit_sn_from_device_vpd_pg80, serialNumberPage, bytes), "(null)");
}

// --- readers of the standard data ---

TEST(ScsiInquiryData, VendorProductAndRevisionAreTheirFieldsWithoutBlanks) {
    const FakeScsiBytes bytes = standardData();
    EXPECT_EQ(takenText(inq_parse_vendor(bytes.data())), "MEV");
    EXPECT_EQ(takenText(inq_parse_prodID(bytes.data())), "MK001200JWJNQ");
    EXPECT_EQ(takenText(inq_parse_rev(bytes.data())), "D003");
}

TEST(ScsiInquiryData, BlanksAndNulsAtTheEndAndBlanksAtTheStartAreCutOff) {
    const std::string text(
        "  A B \0 "
        "  M K\0D\0\0 \0      "
        " D3\0",
        28);
    FakeScsiBytes bytes = zerosWithText(36, 8, text);
    bytes[4] = 32;
    EXPECT_EQ(takenText(inq_parse_vendor(bytes.data())), "A B");
    const vokMallocPtr<char> product(inq_parse_prodID(bytes.data()));
    EXPECT_EQ(std::string(product.get(), 5), std::string("M K\0D", 5));
    EXPECT_EQ(takenText(inq_parse_rev(bytes.data())), "D3");
}

TEST(ScsiInquiryData, FieldsOfBlanksAreEmptyTexts) {
    FakeScsiBytes bytes(36, ' ');
    bytes[4] = 32;
    EXPECT_EQ(takenText(inq_parse_vendor(bytes.data())), "");
    EXPECT_EQ(takenText(inq_parse_prodID(bytes.data())), "");
    EXPECT_EQ(takenText(inq_parse_rev(bytes.data())), "");
}

TEST(ScsiInquiryData, TheRevisionReachesToTheEndOfTheReply) {
    EXPECT_EQ(takenText(inq_parse_rev(standardData("S0K5  ").data())), "D003S0K5");
}

TEST(ScsiInquiryData, FieldsAfterTheEndOfAShortReplyAreEmptyTexts) {
    // Blocks of exactly this size, so that a sanitizer sees a read beyond it.
    FakeScsiBytes bytes = {0, 0, 0, 0, 1};
    EXPECT_EQ(takenText(inq_parse_vendor(bytes.data())), "");
    EXPECT_EQ(takenText(inq_parse_prodID(bytes.data())), "");
    EXPECT_EQ(takenText(inq_parse_rev(bytes.data())), "");
    bytes = {0, 0, 0, 0, 6, 0, 0, 0, 'M', 'E'};
    EXPECT_EQ(takenText(inq_parse_vendor(bytes.data())), "ME");
    EXPECT_EQ(takenText(inq_parse_prodID(bytes.data())), "");
}

TEST(ScsiInquiryData, TheTypeIsTheLowFiveBits) {
    const unsigned char bytes[] = {0xED};
    EXPECT_EQ(inq_parse_type(bytes), 13);
}

TEST(ScsiInquiryData, NoDataHaveNoFieldsAndType0) {
    EXPECT_EQ(inq_parse_vendor(nullptr), nullptr);
    EXPECT_EQ(inq_parse_prodID(nullptr), nullptr);
    EXPECT_EQ(inq_parse_rev(nullptr), nullptr);
    EXPECT_EQ(inq_parse_type(nullptr), 0);
}

}  // namespace
}  // namespace scsi_infoInquiryTest
