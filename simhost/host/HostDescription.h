// What a simulated host is made of, as its description file tells it. The file is JSON; every key has a
// default but a key that nobody knows is refused, so that a slip of the pen does not pass for a setting.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "common/Hexadecimal.h"

namespace Json {
class Value;
}

namespace simhost {

struct DescribedInterface {
    std::string name;
    std::string hardwareAddress;         // "02:00:00:00:00:01"
    std::vector<std::string> addresses;  // "10.1.2.3/24"
};

// A PCI function: the lines of `localcli hardware pci list` by key, and what only its configuration space and
// its vital product data tell.
struct PciFunction {
    std::map<std::string, std::string> listed;
    PciAddress address;
    std::uint8_t linkWidth = 0;  // lanes of PCI Express; 0 for a function of conventional PCI
    std::string productName;     // vital product data; empty, with no tags: none
    std::map<std::string, std::string> productTags;  // "PN", ...

    const std::string& at(const std::string& key) const { return listed.at(key); }
};

// The port of a Fibre Channel adapter: a block of `localcli storage san fc list`.
struct FibreChannelPort {
    std::string portId = "000000";
    std::string nodeName;  // "20:00:00:90:fa:7c:41:d0"
    std::string portName;
    std::string speed;
    std::string portType = "NPort";
    std::string portState;
    std::string modelDescription;
    std::string hardwareVersion;
    std::string optionRomVersion;
    std::string firmwareVersion;
    std::string driverName;
    std::string driverVersion;  // empty: the driver does not tell it
};

struct StorageAdapter {
    std::string name;
    std::string driver;
    std::string linkState;
    std::string uid;
    std::string capabilities;
    std::string description;
    std::optional<FibreChannelPort> fibreChannel;
};

// An Ethernet adapter: the columns of `localcli network nic list`, and what `network nic get` adds.
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
    std::string firmwareVersion;  // empty: the driver tells none
};

struct HostDescription {
    std::string nodeName = "localhost";
    std::string systemName = "VMkernel";
    std::string release = "7.0.3";
    std::string version = "#1 SMP Release build-20036589 Jul  7 2022 01:01:01";
    std::string machine = "x86_64";

    std::string productName = "VMware ESXi";
    std::string productVersion = "7.0.3";
    std::string productBuild = "Releasebuild-20036589";
    std::string productUpdate = "3";
    std::string productPatch = "50";

    std::uint64_t totalMBytes = 0;
    std::uint64_t freeMBytes = 0;
    std::int64_t uptimeSeconds = 86400;
    bool memoryLinesEndInComma = true;
    bool onlyMeasured = false;  // esxtop has the counters of the memory alone, no made-up ones

    std::vector<DescribedInterface> interfaces;
    std::vector<PciFunction> pciFunctions;
    std::vector<StorageAdapter> storageAdapters;
    std::vector<NetworkAdapter> networkAdapters;

    std::string smbios;                        // content of the device file; empty: there is none
    std::string configuration;                 // of the agent; empty for none
    std::map<std::string, std::string> files;  // absolute place on the host, content
};

// The keys of a PCI function in the order in which they are listed.
const std::vector<std::string>& pciKeys();
// A place as it stands among their values: "PCI 0:59:0:1".
std::string pciListPlace(const PciAddress& address);
// A function with all keys: what its address says of it, and what most functions have in common.
PciFunction usualPciFunction(const PciAddress& address);

// Reads the description. Throws std::runtime_error with a sentence that names the file and what is wrong.
HostDescription readHostDescription(const std::string& file);
// `directory` is where the files lie that a description names.
HostDescription parseHostDescription(const Json::Value& root, const std::string& directory = ".");

// True for an IPv4 address in dotted form; its four bytes go to `bytes`.
bool parseIpv4(const std::string& text, std::uint8_t (&bytes)[4]);
// Takes "10.1.2.3" or "10.1.2.3/24" (24 is what a missing length stands for) apart.
bool parseInterfaceAddress(const std::string& text, std::uint8_t (&bytes)[4], std::uint8_t& prefixLength);
bool parseHardwareAddress(const std::string& text, std::uint8_t (&bytes)[6]);

}  // namespace simhost
