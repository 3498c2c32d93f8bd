// The network interfaces of a host, as a description says them, and the form of their addresses.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace simhost {

struct DescribedInterface {
    std::string name;
    std::string hardwareAddress;         // "02:00:00:00:00:01"
    std::vector<std::string> addresses;  // "10.1.2.3/24"
};

// In the order of getifaddrs.
struct Interfaces {
    std::vector<DescribedInterface> all;
};

// True for an IPv4 address in dotted form; its four bytes go to `bytes`.
bool parseIpv4(const std::string& text, std::uint8_t (&bytes)[4]);
// Takes "10.1.2.3" or "10.1.2.3/24" (24 is what a missing length stands for) apart.
bool parseInterfaceAddress(const std::string& text, std::uint8_t (&bytes)[4], std::uint8_t& prefixLength);
bool parseHardwareAddress(const std::string& text, std::uint8_t (&bytes)[6]);

}  // namespace simhost
