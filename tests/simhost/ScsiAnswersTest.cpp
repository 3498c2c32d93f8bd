// What a described disk answers at the SCSI level. The expected bytes are those of SPC-5, SBC-4 and SAT-4.
#include "modules/storage/ScsiAnswers.h"

#include <gtest/gtest.h>

#include "common/Hexadecimal.h"
#include "simhost/DescribedDisk.h"

namespace ScsiAnswersTest {
namespace {

using namespace simhost;

const char sasDisk[] = R"("vendor":"MEV","model":"Disk 4000","serial":"Z1X2C3V4","revision":"A01B",
    "capacityBytes":4000787030016,"temperature":34,"maxTemperature":60,"powerOnHours":1000,"defects":3)";
const char sasSolid[] = R"("media":"SSD","serial":"SAS0SSD1","wear":7)";
const char sataDisk[] = R"("transport":"SATA","model":"A model with more than sixteen","serial":"W1234567",
    "revision":"AB01CD02")";

std::string hex(const std::string& digits) {
    return *parseHexadecimalBytes(digits);
}

struct Row {
    const char* rule;
    const char* disk;
    const char* command;
    unsigned room;
    const char* data;
};

class Answer : public testing::TestWithParam<Row> {};

TEST_P(Answer, HasTheseBytesAndTheRestAsResidual) {
    const ScsiReply reply = ask(describedDisk(GetParam().disk), hex(GetParam().command), GetParam().room);
    EXPECT_EQ(reply.status, 0);
    EXPECT_EQ(reply.sense, "");
    EXPECT_EQ(reply.data, hex(GetParam().data));
    EXPECT_EQ(reply.residual, static_cast<std::int32_t>(GetParam().room - reply.data.size()));
}

INSTANTIATE_TEST_SUITE_P(
    Table, Answer,
    testing::Values(
        Row{"ready", sasDisk, "00 00 00 00 00 00", 8, ""},
        Row{"an inquiry of six bytes", sasDisk, "12 00 00 00 06 00", 64, "00 00 06 12 5b 00"},
        Row{"the list of vital pages", sasDisk, "12 01 00 00 fc 00", 252, "00 00 00 04 00 80 83 b1"},
        Row{"the list, cut by the allocation length", sasDisk, "12 01 00 00 05 00", 252, "00 00 00 04 00"},
        Row{"the list, cut by the transfer", sasDisk, "12 01 00 00 fc 00", 6, "00 00 00 04 00 80"},
        Row{"the serial number of a SAS disk is right-aligned", sasDisk, "12 01 80 00 fc 00", 252,
            "00 80 00 14 20 20 20 20 20 20 20 20 20 20 20 20 5a 31 58 32 43 33 56 34"},
        Row{"the serial number of a SATA disk is that of its words", sataDisk, "12 01 80 00 fc 00", 252,
            "00 80 00 14 57 31 32 33 34 35 36 37 20 20 20 20 20 20 20 20 20 20 20 20"},
        Row{"a disk that rotates", sasDisk, "12 01 b1 00 08 00", 252, "00 b1 00 3c 27 10 00 02"},
        Row{"a disk that does not", sasSolid, "12 01 b1 00 08 00", 252, "00 b1 00 3c 00 01 00 03"},
        Row{"the port page", sasDisk, "1a 08 19 00 ff 00", 255, "0b 00 10 00 19 06 06 00 07 d0 07 d0"},
        Row{"the port page after a block descriptor", sasDisk, "1a 00 19 00 ff 00", 255,
            "13 00 10 08 ff ff ff ff 00 00 02 00 19 06 06 00 07 d0 07 d0"},
        Row{"exceptions control", sasDisk, "1a 08 1c 00 ff 00", 252,
            "0f 00 10 00 1c 0a 10 06 00 00 00 00 00 00 00 00"},
        Row{"what can be changed of it", sasDisk, "1a 08 5c 00 ff 00", 252,
            "0f 00 10 00 1c 0a 00 00 00 00 00 00 00 00 00 00"},
        Row{"the long form of mode data", sasSolid, "5a 08 19 00 00 00 00 10 00 00", 4096,
            "00 0e 00 10 00 00 00 00 19 06 06 00 07 d0 07 d0"},
        Row{"all mode pages", sasSolid, "5a 08 3f 00 00 00 00 10 00 00", 4096,
            "00 1a 00 10 00 00 00 00 19 06 06 00 07 d0 07 d0 1c 0a 10 06 00 00 00 00 00 00 00 00"},
        Row{"the list of log pages of a rotating disk", sasDisk, "4d 00 40 00 00 00 00 00 ff 00", 255,
            "00 00 00 04 00 0d 15 2f"},
        Row{"the list of log pages of a solid-state disk", sasSolid, "4d 00 40 00 00 00 00 00 ff 00", 255,
            "00 00 00 05 00 0d 11 15 2f"},
        Row{"the temperature", sasDisk, "4d 00 4d 00 00 00 00 00 10 00", 16,
            "0d 00 00 0c 00 00 03 02 00 22 00 01 03 02 00 3c"},
        Row{"the temperature from a parameter on", sasDisk, "4d 00 4d 00 00 00 01 00 10 00", 16,
            "0d 00 00 06 00 01 03 02 00 3c"},
        Row{"a temperature page of one parameter", R"("temperature":29,"maxTemperature":0)",
            "4d 00 4d 00 00 00 00 00 10 00", 16, "0d 00 00 06 00 00 03 02 00 1d"},
        Row{"the wear", sasSolid, "4d 00 51 00 00 00 00 00 10 00", 16, "11 00 00 08 00 01 03 04 00 00 00 07"},
        Row{"the time with power, in minutes", sasDisk, "4d 00 55 00 00 00 00 00 20 00", 32,
            "15 00 00 10 00 00 03 0c 00 00 ea 60 00 00 00 00 00 00 00 00"},
        Row{"exceptions of a healthy disk", sasDisk, "4d 00 6f 00 00 00 00 00 62 00", 98,
            "2f 00 00 08 00 00 03 04 00 00 22 00"},
        Row{"exceptions of a failing disk", R"("asc":93,"ascq":16)", "4d 00 6f 00 00 00 00 00 0a 00", 98,
            "2f 00 00 08 00 00 03 04 5d 10"},
        Row{"a capacity beyond 32 bits", sasDisk, "25 00 00 00 00 00 00 00 00 00", 4096,
            "ff ff ff ff 00 00 02 00"},
        Row{"a capacity within 32 bits", R"("capacityBytes":1048576)", "25 00 00 00 00 00 00 00 00 00", 8,
            "00 00 07 ff 00 00 02 00"},
        Row{"the long capacity", sasDisk, "9e 10 00 00 00 00 00 00 00 00 00 00 00 20 00 00", 32,
            "00 00 00 01 d1 c0 be af 00 00 02 00 00 03 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 "
            "00"},
        Row{"the long capacity, cut", sasDisk, "9e 10 00 00 00 00 00 00 00 00 00 00 00 08 00 00", 32,
            "00 00 00 01 d1 c0 be af"},
        Row{"grown defects by block", sasDisk, "37 00 08 00 00 00 00 10 00 00", 4096,
            "00 08 00 0c 00 00 10 00 00 00 20 00 00 00 30 00"},
        Row{"the count of grown defects by sector", sasDisk, "37 00 0d 00 00 00 00 00 04 00", 4096,
            "00 0d 00 18"},
        Row{"no primary defects", sasDisk, "37 00 10 00 00 00 00 10 00 00", 4096, "00 10 00 00"},
        Row{"the long form of defects", sasDisk, "b7 08 00 00 00 00 00 00 00 08 00 00", 4096,
            "00 08 00 00 00 00 00 0c"}),
    [](const auto& row) {
        std::string name(row.param.rule);
        for (char& each : name)
            if (!std::isalnum(static_cast<unsigned char>(each))) each = '_';
        return name;
    });

TEST(ScsiAnswers, StandardInquiryHoldsTheTextsOfTheDisk) {
    const ScsiReply reply = ask(describedDisk(sasDisk), hex("12 00 00 00 fc 00"), 252);
    ASSERT_EQ(reply.data.size(), 96u);
    EXPECT_EQ(reply.residual, 156);
    EXPECT_EQ(reply.data.substr(8, 28), "MEV     Disk 4000       A01B");
    EXPECT_EQ(reply.data.substr(36, 20), "Z1X2C3V4" + std::string(12, '\0'));
}

TEST(ScsiAnswers, StandardInquiryOfASataDiskIsTranslated) {
    const ScsiReply reply = ask(describedDisk(sataDisk), hex("12 00 00 00 fc 00"), 252);
    EXPECT_EQ(reply.data.substr(8, 28), "ATA     A model with morCD02") << "the last half of the revision";
    EXPECT_EQ(reply.data.substr(36, 20), std::string(20, '\0'));
}

TEST(ScsiAnswers, TheInquirySerialNumberMayDiffer) {
    const Disk disk = describedDisk(R"("serial":"LONG0123456789","inquirySerial":"LONG0123")");
    EXPECT_EQ(ask(disk, hex("12 00 00 00 fc 00"), 252).data.substr(36, 14),
              "LONG0123" + std::string(6, '\0'));
    EXPECT_EQ(ask(disk, hex("12 01 80 00 fc 00"), 252).data.substr(4), "      LONG0123456789");
}

TEST(ScsiAnswers, TheFirstDesignatorOfASasDiskIsItsName) {
    const Disk disk = describedDisk(sasDisk);
    const std::string page = ask(disk, hex("12 01 83 00 fc 00"), 252).data;
    ASSERT_EQ(page.size(), 4u + 12 + 12 + 8);
    EXPECT_EQ(page.substr(0, 8), hex("00 83 00 20 01 03 00 08"));
    EXPECT_EQ(page.substr(8, 4), hex("50 00 c5 00"));
    EXPECT_EQ(page.substr(16, 4), hex("61 93 00 08")) << "its port";
    EXPECT_EQ(page.substr(28), hex("61 94 00 04 00 00 00 01"));
}

TEST(ScsiAnswers, TheDesignatorsOfASataDiskAreTranslated) {
    const std::string page = ask(describedDisk(sataDisk), hex("12 01 83 00 fc 00"), 252).data;
    EXPECT_EQ(page.substr(0, 8), hex("00 83 00 6c 02 00 00 14"));
    EXPECT_EQ(page.substr(8, 20), "W1234567            ");
    EXPECT_EQ(page.substr(28, 4), hex("02 01 00 44"));
    EXPECT_EQ(page.substr(32, 48), "ATA     A model with more than sixteen          ");
    EXPECT_EQ(page.substr(100, 4), hex("01 03 00 08"));
    EXPECT_EQ(page.size(), 112u);
}

TEST(ScsiAnswers, TheRotationRateIsInTheGeometryOfARotatingSasDisk) {
    const std::string data = ask(describedDisk(sasDisk), hex("5a 00 04 00 00 00 00 10 00 00"), 4096).data;
    ASSERT_EQ(data.size(), 8u + 8 + 24);
    EXPECT_EQ(data.substr(0, 8), hex("00 26 00 10 00 00 00 08"));
    EXPECT_EQ(data.substr(16, 2), hex("04 16"));
    EXPECT_EQ(data.substr(36, 2), hex("27 10"));
}

struct Refusal {
    const char* rule;
    const char* disk;
    const char* command;
    unsigned code;
};

class Refused : public testing::TestWithParam<Refusal> {};

TEST_P(Refused, WithIllegalRequestAndNoData) {
    const ScsiReply reply = ask(describedDisk(GetParam().disk), hex(GetParam().command), 64);
    EXPECT_EQ(reply.status, 2);
    EXPECT_EQ(reply.driverStatus, 8);
    EXPECT_EQ(reply.residual, 64);
    EXPECT_EQ(reply.data, "");
    std::string sense = hex("70 00 05 00 00 00 00 0a 00 00 00 00 00 00 00 00 00 00");
    sense[12] = static_cast<char>(GetParam().code);
    EXPECT_EQ(reply.sense, sense);
}

INSTANTIATE_TEST_SUITE_P(
    Table, Refused,
    testing::Values(
        Refusal{"AnUnknownCommand", sasDisk, "c0 00 00 00 00 00", 0x20},
        Refusal{"ATruncatedCommand", sasDisk, "25 00 00 00 00 00", 0x20},
        Refusal{"APassThroughToASasDisk", sasDisk, "85 08 0e 00 00 00 01 00 00 00 00 00 00 00 ec 00", 0x20},
        Refusal{"DefectsOfASataDisk", sataDisk, "37 00 08 00 00 00 00 10 00 00", 0x20},
        Refusal{"APageCodeWithoutAPage", sasDisk, "12 00 80 00 fc 00", 0x24},
        Refusal{"AnUnknownVitalPage", sasDisk, "12 01 c0 00 fc 00", 0x24},
        Refusal{"AnUnknownModePage", sasDisk, "1a 08 02 00 ff 00", 0x24},
        Refusal{"AModeSubpage", sasDisk, "1a 08 19 01 ff 00", 0x24},
        Refusal{"SavedModePages", sasDisk, "1a 08 d9 00 ff 00", 0x39},
        Refusal{"ThePortPageOfASataDisk", sataDisk, "1a 08 19 00 ff 00", 0x24},
        Refusal{"TheGeometryOfASolidStateDisk", sasSolid, "5a 00 04 00 00 00 00 10 00 00", 0x24},
        Refusal{"AnUnknownLogPage", sasDisk, "4d 00 71 00 00 00 00 00 10 00", 0x24},
        Refusal{"TheWearOfARotatingDisk", sasDisk, "4d 00 51 00 00 00 00 00 10 00", 0x24},
        Refusal{"SavingParameters", sasDisk, "4d 01 4d 00 00 00 00 00 10 00", 0x24},
        Refusal{"ParametersBeyondTheLast", sasDisk, "4d 00 4d 00 00 00 02 00 10 00", 0x24},
        Refusal{"AnotherServiceAction", sasDisk, "9e 11 00 00 00 00 00 00 00 00 00 00 00 20 00 00", 0x24},
        Refusal{"AnotherFormOfDefects", sasDisk, "37 00 0e 00 00 00 00 10 00 00", 0x24},
        Refusal{"AVitalPageTakenAway", R"("unsupported":["vpd:b1"])", "12 01 b1 00 fc 00", 0x24},
        Refusal{"AModePageTakenAway", R"("unsupported":["mode:1C"])", "1a 08 1c 00 ff 00", 0x24},
        Refusal{"ALogPageTakenAway", R"("unsupported":["log:d"])", "4d 00 4d 00 00 00 00 00 10 00", 0x24}),
    [](const auto& row) { return row.param.rule; });

TEST(ScsiAnswers, APageTakenAwayIsNotListed) {
    const Disk disk = describedDisk(R"("unsupported":["log:0d","vpd:83"])");
    EXPECT_EQ(ask(disk, hex("4d 00 40 00 00 00 00 00 ff 00"), 255).data, hex("00 00 00 03 00 15 2f"));
    EXPECT_EQ(ask(disk, hex("12 01 00 00 fc 00"), 255).data, hex("00 00 00 03 00 80 b1"));
}

TEST(ScsiAnswers, SenseDataHasTheFormOfTheDisk) {
    const std::string command = hex("12 01 c0 00 fc 00");
    EXPECT_EQ(ask(describedDisk(R"("sense":"descriptor")"), command, 64).sense,
              hex("72 05 24 00 00 00 00 00"));
    const std::string valid = ask(describedDisk(R"("sense":"fixed-valid")"), command, 64).sense;
    EXPECT_EQ(valid, hex("f0 00 05 00 00 00 00 0a 00 00 00 00 24 00 00 00 00 00"));
}

}  // namespace
}  // namespace ScsiAnswersTest
