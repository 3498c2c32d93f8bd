// Numbers, bytes and addresses in hexadecimal text: what is read is what was written.
#include <cctype>

#include "FuzzInput.h"
#include "common/Hexadecimal.h"

namespace {

std::string digitsOf(const std::string& bytes) {
    static const char digits[] = "0123456789abcdef";
    std::string text;
    for (const char c : bytes) {
        text += digits[static_cast<unsigned char>(c) >> 4];
        text += digits[static_cast<unsigned char>(c) & 15];
    }
    return text;
}

std::string withoutBlanks(const std::string& text) {
    std::string digits;
    for (const char c : text)
        if (c != ' ') digits += static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return digits;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text = textOf(data, size);
    require(simhost::parseHexadecimalBytes(digitsOf(text)) == text);
    if (const auto bytes = simhost::parseHexadecimalBytes(text))
        require(digitsOf(*bytes) == withoutBlanks(text));

    const auto number = simhost::parseHexadecimal(text);
    require(!number || (size >= 1 && size <= 8));
    if (number && size % 2 == 0) require(simhost::parseHexadecimalBytes(text).has_value());
    require(simhost::parsePrefixedHexadecimal("0x" + text) == number);

    if (const auto address = simhost::parsePciAddress(text)) {
        require(address->slot < 32 && address->function < 8);
        const auto again = simhost::parsePciAddress(simhost::formatPciAddress(*address));
        require(again && *again == *address);
    }
    return 0;
}
