// What goes through an opened device node of a simulated host: a request of the agent's side, made of one
// ioctl, and the reply of vok-simhost. A packet (PacketSocket.h) holds one message, little-endian:
//
//   offset 0   32 bits: the request's number, which its reply repeats
//   offset 4    8 bits: the kind
//   offset 5   32 bits: of a reply, 0 or the errno with which the ioctl fails
//   offset 9   the content, whose form is the kind's
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace simhost {

enum class DeviceKind : std::uint8_t {
    ipmi = 1,   // a message to or from the management controller: IpmiPackets.h. A reply comes unasked for.
    scsi = 2,   // a command to a disk: ScsiMessage.h
    block = 3,  // a request number and a block of bytes, which the reply changes: BlockMessage.h
};

// SCSI data of 8 MiB and all that goes with it.
inline constexpr std::size_t longestTransfer = 8u << 20;
inline constexpr std::size_t longestDevicePacket = longestTransfer + 4096;

struct DeviceMessage {
    std::uint32_t id = 0;
    DeviceKind kind = DeviceKind::block;
    std::uint32_t error = 0;
    std::string content;

    std::string encode() const;
    static std::optional<DeviceMessage> decode(const std::string& packet);
};

}  // namespace simhost
