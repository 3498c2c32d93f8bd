#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <cerrno>
#include <cstring>
#include <thread>

#include "core/base/Logger.h"
#include "platform/access/vokLongOperation.h"
#include "platform/access/vokRootedHostAccess.h"
#include "rmc/ipmi/vokipmi.h"
#include "support/FakeClock.h"
#include "support/FakeCommands.h"
#include "support/FakeHost.h"
#include "support/FakeIpmi.h"

namespace TransportTest {
namespace {

using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;

// A host that lacks the device and records the calls; everything else is inherited.
template <typename Base>
class WithoutDevice : public Base {
public:
    using Base::Base;
    int openDevice(const std::string& path, int flags) override {
        calls.push_back("open " + path + (flags == O_RDWR ? " rw" : " ?"));
        errno = ENOENT;
        return -1;
    }
    int runCommand(const std::string& command) override {
        calls.push_back(command);
        return 0;
    }
    void pause(unsigned long microseconds) override {
        calls.push_back("pause " + std::to_string(microseconds));
    }
    void systemLog(int, const std::string&) override {}
    std::vector<std::string> calls;
};

TEST(Transport, WithoutAHostRootTheBringUpIsTheDocumentedOneAndRunsTwice) {
    auto host = std::make_unique<WithoutDevice<vokKernelHostAccess>>();
    auto& calls = host->calls;
    vokSetHostAccess(std::move(host));
    const ipmi::IPMIUtils device;
    std::vector<std::string> expected;
    for (int attempt = 0; attempt < 2; ++attempt) {
        for (const char* call :
             {"open /dev/ipmi0 rw", "modprobe ipmi_msghandler > /dev/null 2>&1",
              "modprobe ipmi_si > /dev/null 2>&1", "modprobe ipmi_devintf > /dev/null 2>&1",
              "modprobe ipmi_watchdog > /dev/null 2>&1", "modprobe ipmi_ssif > /dev/null 2>&1",
              "mknod -m 0600 /dev/ipmi0 c `cat /proc/devices | grep ipmidev |cut -d \" \" -f 1` 0 > "
              "/dev/null "
              "2>&1",
              "pause 3000000"})
            expected.emplace_back(call);
    }
    EXPECT_EQ(calls, expected);
}

TEST(Transport, OnAHostRootEveryPathOfTheBringUpLiesUnderIt) {
    TemporaryDirectory directory;
    directory.writeFile("a `b/x", "");
    const std::string root = directory.path() + "/a `b";
    auto host = std::make_unique<WithoutDevice<vokRootedHostAccess>>(root);
    auto& calls = host->calls;
    vokSetHostAccess(std::move(host));
    const ipmi::IPMIUtils device;
    ASSERT_EQ(calls.size(), 16U);
    EXPECT_EQ(calls[0], "open " + root + "/dev/ipmi0 rw");
    EXPECT_EQ(calls[6], "mknod -m 0600 '" + root + "/dev/ipmi0' c `cat '" + directory.path() +
                            "/a \\`b/proc/devices' | grep ipmidev |cut -d \" \" -f 1` 0 > /dev/null 2>&1");
}

class TransportTest : public testing::Test {
protected:
    TransportTest() {
        host.root.writeFile("/etc/config/mev/vok/vok.conf",
                            R"({"LoggingLevel": "Info", "EnableDebugLog": "true",
                                "VOKLogLocation": "/log/vok.log", "DebugLogLocation": "/log/debug.log"})");
    }
    bool exchange(unsigned char* response, unsigned char capacity) {
        ipmi::IPMIUtils device;
        const unsigned char none = 0;
        return device.execute(0x3A, 0x81, 0, nullptr, none, response, capacity);
    }
    void answer(const std::vector<unsigned char>& reply) { ipmi.answer({reply}); }
    std::string debugLog() { return host.root.readFile("/log/debug.log"); }
    FakeHost host;
    FakeClock& clock = host.part<FakeClock>();
    FakeCommands& commands = host.part<FakeCommands>();
    FakeIpmi& ipmi = host.add<FakeIpmi>();
};

TEST_F(TransportTest, ADeviceThatAppearsAfterOneBringUpIsUsed) {
    ipmi.failOpens(1);
    {
        const ipmi::IPMIUtils device;
        EXPECT_EQ(ipmi.openDescriptors(), 1);
    }
    EXPECT_EQ(ipmi.openDescriptors(), 0);
    EXPECT_EQ(commands.texts().size(), 6U);
    EXPECT_THAT(clock.pauses(), ElementsAre(3000000U));
}

TEST_F(TransportTest, WhenTheStopLeavesNoTimeForCommandsNothingIsWaitedForEither) {
    ipmi.failOpens(2);
    vokHostAccess().requestStop();
    const ipmi::IPMIUtils device;
    EXPECT_THAT(clock.pauses(), IsEmpty());
}

TEST_F(TransportTest, AnExchangeOfThirtySecondsIsLoggedOnceAndAtItsEnd) {
    Logging::Logger::loggerInit();
    const auto log = [this] { return host.root.readFile("/log/vok.log"); };
    const vokLongOperationWatch watch;
    ipmi.onRequest = [&](const FakeIpmiRequest&) {
        clock.waitForSteadyWaits(1);
        clock.advanceSteady(31);
        while (log().empty()) std::this_thread::yield();
        clock.advanceSteady(9);
        return FakeIpmiReply{{0}};
    };
    unsigned char response[4] = {};
    EXPECT_TRUE(exchange(response, 4));
    EXPECT_THAT(log(), HasSubstr("WATCH: Still not ended after 31 s: device /dev/ipmi0, request 0x3a81\n"));
    EXPECT_THAT(log(), EndsWith("WATCH: Ended after 40 s: device /dev/ipmi0, request 0x3a81\n"));
}

TEST_F(TransportTest, WithoutADeviceNothingIsSent) {
    ipmi.failOpens(2);
    unsigned char response[4] = {};
    EXPECT_FALSE(exchange(response, 4));
    EXPECT_EQ(commands.texts().size(), 12U);
    EXPECT_TRUE(ipmi.requests().empty());
    EXPECT_EQ(ipmi.openDescriptors(), 0);
    EXPECT_THAT(debugLog(), EndsWith("IPMI: rs 4\n\n"));  // and no request failed
}

TEST_F(TransportTest, TheReplyHasRoomForAnyAddressAndAnyMessage) {
    answer({0});
    unsigned char response[4] = {};
    EXPECT_TRUE(exchange(response, 4));
    EXPECT_EQ(ipmi.addressRoom(), 40U);
    EXPECT_EQ(ipmi.dataRoom(), 272U);
}

TEST_F(TransportTest, OnlyANegativeResultOfTheReceiveIsAFailure) {
    ipmi.answer({{0, 0xAB}, 0, 1, 5});
    unsigned char response[4] = {};
    EXPECT_TRUE(exchange(response, 4));
    EXPECT_EQ(response[0], 0xAB);
}

TEST_F(TransportTest, EachRequestHasItsOwnMessageId) {
    answer({0});
    unsigned char response[4] = {};
    exchange(response, 4);
    exchange(response, 4);
    ASSERT_EQ(ipmi.requests().size(), 2U);
    EXPECT_NE(ipmi.requests()[0].messageId, ipmi.requests()[1].messageId);
}

TEST_F(TransportTest, ARequestWithoutDataHasNoPointerAndNoLength) {
    answer({0});
    unsigned char response[4] = {};
    EXPECT_TRUE(exchange(response, 4));
    ASSERT_EQ(ipmi.requests().size(), 1U);
    EXPECT_TRUE(ipmi.requests()[0].dataPointerIsNull);
    EXPECT_EQ(ipmi.requests()[0].netfn, 0x3A);
    EXPECT_EQ(ipmi.requests()[0].command, 0x81);
    EXPECT_EQ(ipmi.requests()[0].addressType, 12);
    EXPECT_EQ(ipmi.requests()[0].channel, 15);
    EXPECT_EQ(ipmi.requests()[0].lun, 0);
    EXPECT_EQ(ipmi.requests()[0].addressLength, 8U);
}

TEST_F(TransportTest, OnlyTheBytesAfterTheCompletionCodeAreCopied) {
    for (std::size_t length = 0; length <= 272; ++length) {
        std::vector<unsigned char> reply(length, 0xAB);
        if (length > 0) reply[0] = 0xC1;
        answer(reply);
        unsigned char response[260];
        std::memset(response, 0x55, sizeof(response));
        ASSERT_TRUE(exchange(response, 254));
        const std::size_t copied = std::min<std::size_t>(254, length == 0 ? 0 : length - 1);
        for (std::size_t i = 0; i < sizeof(response); ++i)
            ASSERT_EQ(response[i], i < copied ? 0xAB : 0x55) << "byte " << i << " of a reply of " << length;
    }
}

TEST_F(TransportTest, AReplyIsCutAtTheCapacity) {
    answer(std::vector<unsigned char>(100, 0xAB));
    unsigned char response[8];
    std::memset(response, 0x55, sizeof(response));
    ASSERT_TRUE(exchange(response, 4));
    EXPECT_THAT(response, ElementsAre(0xAB, 0xAB, 0xAB, 0xAB, 0x55, 0x55, 0x55, 0x55));
}

TEST_F(TransportTest, TheStepsOfAnExchangeGoToTheDebugLog) {
    answer({0, 1, 2});
    unsigned char response[4] = {};
    exchange(response, 4);
    EXPECT_THAT(debugLog(), HasSubstr("IPMI: rs 4\n\n"));
    EXPECT_THAT(debugLog(), HasSubstr("IPMI: size 3, rs 4, dl 3\n\n"));
    ipmi.answer(FakeIpmiReply::sendFails());
    exchange(response, 4);
    EXPECT_THAT(debugLog(), EndsWith("IPMI: Request ioctl failure with error code : -1\n"));
    ipmi.answer(FakeIpmiReply::receiveFails());
    exchange(response, 4);
    EXPECT_THAT(debugLog(), EndsWith("IPMI: Response ioctl failure\n"));
}

TEST_F(TransportTest, TheStandardCommandsSendTheirCodesAndReadTheirReplies) {
    answer({0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15});
    ipmi::IPMIUtils device;
    ipmi::_GET_DEVICE_ID id{};
    EXPECT_TRUE(device.GetDeviceIdInfo(&id));
    EXPECT_EQ(id.deviceId, 1);
    EXPECT_EQ(id.auxiliaryFirmwareRevision[3], 15);
    ipmi::_GET_BMC_CAPABILITIES capabilities{};
    EXPECT_TRUE(device.GetCapabilities(&capabilities));
    EXPECT_EQ(capabilities.bytes[4], 5);
    unsigned char partition[4] = {};
    EXPECT_TRUE(device.GetPartitionId(partition));
    EXPECT_THAT(partition, ElementsAre(1, 2, 3, 4));
    answer({0, 2, 0, 0, 0});
    EXPECT_FALSE(device.GetPartitionId(partition));
    EXPECT_FALSE(device.GetDeviceIdInfo(nullptr));
    ASSERT_EQ(ipmi.requests().size(), 4U);
    EXPECT_EQ(ipmi.requests()[0].netfn << 8 | ipmi.requests()[0].command, 0x0601);
    EXPECT_EQ(ipmi.requests()[1].netfn << 8 | ipmi.requests()[1].command, 0x0636);
    EXPECT_EQ(ipmi.requests()[2].netfn << 8 | ipmi.requests()[2].command, 0x3408);
}

// --- the door-bell's poll ---

std::vector<unsigned char> replyOf(const std::string& text) {
    const std::string whole = std::string(1, '\0') + text;
    return {whole.begin(), whole.end()};
}

TEST_F(TransportTest, ADoorBellRingsWithItsWordAnywhereBeforeTheFirstNul) {
    const auto rings = [&](const std::string& text) {
        answer(replyOf(text));
        return ipmi::IPMIUtils().checkIPMIDBRequest();
    };
    EXPECT_TRUE(rings("WriteInventory"));
    EXPECT_TRUE(rings("xxWriteInventoryxx"));
    EXPECT_TRUE(rings(std::string(240, 'x') + "WriteInventory"));
    EXPECT_FALSE(rings(std::string(241, 'x') + "WriteInventory"));  // its last letter no longer fits
    EXPECT_FALSE(rings(std::string("\0WriteInventory", 15)));
    EXPECT_FALSE(rings("writeinventory"));
    EXPECT_FALSE(rings(""));
    EXPECT_FALSE(rings(std::string(260, 'x')));
    EXPECT_EQ(ipmi.requests()[0].command, 0x81);
    EXPECT_TRUE(ipmi.requests()[0].dataPointerIsNull);
    EXPECT_THAT(debugLog(), HasSubstr("IPMI_DB: Checking IPMI door bell request\n"));
    EXPECT_THAT(debugLog(), HasSubstr("IPMI_DB: Return buffer from door bell: xxWriteInventoryxx\n"));
}

TEST_F(TransportTest, AReplyWithoutDataIsNoDoorBellWhateverThePreviousOneHeld) {
    ipmi::IPMIUtils device;
    answer(replyOf("WriteInventory"));
    EXPECT_TRUE(device.checkIPMIDBRequest());
    EXPECT_EQ(device.checkIPMIDBGenericRequest(1), 1);
    answer({0xC3});
    EXPECT_FALSE(device.checkIPMIDBRequest());
    EXPECT_EQ(device.checkIPMIDBGenericRequest(1), 0);
    EXPECT_EQ(device.checkIPMIDBGenericRequest(2), 2);
    EXPECT_THAT(debugLog(), EndsWith("IPMI_DB: Return buffer from door bell: \n"));
}

TEST_F(TransportTest, APollThatFailsIsLogged) {
    ipmi.answer(FakeIpmiReply::sendFails());
    EXPECT_FALSE(ipmi::IPMIUtils().checkIPMIDBRequest());
    EXPECT_THAT(host.root.readFile("/log/vok.log"),
                EndsWith("IPMI_DB: An error occurred in checking RMC request via IPMI\n"));
    for (const int type : {1, 2}) {
        host.root.writeFile("/log/vok.log", "");
        EXPECT_EQ(ipmi::IPMIUtils().checkIPMIDBGenericRequest(type), 0);
        EXPECT_THAT(host.root.readFile("/log/vok.log"),
                    EndsWith("IPMI_DB: An error occurred in checking RMC request via IPMI\n"));
    }
}

TEST_F(TransportTest, TheGenericPollHasTwoKinds) {
    answer(replyOf("WriteInventory"));
    EXPECT_EQ(ipmi::IPMIUtils().checkIPMIDBGenericRequest(1), 1);
    EXPECT_EQ(ipmi.requests().back().command, 0x81);
    EXPECT_EQ(ipmi::IPMIUtils().checkIPMIDBGenericRequest(2), 2);
    EXPECT_EQ(ipmi.requests().back().command, 0x82);
    EXPECT_THAT(debugLog(), HasSubstr("IPMI_DB: Checking IPMI door bell request\n"));
    answer(replyOf(std::string("\1\0\0\0", 4)));
    EXPECT_EQ(ipmi::IPMIUtils().checkIPMIDBGenericRequest(2), 1);
    EXPECT_EQ(ipmi::IPMIUtils().checkIPMIDBGenericRequest(1), 0);
    const std::size_t sent = ipmi.requests().size();
    for (const int type : {0, 3, -1}) EXPECT_EQ(ipmi::IPMIUtils().checkIPMIDBGenericRequest(type), 0);
    EXPECT_EQ(ipmi.requests().size(), sent);
}

TEST_F(TransportTest, ABufferIsInterpretedByItsKind) {
    ipmi::IPMIUtils device;
    unsigned char buffer[254] = {};
    EXPECT_EQ(device.checkIPMIBuffer(1, buffer), 0);
    EXPECT_EQ(device.checkIPMIBuffer(2, buffer), 2);
    buffer[0] = 1;
    EXPECT_EQ(device.checkIPMIBuffer(2, buffer), 1);
    for (const int index : {1, 2, 3}) {
        buffer[index] = 1;
        EXPECT_EQ(device.checkIPMIBuffer(2, buffer), 2) << index;
        buffer[index] = 0;
    }
    std::memcpy(buffer, "..WriteInventory", 17);
    EXPECT_EQ(device.checkIPMIBuffer(1, buffer), 1);
    EXPECT_EQ(device.checkIPMIBuffer(3, buffer), 0);
    EXPECT_EQ(device.checkIPMIBuffer(1, nullptr), 0);
}

}  // namespace
}  // namespace TransportTest
