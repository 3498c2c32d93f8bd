#include "library/LibraryServer.h"

#include <poll.h>
#include <sys/socket.h>
#include <cerrno>
#include <stdexcept>

#include "common/ByteCodec.h"
#include "common/PacketSocket.h"
#include "common/UnixSocket.h"

namespace simhost {

LibraryServer::LibraryServer(EventLoop& loop, std::string path)
    : loop_(loop),
      path_(std::move(path)),
      listener_(listenAt(path_, SOCK_SEQPACKET)),
      self_(std::make_shared<LibraryServer*>(this)) {
    listening_ = loop_.watch(listener_.get(), POLLIN, [this](short) { acceptAll(); });
}

LibraryServer::~LibraryServer() {
    loop_.forget(listening_);
    while (!connections_.empty()) drop(connections_.begin()->first);
    ::unlink(path_.c_str());
}

void LibraryServer::serve(std::uint32_t kind, Handler handler) {
    if (!handlers_.emplace(kind, std::move(handler)).second)
        throw std::logic_error("two modules serve the library request " + std::to_string(kind));
}

void LibraryServer::post(std::uint32_t kind, const std::string& bytes) {
    for (const auto& [id, connection] : connections_)
        if (connection->subscribed && (connection->kinds.empty() || connection->kinds.count(kind) > 0))
            send(id, {LibraryMessageType::event, 0, kind, bytes});
}

void LibraryServer::acceptAll() {
    while (FileDescriptor socket = acceptFrom(listener_.get(), loop_, listening_)) {
        const std::uint64_t id = ++lastId_;
        auto connection = std::make_unique<Connection>();
        connection->watch =
            loop_.watch(socket.get(), POLLIN, [this, id](short events) { readFrom(id, events); });
        connection->socket = std::move(socket);
        connections_[id] = std::move(connection);
    }
}

void LibraryServer::readFrom(std::uint64_t id, short events) {
    const auto found = connections_.find(id);
    if (found == connections_.end()) return;
    if (events & POLLOUT) flush(*found->second);
    if (!(events & ~POLLOUT)) return;
    const auto packet = receivePacket(found->second->socket.get(), longestLibraryPacket, MSG_DONTWAIT);
    if (!packet && errno == EAGAIN) return;
    const auto message = packet ? LibraryMessage::decode(*packet) : std::nullopt;
    if (!message || !handle(id, *found->second, *message)) drop(id);
}

// False when the other end is no client of this form.
bool LibraryServer::handle(std::uint64_t id, Connection& connection, const LibraryMessage& message) {
    if (connection.asked || connection.subscribed) return false;
    if (message.type == LibraryMessageType::subscription) return subscribe(id, connection, message);
    if (message.type != LibraryMessageType::request) return false;
    const auto handler = handlers_.find(message.code);
    if (handler == handlers_.end()) {
        send(id, {LibraryMessageType::reply, message.id, static_cast<std::uint32_t>(libraryKindUnknown), ""});
        return true;
    }
    connection.asked = true;
    const std::weak_ptr<LibraryServer*> self = self_;
    const std::uint32_t number = message.id;
    handler->second(message.bytes, [self, id, number](std::int32_t status, const std::string& bytes) {
        const auto server = self.lock();
        if (!server) return;
        const auto asker = (*server)->connections_.find(id);
        if (asker == (*server)->connections_.end() || !asker->second->asked) return;
        asker->second->asked = false;
        (*server)->send(id, {LibraryMessageType::reply, number, static_cast<std::uint32_t>(status), bytes});
    });
    return true;
}

bool LibraryServer::subscribe(std::uint64_t id, Connection& connection, const LibraryMessage& message) {
    ByteReader reader(message.bytes.data(), message.bytes.size());
    while (reader.good() && !reader.atEnd()) connection.kinds.insert(reader.number<std::uint32_t>());
    if (!reader.good()) return false;
    connection.subscribed = true;
    send(id, {LibraryMessageType::reply, message.id, 0, ""});
    return true;
}

void LibraryServer::send(std::uint64_t id, const LibraryMessage& message) {
    const auto found = connections_.find(id);
    if (found == connections_.end()) return;
    found->second->waiting.push(message.encode());
    flush(*found->second);
}

void LibraryServer::flush(Connection& connection) {
    const PacketQueue::State state = connection.waiting.flush(connection.socket.get());
    if (state == PacketQueue::State::gone) ::shutdown(connection.socket.get(), SHUT_RDWR);  // read as its end
    const bool waiting = state == PacketQueue::State::waiting;
    loop_.setEvents(connection.watch, static_cast<short>(waiting ? POLLIN | POLLOUT : POLLIN));
}

void LibraryServer::drop(std::uint64_t id) {
    const auto found = connections_.find(id);
    if (found == connections_.end()) return;
    loop_.forget(found->second->watch);
    connections_.erase(found);
}

}  // namespace simhost
