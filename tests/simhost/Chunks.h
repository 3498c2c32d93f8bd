// Remote command chunks as a faultless agent sends them, made straight from the layout of the protocol and
// without any of the agent's or the controller's code.
#pragma once

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

using Chunk = std::vector<std::uint8_t>;

inline Chunk firstChunk(const std::string& name, const std::string& text) {
    const std::string payload = text + '\0';
    Chunk chunk(60, 0);
    chunk[2] = 0x14;
    std::memcpy(&chunk[3], name.data(), name.size());
    chunk[23] = static_cast<std::uint8_t>(payload.size() & 0xFF);
    chunk[24] = static_cast<std::uint8_t>(payload.size() >> 8 & 0xFF);
    chunk[25] = static_cast<std::uint8_t>(payload.size() >> 16 & 0xFF);
    if (payload.size() > 57)
        std::memcpy(&chunk[27], payload.data(), 33);
    else
        std::memcpy(&chunk[3], payload.data(), payload.size());
    return chunk;
}

// The chunk that carries the payload from `at` on, with the index that came back.
inline Chunk laterChunk(const std::string& text, std::size_t at, unsigned index) {
    const std::string payload = text + '\0';
    Chunk chunk(60, 0);
    chunk[0] = static_cast<std::uint8_t>(index & 0xFF);
    chunk[1] = static_cast<std::uint8_t>(index >> 8);
    const std::string piece = payload.substr(at, 57);
    std::memcpy(&chunk[3], piece.data(), piece.size());
    return chunk;
}

// A text of `length` printable characters that differ from place to place.
inline std::string longText(std::size_t length) {
    std::string text;
    for (std::size_t i = 0; i < length; ++i) text += static_cast<char>('!' + (i * 7 + i / 57) % 90);
    return text;
}
