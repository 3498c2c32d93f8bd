// The Ethernet adapters of a host, as a description says them.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace simhost {

// The columns of `localcli network nic list`, and what `network nic get` adds.
struct NetworkAdapter {
    std::string name;
    std::string pciDevice;  // "0000:3b:00.0", or "Pseudo"
    std::string driver;
    std::string adminStatus = "Up";
    std::string linkStatus = "Up";
    std::uint64_t speedMbps = 0;
    std::string duplex = "Full";
    std::string hardwareAddress;
    std::uint64_t mtu = 1500;
    std::string description;
    std::string firmwareVersion;  // empty: the driver reports none
};

struct NetworkAdapters {
    std::vector<NetworkAdapter> all;
};

}  // namespace simhost
