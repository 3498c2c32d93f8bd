#include "core/base/vokChecksum.h"

#include <array>

namespace {

constexpr std::array<std::uint32_t, 256> makeTable() {
    constexpr std::uint32_t polynomial = 0xEDB88320;  // bits reversed
    std::array<std::uint32_t, 256> table{};
    for (std::uint32_t byte = 0; byte < table.size(); ++byte) {
        std::uint32_t value = byte;
        for (int bit = 0; bit < 8; ++bit) value = (value >> 1) ^ (value & 1 ? polynomial : 0);
        table[byte] = value;
    }
    return table;
}

constexpr std::array<std::uint32_t, 256> table = makeTable();

}  // namespace

std::uint32_t vokChecksum(const void* data, std::size_t size, std::uint32_t before) {
    const auto* const bytes = static_cast<const unsigned char*>(data);
    std::uint32_t value = ~before;
    for (std::size_t i = 0; i < size; ++i) value = (value >> 8) ^ table[(value ^ bytes[i]) & 0xFF];
    return ~value;
}
