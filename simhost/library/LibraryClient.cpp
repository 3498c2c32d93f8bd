#include "library/LibraryClient.h"

#include <sys/socket.h>
#include <csignal>
#include <optional>

#include "common/ByteCodec.h"
#include "common/HostPaths.h"
#include "common/PacketSocket.h"
#include "common/UnixSocket.h"
#include "library/LibraryMessage.h"

namespace simhost {

namespace {

// The events that this thread calls back for.
thread_local const LibraryEvents* running = nullptr;

FileDescriptor connectToHost(const std::string& root) {
    return root.empty() ? FileDescriptor() : connectTo(HostPaths(root).librarySocket(), SOCK_SEQPACKET);
}

// The reply to request `id`; nothing when the host is gone or breaks the form.
std::optional<LibraryMessage> receiveReply(int socket, std::uint32_t id) {
    const auto packet = receivePacket(socket, longestLibraryPacket);
    auto reply = packet ? LibraryMessage::decode(*packet) : std::nullopt;
    if (!reply || reply->type != LibraryMessageType::reply || reply->id != id) return std::nullopt;
    return reply;
}

// Signals are for the threads of the library's user.
std::thread withoutSignals(std::function<void()> body) {
    sigset_t all;
    sigset_t before;
    sigfillset(&all);
    ::pthread_sigmask(SIG_SETMASK, &all, &before);
    std::thread made(std::move(body));
    ::pthread_sigmask(SIG_SETMASK, &before, nullptr);
    return made;
}

}  // namespace

LibraryClient& ownLibraryClient() {
    static LibraryClient made(ownHostRoot());
    return made;
}

bool LibraryClient::send(const std::string& packet) {
    if (socket_ && sendPacket(socket_.get(), packet)) return true;
    socket_ = connectToHost(root_);  // none yet, or its host is gone and another may have come
    return socket_ && sendPacket(socket_.get(), packet);
}

LibraryReply LibraryClient::request(std::uint32_t kind, const std::string& bytes) {
    const std::lock_guard<std::mutex> lock(mutex_);
    const LibraryMessage message{LibraryMessageType::request, ++lastId_, kind, bytes};
    std::optional<LibraryMessage> reply;
    if (send(message.encode())) reply = receiveReply(socket_.get(), message.id);
    if (reply) return {static_cast<std::int32_t>(reply->code), std::move(reply->bytes)};
    socket_.reset();
    return {libraryHostGone, ""};
}

bool LibraryEvents::start(const std::string& root, const std::vector<std::uint32_t>& kinds,
                          Callback callback) {
    if (running == this) return false;
    const std::lock_guard<std::mutex> lock(mutex_);
    if (thread_.joinable()) return false;
    FileDescriptor socket = connectToHost(root);
    if (!socket) return false;
    ByteWriter wanted;
    for (const std::uint32_t kind : kinds) wanted.number(kind);
    constexpr std::uint32_t id = 1;
    const LibraryMessage message{LibraryMessageType::subscription, id, 0, wanted.bytes()};
    if (!sendPacket(socket.get(), message.encode())) return false;
    const auto reply = receiveReply(socket.get(), id);
    if (!reply || reply->code != 0) return false;
    stopping_ = false;
    socket_ = std::move(socket);
    callback_ = std::move(callback);
    thread_ = withoutSignals([this] { run(); });
    return true;
}

void LibraryEvents::run() {
    running = this;
    while (const auto packet = receivePacket(socket_.get(), longestLibraryPacket)) {
        const auto event = LibraryMessage::decode(*packet);
        // What has come already when it is stopped is not called back for any more.
        if (!event || event->type != LibraryMessageType::event || stopping_) return;
        callback_(event->code, event->bytes);
    }
}

void LibraryEvents::stop() {
    stopping_ = true;
    if (running == this) return;
    const std::lock_guard<std::mutex> lock(mutex_);
    if (!thread_.joinable()) return;
    stopping_ = true;  // another thread may have started it anew since
    ::shutdown(socket_.get(), SHUT_RDWR);
    thread_.join();
    socket_.reset();
    callback_ = nullptr;
}

}  // namespace simhost
