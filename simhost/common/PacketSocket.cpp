#include "common/PacketSocket.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <algorithm>
#include <cerrno>
#include <cstring>
#include <vector>

#include "common/ByteCodec.h"
#include "common/FileDescriptor.h"

namespace simhost {

namespace {

enum Form : std::uint8_t { inMessage = 1, inFile = 2 };

constexpr int seals = F_SEAL_SHRINK | F_SEAL_GROW | F_SEAL_WRITE;
constexpr std::size_t mostDescriptors = 4;  // that a message may carry; one is in order

// A control buffer of a message, aligned as its head needs it.
union DescriptorRoom {
    cmsghdr head;
    char bytes[CMSG_SPACE(mostDescriptors * sizeof(int))];
};

bool writeAll(int file, const std::string& bytes) {
    std::size_t written = 0;
    while (written < bytes.size()) {
        const ssize_t count = ::write(file, bytes.data() + written, bytes.size() - written);
        if (count < 0 && errno == EINTR) continue;
        if (count <= 0) return false;
        written += static_cast<std::size_t>(count);
    }
    return true;
}

FileDescriptor sealedFile(const std::string& body) {
    FileDescriptor file(::memfd_create("vok-packet", MFD_CLOEXEC | MFD_ALLOW_SEALING));
    if (!file || !writeAll(file.get(), body) || ::fcntl(file.get(), F_ADD_SEALS, seals | F_SEAL_SEAL) != 0)
        return {};
    return file;
}

bool sendMessage(int socket, const std::string& bytes, int descriptor, int flags) {
    iovec piece{const_cast<char*>(bytes.data()), bytes.size()};
    DescriptorRoom room{};
    msghdr message{};
    message.msg_iov = &piece;
    message.msg_iovlen = 1;
    if (descriptor >= 0) {
        message.msg_control = room.bytes;
        message.msg_controllen = CMSG_SPACE(sizeof(int));
        cmsghdr* const head = CMSG_FIRSTHDR(&message);
        head->cmsg_level = SOL_SOCKET;
        head->cmsg_type = SCM_RIGHTS;
        head->cmsg_len = CMSG_LEN(sizeof(int));
        std::memcpy(CMSG_DATA(head), &descriptor, sizeof(int));
    }
    ssize_t sent = 0;
    do {
        sent = ::sendmsg(socket, &message, flags | MSG_NOSIGNAL);
    } while (sent < 0 && errno == EINTR);
    return sent >= 0;
}

// Owns every descriptor that came, whether it was wanted or not.
std::vector<FileDescriptor> takeDescriptors(msghdr& message) {
    std::vector<FileDescriptor> taken;
    for (cmsghdr* head = CMSG_FIRSTHDR(&message); head; head = CMSG_NXTHDR(&message, head)) {
        if (head->cmsg_level != SOL_SOCKET || head->cmsg_type != SCM_RIGHTS) continue;
        const std::size_t count = (head->cmsg_len - CMSG_LEN(0)) / sizeof(int);
        for (std::size_t i = 0; i < count; ++i) {
            int descriptor = -1;
            std::memcpy(&descriptor, CMSG_DATA(head) + i * sizeof(int), sizeof(int));
            taken.emplace_back(descriptor);
        }
    }
    return taken;
}

std::optional<std::string> refuse(int reason) {
    errno = reason;
    return std::nullopt;
}

std::optional<std::string> readFile(const FileDescriptor& file, std::size_t length) {
    struct stat status {};
    const int has = ::fcntl(file.get(), F_GET_SEALS);
    if (has < 0 || (has & seals) != seals || ::fstat(file.get(), &status) != 0 ||
        status.st_size != static_cast<off_t>(length))
        return refuse(EPROTO);
    std::string body(length, '\0');
    std::size_t at = 0;
    while (at < length) {
        const ssize_t count = ::pread(file.get(), body.data() + at, length - at, static_cast<off_t>(at));
        if (count < 0 && errno == EINTR) continue;
        if (count <= 0) return refuse(EPROTO);
        at += static_cast<std::size_t>(count);
    }
    return body;
}

}  // namespace

bool sendPacket(int socket, const std::string& body, int flags) {
    if (body.size() <= longestInMessage)
        return sendMessage(socket, ByteWriter().number(std::uint8_t{inMessage}).bytes() + body, -1, flags);
    const FileDescriptor file = sealedFile(body);
    if (!file) return false;
    const std::string head =
        ByteWriter().number(std::uint8_t{inFile}).number(static_cast<std::uint32_t>(body.size())).bytes();
    return sendMessage(socket, head, file.get(), flags);
}

std::optional<std::string> receivePacket(int socket, std::size_t longest, int flags) {
    std::string bytes(1 + longestInMessage, '\0');
    iovec piece{bytes.data(), bytes.size()};
    DescriptorRoom room{};
    msghdr message{};
    message.msg_iov = &piece;
    message.msg_iovlen = 1;
    message.msg_control = room.bytes;
    message.msg_controllen = sizeof(room.bytes);
    ssize_t size = 0;
    do {
        size = ::recvmsg(socket, &message, flags | MSG_CMSG_CLOEXEC);
    } while (size < 0 && errno == EINTR);
    if (size < 0) return refuse(errno == ECONNRESET ? ENODEV : errno);
    const std::vector<FileDescriptor> files = takeDescriptors(message);
    if (size == 0) return refuse(ENODEV);
    if (message.msg_flags & (MSG_TRUNC | MSG_CTRUNC)) return refuse(EPROTO);
    bytes.resize(static_cast<std::size_t>(size));

    ByteReader reader(bytes.data(), bytes.size());
    const auto form = reader.number<std::uint8_t>();
    if (form == inMessage && files.empty() && bytes.size() - 1 <= longest) return bytes.substr(1);
    const auto length = reader.number<std::uint32_t>();
    if (form != inFile || files.size() != 1 || !reader.good() || !reader.atEnd() || length > longest)
        return refuse(EPROTO);
    return readFile(files[0], length);
}

}  // namespace simhost
