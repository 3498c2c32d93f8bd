// Requests to devices: from the agent's structures to fields, and back.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/ipmi.h>
#include <scsi/sg.h>
#include <sys/ioctl.h>
#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>

#include "recording/FormsDevices.h"

namespace FormsDevicesTest {
namespace {

using recording::Fields;
using recording::IpmiExchange;

constexpr unsigned long csmiRequest = 0xCC770002;
constexpr unsigned long sizedRequest = _IOWR('x', 7, char[8]);

// An INQUIRY for 16 bytes.
struct Inquiry {
    unsigned char command[6] = {0x12, 0x01, 0x80, 0x00, 0x10, 0x00};
    unsigned char data[16] = {};
    unsigned char sense[8] = {};
    sg_io_hdr_t header{};

    Inquiry() {
        header.interface_id = 'S';
        header.dxfer_direction = SG_DXFER_FROM_DEV;
        header.cmd_len = sizeof(command);
        header.cmdp = command;
        header.dxfer_len = sizeof(data);
        header.dxferp = data;
        header.mx_sb_len = sizeof(sense);
        header.sbp = sense;
    }
};

TEST(FormsDevices, OpenHasTheFlagsThatAreTheSameOnBothAbis) {
    EXPECT_EQ(recording::openQuestion("/dev/sg0", O_RDWR | O_NONBLOCK | O_CLOEXEC | O_LARGEFILE),
              (Fields{{"device", "/dev/sg0"}, {"flags", "2"}}));
    EXPECT_EQ(recording::openQuestion("/dev/sg0", O_RDONLY | O_SYNC),
              (Fields{{"device", "/dev/sg0"}, {"flags", "1052672"}}));
    EXPECT_EQ(recording::openAnswer(ENXIO), (Fields{{"error", "6"}}));
    EXPECT_EQ(recording::openAnswer(0, "bytes"), (Fields{{"error", "0"}, {"content", "bytes"}}));
}

TEST(FormsDevices, AScsiQuestionHasTheCommandAndTheLength) {
    const Inquiry inquiry;
    EXPECT_EQ(recording::requestQuestion("/dev/sg3", SG_IO, &inquiry.header),
              (Fields{{"device", "/dev/sg3"},
                      {"command", std::string("\x12\x01\x80\x00\x10\x00", 6)},
                      {"direction", "from-device"},
                      {"length", "16"}}));
}

TEST(FormsDevices, AScsiQuestionToTheDeviceHasItsData) {
    Inquiry inquiry;
    inquiry.header.dxfer_direction = SG_DXFER_TO_DEV;
    inquiry.header.dxfer_len = 3;
    std::memcpy(inquiry.data, "abc", 3);
    const Fields question = recording::requestQuestion("/dev/sg3", SG_IO, &inquiry.header);
    EXPECT_EQ(question.at("direction"), "to-device");
    EXPECT_EQ(question.at("data"), "abc");
}

TEST(FormsDevices, AScsiAnswerComesBackInTheAgentsBuffers) {
    Inquiry asked;
    const auto room = recording::roomOfRequest(SG_IO, &asked.header);
    std::memcpy(asked.data, "\x00\x80\x00\x04WXYZ", 8);
    asked.header.resid = 6;  // ten bytes were transferred, the last two of them zeros
    asked.header.status = 2;
    asked.header.masked_status = 1;
    asked.header.host_status = 7;
    asked.header.driver_status = 8;
    asked.header.info = SG_INFO_CHECK;
    asked.header.duration = 12;
    asked.header.sb_len_wr = 3;
    std::memcpy(asked.sense, "\x70\x00\x05", 3);
    const Fields answer = recording::requestAnswer(SG_IO, room, &asked.header, 0, 0);
    EXPECT_EQ(answer.at("data"), std::string("\x00\x80\x00\x04WXYZ\x00\x00", 10));
    EXPECT_EQ(answer.at("sense"), std::string("\x70\x00\x05", 3));
    EXPECT_EQ(answer.at("residual"), "6");

    Inquiry played;
    EXPECT_EQ(recording::playRequestAnswer(SG_IO, answer, &played.header), 0);
    EXPECT_TRUE(std::equal(std::begin(played.data), std::end(played.data), std::begin(asked.data)));
    EXPECT_TRUE(std::equal(std::begin(played.sense), std::end(played.sense), std::begin(asked.sense)));
    EXPECT_EQ(played.header.resid, 6);
    EXPECT_EQ(played.header.status, 2);
    EXPECT_EQ(played.header.masked_status, 1);
    EXPECT_EQ(played.header.host_status, 7);
    EXPECT_EQ(played.header.driver_status, 8);
    EXPECT_EQ(played.header.info, static_cast<unsigned>(SG_INFO_CHECK));
    EXPECT_EQ(played.header.duration, 12u);
    EXPECT_EQ(played.header.sb_len_wr, 3);
}

TEST(FormsDevices, AFailedRequestHasItsErrnoAlone) {
    Inquiry inquiry;
    const Fields answer = recording::requestAnswer(SG_IO, recording::roomOfRequest(SG_IO, &inquiry.header),
                                                   &inquiry.header, -1, EIO);
    EXPECT_EQ(answer, (Fields{{"result", "-1"}, {"error", "5"}}));
    errno = 0;
    EXPECT_EQ(recording::playRequestAnswer(SG_IO, answer, &inquiry.header), -1);
    EXPECT_EQ(errno, EIO);
}

TEST(FormsDevices, ABufferThatIsShorterThanTheAnswerIsNotOverrun) {
    Inquiry inquiry;
    inquiry.header.dxfer_len = 4;
    inquiry.header.mx_sb_len = 2;
    const Fields answer = {{"result", "0"}, {"data", std::string(64, 'd')}, {"sense", std::string(64, 's')}};
    EXPECT_EQ(recording::playRequestAnswer(SG_IO, answer, &inquiry.header), 0);
    EXPECT_EQ(std::string(reinterpret_cast<char*>(inquiry.data), 5), std::string("dddd\0", 5));
    EXPECT_EQ(std::string(reinterpret_cast<char*>(inquiry.sense), 3), std::string("ss\0", 3));
    EXPECT_EQ(inquiry.header.sb_len_wr, 2);
}

TEST(FormsDevices, ADriverThatReportsMoreSenseThanItHadRoomForIsNotBelieved) {
    Inquiry inquiry;
    const auto room = recording::roomOfRequest(SG_IO, &inquiry.header);
    inquiry.header.sb_len_wr = 200;
    inquiry.header.dxfer_len = 1 << 30;
    const Fields answer = recording::requestAnswer(SG_IO, room, &inquiry.header, 0, 0);
    EXPECT_EQ(answer.at("sense").size(), 8u);
    EXPECT_EQ(answer.at("data").size(), 16u);
}

// Header with a payload of 24 bytes.
std::array<unsigned char, 64> csmiBlock() {
    std::array<unsigned char, 64> block{};
    block[4] = 24;
    block[20] = 'q';
    return block;
}

TEST(FormsDevices, ACsmiBlockIsAsLongAsItsHeaderSaysAndReturnsWithItsZeros) {
    auto asked = csmiBlock();
    const Fields question = recording::requestQuestion("/dev/sg0", csmiRequest, asked.data());
    EXPECT_EQ(question.at("request"), "3430350850");
    EXPECT_EQ(question.at("block").size(), 21u) << "without the zeros at its end";
    const auto room = recording::roomOfRequest(csmiRequest, asked.data());
    asked[4] = 255;  // the driver's; the block is no longer for that
    asked[20] = 0;
    asked[43] = 'r';
    asked[44] = 'x';  // after the payload
    const Fields answer = recording::requestAnswer(csmiRequest, room, asked.data(), 0, 0);
    EXPECT_EQ(answer.at("block").size(), 44u);

    auto played = csmiBlock();
    EXPECT_EQ(recording::playRequestAnswer(csmiRequest, answer, played.data()), 0);
    asked[44] = 0;
    EXPECT_EQ(played, asked);

    played = csmiBlock();
    played[44] = 'x';  // after the payload
    EXPECT_EQ(recording::playRequestAnswer(csmiRequest, {{"block", "short"}}, played.data()), 0);
    std::array<unsigned char, 64> expected{'s', 'h', 'o', 'r', 't'};
    expected[44] = 'x';
    EXPECT_EQ(played, expected);
}

TEST(FormsDevices, ARequestWithASizeHasItsBlockInBothDirections) {
    char block[9] = "question";
    const Fields question = recording::requestQuestion("/dev/x", sizedRequest, block);
    EXPECT_EQ(question.at("block"), "question");
    const auto room = recording::roomOfRequest(sizedRequest, block);
    std::memcpy(block, "answered", 8);
    const Fields answer = recording::requestAnswer(sizedRequest, room, block, 3, 0);
    EXPECT_EQ(answer, (Fields{{"result", "3"}, {"error", "0"}, {"block", "answered"}}));
    char played[9] = "question";
    EXPECT_EQ(recording::playRequestAnswer(sizedRequest, answer, played), 3);
    EXPECT_STREQ(played, "answered");
}

TEST(FormsDevices, AnUnknownRequestHasItsResultAlone) {
    EXPECT_EQ(recording::formOfRequest(0x1234), recording::RequestForm::unknown);
    EXPECT_EQ(recording::requestQuestion("/dev/x", 0x1234, nullptr),
              (Fields{{"device", "/dev/x"}, {"request", "4660"}}));
    EXPECT_EQ(recording::playRequestAnswer(0x1234, {{"result", "7"}}, nullptr), 7);
}

TEST(FormsDevices, ARequestWithoutAnArgumentIsEfaultWhenItNeedsOne) {
    errno = 0;
    EXPECT_EQ(recording::playRequestAnswer(SG_IO, {{"result", "0"}}, nullptr), -1);
    EXPECT_EQ(errno, EFAULT);
}

TEST(FormsDevices, AnIpmiQuestionHasTheMessage) {
    ipmi_system_interface_addr address{};
    address.lun = 2;
    unsigned char data[] = {0xAA, 0x00};
    ipmi_req request{};
    request.addr = reinterpret_cast<unsigned char*>(&address);
    request.addr_len = sizeof(address);
    request.msgid = 77;  // a number of the agent's own, so it is not part of the question
    request.msg.netfn = 0x34;
    request.msg.cmd = 0x08;
    request.msg.data = data;
    request.msg.data_len = 2;
    EXPECT_EQ(recording::ipmiQuestion("/dev/ipmi0", request), (Fields{{"device", "/dev/ipmi0"},
                                                                      {"function", "52"},
                                                                      {"command", "8"},
                                                                      {"lun", "2"},
                                                                      {"data", std::string("\xAA\x00", 2)}}));
}

struct Receipt {
    unsigned char address[40] = {};
    unsigned char data[16] = {};
    ipmi_recv receive{};

    Receipt() {
        receive.addr = address;
        receive.addr_len = sizeof(address);
        receive.msg.data = data;
        receive.msg.data_len = sizeof(data);
    }
};

TEST(FormsDevices, AnIpmiAnswerComesBackAsTheDriverGivesIt) {
    Receipt received;
    received.receive.recv_type = IPMI_RESPONSE_RECV_TYPE;
    received.receive.msg.netfn = 0x35;
    received.receive.msg.cmd = 8;
    std::memcpy(received.data, "\x00\x01\x02", 3);
    received.receive.msg.data_len = 3;
    IpmiExchange exchange;
    exchange.wait = 1;
    recording::noteReceipt(received.receive, 0, exchange);
    const Fields answer = recording::ipmiAnswer(exchange);
    EXPECT_EQ(answer, (Fields{{"sent", "0"},
                              {"wait", "1"},
                              {"wait-error", "0"},
                              {"received", "0"},
                              {"type", "1"},
                              {"function", "53"},
                              {"command", "8"},
                              {"lun", "0"},
                              {"data", std::string("\x00\x01\x02", 3)}}));

    const IpmiExchange back = recording::ipmiExchange(answer);
    EXPECT_EQ(back.wait, 1);
    Receipt played;
    EXPECT_EQ(recording::playReceipt(IPMICTL_RECEIVE_MSG_TRUNC, back, 77, played.receive), 0);
    EXPECT_EQ(played.receive.msgid, 77);
    EXPECT_EQ(played.receive.recv_type, IPMI_RESPONSE_RECV_TYPE);
    EXPECT_EQ(played.receive.msg.netfn, 0x35);
    EXPECT_EQ(played.receive.msg.data_len, 3);
    EXPECT_EQ(std::memcmp(played.data, "\x00\x01\x02", 3), 0);
    EXPECT_EQ(played.receive.addr_len, sizeof(ipmi_system_interface_addr));
}

TEST(FormsDevices, AMessageThatDoesNotFitIsCutOrRefusedAsTheRequestSays) {
    IpmiExchange exchange;
    exchange.received = 0;
    exchange.message.data = std::string(20, 'm');
    Receipt cut;
    EXPECT_EQ(recording::playReceipt(IPMICTL_RECEIVE_MSG_TRUNC, exchange, 1, cut.receive), -1);
    EXPECT_EQ(errno, EMSGSIZE);
    EXPECT_EQ(cut.receive.msg.data_len, 16);
    EXPECT_EQ(cut.data[15], 'm');
    Receipt refused;
    EXPECT_EQ(recording::playReceipt(IPMICTL_RECEIVE_MSG, exchange, 1, refused.receive), -1);
    EXPECT_EQ(errno, EMSGSIZE);
    EXPECT_EQ(refused.data[0], 0);
}

TEST(FormsDevices, AReceiptThatFailedFailsAgainAndOneThatNeverCameIsNotThere) {
    IpmiExchange exchange;
    exchange.received = EIO;
    Receipt receipt;
    EXPECT_EQ(recording::playReceipt(IPMICTL_RECEIVE_MSG_TRUNC, exchange, 1, receipt.receive), -1);
    EXPECT_EQ(errno, EIO);
    exchange.received.reset();
    EXPECT_EQ(recording::playReceipt(IPMICTL_RECEIVE_MSG_TRUNC, exchange, 1, receipt.receive), -1);
    EXPECT_EQ(errno, EAGAIN);
    EXPECT_EQ(recording::ipmiAnswer(exchange), (Fields{{"sent", "0"}}));
}

}  // namespace
}  // namespace FormsDevicesTest
