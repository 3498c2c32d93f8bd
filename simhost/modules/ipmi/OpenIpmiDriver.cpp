#include "modules/ipmi/OpenIpmiDriver.h"

#include <poll.h>
#include <sys/socket.h>
#include <algorithm>
#include <cerrno>

#include "common/UnixSocket.h"

namespace simhost {

namespace {

constexpr std::uint8_t nodeBusy = 0xC0;
constexpr std::uint8_t timedOut = 0xC3;
constexpr std::uint8_t unspecifiedError = 0xFF;
constexpr std::size_t mostWaiting = 100;  // messages a user may have under way in the real driver

}  // namespace

OpenIpmiDriver::OpenIpmiDriver(DeviceNodes& nodes, Sockets sockets, std::string hostName,
                               EventLoop::Clock::duration patience)
    : loop_(nodes.loop()),
      sockets_(std::move(sockets)),
      hostName_(std::move(hostName)),
      patience_(patience),
      node_(nodes, sockets_.device, *this) {
    controllerListener_ = listenAt(sockets_.controller, SOCK_SEQPACKET);
    controllerListening_ =
        loop_.watch(controllerListener_.get(), POLLIN, [this](short) { acceptController(); });
}

OpenIpmiDriver::~OpenIpmiDriver() {
    setPresent(false);
    node_.disconnectUsers();
    loop_.cancel(patienceTimer_);
    loop_.forget(controllerWatch_);
    loop_.forget(controllerListening_);
    ::unlink(sockets_.controller.c_str());
}

void OpenIpmiDriver::request(std::uint32_t user, const DeviceMessage& message) {
    const auto request = message.kind == DeviceKind::ipmi
                             ? IpmiMessage::decode(message.content.data(), message.content.size())
                             : std::nullopt;
    if (!request) return node_.refuse(user, message, ENOTTY);
    Pending pending{user, requests_[user]++, *request};
    const auto own = std::count_if(waiting_.begin(), waiting_.end(),
                                   [user](const Pending& each) { return each.user == user; });
    if (static_cast<std::size_t>(own) >= mostWaiting) {
        IpmiMessage reply = *request;
        reply.netfn |= 1;
        reply.data = {nodeBusy};
        return toUser(user, reply);
    }
    waiting_.push_back(std::move(pending));
    next();
}

void OpenIpmiDriver::closed(std::uint32_t user) {
    ControllerPacket packet;
    packet.kind = ControllerPacketKind::closed;
    packet.descriptor = user;
    packet.process = node_.processOf(user);
    requests_.erase(user);
    waiting_.erase(std::remove_if(waiting_.begin(), waiting_.end(),
                                  [user](const Pending& each) { return each.user == user; }),
                   waiting_.end());
    toController(packet);
}

void OpenIpmiDriver::acceptController() {
    FileDescriptor socket = acceptFrom(controllerListener_.get(), loop_, controllerListening_);
    if (!socket) return;
    ControllerPacket greeting;
    greeting.kind = controller_ ? ControllerPacketKind::refused : ControllerPacketKind::hello;
    const std::size_t length = std::min(hostName_.size(), longestMessage);
    greeting.data.assign(hostName_.begin(), hostName_.begin() + static_cast<std::ptrdiff_t>(length));
    const std::string packet = greeting.encode();
    ::send(socket.get(), packet.data(), packet.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
    if (controller_) return;
    controller_ = std::move(socket);
    controllerWatch_ = loop_.watch(controller_.get(), POLLIN, [this](short) { serveController(); });
}

void OpenIpmiDriver::dropController() {
    loop_.forget(controllerWatch_);
    controller_.reset();
    if (inFlight_) finish({unspecifiedError});
}

void OpenIpmiDriver::serveController() {
    char packet[largestPacket];
    const ssize_t size = ::recv(controller_.get(), packet, sizeof(packet), MSG_DONTWAIT);
    if (size < 0 && (errno == EAGAIN || errno == EINTR)) return;
    if (size <= 0) return dropController();
    const auto reply = ControllerPacket::decode(packet, static_cast<std::size_t>(size));
    if (!reply || reply->kind != ControllerPacketKind::reply) return dropController();
    if (!inFlight_ || reply->sequence != inFlight_->sequence) return;  // it came too late
    // The driver takes a reply without a completion code for a broken one.
    finish(reply->data.empty() ? Bytes{unspecifiedError} : reply->data);
}

void OpenIpmiDriver::next() {
    while (!inFlight_ && !waiting_.empty()) {
        inFlight_ = std::move(waiting_.front());
        waiting_.pop_front();
        inFlight_->sequence = ++lastSequence_;
        ++exchanges_;
        if (!controller_) {
            finish({unspecifiedError});
            return;  // finish() goes on with the next
        }
        ControllerPacket packet;
        packet.kind = ControllerPacketKind::request;
        packet.sequence = inFlight_->sequence;
        packet.descriptor = inFlight_->user;
        packet.process = node_.processOf(inFlight_->user);
        packet.ordinal = inFlight_->ordinal;
        packet.netfn = inFlight_->request.netfn;
        packet.command = inFlight_->request.command;
        packet.lun = inFlight_->request.lun;
        packet.data = inFlight_->request.data;
        patienceTimer_ = loop_.after(patience_, [this] {
            ++expired_;
            ControllerPacket expired;
            expired.kind = ControllerPacketKind::expired;
            expired.sequence = inFlight_->sequence;
            toController(expired);
            finish({timedOut});
        });
        toController(packet);
    }
}

void OpenIpmiDriver::finish(const Bytes& data) {
    loop_.cancel(patienceTimer_);
    IpmiMessage reply = inFlight_->request;
    reply.netfn = static_cast<std::uint8_t>(reply.netfn | 1);
    reply.data = data;
    toUser(inFlight_->user, reply);
    inFlight_.reset();
    next();
}

void OpenIpmiDriver::toController(const ControllerPacket& packet) {
    if (!controller_) return;
    const std::string bytes = packet.encode();
    // A controller that takes nothing in loses the packet; its asker gets the time-out.
    ::send(controller_.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
}

void OpenIpmiDriver::toUser(std::uint32_t user, const IpmiMessage& reply) {
    node_.send(user, {0, DeviceKind::ipmi, 0, reply.encode()});
}

}  // namespace simhost
