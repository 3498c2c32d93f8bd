// An ioctl whose argument is a block of bytes of a known length, which the device reads and changes, through
// a device node. Little-endian:
//
//   request   32 bits: the ioctl's number; then the block
//   reply     32 bits: the ioctl's result, signed; then the block, no longer than before
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace simhost {

struct BlockRequest {
    std::uint32_t number = 0;
    std::string block;

    std::string encode() const;
    static std::optional<BlockRequest> decode(const std::string& bytes);
};

struct BlockReply {
    std::int32_t result = 0;
    std::string block;

    std::string encode() const;
    static std::optional<BlockReply> decode(const std::string& bytes);
};

}  // namespace simhost
