#include "fc/FCFixture.h"

namespace {

std::string line(const char* key, const std::string& value) {
    return value.empty() ? "" : "   " + std::string(key) + ": " + value + "\n";
}

}  // namespace

std::string FCFixture::answer(const std::string& command) {
    if (command == topologyCommand) {
        host.root.writeFile("/opt/mev/vok/data/fc_topology.txt",
                            "   Address: 0000:3b:00.0\n   VMkernel Name: vmhba1\n"
                            "   Address: 0000:3b:00.1\n   VMkernel Name: vmhba2\n");
    } else if (command == namesCommand) {
        host.root.writeFile("/opt/mev/vok/data/fc_name.txt",
                            "   Adapter: vmhba1\n   Node Name: 20:00:00:00:c9:00:00:01\n"
                            "   Adapter: vmhba2\n   Node Name: 20:00:00:00:c9:00:00:02\n");
    } else if (command.find("grep -w 'SubVendor ID:") != std::string::npos) {
        return line("SubVendor ID", subVendor) + line("SubDevice ID", subDevice);
    } else if (command.find("grep -w 'Vendor ID:") != std::string::npos) {
        return line("Vendor ID", vendor) + line("Device ID", device);
    }
    return "";
}
