#include <gtest/gtest.h>
#include <algorithm>

#include "storage/scsi/ScsiDisk.h"
#include "storage/scsi/scsi_info.h"

namespace scsi_infoCompletionTest {
namespace {

class ScsiCompletion : public testing::Test {
protected:
    ScsiCompletion() {
        logEverything(host);
        header.interface_id = 'S';
        header.mx_sb_len = sizeof(sense);
        header.sbp = sense;
        header.dxfer_len = 252;
        header.resid = 52;
    }

    void giveSense(const FakeScsiBytes& bytes) {
        std::copy(bytes.begin(), bytes.end(), sense);
        header.sb_len_wr = static_cast<unsigned char>(bytes.size());
    }

    // The result of a command that ended with CHECK CONDITION and this sense data.
    int codeWith(const FakeScsiBytes& bytes) {
        giveSense(bytes);
        header.info = 1;
        header.status = 2;
        return process();
    }

    int process() { return process_scsi_completion(&header, &received, "asked"); }

    FakeHost host;
    sg_io_hdr_t header{};
    unsigned char sense[32] = {};
    std::size_t received = 77;
};

TEST_F(ScsiCompletion, WithBit0OfTheInfoClearIsGoodWhateverTheSenseBufferHolds) {
    giveSense({0x70, 0, 5, 0, 0, 0, 0, 10, 0, 0, 0, 0, 0x24, 0, 0, 0, 0, 0});
    header.status = 2;
    header.driver_status = 8;
    EXPECT_EQ(process(), 0);
    EXPECT_EQ(received, 200u);
    EXPECT_TRUE(loggedLines(host).empty());
}

TEST_F(ScsiCompletion, OtherBitsOfTheInfoAreNoFailure) {
    header.info = 6;
    EXPECT_EQ(process(), 0);
    EXPECT_EQ(received, 200u);
}

TEST_F(ScsiCompletion, WithoutSenseFlagsIsMinus3AndCountsWhatWasTransferred) {
    giveSense({0x70, 0, 5, 0, 0, 0, 0, 0});
    header.info = 1;
    header.status = 8;  // BUSY
    header.host_status = 3;
    header.driver_status = 6;
    EXPECT_EQ(process(), -3);
    EXPECT_EQ(received, 200u);
}

TEST_F(ScsiCompletion, TheSenseKeyCountsWithCheckConditionAlone) {
    EXPECT_EQ(codeWith({0x70, 0, 5}), -7);
    EXPECT_EQ(received, 0u);
}

TEST_F(ScsiCompletion, TheSenseKeyCountsWithDriverSenseAlone) {
    giveSense({0x70, 0, 11});
    header.info = 1;
    header.driver_status = 8;
    EXPECT_EQ(process(), -9);
    EXPECT_EQ(received, 0u);
}

TEST_F(ScsiCompletion, OtherSenseKeysAreMinus3AndCountWhatWasTransferred) {
    for (const unsigned char key : FakeScsiBytes{0, 1, 2, 3, 4, 6, 7, 8, 9, 10, 12, 13, 14, 15}) {
        EXPECT_EQ(codeWith({0x70, 0, key}), -3);
        EXPECT_EQ(received, 200u);
    }
}

TEST_F(ScsiCompletion, TheSenseKeyIsTheLowFourBits) {
    EXPECT_EQ(codeWith({0x70, 0, 0xE5}), -7);
    EXPECT_EQ(codeWith({0x72, 0xFB}), -9);
}

TEST_F(ScsiCompletion, DescriptorFormatOfTwoBytesIsEnough) {
    EXPECT_EQ(codeWith({0x72, 0x05}), -7);
    EXPECT_EQ(codeWith({0x72, 0x0B}), -9);
    EXPECT_EQ(codeWith({0x72}), -3);
}

TEST_F(ScsiCompletion, FixedFormatOfTwoBytesHasNoKey) {
    EXPECT_EQ(codeWith({0x70, 0x05}), -3);
    EXPECT_EQ(codeWith({0x70, 0x05, 0x05}), -7);
}

// Required: a set VALID bit and a deferred error are other first bytes.
TEST_F(ScsiCompletion, OtherFirstBytesHaveNoKey) {
    for (const unsigned char first : FakeScsiBytes{0xF0, 0xF2, 0x71, 0x73, 0x00, 0x7F})
        EXPECT_EQ(codeWith({first, 5, 5, 0, 0, 0, 0, 0}), -3) << static_cast<int>(first);
}

TEST_F(ScsiCompletion, WithoutSenseBytesIsMinus3) {
    sense[0] = 0x72;  // left over
    sense[1] = 0x05;
    EXPECT_EQ(codeWith({}), -3);
    EXPECT_EQ(received, 200u);
}

TEST_F(ScsiCompletion, IsLoggedWithEachStatusAndTheSenseBytes) {
    giveSense({0x72, 0x0B, 0x47, 0x03});
    header.info = 0x5;
    header.status = 0x12;
    header.masked_status = 0x09;
    header.host_status = 0x0A;
    header.driver_status = 0x28;
    EXPECT_EQ(process(), -9);
    EXPECT_EQ(loggedLines(host),
              (std::vector<std::string>{
                  "DEBUG SCSI_INFO: asked: sgiob: info=[0x5]; masked_status=[0x9]; host_status=[0xa]; "
                  "driver_status=[0x28]; status=[0x12]; sb_len_wr=[4]; dxfer_len=[252]; resid=[52]"
                  "\n    Sense data: 72 0b 47 03"}));
}

TEST_F(ScsiCompletion, WithoutSenseBytesTheLineEndsWithTheResidual) {
    header.info = 1;
    header.host_status = 1;
    EXPECT_EQ(process(), -3);
    EXPECT_EQ(loggedLines(host),
              (std::vector<std::string>{
                  "DEBUG SCSI_INFO: asked: sgiob: info=[0x1]; masked_status=[0x0]; host_status=[0x1]; "
                  "driver_status=[0x0]; status=[0x0]; sb_len_wr=[0]; dxfer_len=[252]; resid=[52]"}));
}

TEST_F(ScsiCompletion, AnImpossibleResidualIsClamped) {
    header.resid = 300;
    EXPECT_EQ(process(), 0);
    EXPECT_EQ(received, 0u);
    header.resid = -5;
    EXPECT_EQ(process(), 0);
    EXPECT_EQ(received, 252u);
}

TEST(ScsiProtocolIdentifiers, AreTheSixteenNames) {
    const std::vector<std::string> expected = {"Fibre Channel",
                                               "Parallel SCSI",
                                               "SSA",
                                               "IEEE 1394",
                                               "SCSI RDMA Protocol",
                                               "iSCSI",
                                               "SAS",
                                               "ADT",
                                               "ATA",
                                               "UAS",
                                               "SOP",
                                               "0xb",
                                               "0xc",
                                               "0xd",
                                               "0xe",
                                               "0xf"};
    EXPECT_EQ(std::vector<std::string>(SCSI_Protocol_Identifiers, SCSI_Protocol_Identifiers + 16), expected);
}

}  // namespace
}  // namespace scsi_infoCompletionTest
