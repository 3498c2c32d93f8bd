// Numbers, bytes and PCI addresses in hexadecimal texts.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace simhost {

// Digits alone, at least one and at most eight: "3b".
std::optional<std::uint32_t> parseHexadecimal(const std::string& digits);
// With the prefix "0x".
std::optional<std::uint32_t> parsePrefixedHexadecimal(const std::string& text);
// Pairs of digits, with blanks between them or none: "7f 04 feff". Nothing when there is anything else.
std::optional<std::string> parseHexadecimalBytes(const std::string& text);

// The place of a PCI function.
struct PciAddress {
    std::uint32_t segment = 0;
    std::uint8_t bus = 0;
    std::uint8_t slot = 0;      // 5 bits
    std::uint8_t function = 0;  // 3 bits

    std::uint8_t slotAndFunction() const { return static_cast<std::uint8_t>(slot << 3 | function); }
};

inline bool operator==(const PciAddress& one, const PciAddress& other) {
    return one.segment == other.segment && one.bus == other.bus &&
           one.slotAndFunction() == other.slotAndFunction();
}

// Of the form "0000:3b:00.0"; a segment may have up to eight digits, at least four.
std::optional<PciAddress> parsePciAddress(const std::string& text);
std::string formatPciAddress(const PciAddress& address);

}  // namespace simhost
