#include "vokClientChannel.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>
#include <cerrno>
#include <cstring>
#include <optional>

#include "events/client/vokMsgInfra.h"
#include "platform/access/vokHostAccess.h"
#include "platform/access/vokOwnedDescriptor.h"

namespace {

using Deadline = vokClientSignals::Clock::time_point;

vokAnswer failure(const std::string& what, int reason) {
    const bool permission = reason == EACCES || reason == EPERM || reason == EROFS;
    return {permission ? vokAnswerKind::noPermission : vokAnswerKind::failed,
            what + ": " + std::strerror(reason)};
}

// The pipe for the answer. Its name has this process's id, so an existing one was left over by an earlier
// process of that id.
class ResponsePipe {
public:
    ResponsePipe() : hostPath_(vokHostAccess().path(vokClientPipePrefix + std::to_string(::getpid()))) {}
    ~ResponsePipe() {
        if (created_) ::unlink(hostPath_.c_str());
    }
    ResponsePipe(const ResponsePipe&) = delete;
    ResponsePipe& operator=(const ResponsePipe&) = delete;

    // 0 or an error number.
    int open() {
        removeLeftOver();
        if (::mkfifo(hostPath_.c_str(), S_IRUSR | S_IWUSR) != 0) return errno;
        created_ = true;
        // Opened before the request is sent, so that the agent finds a reader at once.
        descriptor_.reset(::open(hostPath_.c_str(), O_RDONLY | O_NONBLOCK | O_NOFOLLOW | O_CLOEXEC));
        return descriptor_ ? 0 : errno;
    }
    int descriptor() const { return descriptor_.get(); }
    const std::string& hostPath() const { return hostPath_; }

private:
    void removeLeftOver() const {
        struct stat found {};
        if (::lstat(hostPath_.c_str(), &found) == 0 && S_ISFIFO(found.st_mode) && found.st_uid == ::geteuid())
            ::unlink(hostPath_.c_str());
    }

    std::string hostPath_;
    vokOwnedDescriptor descriptor_;
    bool created_ = false;
};

// The result of a step; empty if the next step can follow.
using Outcome = std::optional<vokAnswer>;

Outcome openServer(vokOwnedDescriptor& server) {
    const std::string hostPath = vokHostAccess().path(vokServerPipePath);
    server.reset(::open(hostPath.c_str(), O_WRONLY | O_NONBLOCK | O_NOFOLLOW | O_CLOEXEC));
    const int reason = server ? 0 : errno;
    struct stat status {};
    if (reason == ENXIO && ::lstat(hostPath.c_str(), &status) == 0 && S_ISSOCK(status.st_mode))
        return vokAnswer{vokAnswerKind::failed, hostPath + " is a socket, not a pipe"};
    if (reason == ENOENT || reason == ENXIO) return vokAnswer{vokAnswerKind::noAgent, ""};
    if (reason == ELOOP)
        return vokAnswer{vokAnswerKind::failed, hostPath + " is a symbolic link, not a pipe"};
    if (reason != 0) return failure(hostPath, reason);
    if (::fstat(server.get(), &status) != 0) return failure(hostPath, errno);
    if (!S_ISFIFO(status.st_mode)) return vokAnswer{vokAnswerKind::failed, hostPath + " is not a pipe"};
    return {};
}

Outcome writeRequest(int server, const _VOK_MESSAGE_PACKET& request, Deadline deadline,
                     vokClientSignals& signals) {
    for (;;) {
        if (::write(server, &request, sizeof(request)) >= 0) return {};  // atomic: all or nothing
        if (errno == EPIPE) return vokAnswer{vokAnswerKind::noAgent, ""};
        if (errno != EAGAIN && errno != EINTR) return failure("writing the request", errno);
        pollfd room{server, POLLOUT, 0};
        const int ready = signals.wait(&room, 1, deadline);
        if (ready < 0) return failure("waiting for the agent", errno);
        if (signals.arrived() != 0) return vokAnswer{vokAnswerKind::interrupted, ""};
        if (ready == 0) return vokAnswer{vokAnswerKind::notTaken, ""};
    }
}

// What the answer says about the delivery; unknown if it says nothing that this client knows.
vokDelivery deliveryIn(const _VOK_MESSAGE_PACKET& answer) {
    vokDeliveryDetail detail{};
    std::memcpy(&detail, answer.payload + vokDeliveryDetailOffset, sizeof(detail));
    if (detail.kind > static_cast<std::uint8_t>(vokDeliveryKind::invalid)) return {};
    return {static_cast<vokDeliveryKind>(detail.kind),
            std::string(detail.text, ::strnlen(detail.text, sizeof(detail.text)))};
}

vokAnswer readAnswer(int response, int server, Deadline deadline, vokClientSignals& signals) {
    _VOK_MESSAGE_PACKET packet{};
    auto* const bytes = reinterpret_cast<char*>(&packet);
    std::size_t received = 0;
    while (received < sizeof(packet)) {
        // The server's end is watched only for an error: that its reader has closed it.
        pollfd ends[] = {{response, POLLIN, 0}, {server, 0, 0}};
        const int ready = signals.wait(ends, 2, deadline);
        if (ready < 0) return failure("waiting for the answer", errno);
        if (signals.arrived() != 0) return {vokAnswerKind::interrupted, ""};
        if (ready == 0) return {vokAnswerKind::notInTime, ""};
        if (ends[0].revents == 0) return {vokAnswerKind::agentLeft, ""};
        const ssize_t count = ::read(response, bytes + received, sizeof(packet) - received);
        if (count < 0 && (errno == EAGAIN || errno == EINTR)) continue;
        if (count < 0) return failure("reading the answer", errno);
        if (count == 0 && received == 0) return {vokAnswerKind::agentLeft, ""};
        if (count == 0) return {vokAnswerKind::failed, "the answer is cut short"};
        received += static_cast<std::size_t>(count);
    }
    if (packet.header.kind != vokResponseKind || packet.header.size != vokResponseSize)
        return {vokAnswerKind::failed, "the answer has an unknown form"};
    std::int32_t status = 0;
    std::memcpy(&status, packet.payload, sizeof(status));
    return {status == 0 ? vokAnswerKind::done : vokAnswerKind::refused, "", deliveryIn(packet)};
}

}  // namespace

vokAnswer vokAskAgent(std::uint16_t messageCode, const std::string& payload, std::chrono::seconds timeout,
                      vokClientSignals& signals) {
    const Deadline deadline = vokClientSignals::Clock::now() + timeout;
    _VOK_MESSAGE_PACKET request{};
    if (payload.size() >= sizeof(request.payload))
        return {vokAnswerKind::failed, "the request does not fit a packet"};
    request.header.messageCode = messageCode;
    request.clientPID = ::getpid();
    request.options = vokReportDelivery;
    payload.copy(request.payload, payload.size());

    vokOwnedDescriptor server;
    if (Outcome outcome = openServer(server)) return *outcome;
    ResponsePipe response;
    if (const int reason = response.open()) return failure(response.hostPath(), reason);
    if (Outcome outcome = writeRequest(server.get(), request, deadline, signals)) return *outcome;
    return readAnswer(response.descriptor(), server.get(), deadline, signals);
}
