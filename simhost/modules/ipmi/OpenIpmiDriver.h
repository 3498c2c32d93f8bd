// The OpenIPMI driver of a simulated host: serves its device node, hands one request after another to the
// management controller, and sends each reply to the descriptor that asked. A controller that does not
// answer, or is not there, costs the asker no more than the driver's own patience: then the reply is a
// completion code and nothing else, as the real driver makes it.
#pragma once

#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <optional>
#include <string>

#include "common/EventLoop.h"
#include "devices/DeviceNode.h"
#include "devices/IpmiPackets.h"

namespace simhost {

class OpenIpmiDriver : public Device {
public:
    struct Sockets {
        std::string device;
        std::string controller;
    };
    // Listens for a controller at once, and for users of the device node while it is present.
    OpenIpmiDriver(DeviceNodes& nodes, Sockets sockets, std::string hostName,
                   EventLoop::Clock::duration patience);
    ~OpenIpmiDriver() override;
    OpenIpmiDriver(const OpenIpmiDriver&) = delete;
    OpenIpmiDriver& operator=(const OpenIpmiDriver&) = delete;

    // Makes the device node appear or vanish. What is open stays open.
    void setPresent(bool present) { node_.setPresent(present); }
    bool present() const { return node_.present(); }

    bool controllerAttached() const { return static_cast<bool>(controller_); }
    std::size_t openDescriptors() const { return node_.openDescriptors(); }
    unsigned long long exchanges() const { return exchanges_; }
    unsigned long long expiredExchanges() const { return expired_; }

    void request(std::uint32_t user, const DeviceMessage& request) override;
    void closed(std::uint32_t user) override;

private:
    struct Pending {
        std::uint32_t user;
        std::uint32_t ordinal;
        IpmiMessage request;
        std::uint32_t sequence = 0;
    };

    void acceptController();
    void serveController();
    void dropController();
    void next();
    void finish(const Bytes& data);
    void toController(const ControllerPacket& packet);
    void toUser(std::uint32_t user, const IpmiMessage& reply);

    EventLoop& loop_;
    Sockets sockets_;
    std::string hostName_;
    EventLoop::Clock::duration patience_;

    DeviceNode node_;
    std::map<std::uint32_t, std::uint32_t> requests_;  // of each user, so far

    FileDescriptor controllerListener_;
    EventLoop::Watch controllerListening_ = 0;
    FileDescriptor controller_;
    EventLoop::Watch controllerWatch_ = 0;

    std::deque<Pending> waiting_;
    std::optional<Pending> inFlight_;
    EventLoop::Timer patienceTimer_ = 0;
    std::uint32_t lastSequence_ = 0;
    unsigned long long exchanges_ = 0;
    unsigned long long expired_ = 0;
};

}  // namespace simhost
