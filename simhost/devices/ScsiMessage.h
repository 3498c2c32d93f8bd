// A SCSI command through a device node, as SG_IO makes it, and what came of it. Little-endian; a text is its
// length in 32 bits and its bytes.
//
//   request   text: command bytes; 8 bits: direction; 32 bits: time-out in milliseconds of the host's time;
//             32 bits: most bytes to receive; 8 bits: room for sense bytes; text: data to the device
//   reply     8 bits: status; 16 bits: host status; 16 bits: driver status; 32 bits: duration in milliseconds
//             of the host's time; 32 bits: residual, signed; text: sense bytes; text: data from the device
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace simhost {

enum class ScsiDirection : std::uint8_t { none = 0, fromDevice = 1, toDevice = 2 };

struct ScsiRequest {
    std::string command;  // 6 to 252 bytes
    ScsiDirection direction = ScsiDirection::none;
    std::uint32_t timeout = 60000;
    std::uint32_t room = 0;  // for data from the device
    std::uint8_t senseRoom = 0;
    std::string data;  // to the device

    std::string encode() const;
    static std::optional<ScsiRequest> decode(const std::string& bytes);
};

struct ScsiReply {
    std::uint8_t status = 0;         // SAM-5: 0x00 GOOD, 0x02 CHECK CONDITION
    std::uint16_t hostStatus = 0;    // DID_*
    std::uint16_t driverStatus = 0;  // DRIVER_*
    std::uint32_t duration = 0;
    std::int32_t residual = 0;
    std::string sense;
    std::string data;

    // GOOD, with data for a request that has room for it; the residual is what is missing.
    static ScsiReply good(const ScsiRequest& request, std::string data);
    // CHECK CONDITION with these sense bytes.
    static ScsiReply check(const ScsiRequest& request, std::string sense);
    // Without an answer of the device: the adapter's reason.
    static ScsiReply failed(const ScsiRequest& request, std::uint16_t hostStatus, std::uint16_t driverStatus);

    std::string encode() const;
    static std::optional<ScsiReply> decode(const std::string& bytes);
};

inline constexpr std::size_t shortestScsiCommand = 6;
inline constexpr std::size_t longestScsiCommand = 252;

}  // namespace simhost
