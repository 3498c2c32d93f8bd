// localcli: reads the host's hardware and software facts by namespace.
#include <algorithm>

#include "host/StandIns.h"

namespace simhost {

namespace {

void line(std::string& text, const std::string& key, const std::string& value) {
    text += "   " + key + ": " + value + "\n";
}

std::string systemVersionGet(const HostDescription& host) {
    std::string text;
    line(text, "Product", host.productName);
    line(text, "Version", host.productVersion);
    line(text, "Build", host.productBuild);
    line(text, "Update", host.productUpdate);
    line(text, "Patch", host.productPatch);
    return text;
}

// A block a function: its address as the head line, its keys three blanks in, an empty line behind it.
std::string hardwarePciList(const HostDescription& host) {
    std::string text;
    for (const auto& function : host.pciFunctions) {
        if (!text.empty()) text += "\n";
        text += function.at("Address") + ":\n";
        for (const auto& key : pciKeys()) line(text, key, function.at(key));
    }
    return text;
}

using Row = std::vector<std::string>;

std::string table(const std::vector<Row>& rows) {
    std::vector<std::size_t> widths(rows.front().size(), 0);
    for (const auto& row : rows)
        for (std::size_t i = 0; i < row.size(); ++i) widths[i] = std::max(widths[i], row[i].size());
    std::string text;
    const auto put = [&text, &widths](const Row& row) {
        for (std::size_t i = 0; i < row.size(); ++i) {
            text += row[i];
            if (i + 1 < row.size()) text.append(widths[i] - row[i].size() + 2, ' ');
        }
        text += "\n";
    };
    put(rows.front());
    Row dashes;
    for (const std::size_t width : widths) dashes.emplace_back(width, '-');
    put(dashes);
    std::for_each(rows.begin() + 1, rows.end(), put);
    return text;
}

std::string storageCoreAdapterList(const HostDescription& host) {
    std::vector<Row> rows{{"HBA Name", "Driver", "Link State", "UID", "Capabilities", "Description"}};
    for (const auto& each : host.storageAdapters)
        rows.push_back(
            {each.name, each.driver, each.linkState, each.uid, each.capabilities, each.description});
    return table(rows);
}

std::string networkNicList(const HostDescription& host) {
    std::vector<Row> rows{{"Name", "PCI Device", "Driver", "Admin Status", "Link Status", "Speed", "Duplex",
                           "MAC Address", "MTU", "Description"}};
    for (const auto& each : host.networkAdapters)
        rows.push_back({each.name, each.pciDevice, each.driver, each.adminStatus, each.linkStatus,
                        std::to_string(each.linkStatus == "Up" ? each.speedMbps : 0),
                        each.linkStatus == "Up" ? each.duplex : "Half", each.hardwareAddress,
                        std::to_string(each.mtu), each.description});
    return table(rows);
}

// The parts that differ from adapter to adapter; the rest of the real command's keys is of no use to anybody
// here.
Answer networkNicGet(const std::string& name, const HostDescription& host) {
    for (const auto& each : host.networkAdapters) {
        if (each.name != name) continue;
        std::string text;
        line(text, "Auto Negotiation", "true");
        text += "   Driver Info: \n";
        text += "         Bus Info: " + each.pciDevice + "\n";
        text += "         Driver: " + each.driver + "\n";
        if (!each.firmwareVersion.empty())
            text += "         Firmware Version: " + each.firmwareVersion + "\n";
        line(text, "Link Detected", each.linkStatus == "Up" ? "true" : "false");
        line(text, "Link Status", each.linkStatus + " ");
        line(text, "Name", each.name);
        line(text, "Virtual Address", each.hardwareAddress);
        return {0, text, ""};
    }
    return {1, "", "Error: Nic " + name + " not found\n"};
}

// A block a port. A driver that does not tell its version makes a line of complaint in the midst of it.
std::string storageSanFcList(const HostDescription& host) {
    std::string text;
    for (const auto& adapter : host.storageAdapters) {
        if (!adapter.fibreChannel) continue;
        const FibreChannelPort& port = *adapter.fibreChannel;
        if (!text.empty()) text += "\n";
        text += "FcDevice:\n";
        line(text, "Adapter", adapter.name);
        line(text, "Port ID", port.portId);
        line(text, "Node Name", port.nodeName);
        line(text, "Port Name", port.portName);
        line(text, "Speed", port.speed);
        line(text, "Port Type", port.portType);
        line(text, "Port State", port.portState);
        line(text, "Model Description", port.modelDescription);
        line(text, "Hardware Version", port.hardwareVersion);
        line(text, "OptionROM Version", port.optionRomVersion);
        line(text, "Firmware Version", port.firmwareVersion);
        line(text, "Driver Name", port.driverName);
        if (port.driverVersion.empty())
            text += "Error getting field DriverVersion\n";
        else
            line(text, "DriverVersion", port.driverVersion);
    }
    return text;
}

struct Namespace {
    const char* words;
    std::string (*print)(const HostDescription& host);
};

constexpr Namespace namespaces[] = {
    {"hardware pci list", hardwarePciList},
    {"network nic list", networkNicList},
    {"storage core adapter list", storageCoreAdapterList},
    {"storage san fc list", storageSanFcList},
    {"system version get", systemVersionGet},
};

constexpr char nicGet[] = "network nic get -n ";

std::string usage() {
    std::string text = "Usage: localcli NAMESPACE... COMMAND\n\nOn this simulated host:\n";
    for (const auto& each : namespaces) text += std::string("   localcli ") + each.words + "\n";
    return text + "   localcli " + nicGet + "NIC\n";
}

}  // namespace

Answer runLocalcli(const std::vector<std::string>& arguments, const HostDescription& host) {
    std::string words;
    for (const auto& argument : arguments) words += (words.empty() ? "" : " ") + argument;
    if (words == "--help" || words == "-h") return {0, usage(), ""};
    for (const auto& each : namespaces)
        if (words == each.words) return {0, each.print(host), ""};
    if (words.rfind(nicGet, 0) == 0) return networkNicGet(words.substr(sizeof(nicGet) - 1), host);
    if (words.empty()) return {1, usage(), ""};
    return {1, "", "Error: Unknown command or namespace " + words + "\n\n" + usage()};
}

}  // namespace simhost
