// vok-rmc as the controller of a QEMU guest; the test plays QEMU's side of the socket.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <json/json.h>
#include <poll.h>
#include <sys/socket.h>
#include <csignal>
#include <deque>
#include <fstream>

#include "common/UnixSocket.h"
#include "rmc/GuestWire.h"
#include "simhost/Chunks.h"
#include "simhost/RunningProgram.h"
#include "support/TemporaryDirectory.h"

namespace GuestInterfaceTest {

using namespace simhost;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

namespace {

constexpr std::uint8_t application = 0x06;
constexpr std::uint8_t oem = 0x3A;
constexpr std::uint8_t chunkCommand = 0x80;

const std::string event =
    R"({"EventTime":"2026-11-15 08:38:22","HostName":"rack42-node07","ID":356,)"
    R"("IPv4Addresses":[{"Address":"10.42.7.11"}],"OSType":104,"OSVersion":"7.0.3","Source":"VOK"})";

constexpr std::size_t chunks = 4;  // of the event: 163 bytes with the NUL, as 33, 57, 57 and 16

class GuestInterface : public testing::Test {
protected:
    void SetUp() override {
        start();
        connect();
    }

    void start() {
        controller_ = RunningProgram(directory.path(), "rmc",
                                     {VOK_RMC_PROGRAM, "run", "--guest", socketPath(), "--out", out()},
                                     "vok-rmc: ready");
    }
    // As QEMU does: it connects, tells its version and what it can, and the controller attaches.
    void connect() {
        qemu_ = connectTo(socketPath(), SOCK_STREAM);
        ASSERT_TRUE(qemu_);
        decoder_ = GuestDecoder();
        say(encodeGuestCommand(guestVersion, {guestProtocolVersion}) +
            encodeGuestCommand(guestCapabilities, {0x1F}));
        control({"wait", "attached", std::to_string(++attachments_), "--timeout", "20"});
    }
    void disconnect() { qemu_.reset(); }

    std::string out() const { return directory.path() + "/out"; }
    std::string socketPath() const { return directory.path() + "/guest.sock"; }
    std::string control(std::vector<std::string> words) const {
        std::vector<std::string> command{VOK_RMC_PROGRAM, "control", "--out", out()};
        command.insert(command.end(), words.begin(), words.end());
        const Ran ran = runProgram(command);
        EXPECT_EQ(ran.status, 0) << ran.output;
        return ran.output;
    }
    int count(const std::string& what) const {
        Json::Value state;
        std::istringstream(control({"status"})) >> state;
        return state[what].asInt();
    }
    int end() { return controller_.end(SIGTERM); }
    std::string complaints() const { return controller_.errors(); }
    std::string account() const { return controller_.output(); }

    void say(const std::string& bytes) const { ASSERT_TRUE(sendAll(qemu_.get(), bytes)); }
    void ask(std::uint8_t netfn, std::uint8_t command, const Bytes& data, std::uint8_t lun = 0) {
        say(encodeGuestMessage({++sequence_, netfn, lun, command, data}));
    }
    // What the controller says next; nothing when it says nothing for a while.
    std::optional<GuestArrival> hear(int milliseconds = 20000) {
        while (arrivals_.empty()) {
            pollfd waiting{qemu_.get(), POLLIN, 0};
            if (::poll(&waiting, 1, milliseconds) != 1) return std::nullopt;
            std::uint8_t bytes[256];
            const ssize_t size = ::recv(qemu_.get(), bytes, sizeof(bytes), 0);
            if (size <= 0) return std::nullopt;
            for (ssize_t i = 0; i < size; ++i)
                if (auto arrival = decoder_.take(bytes[i])) arrivals_.push_back(*arrival);
        }
        GuestArrival first = arrivals_.front();
        arrivals_.pop_front();
        return first;
    }
    // Checks the header of the reply to the last request and returns the data after it.
    Bytes reply(std::uint8_t netfn, std::uint8_t command) {
        const auto arrival = hear();
        if (!arrival || !arrival->message) {
            ADD_FAILURE() << "no reply";
            return {};
        }
        EXPECT_EQ(arrival->message->sequence, sequence_);
        EXPECT_EQ(arrival->message->netfn, netfn | 1);
        EXPECT_EQ(arrival->message->command, command);
        return arrival->message->data;
    }
    Bytes exchange(std::uint8_t netfn, std::uint8_t command, const Bytes& data = {}) {
        ask(netfn, command, data);
        return reply(netfn, command);
    }
    // The nth chunk of the event, with the index that came back last.
    Chunk chunk(std::size_t n) const {
        return n == 1 ? firstChunk("MPEventGen", event) : laterChunk(event, 33 + (n - 2) * 57, nextIndex_);
    }
    void sendChunks(std::size_t from = 1, std::size_t to = chunks) {
        for (std::size_t i = from; i <= to; ++i) {
            const Bytes answer = exchange(oem, chunkCommand, chunk(i));
            ASSERT_EQ(answer.size(), 5u);
            EXPECT_EQ(answer[0], 0);
            EXPECT_EQ(answer[1], 0) << "chunk " << i;
            nextIndex_ = static_cast<unsigned>(answer[2] | answer[3] << 8);
        }
    }

    TemporaryDirectory directory;

private:
    RunningProgram controller_;
    FileDescriptor qemu_;
    GuestDecoder decoder_;
    std::deque<GuestArrival> arrivals_;
    std::uint8_t sequence_ = 0x9E;  // soon one of the special bytes
    unsigned nextIndex_ = 0;
    int attachments_ = 0;
};

TEST_F(GuestInterface, ARequestOfTheGuestIsAnsweredByTheController) {
    for (int i = 0; i < 16; ++i) {
        const Bytes answer = exchange(application, 0x01);
        ASSERT_EQ(answer.size(), 16u);
        EXPECT_EQ(answer[0], 0);
    }
    EXPECT_THAT(exchange(application, 0x02), ElementsAre(0xC1));
    EXPECT_EQ(end(), 0);
}

TEST_F(GuestInterface, ARemoteCommandArrivesWholeAndHasNoProcess) {
    sendChunks();
    sendChunks();
    EXPECT_EQ(count("events"), 2);
    EXPECT_EQ(end(), 0);
    std::ifstream kept(out() + "/events.jsonl");
    std::string line;
    std::getline(kept, line);
    EXPECT_EQ(line, event);
}

TEST_F(GuestInterface, TheDoorBellReachesTheGuest) {
    control({"ring"});
    const Bytes answer = exchange(oem, 0x81);
    EXPECT_EQ(std::string(answer.begin() + 1, answer.end()), "WriteInventory");
    EXPECT_THAT(exchange(oem, 0x81), ElementsAre(0));
}

TEST_F(GuestInterface, TheLunOfARequestIsReportedAndReturned) {
    ask(application, 0x01, {}, 2);
    const auto arrival = hear();
    ASSERT_TRUE(arrival && arrival->message);
    EXPECT_EQ(arrival->message->lun, 2);
    EXPECT_EQ(count("violations"), 1);
    EXPECT_EQ(end(), 3);
}

TEST_F(GuestInterface, TheGlobalEnablesSwitchTheInterruptsOfTheInterface) {
    ask(application, 0x2E, {0x09});
    auto heard = hear();
    ASSERT_TRUE(heard);
    EXPECT_THAT(heard->command, ElementsAre(0x05));
    EXPECT_THAT(reply(application, 0x2E), ElementsAre(0));
    EXPECT_THAT(exchange(application, 0x2F), ElementsAre(0, 0x09));
    ask(application, 0x2E, {0x08});
    heard = hear();
    ASSERT_TRUE(heard);
    EXPECT_THAT(heard->command, ElementsAre(0x06));
    EXPECT_THAT(reply(application, 0x2E), ElementsAre(0));
    EXPECT_THAT(exchange(application, 0x2E), ElementsAre(0xC7)) << "without the data";
    EXPECT_EQ(count("requests"), 0) << "that is between the guest and its interface";
}

TEST_F(GuestInterface, ThereAreNoMessagesAndEventsForTheGuest) {
    EXPECT_THAT(exchange(application, 0x30, {0x03}), ElementsAre(0));
    EXPECT_THAT(exchange(application, 0x31), ElementsAre(0, 0));
    EXPECT_THAT(exchange(application, 0x33), ElementsAre(0x80));
    EXPECT_THAT(exchange(application, 0x35), ElementsAre(0x80));
}

TEST_F(GuestInterface, AStartOfTheWatchdogIsReportedAndItsSettingIsNot) {
    EXPECT_THAT(exchange(application, 0x24, {0, 0, 0, 0, 0, 0}), ElementsAre(0));
    EXPECT_THAT(complaints(), IsEmpty());
    EXPECT_THAT(exchange(application, 0x22), ElementsAre(0));
    EXPECT_THAT(complaints(), HasSubstr("the guest starts its watchdog"));
}

TEST_F(GuestInterface, AMessageWithAWrongChecksumIsLostAndTheNextIsAnswered) {
    std::string broken = encodeGuestMessage({1, application, 0, 0x01, {}});
    broken[0] = 2;
    say(broken);
    EXPECT_EQ(exchange(application, 0x01).size(), 16u);
    EXPECT_THAT(complaints(), HasSubstr("its checksum is wrong"));
}

TEST_F(GuestInterface, AReplyThatComesAfterTheNextRequestIsForNobody) {
    sendChunks(1, 1);
    control({"answer", "late", "300"});
    ask(oem, chunkCommand, chunk(2));
    EXPECT_EQ(exchange(application, 0x01).size(), 16u);
    EXPECT_FALSE(hear(600));
}

TEST_F(GuestInterface, TheChunkAfterAnUnansweredOneHasTheIndexBefore) {
    sendChunks(1, 1);
    control({"answer", "never"});
    ask(oem, chunkCommand, chunk(2));
    EXPECT_FALSE(hear(200));
    sendChunks(3);
    EXPECT_EQ(count("events"), 1);
    EXPECT_EQ(end(), 0);
}

TEST_F(GuestInterface, AResetOfTheGuestAbandonsATransferAndIsNoViolation) {
    sendChunks(1, 2);
    EXPECT_EQ(count("transfersInProgress"), 1);
    say(encodeGuestCommand(guestReset));
    control({"wait", "abandoned", "1", "--timeout", "20"});
    sendChunks();
    EXPECT_EQ(count("events"), 1);
    EXPECT_EQ(end(), 0);
}

TEST_F(GuestInterface, ACommandThatBeginsInTheMiddleOfAnotherIsNoViolationAsItsSenderIsNotKnown) {
    sendChunks(1, 2);
    sendChunks();
    EXPECT_EQ(count("events"), 1);
    EXPECT_EQ(count("abandonedTransfers"), 1);
    EXPECT_EQ(end(), 0);
}

TEST_F(GuestInterface, AChunkAfterTheEndOfACommandIsAViolation) {
    sendChunks();
    exchange(oem, chunkCommand, laterChunk(event, 33, 0));
    EXPECT_EQ(count("violations"), 1);
    EXPECT_EQ(end(), 3);
}

TEST_F(GuestInterface, AChunkOfACommandThatBeganBeforeTheControllerIsNoViolation) {
    exchange(oem, chunkCommand, laterChunk(event, 33, 0x1234));
    EXPECT_EQ(count("violations"), 0);
}

TEST_F(GuestInterface, TheGuestMayGoAndComeBack) {
    sendChunks(1, 2);
    disconnect();
    connect();
    EXPECT_EQ(count("abandonedTransfers"), 1);
    sendChunks();
    EXPECT_EQ(count("events"), 1);
    EXPECT_EQ(end(), 0);
}

TEST_F(GuestInterface, ASecondGuestIsRefused) {
    const FileDescriptor second = connectTo(socketPath(), SOCK_STREAM);
    ASSERT_TRUE(second);
    char byte;
    EXPECT_EQ(::recv(second.get(), &byte, 1, 0), 0);
    EXPECT_EQ(exchange(application, 0x01).size(), 16u);
    EXPECT_THAT(complaints(), HasSubstr("a second QEMU is refused"));
}

TEST(GuestInterfaceOptions, ItIsEitherASimulatedHostOrAGuest) {
    const TemporaryDirectory directory;
    const std::string out = directory.path() + "/out";
    EXPECT_EQ(runProgram({VOK_RMC_PROGRAM, "run", "--out", out}).status, 2);
    EXPECT_EQ(
        runProgram({VOK_RMC_PROGRAM, "run", "--out", out, "--guest", out + ".sock", "--root", out}).status,
        2);
}

}  // namespace
}  // namespace GuestInterfaceTest
