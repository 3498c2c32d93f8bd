// The fixed-size messages of the OEM remote command.
#pragma once

#include <cstddef>
#include <cstdint>

namespace ipmi {

inline constexpr unsigned char remoteCommandNetFn = 0x3A;
inline constexpr unsigned char remoteCommandChunk = 0x80;

// A request is always 60 bytes. The first one of a command holds the name and the payload's length; the
// later ones hold payload from offset 3 on. Little-endian.
inline constexpr std::size_t chunkSize = 60;
inline constexpr std::size_t chunkIndexOffset = 0;
inline constexpr std::size_t chunkNameSizeOffset = 2;
inline constexpr std::size_t chunkNameOffset = 3;
inline constexpr std::size_t chunkNameSize = 20;
inline constexpr std::size_t chunkLengthOffset = 23;
inline constexpr std::size_t firstPayloadOffset = 27;
inline constexpr std::size_t firstPayloadSize = chunkSize - firstPayloadOffset;
inline constexpr std::size_t laterPayloadOffset = 3;
inline constexpr std::size_t laterPayloadSize = chunkSize - laterPayloadOffset;
static_assert(firstPayloadSize == 33 && laterPayloadSize == 57);

// The response after the completion code.
struct __attribute__((packed)) ChunkResponse {
    std::uint8_t transferStatus;
    std::uint8_t nextIndex[2];
    std::uint8_t exitStatus;
};
static_assert(sizeof(ChunkResponse) == 4);

// The greatest transfer status of an accepted chunk; a greater one means refusal.
inline constexpr unsigned char greatestAcceptedStatus = 2;

}  // namespace ipmi
