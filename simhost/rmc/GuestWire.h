// The protocol between QEMU's "ipmi-bmc-extern" device and the management controller of its guest: messages
// and commands on a stream. A message is a sequence number, an IPMI message and a checksum, with which the
// bytes sum to 0 modulo 256; a command is a code and its arguments.
//
//   0xA0  ends a message
//   0xA1  ends a command
//   0xAA  the next byte is one of these three with bit 4 set
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "common/ByteCodec.h"

namespace simhost {

// Commands of the interface to the controller, and of the controller to the interface.
enum GuestCommand : std::uint8_t {
    guestReset = 0x04,
    guestEnableIrq = 0x05,
    guestDisableIrq = 0x06,
    guestCapabilities = 0x08,
    guestVersion = 0xFF,
};
inline constexpr std::uint8_t guestProtocolVersion = 1;

// An IPMI message of the system interface. In a reply the completion code is the first byte of `data`.
struct GuestMessage {
    std::uint8_t sequence = 0;  // a reply repeats it
    std::uint8_t netfn = 0;
    std::uint8_t lun = 0;
    std::uint8_t command = 0;
    Bytes data;
};

std::string encodeGuestMessage(const GuestMessage& message);
std::string encodeGuestCommand(GuestCommand command, const Bytes& arguments = {});

// What a byte of the stream completed.
struct GuestArrival {
    std::optional<GuestMessage> message;
    Bytes command;      // not empty: code and arguments
    const char* fault;  // not null: what was wrong with it; it is lost
};

class GuestDecoder {
public:
    // An arrival with each byte that ends a message or a command.
    std::optional<GuestArrival> take(std::uint8_t byte);

private:
    GuestArrival messageArrived() const;

    Bytes bytes_;
    bool escaped_ = false;
    bool tooLong_ = false;
};

}  // namespace simhost
