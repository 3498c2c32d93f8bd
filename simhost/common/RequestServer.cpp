#include "common/RequestServer.h"

#include <poll.h>
#include <sys/socket.h>
#include <cerrno>
#include <cstring>

#include "common/ByteCodec.h"
#include "common/UnixSocket.h"

namespace simhost {

namespace {

constexpr std::uint32_t largestRequest = 1 << 20;
constexpr std::uint32_t largestAnswer = 256u << 20;
constexpr std::size_t lengthField = 4;

std::uint32_t lengthOf(const std::string& bytes) {
    return ByteReader(bytes.data(), bytes.size()).number<std::uint32_t>();
}

std::string framed(const std::string& body) {
    return ByteWriter().number(static_cast<std::uint32_t>(body.size())).bytes() + body;
}

std::optional<std::vector<std::string>> decodeWords(const std::string& body) {
    ByteReader reader(body.data(), body.size());
    std::vector<std::string> words;
    while (reader.good() && !reader.atEnd()) words.push_back(reader.text());
    if (!reader.good()) return std::nullopt;
    return words;
}

}  // namespace

struct RequestServer::Connection {
    FileDescriptor socket;
    EventLoop::Watch watch = 0;
    std::string in;
    std::string out;
    bool asked = false;
};

RequestServer::RequestServer(EventLoop& loop, const std::string& path, Handler handler)
    : loop_(loop),
      path_(path),
      handler_(std::move(handler)),
      listener_(listenAt(path, SOCK_STREAM)),
      listening_(loop.watch(listener_.get(), POLLIN, [this](short) { acceptAll(); })),
      self_(std::make_shared<RequestServer*>(this)) {}

RequestServer::~RequestServer() {
    loop_.forget(listening_);
    while (!connections_.empty()) drop(connections_.begin()->first);
    ::unlink(path_.c_str());
}

void RequestServer::acceptAll() {
    while (FileDescriptor socket = acceptFrom(listener_.get(), loop_, listening_)) {
        const unsigned long id = ++lastId_;
        auto connection = std::make_unique<Connection>();
        connection->watch =
            loop_.watch(socket.get(), POLLIN, [this, id](short events) { serve(id, events); });
        connection->socket = std::move(socket);
        connections_[id] = std::move(connection);
    }
}

void RequestServer::drop(unsigned long id) {
    const auto found = connections_.find(id);
    if (found == connections_.end()) return;
    loop_.forget(found->second->watch);
    connections_.erase(found);
}

void RequestServer::serve(unsigned long id, short events) {
    const auto found = connections_.find(id);
    if (found == connections_.end()) return;
    Connection& connection = *found->second;
    if (connection.out.empty()) return readRequest(id, connection);
    if (!(events & POLLOUT)) return drop(id);
    const ssize_t sent = ::send(connection.socket.get(), connection.out.data(), connection.out.size(),
                                MSG_NOSIGNAL | MSG_DONTWAIT);
    if (sent < 0 && (errno == EAGAIN || errno == EINTR)) return;
    if (sent < 0) return drop(id);
    connection.out.erase(0, static_cast<std::size_t>(sent));
    if (connection.out.empty()) drop(id);
}

void RequestServer::readRequest(unsigned long id, Connection& connection) {
    char buffer[4096];
    const ssize_t count = ::recv(connection.socket.get(), buffer, sizeof(buffer), MSG_DONTWAIT);
    if (count < 0 && (errno == EAGAIN || errno == EINTR)) return;
    if (count <= 0 || connection.asked) return drop(id);  // gone, or more than one request
    connection.in.append(buffer, static_cast<std::size_t>(count));
    if (connection.in.size() < lengthField) return;
    const std::uint32_t length = lengthOf(connection.in);
    if (length > largestRequest || connection.in.size() > lengthField + length) return drop(id);
    if (connection.in.size() < lengthField + length) return;
    const auto words = decodeWords(connection.in.substr(lengthField));
    if (!words) return drop(id);
    connection.asked = true;
    const std::weak_ptr<RequestServer*> self = self_;
    handler_(*words, [self, id](const Answer& answer) {
        if (const auto server = self.lock()) (*server)->queueAnswer(id, answer);
    });
}

void RequestServer::queueAnswer(unsigned long id, const Answer& answer) {
    const auto found = connections_.find(id);
    if (found == connections_.end() || !found->second->out.empty()) return;
    const std::string body = ByteWriter()
                                 .number(static_cast<std::uint32_t>(answer.status))
                                 .text(answer.output)
                                 .text(answer.error)
                                 .bytes();
    found->second->out = framed(body);
    loop_.setEvents(found->second->watch, POLLIN | POLLOUT);
}

std::optional<Answer> askServer(const std::string& path, const std::vector<std::string>& words,
                                std::string& error) {
    const FileDescriptor socket = connectTo(path, SOCK_STREAM);
    if (!socket) {
        const int reason = errno;
        error = path + ": " + std::strerror(reason);
        errno = reason;
        return std::nullopt;
    }
    ByteWriter request;
    for (const auto& word : words) request.text(word);
    sendAll(socket.get(), framed(request.bytes()));

    std::string received;
    char buffer[1 << 16];
    for (;;) {
        if (received.size() >= lengthField && lengthOf(received) > largestAnswer) break;
        if (received.size() >= lengthField && received.size() >= lengthField + lengthOf(received)) break;
        const ssize_t count = ::recv(socket.get(), buffer, sizeof(buffer), 0);
        if (count < 0 && errno == EINTR) continue;
        if (count <= 0) break;
        received.append(buffer, static_cast<std::size_t>(count));
    }
    if (received.size() >= lengthField) received.erase(0, lengthField);
    ByteReader reader(received.data(), received.size());
    Answer answer;
    answer.status = static_cast<int>(reader.number<std::uint32_t>());
    answer.output = reader.text();
    answer.error = reader.text();
    if (reader.good() && reader.atEnd()) return answer;
    error = path + ": the connection ended before the answer came";
    errno = 0;
    return std::nullopt;
}

}  // namespace simhost
