#include "host/HostDescription.h"

#include <arpa/inet.h>
#include <json/json.h>
#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <set>
#include <stdexcept>

#include "common/Text.h"

namespace simhost {

namespace {

// One object of the description. Takes its members by name and at the end refuses what nobody took.
class Section {
public:
    Section(const Json::Value& value, std::string name) : value_(value), name_(std::move(name)) {
        if (!value.isObject()) fail("is not an object");
    }

    void text(const char* key, std::string& into) {
        if (const Json::Value* found = take(key)) {
            if (!found->isString()) fail(std::string(key) + " is not a text");
            into = found->asString();
        }
    }
    template <class Number>
    void number(const char* key, Number& into) {
        if (const Json::Value* found = take(key)) {
            if (!found->isInt64() || found->asInt64() < 0)
                fail(std::string(key) + " is not a whole number of 0 or more");
            into = static_cast<Number>(found->asInt64());
        }
    }
    void truth(const char* key, bool& into) {
        if (const Json::Value* found = take(key)) {
            if (!found->isBool()) fail(std::string(key) + " is not true or false");
            into = found->asBool();
        }
    }
    template <class Use>
    void section(const char* key, Use use) {
        if (const Json::Value* found = take(key)) {
            Section inner(*found, name_ + "." + key);
            use(inner);
            inner.end();
        }
    }
    template <class Use>
    void list(const char* key, Use use) {
        if (const Json::Value* found = take(key)) {
            if (!found->isArray()) fail(std::string(key) + " is not an array");
            for (Json::ArrayIndex i = 0; i < found->size(); ++i)
                use((*found)[i], name_ + "." + key + "[" + std::to_string(i) + "]");
        }
    }
    const Json::Value& whole() const { return value_; }
    const Json::Value* take(const char* key) {
        taken_.insert(key);
        return value_.isMember(key) ? &value_[key] : nullptr;
    }
    void end() const {
        for (const auto& key : value_.getMemberNames())
            if (taken_.count(key) == 0) fail("has a key \"" + key + "\" that is not known");
    }
    [[noreturn]] void fail(const std::string& what) const { throw std::runtime_error(name_ + " " + what); }

private:
    const Json::Value& value_;
    std::string name_;
    std::set<std::string> taken_;
};

std::string textElement(const Json::Value& value, const std::string& name) {
    if (!value.isString()) throw std::runtime_error(name + " is not a text");
    return value.asString();
}

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

bool parseHexadecimal(const std::string& digits, unsigned& number) {
    if (digits.empty() || digits.find_first_not_of("0123456789abcdefABCDEF") != std::string::npos)
        return false;
    number = static_cast<unsigned>(std::strtoul(digits.c_str(), nullptr, 16));
    return true;
}

// Fills in what the address says of a function, and what most functions have in common.
PciFunction parsePciFunction(const Json::Value& value, const std::string& name) {
    Section section(value, name);
    PciFunction made{{"Configured Owner", "VMkernel"},
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
                     {"Reset Method", "Function reset"},
                     {"FPT Sharable", "true"}};
    std::string address;
    section.text("Address", address);
    unsigned segment = 0, bus = 0, slot = 0, function = 0;
    const bool formed =
        address.size() == 12 && address[4] == ':' && address[7] == ':' && address[10] == '.' &&
        parseHexadecimal(address.substr(0, 4), segment) && parseHexadecimal(address.substr(5, 2), bus) &&
        parseHexadecimal(address.substr(8, 2), slot) && parseHexadecimal(address.substr(11), function);
    if (!formed) section.fail("has the Address \"" + address + "\", which is not of the form 0000:3b:00.0");
    made["Address"] = address;
    made["Segment"] = formatText("0x%04x", segment);
    made["Bus"] = formatText("0x%02x", bus);
    made["Slot"] = formatText("0x%02x", slot);
    made["Function"] = formatText("0x%x", function);
    made["Dependent Device"] = formatText("PCI %u:%u:%u:%u", segment, bus, slot, function);
    made["Parent Device"] = "PCI 0:0:0:0";
    for (const auto& key : pciKeys()) section.text(key.c_str(), made[key]);
    section.end();
    return made;
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

HostDescription parseHostDescription(const Json::Value& value) {
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
        return parseHostDescription(root);
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
        unsigned number = 0;
        if (!parseHexadecimal(text.substr(3 * i, 2), number)) return false;
        if (i < 5 && text[3 * i + 2] != ':') return false;
        bytes[i] = static_cast<std::uint8_t>(number);
    }
    return true;
}

}  // namespace simhost
