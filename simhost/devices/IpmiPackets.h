// What goes through an IPMI exchange: between a user of the simulated device node and the driver (the content
// of a DeviceMessage), and between the driver and the management controller (a packet of a SOCK_SEQPACKET
// connection each).
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "common/ByteCodec.h"

namespace simhost {

// The longest message of the Linux driver, and the largest packet between driver and controller.
inline constexpr std::size_t longestMessage = 272;
inline constexpr std::size_t largestPacket = 1024;

// A message as it goes through a device node, in either direction. In a reply the completion code is the
// first byte of `data`.
struct IpmiMessage {
    std::int64_t messageId = 0;
    std::uint8_t netfn = 0;
    std::uint8_t command = 0;
    std::uint8_t lun = 0;
    Bytes data;

    std::string encode() const;
    static std::optional<IpmiMessage> decode(const void* packet, std::size_t size);
};

enum class ControllerPacketKind : std::uint8_t {
    hello = 1,    // driver: the host's name is in `data`
    refused = 2,  // driver: another controller is attached
    request = 3,  // driver
    reply = 4,    // controller: completion code first
    expired = 5,  // driver: waited long enough for the reply to `sequence`, and gave its user an error
    closed = 6,   // driver: the user's `descriptor` is closed
};

struct ControllerPacket {
    ControllerPacketKind kind = ControllerPacketKind::request;
    std::uint32_t sequence = 0;    // of the request; its reply repeats it
    std::uint32_t descriptor = 0;  // which opening of the device node it came through, never used again
    std::uint32_t process = 0;     // who opened it
    std::uint32_t ordinal = 0;     // how many requests came through that descriptor before
    std::uint8_t netfn = 0;
    std::uint8_t command = 0;
    std::uint8_t lun = 0;
    Bytes data;

    std::string encode() const;
    static std::optional<ControllerPacket> decode(const void* packet, std::size_t size);
};

}  // namespace simhost
