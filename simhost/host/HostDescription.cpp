#include "host/HostDescription.h"

#include <arpa/inet.h>
#include <json/json.h>
#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <set>
#include <stdexcept>

#include "common/Text.h"
#include "host/DescriptionSection.h"
#include "host/SmBiosDescription.h"

namespace simhost {

namespace {

DescribedInterface parseInterface(const Json::Value& value, const std::string& name) {
    Section section(value, name);
    DescribedInterface made;
    section.text("name", made.name);
    section.text("hardwareAddress", made.hardwareAddress);
    section.list("addresses", [&made](const Json::Value& each, const std::string& where) {
        made.addresses.push_back(textElement(each, where));
    });
    section.end();
    if (made.name.empty() || made.name.size() > 15) section.fail("needs a name of 1 to 15 characters");
    std::uint8_t hardware[6];
    if (!made.hardwareAddress.empty() && !parseHardwareAddress(made.hardwareAddress, hardware))
        section.fail("has a hardwareAddress that is none");
    for (const auto& address : made.addresses) {
        std::uint8_t bytes[4];
        std::uint8_t length = 0;
        if (!parseInterfaceAddress(address, bytes, length))
            section.fail("has the address \"" + address + "\", which is none");
    }
    return made;
}

constexpr char noParent[] = "PCI 0:0:0:0";

void parseProductData(Section& vpd, PciFunction& into) {
    vpd.text("productName", into.productName);
    vpd.section("tags", [&into](Section& tags) {
        for (const auto& keyword : tags.whole().getMemberNames()) {
            std::string& value = into.productTags[keyword];
            tags.text(keyword.c_str(), value);
            if (keyword.size() != 2 || value.size() > 255)
                tags.fail("has the tag \"" + keyword +
                          "\", which needs a keyword of 2 characters and a value of " + "at most 255");
        }
    });
}

PciFunction parsePciFunction(const Json::Value& value, const std::string& name) {
    Section section(value, name);
    std::string address;
    section.text("Address", address);
    const auto place = parsePciAddress(address);
    if (!place) section.fail("has the Address \"" + address + "\", which is not of the form 0000:3b:00.0");
    PciFunction made = usualPciFunction(*place);
    made.listed["Address"] = address;
    for (const auto& key : pciKeys()) section.text(key.c_str(), made.listed[key]);
    section.number("linkWidth", made.linkWidth, 32);
    section.section("vpd", [&made](Section& vpd) { parseProductData(vpd, made); });
    section.end();
    return made;
}

// The bridge whose bus a function stands on is its parent, where the description tells nothing else.
void completePciFunctions(Section& root, std::vector<PciFunction>& functions) {
    std::set<std::string> addresses;
    for (auto& each : functions) {
        if (!addresses.insert(formatPciAddress(each.address)).second)
            root.fail("has the PCI function " + each.at("Address") + " twice");
        if (each.address.bus == 0 || each.at("Parent Device") != noParent) continue;
        const auto spawns = [&each](const PciFunction& other) {
            return other.address.segment == each.address.segment &&
                   parsePrefixedHexadecimal(other.at("Spawned Bus")).value_or(0) == each.address.bus;
        };
        const auto bridge = std::find_if(functions.begin(), functions.end(), spawns);
        if (bridge != functions.end()) each.listed["Parent Device"] = pciListPlace(bridge->address);
    }
}

// "20000090fa7c41d0" as "20:00:00:90:fa:7c:41:d0".
std::string worldWideName(const std::string& digits) {
    std::string name;
    for (std::size_t at = 0; at < digits.size(); at += 2) name += (at ? ":" : "") + digits.substr(at, 2);
    return name;
}

// What the adapter's row tells of its port need not be told again: "fc.NODE:PORT" is its UID.
FibreChannelPort portOf(const StorageAdapter& adapter) {
    FibreChannelPort port;
    const std::size_t colon = adapter.uid.find(':');
    if (adapter.uid.compare(0, 3, "fc.") == 0 && colon != std::string::npos) {
        port.nodeName = worldWideName(adapter.uid.substr(3, colon - 3));
        port.portName = worldWideName(adapter.uid.substr(colon + 1));
    }
    const bool up = adapter.linkState == "link-up";
    port.speed = up ? "16 Gbps" : "0 Gbps";
    port.portState = up ? "ONLINE" : "LINKDOWN";
    port.driverName = adapter.driver;
    const std::size_t description = adapter.description.find(") ");
    port.modelDescription =
        description == std::string::npos ? adapter.description : adapter.description.substr(description + 2);
    return port;
}

void parseFibreChannel(Section& section, FibreChannelPort& port) {
    section.text("portId", port.portId);
    section.text("nodeName", port.nodeName);
    section.text("portName", port.portName);
    section.text("speed", port.speed);
    section.text("portType", port.portType);
    section.text("portState", port.portState);
    section.text("modelDescription", port.modelDescription);
    section.text("hardwareVersion", port.hardwareVersion);
    section.text("optionRomVersion", port.optionRomVersion);
    section.text("firmwareVersion", port.firmwareVersion);
    section.text("driverName", port.driverName);
    section.text("driverVersion", port.driverVersion);
}

StorageAdapter parseAdapter(const Json::Value& value, const std::string& name) {
    Section section(value, name);
    StorageAdapter made;
    section.text("name", made.name);
    section.text("driver", made.driver);
    section.text("linkState", made.linkState);
    section.text("uid", made.uid);
    section.text("capabilities", made.capabilities);
    section.text("description", made.description);
    if (made.uid.compare(0, 3, "fc.") == 0 || section.has("fibreChannel")) made.fibreChannel = portOf(made);
    section.section("fibreChannel", [&made](Section& port) { parseFibreChannel(port, *made.fibreChannel); });
    section.end();
    return made;
}

NetworkAdapter parseNetworkAdapter(const Json::Value& value, const std::string& name) {
    Section section(value, name);
    NetworkAdapter made;
    section.text("name", made.name);
    section.text("pciDevice", made.pciDevice);
    section.text("driver", made.driver);
    section.text("adminStatus", made.adminStatus);
    section.text("linkStatus", made.linkStatus);
    section.number("speedMbps", made.speedMbps);
    section.text("duplex", made.duplex);
    section.text("hardwareAddress", made.hardwareAddress);
    section.number("mtu", made.mtu);
    section.text("description", made.description);
    section.text("firmwareVersion", made.firmwareVersion);
    section.end();
    if (made.name.empty()) section.fail("needs a name");
    return made;
}

void parseFiles(Section& root, HostDescription& host) {
    root.section("files", [&host](Section& files) {
        for (const auto& place : files.whole().getMemberNames()) {
            if (place.empty() || place[0] != '/' || place.find("/../") != std::string::npos)
                files.fail("has the place \"" + place + "\", which is not an absolute path");
            files.text(place.c_str(), host.files[place]);
        }
    });
}

}  // namespace

const std::vector<std::string>& pciKeys() {
    static const std::vector<std::string> keys = {"Address",
                                                  "Segment",
                                                  "Bus",
                                                  "Slot",
                                                  "Function",
                                                  "VMkernel Name",
                                                  "Vendor Name",
                                                  "Device Name",
                                                  "Configured Owner",
                                                  "Current Owner",
                                                  "Vendor ID",
                                                  "Device ID",
                                                  "SubVendor ID",
                                                  "SubDevice ID",
                                                  "Device Class",
                                                  "Device Class Name",
                                                  "Programming Interface",
                                                  "Revision ID",
                                                  "Interrupt Line",
                                                  "IRQ",
                                                  "Interrupt Vector",
                                                  "PCI Pin",
                                                  "Spawned Bus",
                                                  "Flags",
                                                  "Module ID",
                                                  "Module Name",
                                                  "Chassis",
                                                  "Physical Slot",
                                                  "Slot Description",
                                                  "Passthru Capable",
                                                  "Parent Device",
                                                  "Dependent Device",
                                                  "Reset Method",
                                                  "FPT Sharable"};
    return keys;
}

std::string pciListPlace(const PciAddress& address) {
    return formatText("PCI %u:%u:%u:%u", address.segment, static_cast<unsigned>(address.bus),
                      static_cast<unsigned>(address.slot), static_cast<unsigned>(address.function));
}

PciFunction usualPciFunction(const PciAddress& address) {
    PciFunction made;
    for (const auto& key : pciKeys()) made.listed[key];
    for (const auto& [key, value] : {std::pair<const char*, const char*>{"Configured Owner", "VMkernel"},
                                     {"Current Owner", "VMkernel"},
                                     {"Programming Interface", "0x00"},
                                     {"Revision ID", "0x01"},
                                     {"Interrupt Line", "0xff"},
                                     {"IRQ", "255"},
                                     {"Interrupt Vector", "0x00"},
                                     {"PCI Pin", "0x00"},
                                     {"Spawned Bus", "0x00"},
                                     {"Flags", "0x3001"},
                                     {"Module ID", "-1"},
                                     {"Module Name", "None"},
                                     {"Chassis", "0"},
                                     {"Physical Slot", "4294967295"},
                                     {"Passthru Capable", "true"},
                                     {"Parent Device", noParent},
                                     {"Reset Method", "Function reset"},
                                     {"FPT Sharable", "true"}})
        made.listed[key] = value;
    made.address = address;
    made.listed["Address"] = formatPciAddress(address);
    made.listed["Segment"] = formatText("0x%04x", address.segment);
    made.listed["Bus"] = formatText("0x%02x", static_cast<unsigned>(address.bus));
    made.listed["Slot"] = formatText("0x%02x", static_cast<unsigned>(address.slot));
    made.listed["Function"] = formatText("0x%x", static_cast<unsigned>(address.function));
    made.listed["Dependent Device"] = pciListPlace(address);
    return made;
}

HostDescription parseHostDescription(const Json::Value& value, const std::string& directory) {
    HostDescription host;
    Section root(value, "the description");
    std::string remark;
    root.text("remark", remark);
    root.text("nodeName", host.nodeName);
    root.section("system", [&host](Section& system) {
        system.text("name", host.systemName);
        system.text("release", host.release);
        system.text("version", host.version);
        system.text("machine", host.machine);
    });
    root.section("product", [&host](Section& product) {
        product.text("name", host.productName);
        product.text("version", host.productVersion);
        product.text("build", host.productBuild);
        product.text("update", host.productUpdate);
        product.text("patch", host.productPatch);
    });
    root.section("memory", [&host](Section& memory) {
        memory.number("totalMBytes", host.totalMBytes);
        memory.number("freeMBytes", host.freeMBytes);
        memory.truth("linesEndInComma", host.memoryLinesEndInComma);
    });
    root.number("uptimeSeconds", host.uptimeSeconds);
    root.list("interfaces", [&host](const Json::Value& each, const std::string& name) {
        host.interfaces.push_back(parseInterface(each, name));
    });
    root.list("pci", [&host](const Json::Value& each, const std::string& name) {
        host.pciFunctions.push_back(parsePciFunction(each, name));
    });
    completePciFunctions(root, host.pciFunctions);
    root.section("smbios", [&](Section& smbios) { host.smbios = parseSmBios(smbios, directory); });
    root.list("storageAdapters", [&host](const Json::Value& each, const std::string& name) {
        host.storageAdapters.push_back(parseAdapter(each, name));
    });
    root.list("networkAdapters", [&host](const Json::Value& each, const std::string& name) {
        host.networkAdapters.push_back(parseNetworkAdapter(each, name));
    });
    if (const Json::Value* configuration = root.take("configuration"))
        host.configuration = configuration->toStyledString();
    parseFiles(root, host);
    root.end();
    if (host.freeMBytes > host.totalMBytes) root.fail("has more free memory than memory");
    return host;
}

HostDescription readHostDescription(const std::string& file) {
    std::ifstream stream(file, std::ios::binary);
    if (!stream) throw std::runtime_error(file + ": can't be opened");
    Json::CharReaderBuilder builder;
    Json::CharReaderBuilder::strictMode(&builder.settings_);
    Json::Value root;
    std::string errors;
    try {
        if (!Json::parseFromStream(builder, stream, &root, &errors)) throw std::runtime_error(errors);
        return parseHostDescription(root, std::filesystem::path(file).parent_path().string());
    } catch (const std::exception& problem) {
        throw std::runtime_error(file + ": " + problem.what());
    }
}

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
