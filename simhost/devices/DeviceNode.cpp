#include "devices/DeviceNode.h"

#include <poll.h>
#include <sys/socket.h>
#include <cerrno>

#include "common/PacketSocket.h"
#include "common/UnixSocket.h"

namespace simhost {

void DeviceNodes::disconnectUsers() {
    for (DeviceNode* const node : all_) node->disconnectUsers();
}

DeviceNode::DeviceNode(DeviceNodes& nodes, std::string path, Device& device)
    : nodes_(nodes), loop_(nodes.loop()), path_(std::move(path)), device_(device) {
    nodes_.all_.insert(this);
}

DeviceNode::~DeviceNode() {
    nodes_.all_.erase(this);
    setPresent(false);
    for (const auto& [id, user] : users_) loop_.forget(user.watch);
}

void DeviceNode::setPresent(bool present) {
    if (present == this->present()) return;
    if (present) {
        listener_ = listenAt(path_, SOCK_SEQPACKET);
        listening_ = loop_.watch(listener_.get(), POLLIN, [this](short) { acceptUsers(); });
        return;
    }
    loop_.forget(listening_);
    listener_.reset();
    ::unlink(path_.c_str());
}

void DeviceNode::disconnectUsers() {
    while (!users_.empty()) drop(users_.begin()->first);
}

unsigned DeviceNode::processOf(std::uint32_t user) const {
    const auto found = users_.find(user);
    return found == users_.end() ? 0 : found->second.process;
}

void DeviceNode::acceptUsers() {
    while (FileDescriptor socket = acceptFrom(listener_.get(), loop_, listening_)) {
        const std::uint32_t id = ++lastUser_;
        User& user = users_[id];
        user.process = processAtOtherEnd(socket.get());
        user.watch = loop_.watch(socket.get(), POLLIN, [this, id](short events) { serve(id, events); });
        user.socket = std::move(socket);
    }
}

void DeviceNode::serve(std::uint32_t id, short events) {
    const auto found = users_.find(id);
    if (found == users_.end()) return;
    if (events & POLLOUT) flush(found->second);
    if (!(events & ~POLLOUT)) return;
    const auto packet = receivePacket(found->second.socket.get(), longestDevicePacket, MSG_DONTWAIT);
    if (!packet && errno == EAGAIN) return;
    const auto request = packet ? DeviceMessage::decode(*packet) : std::nullopt;
    if (!request) return drop(id);  // closed, or not the host-access module
    device_.request(id, *request);
}

void DeviceNode::drop(std::uint32_t id) {
    const auto found = users_.find(id);
    if (found == users_.end()) return;
    loop_.forget(found->second.watch);
    // The device may ask for the process of the user that leaves.
    device_.closed(id);
    users_.erase(id);
}

void DeviceNode::send(std::uint32_t id, const DeviceMessage& message) {
    const auto found = users_.find(id);
    if (found == users_.end()) return;
    found->second.waiting.push(message.encode());
    flush(found->second);
}

void DeviceNode::flush(User& user) {
    const PacketQueue::State state = user.waiting.flush(user.socket.get());
    // The loop reads what a user that is gone had asked before, and then its end.
    if (state == PacketQueue::State::gone) ::shutdown(user.socket.get(), SHUT_RDWR);
    const bool waiting = state == PacketQueue::State::waiting;
    loop_.setEvents(user.watch, static_cast<short>(waiting ? POLLIN | POLLOUT : POLLIN));
}

void DeviceNode::reply(std::uint32_t user, const DeviceMessage& request, const std::string& content) {
    send(user, {request.id, request.kind, 0, content});
}

void DeviceNode::refuse(std::uint32_t user, const DeviceMessage& request, int error) {
    send(user, {request.id, request.kind, static_cast<std::uint32_t>(error), ""});
}

}  // namespace simhost
