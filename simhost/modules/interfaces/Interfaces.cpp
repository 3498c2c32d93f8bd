#include "modules/interfaces/Interfaces.h"

#include <arpa/inet.h>
#include <cstdlib>

#include "common/Hexadecimal.h"

namespace simhost {

bool parseIpv4(const std::string& text, std::uint8_t (&bytes)[4]) {
    return ::inet_pton(AF_INET, text.c_str(), bytes) == 1;
}

bool parseInterfaceAddress(const std::string& text, std::uint8_t (&bytes)[4], std::uint8_t& prefixLength) {
    const auto slash = text.find('/');
    prefixLength = 24;
    if (slash != std::string::npos) {
        const std::string length = text.substr(slash + 1);
        if (length.empty() || length.size() > 2 ||
            length.find_first_not_of("0123456789") != std::string::npos)
            return false;
        prefixLength = static_cast<std::uint8_t>(std::strtoul(length.c_str(), nullptr, 10));
        if (prefixLength > 32) return false;
    }
    return parseIpv4(text.substr(0, slash), bytes);
}

bool parseHardwareAddress(const std::string& text, std::uint8_t (&bytes)[6]) {
    if (text.size() != 17) return false;
    for (std::size_t i = 0; i < 6; ++i) {
        const auto number = parseHexadecimal(text.substr(3 * i, 2));
        if (!number) return false;
        if (i < 5 && text[3 * i + 2] != ':') return false;
        bytes[i] = static_cast<std::uint8_t>(*number);
    }
    return true;
}

}  // namespace simhost
