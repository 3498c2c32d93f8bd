// SG_IO and other ioctls on a device node of a simulated host, from the agent's end to a module's device.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <scsi/sg.h>
#include <sys/socket.h>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstring>
#include <future>
#include <thread>

#include "common/PacketSocket.h"
#include "common/UnixSocket.h"
#include "devices/DeviceMessage.h"
#include "devices/ScsiMessage.h"
#include "simhost/TestHost.h"
#include "testhost/TestIoctls.h"

namespace ScsiDeviceTest {
using namespace simhost;

namespace {

constexpr unsigned long csmiConfiguration = 0xCC770002;

class ScsiDeviceNode : public TestHost {
protected:
    ~ScsiDeviceNode() override {
        if (device >= 0) host->closeDevice(device);
    }
    void open(const std::vector<std::string>& options = {}, const std::string& description = "") {
        startTestHost(options, description);
        host = access();
        device = host->openDevice(host->path("/dev/sg9"), O_RDWR);
        ASSERT_GE(device, 0);
    }
    // SG_IO with these parts; what else the header has is left as it is. The result, and errno.
    int run(const std::string& commandBytes, int direction, std::string* data) {
        std::memcpy(command, commandBytes.data(), commandBytes.size());
        header.interface_id = 'S';
        header.cmdp = command;
        header.cmd_len = static_cast<unsigned char>(commandBytes.size());
        header.dxfer_direction = direction;
        header.dxferp = data ? data->data() : nullptr;
        header.dxfer_len = data ? static_cast<unsigned>(data->size()) : 0;
        header.sbp = sense;
        header.mx_sb_len = 32;
        header.pack_id = 77;
        errno = 0;
        return host->ioctlDevice(device, SG_IO, &header);
    }
    int read(unsigned block, unsigned blocks, std::string* data) {
        return run(tenBytes('\x28', block, blocks), SG_DXFER_FROM_DEV, data);
    }
    static std::string tenBytes(char operation, unsigned block, unsigned blocks) {
        return {operation,
                0,
                0,
                0,
                static_cast<char>(block >> 8),
                static_cast<char>(block & 0xFF),
                0,
                static_cast<char>(blocks >> 8),
                static_cast<char>(blocks & 0xFF),
                0};
    }

    std::unique_ptr<IvokHostAccess> host;
    int device = -1;
    unsigned char command[256] = {};
    unsigned char sense[256] = {};
    sg_io_hdr_t header{};
};

TEST_F(ScsiDeviceNode, DataComesInWithItsResidual) {
    open();
    std::string data(36, 'e');
    header.timeout = 60000;
    ASSERT_EQ(run(std::string("\x12\0\0\0\x24\0", 6), SG_DXFER_FROM_DEV, &data), 0);
    EXPECT_EQ(data, std::string(8, '\0') + "TESTING" + std::string(21, 'e'));
    EXPECT_EQ(header.resid, 21);
    EXPECT_EQ(header.status, 0);
    EXPECT_EQ(header.host_status, 0);
    EXPECT_EQ(header.driver_status, 0);
    EXPECT_EQ(header.sb_len_wr, 0);
    EXPECT_EQ(header.info & SG_INFO_OK_MASK, static_cast<unsigned>(SG_INFO_OK));
    EXPECT_EQ(header.pack_id, 77);
}

TEST_F(ScsiDeviceNode, ATransferOfAMebibyteGoesOutAndComesInWhole) {
    open();
    std::string written(1 << 20, '\0');
    for (std::size_t i = 0; i < written.size(); ++i) written[i] = static_cast<char>(i * 2654435761u >> 24);
    const std::string kept = written;
    ASSERT_EQ(run(tenBytes('\x2A', 3, 2048), SG_DXFER_TO_DEV, &written), 0);
    EXPECT_EQ(header.resid, 0);
    EXPECT_EQ(written, kept);
    std::string data(1 << 20, '\0');
    ASSERT_EQ(read(3, 2048, &data), 0);
    EXPECT_EQ(header.resid, 0);
    EXPECT_TRUE(data == kept);
}

TEST_F(ScsiDeviceNode, ACommandThatFailsHasItsSenseBytes) {
    open();
    std::string data(16, 'e');
    ASSERT_EQ(run(std::string(6, '\xFF'), SG_DXFER_FROM_DEV, &data), 0);
    EXPECT_EQ(header.status, 0x02);
    EXPECT_EQ(header.masked_status, 0x01);
    EXPECT_EQ(header.driver_status, 0x08);
    ASSERT_EQ(header.sb_len_wr, 8);
    EXPECT_EQ(std::string(reinterpret_cast<char*>(sense), 9), std::string("\x70\0\x05\0\0\0\0\x0A\0", 9));
    EXPECT_EQ(header.resid, 16);
    EXPECT_EQ(header.info & SG_INFO_OK_MASK, static_cast<unsigned>(SG_INFO_CHECK));
    EXPECT_EQ(data, std::string(16, 'e'));
}

TEST_F(ScsiDeviceNode, NothingIsWrittenBeyondTheCallersRoom) {
    open();
    std::string room(64, 'e');
    std::memset(sense, 0xEE, sizeof(sense));
    ASSERT_EQ(run(std::string("\xC2\0\0\0\0\0", 6), SG_DXFER_FROM_DEV, &room), 0);
    EXPECT_EQ(room, std::string(64, 'd'));
    EXPECT_EQ(header.sb_len_wr, 32);
    EXPECT_EQ(sense[31], 's');
    EXPECT_EQ(sense[32], 0xEE);
    EXPECT_EQ(header.resid, -100) << "the device's own word";
    header.dxfer_len = 0;
    ASSERT_EQ(run(std::string("\xC2\0\0\0\0\0", 6), SG_DXFER_NONE, nullptr), 0);
    EXPECT_EQ(header.sb_len_wr, 32);
}

TEST_F(ScsiDeviceNode, ACommandWithoutAnAnswerEndsAtItsTimeOutOfTheHostsTime) {
    open({"--speed", "100"});
    std::string data(16, 'e');
    header.timeout = 20000;
    const auto begin = std::chrono::steady_clock::now();
    ASSERT_EQ(run(std::string("\xC0\0\0\0\0\0", 6), SG_DXFER_FROM_DEV, &data), 0);
    const auto taken = std::chrono::steady_clock::now() - begin;
    EXPECT_GE(taken, std::chrono::milliseconds(190));
    EXPECT_EQ(header.host_status, 3);  // DID_TIME_OUT
    EXPECT_EQ(header.driver_status, 6);
    EXPECT_EQ(header.status, 0);
    EXPECT_EQ(header.resid, 16);
    EXPECT_GE(header.duration, 19990u);
    EXPECT_EQ(header.info & SG_INFO_OK_MASK, static_cast<unsigned>(SG_INFO_CHECK));
}

TEST_F(ScsiDeviceNode, AnAnswerAfterTheTimeOutIsForNobodyAndTheNextOneIsRight) {
    open({"--speed", "100"});
    std::string data(16, 'e');
    header.timeout = 10000;
    ASSERT_EQ(run(std::string("\xC1\x14\0\0\0\0", 6), SG_DXFER_FROM_DEV, &data), 0);
    EXPECT_EQ(header.host_status, 3);
    host->pause(30000000);
    header.timeout = 60000;
    ASSERT_EQ(run(std::string("\x12\0\0\0\x10\0", 6), SG_DXFER_FROM_DEV, &data), 0);
    EXPECT_EQ(data, std::string(8, '\0') + "TESTINGe");
    ASSERT_EQ(run(std::string("\xC1\x0A\0\0\0\0", 6), SG_DXFER_FROM_DEV, &data), 0);
    EXPECT_EQ(data.substr(0, 4), "late");
    EXPECT_GE(header.duration, 9990u);
}

TEST_F(ScsiDeviceNode, ARequestIsCheckedAsTheDriverDoes) {
    open();
    std::string data(16, 'e');
    const auto refusal = [&](const char* what) {
        errno = 0;
        EXPECT_EQ(host->ioctlDevice(device, SG_IO, &header), -1) << what;
        return errno;
    };
    ASSERT_EQ(run(std::string(6, '\0'), SG_DXFER_FROM_DEV, &data), 0);
    const sg_io_hdr_t good = header;
    header.interface_id = 'Q';
    EXPECT_EQ(refusal("interface"), ENOSYS);
    header = good;
    header.cmd_len = 5;
    EXPECT_EQ(refusal("a short command"), EMSGSIZE);
    header.cmd_len = 253;
    EXPECT_EQ(refusal("a long command"), EMSGSIZE);
    header = good;
    header.cmdp = nullptr;
    EXPECT_EQ(refusal("no command"), EMSGSIZE);
    header = good;
    header.dxfer_direction = 5;
    EXPECT_EQ(refusal("direction"), EINVAL);
    header = good;
    header.iovec_count = 1;
    EXPECT_EQ(refusal("scatter and gather"), EINVAL);
    header = good;
    header.dxferp = nullptr;
    EXPECT_EQ(refusal("no room"), EFAULT);
    header.dxfer_len = (8u << 20) + 1;
    EXPECT_EQ(refusal("more than 8 MiB"), ENOMEM);
    EXPECT_EQ(host->ioctlDevice(device, SG_IO, nullptr), -1);
    EXPECT_EQ(errno, EFAULT);
    EXPECT_EQ(host->ioctlDevice(device, 0x2272, &header), -1);
    EXPECT_EQ(errno, ENOTTY);
}

TEST_F(ScsiDeviceNode, AnIoctlOfABlockChangesItAndReturnsTheDevicesResult) {
    open();
    unsigned char block[24 + 8] = {};
    std::memset(block + 24, 0xEE, 8);
    block[4] = 24;  // the length of the whole
    EXPECT_EQ(host->ioctlDevice(device, csmiConfiguration, block), 7);
    EXPECT_EQ(block[23], 'X');
    EXPECT_EQ(block[24], 0xEE);
    EXPECT_EQ(host->ioctlDevice(device, csmiConfiguration + 1, block), -1);
    EXPECT_EQ(errno, ENOTTY);
    block[4] = 19;
    EXPECT_EQ(host->ioctlDevice(device, csmiConfiguration, block), -1);
    EXPECT_EQ(errno, EINVAL);
    block[7] = 0x7F;
    EXPECT_EQ(host->ioctlDevice(device, csmiConfiguration, block), -1);
    EXPECT_EQ(errno, EINVAL);
}

TEST_F(ScsiDeviceNode, AnIoctlWhoseNumberStatesItsLengthNeedsNoRowOfItsOwn) {
    open();
    std::uint32_t numbers[] = {41, 77};
    EXPECT_EQ(host->ioctlDevice(device, addOne, numbers), 0);
    EXPECT_EQ(numbers[0], 42u);
    EXPECT_EQ(host->ioctlDevice(device, keepNumber, numbers), 0);
    EXPECT_EQ(numbers[0], 42u) << "the device must not change what it only reads";
    numbers[0] = 99;
    EXPECT_EQ(host->ioctlDevice(device, askNumber, numbers), 0);
    EXPECT_EQ(numbers[0], 42u) << "the device must not read what it only changes";
    EXPECT_EQ(numbers[1], 77u);
    EXPECT_EQ(host->ioctlDevice(device, addOne, nullptr), -1);
    EXPECT_EQ(errno, EFAULT);
    EXPECT_EQ(host->ioctlDevice(device, unknownRequest, numbers), -1);
    EXPECT_EQ(errno, ENOTTY);
    EXPECT_EQ(numbers[0], 42u);
}

TEST_F(ScsiDeviceNode, ADeviceThatIsPulledOutIsGoneAlsoForWhoHasItOpen) {
    open();
    std::string data(16, 'e');
    hostControl({"test-disk", "pull"});
    EXPECT_EQ(read(0, 1, &data), -1);
    EXPECT_EQ(errno, ENODEV);
    EXPECT_EQ(host->openDevice(host->path("/dev/sg9"), O_RDWR), -1);
    EXPECT_EQ(errno, ENOENT);
    hostControl({"test-disk", "plug"});
    EXPECT_EQ(read(0, 1, &data), -1) << "the old opening stays useless";
    host->closeDevice(device);
    device = host->openDevice(host->path("/dev/sg9"), O_RDWR);
    ASSERT_GE(device, 0);
    EXPECT_EQ(read(0, 1, &data), 0);
}

TEST_F(ScsiDeviceNode, WhatIsOpenIsClosedWhenTheHostReboots) {
    open();
    std::string data(16, 'e');
    hostControl({"reboot"});
    EXPECT_EQ(hostState()["testDisk"]["open"].asInt(), 0);
    EXPECT_EQ(read(0, 1, &data), -1);
    EXPECT_EQ(errno, ENODEV);
    host->closeDevice(device);
    device = host->openDevice(host->path("/dev/sg9"), O_RDWR);
    ASSERT_GE(device, 0);
    EXPECT_EQ(read(0, 1, &data), 0);
}

TEST_F(ScsiDeviceNode, ADeviceThatVanishesInTheMiddleOfACommandEndsIt) {
    open();
    std::string data(16, 'e');
    EXPECT_EQ(run(std::string("\xC3\0\0\0\0\0", 6), SG_DXFER_FROM_DEV, &data), -1);
    EXPECT_EQ(errno, ENODEV);
}

TEST_F(ScsiDeviceNode, AHostThatIsKilledInTheMiddleOfACommandEndsIt) {
    open();
    std::string data(16, 'e');
    header.timeout = 0xFFFFFFFF;  // none
    auto ended = std::async(std::launch::async, [&] {
        const int result = run(std::string("\xC0\0\0\0\0\0", 6), SG_DXFER_FROM_DEV, &data);
        return std::pair(result, errno);
    });
    hostControl({"show"});  // a turn of the host's loop
    hostProgram.end(SIGKILL);
    EXPECT_EQ(ended.get(), std::pair(-1, ENODEV));
    EXPECT_EQ(host->openDevice(host->path("/dev/sg9"), O_RDWR), -1);
    EXPECT_EQ(errno, ENXIO);
}

TEST_F(ScsiDeviceNode, ThreadsThatShareADescriptorGetEachItsOwnReply) {
    open();
    std::vector<std::future<bool>> threads;
    for (unsigned block = 0; block < 4; ++block) {
        std::string content(512, static_cast<char>('a' + block));
        ASSERT_EQ(run(tenBytes('\x2A', block, 1), SG_DXFER_TO_DEV, &content), 0);
    }
    for (unsigned block = 0; block < 4; ++block)
        threads.push_back(std::async(std::launch::async, [&, block] {
            for (int i = 0; i < 50; ++i) {
                std::string data(512, '\0');
                const std::string bytes = tenBytes('\x28', block, 1);
                sg_io_hdr_t own{};
                own.interface_id = 'S';
                own.cmdp = reinterpret_cast<unsigned char*>(const_cast<char*>(bytes.data()));
                own.cmd_len = 10;
                own.dxfer_direction = SG_DXFER_FROM_DEV;
                own.dxferp = data.data();
                own.dxfer_len = 512;
                if (host->ioctlDevice(device, SG_IO, &own) != 0) return false;
                if (data != std::string(512, static_cast<char>('a' + block))) return false;
            }
            return true;
        }));
    for (auto& each : threads) EXPECT_TRUE(each.get());
}

TEST_F(ScsiDeviceNode, ADescriptorThatDoesNotBlockIsWaitedForAllTheSame) {
    open();
    host->closeDevice(device);
    device = host->openDevice(host->path("/dev/sg9"), O_RDWR | O_NONBLOCK);
    std::string data(1 << 20, '\0');
    EXPECT_EQ(read(0, 2048, &data), 0);
    EXPECT_EQ(header.resid, 0);
}

// --- the form ---

TEST(DeviceForm, IsPinnedToTheByte) {
    EXPECT_EQ((DeviceMessage{0x11121314, DeviceKind::scsi, 0x16, "ab"}.encode()),
              std::string("\x14\x13\x12\x11\x02\x16\0\0\0ab", 11));
    ScsiRequest request;
    request.command = std::string("\x12\0\0\0\x24\0", 6);
    request.direction = ScsiDirection::fromDevice;
    request.timeout = 60000;
    request.room = 36;
    request.senseRoom = 32;
    EXPECT_EQ(request.encode(),
              std::string("\x06\0\0\0\x12\0\0\0\x24\0\x01\x60\xEA\0\0\x24\0\0\0\x20\0\0\0\0", 24));
    ScsiReply reply;
    reply.status = 2;
    reply.hostStatus = 0x0304;
    reply.driverStatus = 8;
    reply.duration = 0x11;
    reply.residual = -2;
    reply.sense = "s";
    reply.data = "dd";
    EXPECT_EQ(reply.encode(), std::string("\x02\x04\x03\x08\0\x11\0\0\0\xFE\xFF\xFF\xFF\x01\0\0\0s\x02\0\0\0"
                                          "dd",
                                          24));
}

TEST(DeviceForm, WhatIsCutOrTooLongIsNoRequest) {
    ScsiRequest request;
    request.command = "sixsix";
    request.data = "data";
    const std::string whole = request.encode();
    ASSERT_TRUE(ScsiRequest::decode(whole));
    for (std::size_t size = 0; size < whole.size(); ++size)
        EXPECT_FALSE(ScsiRequest::decode(whole.substr(0, size))) << size;
    EXPECT_FALSE(ScsiRequest::decode(whole + "x"));
    request.room = (8u << 20) + 1;
    EXPECT_FALSE(ScsiRequest::decode(request.encode()));
    request.room = 0;
    request.command = "five5";
    EXPECT_FALSE(ScsiRequest::decode(request.encode()));
    const std::string reply = ScsiReply().encode();
    for (std::size_t size = 0; size < reply.size(); ++size)
        EXPECT_FALSE(ScsiReply::decode(reply.substr(0, size))) << size;
}

// --- who is not the host-access module ---

TEST_F(ScsiDeviceNode, WhatIsNoMessageCostsItsSenderTheConnectionAndNobodyElse) {
    open();
    const std::string request = DeviceMessage{1, DeviceKind::scsi, 0, "no request"}.encode();
    for (const std::string& bytes :
         {std::string("x"), std::string(), std::string("\x01\0\0\0\0\x09\0\0\0\0", 10),
          std::string("\x02\x10\0\0\0", 5), std::string("\x03 what", 6)}) {
        const FileDescriptor stranger = connectTo(root() + "/dev/sg9", SOCK_SEQPACKET);
        ::send(stranger.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL);
        char answer[64];
        EXPECT_LE(::recv(stranger.get(), answer, sizeof(answer), 0), 0);
    }
    const FileDescriptor stranger = connectTo(root() + "/dev/sg9", SOCK_SEQPACKET);
    ASSERT_TRUE(sendPacket(stranger.get(), request));
    const auto reply = receivePacket(stranger.get(), 1000);
    ASSERT_TRUE(reply);
    EXPECT_EQ(DeviceMessage::decode(*reply)->error, static_cast<std::uint32_t>(EINVAL));
    std::string data(16, 'e');
    EXPECT_EQ(read(0, 1, &data), 0);
}

TEST_F(ScsiDeviceNode, AUserThatTakesNoReplyInIsDisconnected) {
    open();
    const FileDescriptor stranger = connectTo(root() + "/dev/sg9", SOCK_SEQPACKET);
    ScsiRequest request;
    request.command = tenBytes('\x28', 0, 2048);
    request.direction = ScsiDirection::fromDevice;
    request.room = 1 << 20;
    const std::string packet = DeviceMessage{1, DeviceKind::scsi, 0, request.encode()}.encode();
    int sent = 0;
    while (sent < 2000 && sendPacket(stranger.get(), packet)) ++sent;
    EXPECT_LT(sent, 2000);
    std::string data(16, 'e');
    EXPECT_EQ(read(0, 1, &data), 0);
}

}  // namespace
}  // namespace ScsiDeviceTest
