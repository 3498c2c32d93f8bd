// A device node of a simulated host: a socket at its path, through which the host-access module opens the
// device and makes its ioctls. The device itself, which answers, is the module's that registers the node.
#pragma once

#include <cstdint>
#include <map>
#include <set>
#include <string>

#include "common/EventLoop.h"
#include "common/PacketQueue.h"
#include "devices/DeviceMessage.h"

namespace simhost {

// What is reached through a node. A user is one opening of the node; its number is never used again.
class Device {
public:
    virtual ~Device() = default;
    // A request, to be answered by DeviceNode::reply, at once or later.
    virtual void request(std::uint32_t user, const DeviceMessage& request) = 0;
    virtual void closed(std::uint32_t /*user*/) {}
};

class DeviceNode;

// All nodes of a host, each from its construction to its destruction.
class DeviceNodes {
public:
    explicit DeviceNodes(EventLoop& loop) : loop_(loop) {}
    DeviceNodes(const DeviceNodes&) = delete;
    DeviceNodes& operator=(const DeviceNodes&) = delete;

    EventLoop& loop() { return loop_; }
    // Closes every open descriptor of every node: the host goes down.
    void disconnectUsers();

private:
    friend DeviceNode;

    EventLoop& loop_;
    std::set<DeviceNode*> all_;
};

class DeviceNode {
public:
    // The node is absent until setPresent(true). `nodes` and `device` outlive this.
    DeviceNode(DeviceNodes& nodes, std::string path, Device& device);
    ~DeviceNode();
    DeviceNode(const DeviceNode&) = delete;
    DeviceNode& operator=(const DeviceNode&) = delete;

    // Makes the node appear or vanish. What is open stays open. Throws std::system_error.
    void setPresent(bool present);
    bool present() const { return static_cast<bool>(listener_); }
    // Closes every open descriptor, as when a device is pulled. Its users get ENODEV.
    void disconnectUsers();

    std::size_t openDescriptors() const { return users_.size(); }
    // The process that opened it; 0 when that is closed again.
    unsigned processOf(std::uint32_t user) const;

    // Sends a message to a user; nothing happens when it has closed the node. A user that takes nothing in is
    // disconnected when too much waits for it.
    void send(std::uint32_t user, const DeviceMessage& message);
    // Answers `request`: with this content, or with an error and none.
    void reply(std::uint32_t user, const DeviceMessage& request, const std::string& content);
    void refuse(std::uint32_t user, const DeviceMessage& request, int error);

private:
    struct User {
        FileDescriptor socket;
        EventLoop::Watch watch = 0;
        unsigned process = 0;
        PacketQueue waiting{2 * longestDevicePacket};
    };

    void acceptUsers();
    void serve(std::uint32_t id, short events);
    void flush(User& user);
    void drop(std::uint32_t id);

    DeviceNodes& nodes_;
    EventLoop& loop_;
    std::string path_;
    Device& device_;
    FileDescriptor listener_;
    EventLoop::Watch listening_ = 0;
    std::uint32_t lastUser_ = 0;
    std::map<std::uint32_t, User> users_;
};

}  // namespace simhost
