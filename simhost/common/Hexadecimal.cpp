#include "common/Hexadecimal.h"

#include <cstdlib>

#include "common/Text.h"

namespace simhost {

std::optional<std::uint32_t> parseHexadecimal(const std::string& digits) {
    if (digits.empty() || digits.size() > 8 ||
        digits.find_first_not_of("0123456789abcdefABCDEF") != std::string::npos)
        return std::nullopt;
    return static_cast<std::uint32_t>(std::strtoul(digits.c_str(), nullptr, 16));
}

std::optional<std::uint32_t> parsePrefixedHexadecimal(const std::string& text) {
    if (text.compare(0, 2, "0x") != 0) return std::nullopt;
    return parseHexadecimal(text.substr(2));
}

std::optional<std::string> parseHexadecimalBytes(const std::string& text) {
    std::string bytes;
    for (std::size_t at = 0; at < text.size();) {
        if (text[at] == ' ') {
            ++at;
            continue;
        }
        const std::string pair = text.substr(at, 2);
        const auto value = pair.size() == 2 ? parseHexadecimal(pair) : std::nullopt;
        if (!value) return std::nullopt;
        bytes += static_cast<char>(static_cast<unsigned char>(*value));
        at += 2;
    }
    return bytes;
}

std::optional<PciAddress> parsePciAddress(const std::string& text) {
    const std::size_t colon = text.find(':');
    if (colon == std::string::npos || colon < 4 || text.size() != colon + 8 || text[colon + 3] != ':' ||
        text[colon + 6] != '.')
        return std::nullopt;
    const auto segment = parseHexadecimal(text.substr(0, colon));
    const auto bus = parseHexadecimal(text.substr(colon + 1, 2));
    const auto slot = parseHexadecimal(text.substr(colon + 4, 2));
    const auto function = parseHexadecimal(text.substr(colon + 7));
    if (!segment || !bus || !slot || !function || *slot > 0x1f || *function > 7) return std::nullopt;
    return PciAddress{*segment, static_cast<std::uint8_t>(*bus), static_cast<std::uint8_t>(*slot),
                      static_cast<std::uint8_t>(*function)};
}

std::string formatPciAddress(const PciAddress& address) {
    return formatText("%04x:%02x:%02x.%x", address.segment, static_cast<unsigned>(address.bus),
                      static_cast<unsigned>(address.slot), static_cast<unsigned>(address.function));
}

}  // namespace simhost
