#include <fcntl.h>
#include <gtest/gtest.h>
#include <cstdint>

#include "storage/scsi/ScsiDisk.h"
#include "storage/scsi/scsi_info.h"

namespace scsi_infoCsmiTest {
namespace {

constexpr char path[] = "/dev/mpt2ctl";

// The control node of a driver: keeps what it was sent, and answers with ones after the header.
class ControlNode : public FakeDevice {
public:
    ControlNode(std::string node, std::size_t size) : FakeDevice(std::move(node)), bufferSize(size) {}

    int control(unsigned long sent, void* argument) override {
        request = sent;
        auto* const bytes = static_cast<unsigned char*>(argument);
        buffer.assign(bytes, bytes + bufferSize);
        if (error != 0) {
            errno = error;
            return -1;
        }
        std::fill(bytes + 20, bytes + bufferSize, static_cast<unsigned char>(1));
        return 0;
    }

    std::size_t bufferSize;
    int error = 0;
    unsigned long request = 0;
    FakeScsiBytes buffer;
};

class ScsiCsmi : public testing::Test {
protected:
    ControlNode& nodeFor(std::size_t size) { return host.add<ControlNode>(path, size); }

    // The header of a first call with this length, and the payload after it.
    static FakeScsiBytes sent(std::size_t size, unsigned length, const FakeScsiBytes& payload = {},
                              unsigned char controller = 0) {
        FakeScsiBytes bytes(size);
        bytes[0] = controller;
        bytes[4] = static_cast<unsigned char>(length & 0xFF);
        bytes[5] = static_cast<unsigned char>(length >> 8);
        bytes[12] = 60;
        std::copy(payload.begin(), payload.end(), bytes.begin() + 20);
        return bytes;
    }

    FakeHost host;
};

TEST_F(ScsiCsmi, TheConfigurationIsRequestedAndReturned) {
    const ControlNode& node = nodeFor(16384);
    const FakeScsiBytes reply = takenBytes(SasGetHbaConfig(0, path), 16384);
    EXPECT_EQ(node.request, 0xCC770002ul);
    EXPECT_EQ(node.buffer, sent(16384, 180));
    ASSERT_EQ(reply.size(), 16384u);
    EXPECT_EQ(reply[12], 60);
    EXPECT_EQ(reply[20], 1);
    EXPECT_EQ(reply.back(), 1);
    EXPECT_EQ(node.openDescriptors(), 0);
}

TEST_F(ScsiCsmi, TheAddressIsInTheFirstEightBytesOfThePayload) {
    const ControlNode& node = nodeFor(16384);
    const FakeScsiBytes reply = takenBytes(SasGetScsiAddress(0, path, "500056B3a1c0d0Ef"), 16384);
    EXPECT_EQ(node.request, 0xCC770021ul);
    EXPECT_EQ(node.buffer, sent(16384, 20, {0x50, 0x00, 0x56, 0xB3, 0xA1, 0xC0, 0xD0, 0xEF}));
    EXPECT_EQ(reply.size(), 16384u);
    EXPECT_EQ(node.openDescriptors(), 0);
}

TEST_F(ScsiCsmi, AnAddressThatIsNotHexadecimalEndsThere) {
    const ControlNode& node = nodeFor(16384);
    EXPECT_FALSE(takenBytes(SasGetScsiAddress(0, path, "5000z"), 16384).empty());
    EXPECT_EQ(node.buffer, sent(16384, 20, {0x50}));
    EXPECT_FALSE(takenBytes(SasGetScsiAddress(0, path, nullptr), 16384).empty());
    EXPECT_EQ(node.buffer, sent(16384, 20));
}

TEST_F(ScsiCsmi, TheConnectorsAreRequestedAndReturned) {
    const ControlNode& node = nodeFor(16384);
    EXPECT_EQ(takenBytes(SasGetHbaConnector(0, path), 16384).size(), 16384u);
    EXPECT_EQ(node.request, 0xCC770024ul);
    EXPECT_EQ(node.buffer, sent(16384, 1152));
    EXPECT_EQ(node.openDescriptors(), 0);
}

TEST_F(ScsiCsmi, ALocationIsRequestedByFourIdentifiers) {
    const ControlNode& node = nodeFor(24508);
    EXPECT_EQ(SasGetLocation(0, path, 1, 2, 3, 4), 1);
    EXPECT_EQ(node.request, 0xCC770025ul);
    EXPECT_EQ(node.buffer, sent(24508, 24488, {1, 2, 3, 4, 0x60}));
    EXPECT_EQ(node.openDescriptors(), 0);
}

TEST_F(ScsiCsmi, EachCallCountsControllersFromTheFirstThatItWasGiven) {
    const ControlNode& node = nodeFor(16384);
    EXPECT_EQ(takenBytes(SasGetHbaConfig(3, path), 16384).size(), 16384u);
    EXPECT_EQ(node.buffer, sent(16384, 180, {}, 0));
    EXPECT_EQ(takenBytes(SasGetHbaConfig(5, path), 16384).size(), 16384u);
    EXPECT_EQ(node.buffer, sent(16384, 180, {}, 2));
    EXPECT_EQ(takenBytes(SasGetHbaConfig(3, path), 16384).size(), 16384u);
    EXPECT_EQ(node.buffer, sent(16384, 180, {}, 0));
    // The others have a first controller of their own.
    EXPECT_EQ(takenBytes(SasGetHbaConnector(7, path), 16384).size(), 16384u);
    EXPECT_EQ(node.buffer, sent(16384, 1152, {}, 0));
    EXPECT_EQ(takenBytes(SasGetHbaConnector(8, path), 16384).size(), 16384u);
    EXPECT_EQ(node.buffer, sent(16384, 1152, {}, 1));
    EXPECT_EQ(takenBytes(SasGetScsiAddress(9, path, ""), 16384).size(), 16384u);
    EXPECT_EQ(node.buffer, sent(16384, 20, {}, 0));
    EXPECT_EQ(takenBytes(SasGetScsiAddress(10, path, ""), 16384).size(), 16384u);
    EXPECT_EQ(node.buffer, sent(16384, 20, {}, 1));
}

TEST_F(ScsiCsmi, TheFirstControllerOfALocationIsItsOwnAndALowerOneIsNegative) {
    const ControlNode& node = nodeFor(24508);
    EXPECT_EQ(SasGetLocation(6, path, 0, 0, 0, 0), 1);
    EXPECT_EQ(node.buffer, sent(24508, 24488, {0, 0, 0, 0, 0x60}, 0));
    EXPECT_EQ(SasGetLocation(5, path, 0, 0, 0, 0), 1);
    EXPECT_EQ(FakeScsiBytes(node.buffer.begin(), node.buffer.begin() + 4), FakeScsiBytes(4, 0xFF));
}

TEST_F(ScsiCsmi, ANodeThatCanNotBeOpenedIsAFailure) {
    EXPECT_EQ(SasGetHbaConfig(0, path), nullptr);
    EXPECT_EQ(SasGetScsiAddress(0, path, ""), nullptr);
    EXPECT_EQ(SasGetHbaConnector(0, path), nullptr);
    EXPECT_EQ(SasGetLocation(0, path, 0, 0, 0, 0), 0);
    EXPECT_EQ(SasGetLocation(0, nullptr, 0, 0, 0, 0), 0);
}

TEST_F(ScsiCsmi, AFailedRequestIsAFailureAndClosesTheNode) {
    ControlNode& node = nodeFor(16384);
    node.error = ENOTTY;
    EXPECT_EQ(SasGetHbaConfig(0, path), nullptr);
    EXPECT_EQ(SasGetScsiAddress(0, path, ""), nullptr);
    EXPECT_EQ(SasGetHbaConnector(0, path), nullptr);
    EXPECT_EQ(SasGetLocation(0, path, 0, 0, 0, 0), 0);
    EXPECT_EQ(node.opens(), 4);
    EXPECT_EQ(node.openDescriptors(), 0);
}

}  // namespace
}  // namespace scsi_infoCsmiTest
