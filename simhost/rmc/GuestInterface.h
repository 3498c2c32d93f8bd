// The system interface of a QEMU guest whose management controller is this program: QEMU's "ipmi-bmc-extern"
// device connects to a socket here, and the controller attaches as to the driver of a simulated host. What
// the guest's drivers ask of the interface itself (interrupts, message flags, the watchdog) is answered here.
//
// A controller behind such an interface sees messages only, and no process and no descriptor of the guest's.
// So each first chunk of a remote command counts as a new descriptor, and the process is always 0.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "common/EventLoop.h"
#include "devices/IpmiPackets.h"
#include "rmc/GuestWire.h"

namespace simhost {

class GuestInterface {
public:
    struct Sockets {
        std::string guest;       // for QEMU, which may come, go and come back
        std::string controller;  // for the controller, while QEMU is connected
    };
    // Listens for QEMU; throws std::system_error.
    GuestInterface(EventLoop& loop, Sockets sockets);
    ~GuestInterface();
    GuestInterface(const GuestInterface&) = delete;
    GuestInterface& operator=(const GuestInterface&) = delete;

private:
    void acceptGuest();
    void serveGuest();
    void guestGone();
    void take(const GuestArrival& arrival);
    void request(const GuestMessage& message);
    std::optional<Bytes> ownAnswer(const GuestMessage& message);
    void setInterrupts(bool enabled);
    void reset();
    void reply(const GuestMessage& request, const Bytes& data);
    void toGuest(const std::string& bytes);

    void acceptController();
    void serveController();
    void controllerGone();
    bool toController(const ControllerPacket& packet);

    EventLoop& loop_;
    Sockets sockets_;

    FileDescriptor guestListener_;
    EventLoop::Watch guestListening_ = 0;
    FileDescriptor guest_;
    EventLoop::Watch guestWatch_ = 0;
    GuestDecoder decoder_;
    std::uint8_t globalEnables_ = 0;

    FileDescriptor controllerListener_;
    EventLoop::Watch controllerListening_ = 0;
    FileDescriptor controller_;
    EventLoop::Watch controllerWatch_ = 0;

    std::optional<GuestMessage> inFlight_;  // the controller has it
    std::uint32_t lastSequence_ = 0;
    std::uint32_t descriptor_ = 1;
    std::uint32_t ordinal_ = 1;  // not 0: nobody knows what the guest sent before QEMU connected
};

}  // namespace simhost
