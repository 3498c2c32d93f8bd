// The OEM remote command against a controller that checks every byte, written from the protocol alone.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>
#include <fstream>
#include <random>
#include <thread>

#include "rmc/ipmi/vokRmcStatus.h"
#include "rmc/ipmi/vokipmi.h"
#include "support/FakeClock.h"
#include "support/FakeHost.h"
#include "support/FakeIpmi.h"

namespace RemoteCommandTest {
namespace {

using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;

// Reassembles commands and records each violation of the protocol.
class StrictController {
public:
    FakeIpmiReply answer(const FakeIpmiRequest& request) {
        const std::vector<unsigned char>& data = request.data;
        check(request.netfn == 0x3A && request.command == 0x80, "network function and command");
        check(request.addressType == 12 && request.channel == 15 && request.lun == 0, "address");
        check(request.addressLength == 8, "address length");
        if (data.size() != 60) {
            check(false, "size of the request");
            return {{0xC7}};
        }
        if (expected == 0)
            takeFirst(data);
        else
            takeLater(data);
        index = static_cast<unsigned>(random() % 65536);
        return {{completionCode, finalStatus, static_cast<unsigned char>(index & 0xFF),
                 static_cast<unsigned char>(index >> 8), 0}};
    }

    std::vector<std::string> payloads;  // without the final NUL
    std::vector<std::string> violations;
    int chunks = 0;
    unsigned char completionCode = 0;
    unsigned char finalStatus = 0;
    std::size_t expected = 0;

private:
    void takeFirst(const std::vector<unsigned char>& data) {
        ++chunks;
        expected = data[23] + 256U * data[24] + 65536U * data[25] + 16777216U * data[26];
        check(data[0] == 0 && data[1] == 0, "index of the first chunk");
        check(data[2] == 0x14, "size of the name field");
        check(
            std::string(data.begin() + 3, data.begin() + 23) == std::string("WriteInventory\0\0\0\0\0\0", 20),
            "name field");
        text.assign(data.begin() + 27, data.end());
        finishIfWhole(data, 27);
    }
    void takeLater(const std::vector<unsigned char>& data) {
        ++chunks;
        check((data[0] | data[1] << 8) == static_cast<int>(index), "echo of the index");
        check(data[2] == 0, "byte 2 of a later chunk");
        text.append(data.begin() + 3, data.end());
        finishIfWhole(data, 3);
    }
    void finishIfWhole(const std::vector<unsigned char>&, std::size_t) {
        if (text.size() < expected) return;
        check(text.find_first_not_of('\0', expected - 1) == std::string::npos, "zeros from the final NUL on");
        payloads.push_back(text.substr(0, expected - 1));
        expected = 0;
    }
    void check(bool good, const char* what) {
        if (!good) violations.push_back(std::string(what) + " in chunk " + std::to_string(chunks));
    }

    std::mt19937 random{4711};
    unsigned index = 0;
    std::string text;
};

class RemoteCommand : public testing::Test {
protected:
    RemoteCommand() {
        host.root.writeFile("/etc/config/mev/vok/vok.conf",
                            R"({"LoggingLevel": "Info", "EnableDebugLog": "true",
                                "VOKLogLocation": "/log/vok.log", "DebugLogLocation": "/log/debug.log"})");
        ipmi.onRequest = [this](const FakeIpmiRequest& request) { return controller.answer(request); };
    }
    int send(const std::string& text) {
        return ipmi::IPMIUtils().RMC_CLI_Cmd_Execution("WriteInventory", text);
    }
    // Sets the reply to chunk `number`, counted from 1; all others are accepted.
    void answerChunk(int number, const FakeIpmiReply& reply) {
        ipmi.onRequest = [this, number, reply, seen = 0](const FakeIpmiRequest&) mutable {
            return ++seen == number ? reply : FakeIpmiReply{{0, 0, 9, 0, 0}};
        };
    }
    std::string log() { return host.root.readFile("/log/vok.log"); }
    FakeHost host;
    FakeClock& clock = host.part<FakeClock>();
    FakeIpmi& ipmi = host.add<FakeIpmi>();
    StrictController controller;
};

std::string textOf(std::size_t length) {
    std::string text;
    for (std::size_t i = 0; i < length; ++i) text += static_cast<char>('!' + i % 90);
    return text;
}

std::vector<unsigned char> bytes(const std::string& text) {
    return {text.begin(), text.end()};
}

TEST_F(RemoteCommand, EveryLengthThatFillsMoreThanAChunkArrivesWhole) {
    for (std::size_t length = 57; length <= 300; ++length) {
        ASSERT_EQ(send(textOf(length)), 0);
        ASSERT_THAT(controller.violations, ElementsAre()) << length;
        ASSERT_EQ(controller.payloads.back(), textOf(length));
        ASSERT_EQ(controller.expected, 0U) << "a chunk is missing at length " << length;
        const int expectedChunks = 1 + static_cast<int>((length + 1 - 33 + 56) / 57);
        ASSERT_EQ(controller.chunks, expectedChunks) << length;
        controller.chunks = 0;
    }
    EXPECT_EQ(controller.payloads.size(), 244U);
}

TEST_F(RemoteCommand, AMebibyteArrivesWhole) {
    ASSERT_EQ(send(textOf(1048576)), 0);
    EXPECT_THAT(controller.violations, ElementsAre());
    ASSERT_EQ(controller.payloads.size(), 1U);
    EXPECT_TRUE(controller.payloads[0] == textOf(1048576));
    EXPECT_EQ(controller.chunks, 18397);
}

TEST_F(RemoteCommand, AShortPayloadOverwritesTheNameInItsOnlyChunk) {
    for (std::size_t length = 0; length <= 56; ++length) {
        ipmi.clearRequests();
        ipmi.answer({{0, 0, 0, 0, 0}});
        ASSERT_EQ(send(textOf(length)), 0);
        ASSERT_EQ(ipmi.requests().size(), 1U) << length;
        std::string expected("\0\0\x14WriteInventory", 17);
        expected.resize(60, '\0');
        expected[23] = static_cast<char>(length + 1);
        expected.replace(3, length + 1, textOf(length) + std::string(1, '\0'));
        ASSERT_EQ(ipmi.requests()[0].data, bytes(expected)) << length;
    }
}

TEST_F(RemoteCommand, FiftySixCharactersFillOneChunkByteForByte) {
    ASSERT_EQ(send(std::string(56, 'a')), 0);
    ASSERT_EQ(ipmi.requests().size(), 1U);
    EXPECT_EQ(ipmi.requests()[0].data,
              bytes(std::string("\0\0\x14", 3) + std::string(56, 'a') + std::string(1, '\0')));
}

TEST_F(RemoteCommand, FiftySevenCharactersTakeTwoChunksByteForByte) {
    answerChunk(1, {{0, 0, 0x34, 0x12, 0}});
    ASSERT_EQ(send(std::string(33, 'a') + std::string(24, 'b')), 0);
    ASSERT_EQ(ipmi.requests().size(), 2U);
    EXPECT_EQ(ipmi.requests()[0].data,
              bytes(std::string("\0\0\x14WriteInventory\0\0\0\0\0\0\x3a\0\0\0", 27) + std::string(33, 'a')));
    EXPECT_EQ(ipmi.requests()[1].data,
              bytes(std::string("\x34\x12\0", 3) + std::string(24, 'b') + std::string(33, '\0')));
}

TEST_F(RemoteCommand, NinetyCharactersTakeThreeChunksByteForByte) {
    ipmi.onRequest = [](const FakeIpmiRequest& request) {
        const unsigned char next = request.data[2] == 0x14 ? 7 : 200;
        return FakeIpmiReply{{0, 0, next, 0, 0}};
    };
    ASSERT_EQ(send(std::string(33, 'a') + std::string(57, 'b')), 0);
    ASSERT_EQ(ipmi.requests().size(), 3U);
    EXPECT_EQ(ipmi.requests()[0].data,
              bytes(std::string("\0\0\x14WriteInventory\0\0\0\0\0\0\x5b\0\0\0", 27) + std::string(33, 'a')));
    EXPECT_EQ(ipmi.requests()[1].data, bytes(std::string("\x07\0\0", 3) + std::string(57, 'b')));
    EXPECT_EQ(ipmi.requests()[2].data, bytes(std::string("\xc8\0\0", 3) + std::string(57, '\0')));
}

TEST_F(RemoteCommand, ALongNameIsCutToNineteenBytes) {
    ipmi::IPMIUtils().RMC_CLI_Cmd_Execution(std::string(40, 'N'), textOf(100));
    const auto data = ipmi.requests().at(0).data;
    EXPECT_EQ(std::string(data.begin() + 3, data.begin() + 23), std::string(19, 'N') + std::string(1, '\0'));
}

TEST_F(RemoteCommand, ACompletionCodeOtherThanZeroStillCountsAsAccepted) {
    controller.completionCode = 0xC1;
    EXPECT_EQ(send(textOf(200)), 0);
    EXPECT_EQ(controller.payloads.size(), 1U);
}

TEST_F(RemoteCommand, AfterAReplyOfACompletionCodeAloneThePreviousIndexIsSentAgain) {
    answerChunk(2, {{0xC3}});
    EXPECT_EQ(send(textOf(150)), 0);
    ASSERT_EQ(ipmi.requests().size(), 4U);
    EXPECT_EQ(ipmi.requests()[1].data[0], 9);
    EXPECT_EQ(ipmi.requests()[2].data[0], 9);
}

TEST_F(RemoteCommand, AFinalStatusOfOneOrTwoCountsAsSuccess) {
    for (const unsigned char status : {std::uint8_t{1}, std::uint8_t{2}}) {
        answerChunk(4, {{0, status, 9, 0, 5}});
        EXPECT_EQ(send(textOf(150)), 0) << int{status};
        EXPECT_EQ(ipmi.requests().size(), 4U);
        ipmi.clearRequests();
    }
    EXPECT_THAT(log(), Not(HasSubstr("[ERROR]")));
}

TEST_F(RemoteCommand, AnIntermediateStatusOfOneOrTwoCountsAsAnAcceptedChunk) {
    for (const unsigned char status : {std::uint8_t{1}, std::uint8_t{2}}) {
        answerChunk(2, {{0, status, 9, 0, 5}});
        EXPECT_EQ(send(textOf(150)), 0);
        EXPECT_EQ(ipmi.requests().size(), 4U);
        ipmi.clearRequests();
    }
}

struct Refusal {
    unsigned char status;
    const char* line;
};

void PrintTo(const Refusal& each, std::ostream* out) {
    *out << "status " << int{each.status};
}

class RefusedChunk : public RemoteCommand, public testing::WithParamInterface<Refusal> {};

TEST_P(RefusedChunk, EndsTheCommandAtOnceAndIsLogged) {
    for (const int chunk : {1, 3, 4}) {
        ipmi.clearRequests();
        answerChunk(chunk, {{0, GetParam().status, 9, 0, 0x2A}});
        EXPECT_EQ(send(textOf(150)), 1);
        EXPECT_EQ(ipmi.requests().size(), static_cast<std::size_t>(chunk));
        EXPECT_THAT(log(), EndsWith(std::string("IPMI: ") + GetParam().line + "\n"));
    }
    EXPECT_EQ(ipmi.openDescriptors(), 0);
}

INSTANTIATE_TEST_SUITE_P(
    Statuses, RefusedChunk,
    testing::Values(
        Refusal{3, "Transfer Status is 0x3[Error in index] and Cmd Exit Status is 0x2a"},
        Refusal{4, "Transfer Status is 0x4[Cli entries full] and Cmd Exit Status is 0x2a"},
        Refusal{5, "Transfer Status is 0x5[Provided command not supported] and Cmd Exit Status is 0x2a"},
        Refusal{6, "Transfer Status is 0x6[Memory could not be allocated] and Cmd Exit Status is 0x2a"},
        Refusal{7, "RMC Cli Command Execution failed"},
        Refusal{8,
                "Transfer Status is 0x8[Request command length exceeded] and Cmd Exit Status is 0x2a. "
                "Payload size:150"},
        Refusal{9, "RMC Cli Command Execution failed"}, Refusal{0xAA, "RMC Cli Command Execution failed"},
        Refusal{0xFF, "RMC Cli Command Execution failed"}));

TEST(RmcStatus, OneAndTwoHaveTheirTextsToo) {
    EXPECT_EQ(vokTransferFailureText(1, 0x10, 5),
              "Transfer Status is 0x1[Input data is not complete] and Cmd Exit Status is 0x10");
    EXPECT_EQ(vokTransferFailureText(2, 0x10, 5), "RMC Cli Command Execution failed");
}

TEST(RmcStatus, AFailedExchangeIsReportedByTheLastTransferStatus) {
    EXPECT_EQ(vokExchangeFailureText(7), "Request ioctl failure");
    EXPECT_EQ(vokExchangeFailureText(8), "Response ioctl failure");
    EXPECT_EQ(vokExchangeFailureText(0xAA), "The pointer to the stdout or stderr is NULL.");
    EXPECT_EQ(vokExchangeFailureText(0xDD), "Command time out.");
    EXPECT_EQ(vokExchangeFailureText(0xEE), "The size of stdout or stderr is not enough.");
    for (const int status : {0, 1, 2, 3, 6, 9, 0xAB, 0xFF})
        EXPECT_EQ(vokExchangeFailureText(static_cast<unsigned char>(status)),
                  "Error occurred while executing RMC_CLI_Exec");
}

struct BrokenExchange {
    const char* what;
    FakeIpmiReply reply;
};

void PrintTo(const BrokenExchange& each, std::ostream* out) {
    *out << each.what;
}

class FailedExchange : public RemoteCommand, public testing::WithParamInterface<BrokenExchange> {};

TEST_P(FailedExchange, EndsTheCommandAsAFailure) {
    for (const int chunk : {1, 3, 4}) {
        ipmi.clearRequests();
        answerChunk(chunk, GetParam().reply);
        EXPECT_EQ(send(textOf(150)), 1);
        EXPECT_EQ(ipmi.requests().size(), static_cast<std::size_t>(chunk));
        EXPECT_THAT(log(), EndsWith("IPMI: Error occurred while executing RMC_CLI_Exec\n"));
    }
    EXPECT_EQ(ipmi.openDescriptors(), 0);
}

INSTANTIATE_TEST_SUITE_P(Steps, FailedExchange,
                         testing::Values(BrokenExchange{"send", FakeIpmiReply::sendFails()},
                                         BrokenExchange{"send returns a positive number", {{}, 5}},
                                         BrokenExchange{"wait", {{}, 0, -1}},
                                         BrokenExchange{"wait without the descriptor", {{}, 0, 0}},
                                         BrokenExchange{"receive", {{0, 0, 0, 0, 0}, 0, 1, -1}}));

TEST_F(RemoteCommand, NullPointersCountAsSuccess) {
    unsigned char status = 0;
    ipmi::IPMIUtils device;
    EXPECT_EQ(device.RMC_CLI_Exec("WriteInventory", "text", nullptr, &status), 1);
    EXPECT_EQ(device.RMC_CLI_Exec("WriteInventory", "text", &status, nullptr), 1);
    EXPECT_EQ(status, 0);
    EXPECT_TRUE(ipmi.requests().empty());
    EXPECT_THAT(log(), EndsWith("IPMI: Provided command / arguments is not valid\n"));
}

// While it exists, the process can allocate only so much more memory.
class MemoryLimit {
public:
    explicit MemoryLimit(std::size_t bytesMore) {
        ::getrlimit(RLIMIT_AS, &before_);
        std::ifstream statm("/proc/self/statm");
        rlim_t pages = 0;
        statm >> pages;
        const rlimit limit{pages * static_cast<rlim_t>(::sysconf(_SC_PAGESIZE)) + bytesMore,
                           before_.rlim_max};
        ::setrlimit(RLIMIT_AS, &limit);
    }
    ~MemoryLimit() { ::setrlimit(RLIMIT_AS, &before_); }
    MemoryLimit(const MemoryLimit&) = delete;
    MemoryLimit& operator=(const MemoryLimit&) = delete;

private:
    rlimit before_{};
};

TEST_F(RemoteCommand, AFailedAllocationCountsAsSuccess) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    GTEST_SKIP() << "a sanitizer does not run under such a limit";
#endif
    ipmi::IPMIUtils device;
    send("opens the log");
    ipmi.clearRequests();
    unsigned char transfer = 0x77;
    unsigned char exit = 0x66;
    {
        std::string text(64 << 20, 'x');
        const MemoryLimit limit(32 << 20);
        EXPECT_EQ(device.RMC_CLI_Exec("WriteInventory", std::move(text), &transfer, &exit), -1);
    }
    EXPECT_THAT(log(), EndsWith("IPMI: Error while allocating memory for cmd buffer\n"));
    {
        std::string text(64 << 20, 'x');
        const MemoryLimit limit(32 << 20);
        EXPECT_EQ(device.RMC_CLI_Cmd_Execution("WriteInventory", std::move(text)), 0);
    }
    EXPECT_EQ(transfer, 0x77);
    EXPECT_EQ(exit, 0x66);
    EXPECT_TRUE(ipmi.requests().empty());
}

TEST_F(RemoteCommand, StatusesAreUnchangedWhenEverythingWasSent) {
    unsigned char transfer = 0x77;
    unsigned char exit = 0x66;
    EXPECT_EQ(ipmi::IPMIUtils().RMC_CLI_Exec("WriteInventory", textOf(100), &transfer, &exit), 1);
    EXPECT_EQ(transfer, 0x77);
    EXPECT_EQ(exit, 0x66);
}

TEST_F(RemoteCommand, PausesHalfASecondAfterTheLastChunkAndNotAfterARefusal) {
    send(textOf(100));
    EXPECT_THAT(clock.pauses(), ElementsAre(500000U));
    answerChunk(1, {{0, 3, 0, 0, 0}});
    send(textOf(100));
    EXPECT_EQ(clock.pauses().size(), 1U);
}

TEST_F(RemoteCommand, EachCommandOpensItsOwnDescriptor) {
    ipmi::IPMIUtils device;
    EXPECT_EQ(ipmi.openDescriptors(), 1);
    clock.onPause = [this](unsigned long) { EXPECT_EQ(ipmi.openDescriptors(), 2); };
    EXPECT_EQ(device.RMC_CLI_Cmd_Execution("WriteInventory", textOf(100)), 0);
    EXPECT_EQ(ipmi.opens(), 2);
    EXPECT_EQ(ipmi.openDescriptors(), 1);
}

TEST_F(RemoteCommand, TheCommandGoesToTheDebugLog) {
    ipmi::IPMIUtils().RMC_CLI_Cmd_Execution("MPEventGen", "the text");
    EXPECT_THAT(host.root.readFile("/log/debug.log"),
                HasSubstr("IPMI: Command to be executed on RMC : MPEventGen the text\n"));
}

TEST_F(RemoteCommand, CommandsOfSeveralThreadsNeverMix) {
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i)
        threads.emplace_back([this] {
            for (int j = 0; j < 20; ++j) send(textOf(500));
        });
    for (auto& thread : threads) thread.join();
    EXPECT_THAT(controller.violations, ElementsAre());
    EXPECT_EQ(controller.payloads.size(), 80U);
}

}  // namespace
}  // namespace RemoteCommandTest
