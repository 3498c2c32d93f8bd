#include "platform/access/vokScsi.h"

#include <gtest/gtest.h>
#include <algorithm>
#include <cerrno>
#include <cstring>
#include <functional>
#include <memory>
#include <vector>

#include "platform/access/vokHostAccess.h"

namespace vokScsiTest {
namespace {

// A host whose only device records the header of each request and completes it with the test's function.
class ScsiHost : public vokKernelHostAccess {
public:
    struct Seen {
        int descriptor;
        unsigned long request;
        sg_io_hdr_t header;
        std::vector<unsigned char> command;
        std::vector<unsigned char> data;  // at the time of the call
    };

    int ioctlDevice(int descriptor, unsigned long request, void* argument) override {
        auto& header = *static_cast<sg_io_hdr_t*>(argument);
        seen.push_back({descriptor, request, header, {header.cmdp, header.cmdp + header.cmd_len}, {}});
        if (header.dxferp) {
            const auto* const bytes = static_cast<const unsigned char*>(header.dxferp);
            seen.back().data.assign(bytes, bytes + header.dxfer_len);
        }
        return complete ? complete(header) : 0;
    }

    std::vector<Seen> seen;
    std::function<int(sg_io_hdr_t&)> complete;
};

class Scsi : public testing::Test {
protected:
    Scsi() {
        auto access = std::make_unique<ScsiHost>();
        host = access.get();
        vokSetHostAccess(std::move(access));
    }

    // The unit serial number page (80h), into a buffer of 252 bytes.
    vokScsiReply readSerialNumber() {
        vokScsiRequest request(vokScsiCommand({0x12, 0x01, 0x80, 0x00, 0xFC, 0x00}));
        request.data = data.data();
        request.dataSize = data.size();
        return vokSendScsi(7, request);
    }

    ScsiHost* host;
    std::vector<unsigned char> data = std::vector<unsigned char>(252, 0xAA);
};

// The reply of a SAS disk for page 80h.
constexpr unsigned char serialNumberPage[] = {0x00, 0x80, 0x00, 0x14, 0x53, 0x30, 0x4b, 0x35,
                                              0x4d, 0x59, 0x59, 0x34, 0x30, 0x30, 0x30, 0x30,
                                              0x4b, 0x36, 0x32, 0x38, 0x37, 0x32, 0x55, 0x52};

TEST_F(Scsi, OnceTheStopIsRequestedNoCommandIsSent) {
    EXPECT_FALSE(vokIsScsiRefused());
    host->requestStop();
    EXPECT_TRUE(vokIsScsiRefused());
    const vokScsiReply reply = readSerialNumber();
    EXPECT_TRUE(host->seen.empty());
    EXPECT_FALSE(reply.wasSent());
    EXPECT_FALSE(reply.isGood());
    EXPECT_EQ(reply.error, ECANCELED);
    EXPECT_EQ(reply.received, 0u);
    EXPECT_EQ(data, std::vector<unsigned char>(252, 0)) << "cleared as by any command that reads";
}

TEST_F(Scsi, ACommandDuringWhichTheStopIsRequestedKeepsItsReply) {
    host->complete = [this](sg_io_hdr_t& header) {
        host->requestStop();
        header.info = SG_INFO_OK;
        return 0;
    };
    EXPECT_TRUE(readSerialNumber().isGood());
}

TEST_F(Scsi, SendsOneRequestWithTheCommandAndTheBufferForItsReply) {
    readSerialNumber();
    ASSERT_EQ(host->seen.size(), 1u);
    const ScsiHost::Seen& seen = host->seen[0];
    EXPECT_EQ(seen.descriptor, 7);
    EXPECT_EQ(seen.request, 0x2285ul);
    EXPECT_EQ(seen.header.interface_id, 83);
    EXPECT_EQ(seen.header.dxfer_direction, -3);
    EXPECT_EQ(seen.header.mx_sb_len, 32);
    EXPECT_EQ(seen.header.iovec_count, 0);
    EXPECT_EQ(seen.header.dxfer_len, 252u);
    EXPECT_EQ(seen.header.dxferp, data.data());
    EXPECT_EQ(seen.header.timeout, 60000u);
    EXPECT_EQ(seen.header.flags, 0u);
    EXPECT_EQ(seen.header.pack_id, 0);
    EXPECT_EQ(seen.header.usr_ptr, nullptr);
    EXPECT_EQ(seen.command, (std::vector<unsigned char>{0x12, 0x01, 0x80, 0x00, 0xFC, 0x00}));
    EXPECT_EQ(seen.data, std::vector<unsigned char>(252, 0));  // cleared before the call
}

TEST_F(Scsi, TheSenseBufferIsClearAtTheCall) {
    std::vector<unsigned char> sense;
    host->complete = [&sense](sg_io_hdr_t& header) {
        sense.assign(header.sbp, header.sbp + header.mx_sb_len);
        return 0;
    };
    readSerialNumber();
    EXPECT_EQ(sense, std::vector<unsigned char>(32, 0));
}

TEST_F(Scsi, ACommandMayHaveSixteenBytesAndAnotherTimeOut) {
    vokScsiRequest request(vokScsiCommand(
        {0x85, 0x08, 0x0E, 0x00, 0x00, 0x00, 0x01, 0x00, 0x03, 0x00, 0x00, 0x00, 0x00, 0x00, 0x2F, 0x00}));
    request.data = data.data();
    request.dataSize = 200;
    request.timeoutMilliseconds = 20000;
    vokSendScsi(7, request);
    ASSERT_EQ(host->seen.size(), 1u);
    EXPECT_EQ(host->seen[0].header.cmd_len, 16);
    EXPECT_EQ(host->seen[0].command[14], 0x2F);
    EXPECT_EQ(host->seen[0].header.dxfer_len, 200u);
    EXPECT_EQ(host->seen[0].header.timeout, 20000u);
    EXPECT_EQ(data[199], 0);
    EXPECT_EQ(data[200], 0xAA);  // beyond the transfer
}

TEST_F(Scsi, DataForTheDeviceAreSentUnchanged) {
    vokScsiRequest request(vokScsiCommand({0x15, 0x10, 0x00, 0x00, 0x04, 0x00}));
    request.direction = vokScsiDirection::toDevice;
    unsigned char parameters[] = {1, 2, 3, 4};
    request.data = parameters;
    request.dataSize = sizeof(parameters);
    vokSendScsi(7, request);
    ASSERT_EQ(host->seen.size(), 1u);
    EXPECT_EQ(host->seen[0].header.dxfer_direction, -2);
    EXPECT_EQ(host->seen[0].data, (std::vector<unsigned char>{1, 2, 3, 4}));
}

TEST_F(Scsi, ACommandWithoutDataHasNoTransfer) {
    vokScsiRequest request(vokScsiCommand({0x00, 0x00, 0x00, 0x00, 0x00, 0x00}));
    request.direction = vokScsiDirection::none;
    request.data = data.data();  // not used
    request.dataSize = data.size();
    const vokScsiReply reply = vokSendScsi(7, request);
    ASSERT_EQ(host->seen.size(), 1u);
    EXPECT_EQ(host->seen[0].header.dxfer_direction, -1);
    EXPECT_EQ(host->seen[0].header.dxfer_len, 0u);
    EXPECT_EQ(host->seen[0].header.dxferp, nullptr);
    EXPECT_EQ(data[0], 0xAA);
    EXPECT_TRUE(reply.isGood());
    EXPECT_EQ(reply.received, 0u);
}

TEST_F(Scsi, WithoutABufferNothingIsTransferred) {
    vokScsiRequest request(vokScsiCommand({0x12, 0x00, 0x00, 0x00, 0xFC, 0x00}));
    request.dataSize = 252;
    EXPECT_EQ(vokSendScsi(7, request).received, 0u);
    EXPECT_EQ(host->seen[0].header.dxfer_len, 0u);
}

TEST_F(Scsi, AGoodReplyHasTheDataWithoutTheResidual) {
    host->complete = [](sg_io_hdr_t& header) {
        std::memcpy(header.dxferp, serialNumberPage, sizeof(serialNumberPage));
        header.resid = 252 - 24;
        return 0;
    };
    const vokScsiReply reply = readSerialNumber();
    EXPECT_TRUE(reply.wasSent());
    EXPECT_TRUE(reply.isGood());
    EXPECT_EQ(reply.result, 0);
    EXPECT_EQ(reply.error, 0);
    EXPECT_EQ(reply.dataSize, 252u);
    EXPECT_EQ(reply.residual, 228u);
    EXPECT_EQ(reply.received, 24u);
    EXPECT_EQ(reply.senseSize, 0u);
    EXPECT_TRUE(std::equal(std::begin(serialNumberPage), std::end(serialNumberPage), data.begin()));
    EXPECT_EQ(data[24], 0);
}

TEST_F(Scsi, AFailedRequestHasOnlyItsErrorNumber) {
    host->complete = [](sg_io_hdr_t& header) {
        header.info = 1;
        header.status = 2;
        header.sb_len_wr = 18;
        header.resid = 4;
        errno = ENODEV;
        return -1;
    };
    const vokScsiReply reply = readSerialNumber();
    EXPECT_FALSE(reply.wasSent());
    EXPECT_FALSE(reply.isGood());
    EXPECT_EQ(reply.result, -1);
    EXPECT_EQ(reply.error, ENODEV);
    EXPECT_EQ(reply.status, 0);
    EXPECT_EQ(reply.senseSize, 0u);
    EXPECT_EQ(reply.dataSize, 0u);
    EXPECT_EQ(reply.received, 0u);
}

TEST_F(Scsi, AnInterruptedRequestIsNotRepeated) {
    host->complete = [](sg_io_hdr_t&) {
        errno = EINTR;
        return -1;
    };
    EXPECT_EQ(readSerialNumber().error, EINTR);
    EXPECT_EQ(host->seen.size(), 1u);
}

TEST_F(Scsi, ACheckConditionHasItsStatusesAndSenseBytes) {
    constexpr unsigned char sense[] = {0x70, 0, 0x05, 0, 0, 0, 0, 0x0A, 0, 0, 0, 0, 0x24, 0, 0, 0, 0, 0};
    host->complete = [&sense](sg_io_hdr_t& header) {
        header.info = SG_INFO_CHECK;
        header.status = 0x02;
        header.masked_status = 0x01;
        header.host_status = 0x1234;
        header.driver_status = 0x08;
        std::memcpy(header.sbp, sense, sizeof(sense));
        header.sb_len_wr = sizeof(sense);
        header.resid = 252;
        return 0;
    };
    const vokScsiReply reply = readSerialNumber();
    EXPECT_TRUE(reply.wasSent());
    EXPECT_FALSE(reply.isGood());
    EXPECT_EQ(reply.info, 1u);
    EXPECT_EQ(reply.status, 2);
    EXPECT_EQ(reply.maskedStatus, 1);
    EXPECT_EQ(reply.hostStatus, 0x1234u);
    EXPECT_EQ(reply.driverStatus, 8u);
    EXPECT_EQ(reply.received, 0u);
    ASSERT_EQ(reply.senseSize, 18u);
    EXPECT_EQ(reply.sense[2], 5);
    EXPECT_EQ(reply.sense[12], 0x24);
    EXPECT_EQ(reply.senseText(), " 70 00 05 00 00 00 00 0a 00 00 00 00 24 00 00 00 00 00");
}

TEST_F(Scsi, OtherBitsOfTheInformationAreNotAFailure) {
    host->complete = [](sg_io_hdr_t& header) {
        header.info = SG_INFO_DIRECT_IO;
        return 0;
    };
    EXPECT_TRUE(readSerialNumber().isGood());
}

TEST_F(Scsi, SenseBytesBeyondTheBufferAreNotCounted) {
    host->complete = [](sg_io_hdr_t& header) {
        std::memset(header.sbp, 0x72, header.mx_sb_len);
        header.sb_len_wr = 255;
        return 0;
    };
    const vokScsiReply reply = readSerialNumber();
    EXPECT_EQ(reply.senseSize, 32u);
    EXPECT_EQ(reply.sense[31], 0x72);
}

TEST_F(Scsi, ANegativeResidualCountsAsZero) {
    host->complete = [](sg_io_hdr_t& header) {
        header.resid = -8;
        return 0;
    };
    const vokScsiReply reply = readSerialNumber();
    EXPECT_EQ(reply.residual, 0u);
    EXPECT_EQ(reply.received, 252u);
}

TEST_F(Scsi, AResidualAboveTheLengthIsClampedToIt) {
    host->complete = [](sg_io_hdr_t& header) {
        header.resid = 253;
        return 0;
    };
    const vokScsiReply reply = readSerialNumber();
    EXPECT_EQ(reply.residual, 252u);
    EXPECT_EQ(reply.received, 0u);
}

TEST_F(Scsi, LengthsThatTheDriverChangedAreIgnored) {
    host->complete = [](sg_io_hdr_t& header) {
        header.dxfer_len = 0xFFFFFFFF;
        header.mx_sb_len = 255;
        header.sbp = nullptr;
        header.sb_len_wr = 255;
        header.resid = 0;
        return 0;
    };
    const vokScsiReply reply = readSerialNumber();
    EXPECT_EQ(reply.dataSize, 252u);
    EXPECT_EQ(reply.received, 252u);
    EXPECT_EQ(reply.senseSize, 32u);
}

TEST(ScsiCompletion, OfACallersHeaderIsClampedToItsSenseBuffer) {
    unsigned char sense[8] = {0x72, 0x0B, 0, 0, 0, 0, 0, 0};
    sg_io_hdr_t header{};
    header.sbp = sense;
    header.mx_sb_len = sizeof(sense);
    header.sb_len_wr = 32;
    header.dxfer_len = 16;
    header.resid = 4;
    const vokScsiReply reply = vokReadScsiCompletion(header);
    EXPECT_EQ(reply.senseSize, 8u);
    EXPECT_EQ(reply.senseText(), " 72 0b 00 00 00 00 00 00");
    EXPECT_EQ(reply.received, 12u);
}

TEST(ScsiCompletion, WithoutASenseBufferThereAreNoSenseBytes) {
    sg_io_hdr_t header{};
    header.mx_sb_len = 32;
    header.sb_len_wr = 18;
    const vokScsiReply reply = vokReadScsiCompletion(header);
    EXPECT_EQ(reply.senseSize, 0u);
    EXPECT_EQ(reply.senseText(), "");
}

}  // namespace
}  // namespace vokScsiTest
