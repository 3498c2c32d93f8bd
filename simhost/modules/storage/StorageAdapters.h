// The storage adapters of a host, as a description says them.
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace simhost {

// The port of a Fibre Channel adapter: a block of `localcli storage san fc list`.
struct FibreChannelPort {
    std::string portId = "000000";  // while it is online; otherwise none is shown, and no speed
    std::string nodeName;           // "20:00:00:90:fa:7c:41:d0"
    std::string portName;
    std::string speed;
    std::string portType = "NPort";
    std::string portState;
    std::string modelDescription;
    std::string hardwareVersion;
    std::string optionRomVersion;
    std::string firmwareVersion;
    std::string driverName;
    std::string driverVersion;  // empty: the driver does not report it
};

inline bool isOnline(const FibreChannelPort& port) {
    return port.portState == "ONLINE";
}

// The columns of `localcli storage core adapter list`.
struct StorageAdapter {
    std::string name;
    std::string driver;
    std::string linkState;
    std::string uid;
    std::string capabilities;
    std::string description;
    std::optional<FibreChannelPort> fibreChannel;
    bool gone = false;
};

struct StorageAdapters {
    std::vector<StorageAdapter> all;
};

}  // namespace simhost
