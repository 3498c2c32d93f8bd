// Packets of any length over a local connection, and what a stranger at the other end may send instead.
#include "common/PacketSocket.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <unistd.h>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <vector>

#include "common/FileDescriptor.h"

namespace PacketSocketTest {
using namespace simhost;

namespace {

class PacketPair : public testing::Test {
protected:
    void SetUp() override {
        int pair[2];
        ASSERT_EQ(::socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, pair), 0);
        here.reset(pair[0]);
        there.reset(pair[1]);
    }
    // A message that says it comes with a file of `length` bytes, and comes with these descriptors.
    void sendFiles(std::uint32_t length, const std::vector<int>& descriptors) {
        char bytes[5] = {2};
        std::memcpy(bytes + 1, &length, sizeof(length));
        iovec piece{bytes, sizeof(bytes)};
        alignas(cmsghdr) char control[CMSG_SPACE(16 * sizeof(int))] = {};
        msghdr message{};
        message.msg_iov = &piece;
        message.msg_iovlen = 1;
        if (!descriptors.empty()) {
            message.msg_control = control;
            message.msg_controllen = CMSG_SPACE(descriptors.size() * sizeof(int));
            cmsghdr* const head = CMSG_FIRSTHDR(&message);
            head->cmsg_level = SOL_SOCKET;
            head->cmsg_type = SCM_RIGHTS;
            head->cmsg_len = CMSG_LEN(descriptors.size() * sizeof(int));
            std::memcpy(CMSG_DATA(head), descriptors.data(), descriptors.size() * sizeof(int));
        }
        ASSERT_EQ(::sendmsg(here.get(), &message, 0), 5);
    }
    int refusal(std::size_t longest = 100000) {
        errno = 0;
        return receivePacket(there.get(), longest) ? 0 : errno;
    }
    FileDescriptor here, there;
};

TEST_F(PacketPair, AreWholeAtEachLengthAroundThatOfAMessage) {
    for (const std::size_t size :
         {std::size_t{0}, std::size_t{1}, longestInMessage, longestInMessage + 1, std::size_t{5} << 20}) {
        const std::string body(size, 'b');
        ASSERT_TRUE(sendPacket(here.get(), body)) << size;
        EXPECT_TRUE(receivePacket(there.get(), std::size_t{5} << 20, MSG_PEEK) == body) << size;
        EXPECT_TRUE(receivePacket(there.get(), std::size_t{5} << 20) == body) << size;
    }
    EXPECT_EQ(receivePacket(there.get(), 10, MSG_DONTWAIT), std::nullopt);
    EXPECT_EQ(errno, EAGAIN);
    here.reset();
    EXPECT_EQ(refusal(), ENODEV);
}

TEST_F(PacketPair, BeyondTheReceiversLimitAreRefused) {
    sendPacket(here.get(), std::string(11, 'b'));
    EXPECT_EQ(refusal(10), EPROTO);
    sendPacket(here.get(), std::string(longestInMessage + 2, 'b'));
    EXPECT_EQ(refusal(longestInMessage + 1), EPROTO);
}

TEST_F(PacketPair, AFileThatCouldStillChangeIsRefused) {
    const FileDescriptor open(::memfd_create("open", MFD_CLOEXEC | MFD_ALLOW_SEALING));
    ASSERT_EQ(::ftruncate(open.get(), 50), 0);
    sendFiles(50, {open.get()});
    EXPECT_EQ(refusal(), EPROTO);
    ASSERT_EQ(::fcntl(open.get(), F_ADD_SEALS, F_SEAL_SHRINK | F_SEAL_GROW), 0);
    sendFiles(50, {open.get()});
    EXPECT_EQ(refusal(), EPROTO) << "it can be written";
    ASSERT_EQ(::fcntl(open.get(), F_ADD_SEALS, F_SEAL_WRITE), 0);
    sendFiles(49, {open.get()});
    EXPECT_EQ(refusal(), EPROTO) << "not its length";
    sendFiles(50, {open.get(), open.get()});
    EXPECT_EQ(refusal(), EPROTO) << "two files";
    sendFiles(50, {open.get(), open.get(), open.get(), open.get(), open.get(), open.get()});
    EXPECT_EQ(refusal(), EPROTO) << "more than there is room for";
    sendFiles(50, {});
    EXPECT_EQ(refusal(), EPROTO) << "none";
    sendFiles(50, {open.get()});
    EXPECT_EQ(refusal(), 0);
    const FileDescriptor null(::open("/dev/null", O_RDWR | O_CLOEXEC));
    sendFiles(0, {null.get()});
    EXPECT_EQ(refusal(), EPROTO) << "no memory file";
}

TEST_F(PacketPair, LeaveNoDescriptorOpenWhateverComesOfThem) {
    const int before = ::dup(here.get());
    ::close(before);
    const FileDescriptor null(::open("/dev/null", O_RDWR | O_CLOEXEC));
    for (int i = 0; i < 20; ++i) {
        sendFiles(1, {null.get(), null.get(), null.get()});
        refusal();
        sendPacket(here.get(), std::string(longestInMessage + 9, 'b'));
        EXPECT_TRUE(receivePacket(there.get(), 100000));
    }
    const int after = ::dup(here.get());
    ::close(after);
    EXPECT_LE(after, before + 1) << "and the one of the test";
}

}  // namespace
}  // namespace PacketSocketTest
