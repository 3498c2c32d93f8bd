#include "common/HostState.h"

#include <gtest/gtest.h>
#include <fstream>
#include <thread>

#include "common/ByteCodec.h"
#include "common/SimulatedClock.h"
#include "devices/IpmiPackets.h"
#include "host/SummaryLog.h"
#include "support/TemporaryDirectory.h"

namespace HostStateTest {

using namespace simhost;

namespace {

constexpr std::int64_t second = 1000000000;

TEST(SimulatedClock, RunsAtItsSpeed) {
    const ClockState clock = startClock(100 * second, 5000 * second, 60 * second, 10000);
    EXPECT_EQ(wallAt(clock, 100 * second), 5000 * second);
    EXPECT_EQ(wallAt(clock, 101 * second), 5010 * second);
    EXPECT_EQ(uptimeAt(clock, 101 * second), 70 * second);
    EXPECT_EQ(machineDuration(clock, 10 * second), second + 1);
    EXPECT_EQ(machineDuration(clock, 0), 0);
    EXPECT_EQ(machineDuration(clock, -5), 0);
}

TEST(SimulatedClock, ChangesItsSpeedWithoutAJump) {
    ClockState clock = startClock(0, 5000 * second, 0, 1000);
    changeSpeed(clock, 10 * second, 500);
    EXPECT_EQ(wallAt(clock, 10 * second), 5010 * second);
    EXPECT_EQ(wallAt(clock, 20 * second), 5015 * second);
}

TEST(SimulatedClock, RunsForYearsAtAHundredTimesTheSpeed) {
    const ClockState clock = startClock(0, 0, 0, 100000);
    EXPECT_EQ(wallAt(clock, 86400 * second), 8640000 * second);
    EXPECT_EQ(wallAt(clock, 86400 * second + 7), 8640000 * second + 700);
}

ClockState numberedClock() {
    ClockState clock{};
    clock.machineBase = 0x1112131415161718;
    clock.lineBase = 0x2122232425262728;
    clock.speedThousandths = 0x3132333435363738;
    clock.wallOffset = 0x4142434445464748;
    clock.boot = 0x5152535455565758;
    return clock;
}

// The page is one file for programs of both ABIs, so its layout is pinned to the byte.
TEST(HostState, HasTheSameLayoutForEveryAbi) {
    TemporaryDirectory directory;
    HostState state = HostState::create(directory.path() + "/state");
    state.writeClock(numberedClock());
    HostFacts facts{};
    facts.totalMBytes = 0x6162636465666768;
    std::strcpy(facts.machine, "x86_64");
    facts.addressCount = 1;
    std::strcpy(facts.addresses[0].interface, "vmk0");
    facts.addresses[0].flags = 0x71727374;
    state.writeFacts(facts);

    const std::string bytes = directory.readFile("state");
    ASSERT_EQ(bytes.size(), 16u + 48 + 8 + 352 + 512 * 32);
    EXPECT_EQ(bytes.substr(0, 8), std::string("VOKHOST\0", 8));
    EXPECT_EQ(bytes.substr(16, 4), std::string("\2\0\0\0", 4));  // written once
    EXPECT_EQ(bytes.substr(24, 8), "\x18\x17\x16\x15\x14\x13\x12\x11");
    EXPECT_EQ(bytes.substr(56, 8), "\x58\x57\x56\x55\x54\x53\x52\x51");
    EXPECT_EQ(bytes.substr(72, 8), "\x68\x67\x66\x65\x64\x63\x62\x61");
    EXPECT_EQ(bytes.substr(72 + 16 + 4 * 65, 6), "x86_64");
    EXPECT_EQ(bytes.substr(72 + 344, 4), std::string("\1\0\0\0", 4));
    EXPECT_EQ(bytes.substr(72 + 352, 4), "vmk0");
    EXPECT_EQ(bytes.substr(72 + 352 + 28, 4), "\x74\x73\x72\x71");
}

TEST(HostState, WhatOneProcessWritesAnotherReads) {
    TemporaryDirectory directory;
    HostState writer = HostState::create(directory.path() + "/state");
    std::string error;
    const HostState reader = HostState::open(directory.path() + "/state", error);
    ASSERT_TRUE(reader) << error;
    writer.writeClock(numberedClock());
    ClockState clock{};
    ASSERT_TRUE(reader.readClock(clock));
    EXPECT_EQ(clock.boot, 0x5152535455565758);
}

TEST(HostState, AReaderKeepsReadingWhenTheWriterIsReplaced) {
    TemporaryDirectory directory;
    const std::string place = directory.path() + "/state";
    std::string error;
    {
        HostState first = HostState::create(place);
        first.writeClock(startClock(0, 1, 0, 1000));
    }
    const HostState reader = HostState::open(place, error);
    HostState replaced = HostState::create(place);
    ClockState clock{};
    ASSERT_TRUE(reader.readClock(clock));
    EXPECT_EQ(clock.wallOffset, 1);
    replaced.writeClock(startClock(0, 2, 0, 1000));
    ASSERT_TRUE(reader.readClock(clock));
    EXPECT_EQ(clock.wallOffset, 2);
}

TEST(HostState, IsNeverReadHalfWritten) {
    TemporaryDirectory directory;
    HostState writer = HostState::create(directory.path() + "/state");
    writer.writeClock({0, 0, 0, 0, 0});
    std::atomic<bool> ended{false};
    std::thread thread([&] {
        for (std::int64_t i = 1; !ended; ++i) writer.writeClock({i, i, i, i, i});
    });
    int read = 0;
    for (int tries = 0; tries < 20000; ++tries) {
        ClockState clock{};
        if (!writer.readClock(clock)) continue;
        ++read;
        EXPECT_EQ(clock.machineBase, clock.boot);
        EXPECT_EQ(clock.lineBase, clock.wallOffset);
    }
    ended = true;
    thread.join();
    EXPECT_GT(read, 0);
}

TEST(HostState, AWriterThatDiedInTheMiddleHoldsNobodyUp) {
    TemporaryDirectory directory;
    const std::string place = directory.path() + "/state";
    { HostState::create(place).writeClock(numberedClock()); }
    std::fstream file(place, std::ios::in | std::ios::out | std::ios::binary);
    file.seekp(16);
    file.put(3);  // an odd number of changes: one is under way
    file.close();
    std::string error;
    const HostState reader = HostState::open(place, error);
    ClockState clock{};
    EXPECT_FALSE(reader.readClock(clock));
    HostState::create(place).writeClock(numberedClock());
    EXPECT_TRUE(reader.readClock(clock));
}

TEST(HostState, RefusesAFileThatIsNone) {
    TemporaryDirectory directory;
    std::string error;
    EXPECT_FALSE(HostState::open(directory.path() + "/none", error));
    EXPECT_NE(error.find("No such file"), std::string::npos);
    directory.writeFile("short", "VOKHOST");
    EXPECT_FALSE(HostState::open(directory.path() + "/short", error));
    directory.writeFile("other", std::string(sizeof(HostStatePage), 'x'));
    EXPECT_FALSE(HostState::open(directory.path() + "/other", error));
}

TEST(HostLock, IsHeldByOne) {
    TemporaryDirectory directory;
    const std::string place = directory.path() + "/lock";
    EXPECT_FALSE(hostIsLocked(place));
    {
        const FileDescriptor lock = lockHost(place);
        ASSERT_TRUE(lock);
        EXPECT_TRUE(hostIsLocked(place));
        EXPECT_FALSE(lockHost(place));
    }
    EXPECT_FALSE(hostIsLocked(place));
}

TEST(SummaryLog, HasStampsOfTwentyCharacters) {
    TemporaryDirectory directory;
    SummaryLog log(directory.path() + "/log");
    log.writeHistory(1794731902 * second);
    log.rebooting(1794731912 * second);
    EXPECT_EQ(directory.readFile("log"),
              "2026-10-16T08:38:22Z bootstop: Host has booted\n"
              "2026-10-16T08:38:22Z mark: storage-path-claim-completed\n"
              "2026-11-15T08:33:22Z bootstop: Host is rebooting\n"
              "2026-11-15T08:38:22Z mark: storage-path-claim-completed\n"
              "2026-11-15T08:38:22Z bootstop: Host has booted\n"
              "2026-11-15T08:38:32Z bootstop: Host is rebooting\n");
}

TEST(ByteReader, SaysWhenSomethingIsMissing) {
    const std::string bytes = ByteWriter().number(std::uint16_t{0x1234}).text("ab").bytes();
    EXPECT_EQ(bytes, std::string("\x34\x12\2\0\0\0ab", 8));
    for (std::size_t size = 0; size < bytes.size(); ++size) {
        ByteReader reader(bytes.data(), size);
        reader.number<std::uint16_t>();
        EXPECT_EQ(reader.text(), "");
        EXPECT_FALSE(reader.good()) << size;
    }
}

TEST(Packets, SurviveTheWayAndRefuseWhatIsCut) {
    IpmiMessage message;
    message.messageId = -2;
    message.netfn = 0x3A;
    message.command = 0x80;
    message.lun = 3;
    message.data = {1, 2, 3};
    const std::string bytes = message.encode();
    EXPECT_EQ(bytes, std::string("\xFE\xFF\xFF\xFF\xFF\xFF\xFF\xFF\x3A\x80\x03\x01\x02\x03", 14));
    const auto back = IpmiMessage::decode(bytes.data(), bytes.size());
    ASSERT_TRUE(back);
    EXPECT_EQ(back->messageId, -2);
    EXPECT_EQ(back->data, message.data);
    EXPECT_FALSE(IpmiMessage::decode(bytes.data(), 10));
    const std::string tooLong(11 + 273, 'x');
    EXPECT_FALSE(IpmiMessage::decode(tooLong.data(), tooLong.size()));

    ControllerPacket packet;
    packet.kind = ControllerPacketKind::closed;
    packet.descriptor = 7;
    const std::string encoded = packet.encode();
    EXPECT_EQ(ControllerPacket::decode(encoded.data(), encoded.size())->descriptor, 7u);
    EXPECT_FALSE(ControllerPacket::decode(encoded.data(), encoded.size() - 1));
    std::string unknown = encoded;
    unknown[0] = 9;
    EXPECT_FALSE(ControllerPacket::decode(unknown.data(), unknown.size()));
}

}  // namespace
}  // namespace HostStateTest
