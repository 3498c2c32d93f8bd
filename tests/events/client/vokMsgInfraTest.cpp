#include "events/client/vokMsgInfra.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>
#include <cstring>
#include <thread>

#include "events/EventsFixture.h"
#include "events/vokDelivery.h"

namespace vokMsgInfraTest {
namespace {

using ::testing::Each;
using ::testing::HasSubstr;
using ::testing::SizeIs;

constexpr char pipePath[] = "/var/run/some";

class vokMsgInfraTest : public EventsFixture {
protected:
    vokOwnedDescriptor openPipe(int flags) {
        return vokOwnedDescriptor(::open(hostPath(pipePath).c_str(), flags));
    }
    mode_t modeOf(const char* path) {
        struct stat status {};
        EXPECT_EQ(::lstat(hostPath(path).c_str(), &status), 0);
        return status.st_mode;
    }
    int debugLines(const std::string& message) { return count(debugLog(), "DEBUG VOK_MSGINFRA", message); }
};

_VOK_MESSAGE_PACKET numbered() {
    _VOK_MESSAGE_PACKET packet{};
    std::memset(&packet, 0x5A, sizeof(packet));
    packet.header.kind = 1;
    packet.header.messageCode = 0x0102;
    packet.header.size = 0x11223344;
    packet.clientPID = -2;
    packet.options = 0x55667788;
    packet.payload[0] = 'p';
    return packet;
}

TEST(_VOK_MESSAGE_PACKET, EachFieldLiesAtItsOffsetInLittleEndianOrder) {
    const _VOK_MESSAGE_PACKET packet = numbered();
    unsigned char bytes[4096];
    static_assert(sizeof(packet) == sizeof(bytes));
    std::memcpy(bytes, &packet, sizeof(bytes));
    EXPECT_EQ(bytes[0], 1);
    EXPECT_EQ(bytes[3], 0x02);
    EXPECT_EQ(bytes[4], 0x01);
    EXPECT_EQ(bytes[5], 0x44);
    EXPECT_EQ(bytes[8], 0x11);
    EXPECT_EQ(bytes[9], 0xFE);
    EXPECT_EQ(bytes[12], 0xFF);
    EXPECT_EQ(bytes[13], 0x88);
    EXPECT_EQ(bytes[16], 0x55);
    EXPECT_EQ(bytes[17], 'p');
    for (const int unused : {1, 2, 18, 4095}) EXPECT_EQ(bytes[unused], 0x5A) << unused;
}

TEST_F(vokMsgInfraTest, APipeIsCreatedForItsOwnerOnly) {
    ::umask(0);
    EXPECT_TRUE(vokCreatePipe(pipePath));
    EXPECT_TRUE(S_ISFIFO(modeOf(pipePath)));
    EXPECT_EQ(modeOf(pipePath) & 07777, mode_t{0600});
    EXPECT_EQ(debugLines("Creation of Pipe /var/run/some is successfull."), 1);
}

TEST_F(vokMsgInfraTest, AnExistingPipeIsNotCreatedAgain) {
    EXPECT_TRUE(vokCreatePipe(pipePath));
    EXPECT_FALSE(vokCreatePipe(pipePath));
    EXPECT_EQ(debugLines("Creation of Pipe /var/run/some failed."), 1);
    EXPECT_TRUE(S_ISFIFO(modeOf(pipePath)));
}

TEST_F(vokMsgInfraTest, APipeInAMissingDirectoryIsNotCreated) {
    EXPECT_FALSE(vokCreatePipe("/nowhere/pipe"));
    EXPECT_EQ(debugLines("Creation of Pipe /nowhere/pipe failed."), 1);
}

TEST_F(vokMsgInfraTest, APacketArrivesAsItWasWritten) {
    ASSERT_TRUE(vokCreatePipe(pipePath));
    _VOK_MESSAGE_PACKET sent = numbered();
    _VOK_MESSAGE_PACKET got{};
    bool read = false;
    // Opening for reading waits for the writer, and the writer's attempts for the reader.
    clock.onPause = [](unsigned long) { std::this_thread::sleep_for(std::chrono::milliseconds(1)); };
    std::thread reader([&] { read = vokReadPipe(pipePath, &got); });
    while (!vokWritePipe(pipePath, &sent)) {
    }
    reader.join();
    EXPECT_TRUE(read);
    EXPECT_EQ(std::memcmp(&sent, &got, sizeof(sent)), 0);
    EXPECT_THAT(debugLog(), HasSubstr(" VOK_MSGINFRA: readFd = "));
    EXPECT_THAT(debugLog(), HasSubstr(" VOK_MSGINFRA: writeFd = "));
    EXPECT_EQ(debugLines("4096 bytes written on pipe =/var/run/some"), 1);
}

TEST_F(vokMsgInfraTest, AShortPacketIsPaddedWithZeros) {
    ASSERT_TRUE(vokCreatePipe(pipePath));
    std::thread writer([&] {
        const vokOwnedDescriptor pipe = openPipe(O_WRONLY);
        ASSERT_EQ(::write(pipe.get(), "\x09xx", 3), 3);
    });
    _VOK_MESSAGE_PACKET got = numbered();
    EXPECT_TRUE(vokReadPipe(pipePath, &got));
    writer.join();
    EXPECT_EQ(got.header.kind, 9);
    EXPECT_EQ(got.clientPID, 0);
    EXPECT_THAT(std::string(got.payload, sizeof(got.payload)), Each('\0'));
}

TEST_F(vokMsgInfraTest, AWriterThatClosesWithoutWritingIsNoPacket) {
    ASSERT_TRUE(vokCreatePipe(pipePath));
    std::thread writer([&] { openPipe(O_WRONLY); });
    _VOK_MESSAGE_PACKET got{};
    EXPECT_FALSE(vokReadPipe(pipePath, &got));
    writer.join();
}

TEST_F(vokMsgInfraTest, AMissingPipeCanNeitherBeReadNorWritten) {
    _VOK_MESSAGE_PACKET packet = numbered();
    EXPECT_FALSE(vokReadPipe(pipePath, &packet));
    EXPECT_EQ(packet.header.kind, 1);
    EXPECT_EQ(debugLines("readFd = -1.\n"), 1);
    EXPECT_EQ(debugLines("vokReadPipe:Open of /var/run/some failed while reading."), 1);
    EXPECT_FALSE(vokWritePipe(pipePath, &packet));
    EXPECT_EQ(debugLines("writeFd = -1.\n"), 1);
    EXPECT_EQ(debugLines("vokWritePipe: Open of /var/run/some failed while writing."), 1);
    EXPECT_THAT(clock.pauses(), SizeIs(0));
}

TEST_F(vokMsgInfraTest, AFileInsteadOfAPipeIsNeitherReadNorWritten) {
    host.root.writeFile(pipePath, "keep me");
    _VOK_MESSAGE_PACKET packet = numbered();
    EXPECT_FALSE(vokWritePipe(pipePath, &packet));
    EXPECT_FALSE(vokReadPipe(pipePath, &packet));
    EXPECT_EQ(host.root.readFile(pipePath), "keep me");
}

TEST_F(vokMsgInfraTest, ALinkInsteadOfAPipeIsNotFollowed) {
    ASSERT_TRUE(vokCreatePipe("/var/run/other"));
    const vokOwnedDescriptor other(::open(hostPath("/var/run/other").c_str(), O_RDWR | O_NONBLOCK));
    ASSERT_EQ(::symlink(hostPath("/var/run/other").c_str(), hostPath(pipePath).c_str()), 0);
    _VOK_MESSAGE_PACKET packet = numbered();
    EXPECT_FALSE(vokWritePipe(pipePath, &packet));
    EXPECT_FALSE(vokReadPipe(pipePath, &packet));
    char byte = 0;
    EXPECT_EQ(::read(other.get(), &byte, 1), -1);
}

TEST_F(vokMsgInfraTest, AReaderMayOpenItsPipeUpToTwoSecondsLate) {
    ASSERT_TRUE(vokCreatePipe(pipePath));
    vokOwnedDescriptor reader;
    int pauses = 0;
    clock.onPause = [&](unsigned long) {
        if (++pauses == 199) reader = openPipe(O_RDONLY | O_NONBLOCK);
    };
    _VOK_MESSAGE_PACKET packet = numbered();
    EXPECT_TRUE(vokWritePipe(pipePath, &packet));
    EXPECT_EQ(clock.pauses(), std::vector<unsigned long>(199, 10000));
}

TEST_F(vokMsgInfraTest, TheWaitForAReaderThatNeverOpensIsAbandoned) {
    ASSERT_TRUE(vokCreatePipe(pipePath));
    _VOK_MESSAGE_PACKET packet = numbered();
    EXPECT_FALSE(vokWritePipe(pipePath, &packet));
    EXPECT_EQ(clock.pauses(), std::vector<unsigned long>(199, 10000));
    EXPECT_EQ(debugLines("vokWritePipe: Open of /var/run/some failed while writing."), 1);
}

TEST_F(vokMsgInfraTest, TheWaitForRoomInAFullPipeIsAbandoned) {
    ASSERT_TRUE(vokCreatePipe(pipePath));
    const vokOwnedDescriptor reader = openPipe(O_RDONLY | O_NONBLOCK);
    const vokOwnedDescriptor writer = openPipe(O_WRONLY | O_NONBLOCK);
    const char filling[4096] = {};
    while (::write(writer.get(), filling, sizeof(filling)) > 0) {
    }
    _VOK_MESSAGE_PACKET packet = numbered();
    EXPECT_FALSE(vokWritePipe(pipePath, &packet));
    EXPECT_EQ(clock.pauses(), std::vector<unsigned long>(199, 10000));
    EXPECT_EQ(debugLines("-1 bytes written on pipe =/var/run/some"), 1);
}

TEST_F(vokMsgInfraTest, WaitsAreAbandonedAtOnceWhenTheServerStops) {
    ASSERT_TRUE(vokCreatePipe(pipePath));
    clock.onPause = [](unsigned long) { vokAbandonPipeWaits(true); };
    _VOK_MESSAGE_PACKET packet = numbered();
    EXPECT_FALSE(vokWritePipe(pipePath, &packet));
    EXPECT_THAT(clock.pauses(), SizeIs(1));
}

TEST_F(vokMsgInfraTest, AReaderThatClosesBeforeTheWriteFailsOnlyTheWrite) {
    ASSERT_TRUE(vokCreatePipe(pipePath));
    vokOwnedDescriptor reader = openPipe(O_RDONLY | O_NONBLOCK);
    const vokOwnedDescriptor writer = openPipe(O_WRONLY | O_NONBLOCK);
    const char filling[4096] = {};
    while (::write(writer.get(), filling, sizeof(filling)) > 0) {
    }
    clock.onPause = [&](unsigned long) { reader.reset(); };  // the next attempt meets a broken pipe
    _VOK_MESSAGE_PACKET packet = numbered();
    EXPECT_FALSE(vokWritePipe(pipePath, &packet));
    EXPECT_THAT(clock.pauses(), SizeIs(1));
    sigset_t signals;
    ASSERT_EQ(::sigpending(&signals), 0);
    EXPECT_EQ(::sigismember(&signals, SIGPIPE), 0);
    ASSERT_EQ(::pthread_sigmask(SIG_BLOCK, nullptr, &signals), 0);
    EXPECT_EQ(::sigismember(&signals, SIGPIPE), 0);
}

TEST_F(vokMsgInfraTest, AResponseIsZeroExceptForItsKindItsSizeAndTheStatus) {
    TestClient client(host, 4711);
    client.makePipe();
    sendResponseToClient(4711, 0x01020304);
    std::string expected(4096, '\0');
    expected[0] = 9;
    expected[5] = 8;
    expected[17] = 4;
    expected[18] = 3;
    expected[19] = 2;
    expected[20] = 1;
    EXPECT_EQ(client.answer(), expected);
    EXPECT_EQ(debugLines("Writing to the response named pipe."), 1);
    EXPECT_EQ(debugLines("4096 bytes written on pipe =/var/run/mevvokcli4711"), 1);
}

TEST_F(vokMsgInfraTest, ADeliveryFollowsTheStatusAsItsKindAndItsText) {
    TestClient client(host, 4711);
    client.makePipe();
    const vokDelivery delivery{vokDeliveryKind::unconfirmed, "why"};
    sendResponseToClient(4711, 1, &delivery);
    std::string expected(4096, '\0');
    expected[0] = 9;
    expected[5] = 8;
    expected[17] = 1;
    expected[21] = 2;
    expected.replace(22, 3, "why");
    EXPECT_EQ(client.answer(), expected);
}

TEST_F(vokMsgInfraTest, ALongDeliveryTextIsCutAndTerminated) {
    TestClient client(host, 4711);
    client.makePipe();
    const vokDelivery delivery{vokDeliveryKind::refused, std::string(5000, 't')};
    sendResponseToClient(4711, 0, &delivery);
    const std::string answer = client.answer();
    EXPECT_EQ(answer.substr(21, 501), "\x03" + std::string(499, 't') + std::string(1, '\0'));
    EXPECT_EQ(answer.find_first_not_of('\0', 522), std::string::npos);
}

TEST(vokDeliveryKind, TheNumbersOfTheProtocolAreFixed) {
    EXPECT_EQ(static_cast<int>(vokDeliveryKind::unknown), 0);
    EXPECT_EQ(static_cast<int>(vokDeliveryKind::accepted), 1);
    EXPECT_EQ(static_cast<int>(vokDeliveryKind::unconfirmed), 2);
    EXPECT_EQ(static_cast<int>(vokDeliveryKind::refused), 3);
    EXPECT_EQ(static_cast<int>(vokDeliveryKind::noAnswer), 4);
    EXPECT_EQ(static_cast<int>(vokDeliveryKind::notSent), 5);
    EXPECT_EQ(static_cast<int>(vokDeliveryKind::dropped), 6);
    EXPECT_EQ(static_cast<int>(vokDeliveryKind::invalid), 7);
}

TEST_F(vokMsgInfraTest, AnyProcessIdIsUsedEvenOneThatNoProcessHas) {
    for (const int id : {0, -1}) {
        TestClient client(host, id);
        client.makePipe();
        sendResponseToClient(id, 1);
        EXPECT_EQ(client.status(), 1) << id;
    }
    EXPECT_EQ(debugLines("4096 bytes written on pipe =/var/run/mevvokcli0"), 1);
    EXPECT_EQ(debugLines("4096 bytes written on pipe =/var/run/mevvokcli-1"), 1);
}

TEST_F(vokMsgInfraTest, TheLargestAndTheSmallestProcessIdAreWrittenInFull) {
    sendResponseToClient(2147483647, 0);
    sendResponseToClient(-2147483647 - 1, 0);
    EXPECT_EQ(debugLines("Writing to the response named pipe."), 2);
    EXPECT_EQ(debugLines("vokWritePipe: Open of /var/run/mevvokcli2147483647 failed while writing."), 1);
    EXPECT_EQ(debugLines("vokWritePipe: Open of /var/run/mevvokcli-2147483648 failed while writing."), 1);
    EXPECT_THAT(clock.pauses(), SizeIs(0));
}

}  // namespace
}  // namespace vokMsgInfraTest
