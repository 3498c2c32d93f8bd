// CRC-32 of IEEE 802.3 (as in gzip and PNG): notices what a kill or a full disk left half written.
#pragma once

#include <cstddef>
#include <cstdint>

// Of `size` bytes; `before` is the checksum of the bytes that precede them.
std::uint32_t vokChecksum(const void* data, std::size_t size, std::uint32_t before = 0);
