#include "modules/interfaces/InterfacesModule.h"

#include <json/json.h>
#include <net/if.h>
#include <algorithm>

#include "common/HostState.h"
#include "host/Counters.h"
#include "host/DescriptionSection.h"
#include "host/SimulatedHost.h"
#include "modules/interfaces/Interfaces.h"

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

HostAddress entryOf(const DescribedInterface& interface) {
    HostAddress entry{};
    const bool loopback = interface.name.compare(0, 2, "lo") == 0;
    putText(entry.interface, interface.name);
    if (!interface.hardwareAddress.empty()) parseHardwareAddress(interface.hardwareAddress, entry.hardware);
    entry.flags = IFF_UP | IFF_RUNNING | (loopback ? IFF_LOOPBACK : IFF_BROADCAST | IFF_MULTICAST);
    return entry;
}

void put(HostFacts& facts, const HostAddress& entry) {
    if (facts.addressCount < mostAddresses) facts.addresses[facts.addressCount++] = entry;
}

DescribedInterface* find(std::vector<DescribedInterface>& all, const std::string& name) {
    const auto found =
        std::find_if(all.begin(), all.end(), [&name](const auto& each) { return each.name == name; });
    return found == all.end() ? nullptr : &*found;
}

// A new address goes after those that the interface has, a new interface after the others.
void addAddress(std::vector<DescribedInterface>& all, const std::string& name, const std::string& address) {
    std::uint8_t bytes[4];
    std::uint8_t length = 0;
    if (!parseInterfaceAddress(address, bytes, length))
        throw UsageError("\"" + address + "\" is not an IPv4 address");
    if (name.empty() || name.size() > 15) throw UsageError("an interface has a name of 1 to 15 characters");
    std::size_t entries = 1;
    for (const auto& each : all) entries += 1 + each.addresses.size();
    if (entries >= mostAddresses) throw UsageError("the host has as many addresses as it can have");
    DescribedInterface* found = find(all, name);
    if (!found) {
        all.push_back({name, "", {}});
        found = &all.back();
    }
    found->addresses.push_back(address);
}

// Without an address the whole interface goes. False when there is none such.
bool removeAddress(std::vector<DescribedInterface>& all, const std::string& name,
                   const std::string& address) {
    DescribedInterface* const found = find(all, name);
    if (!found) return false;
    if (address.empty()) {
        all.erase(all.begin() + (found - all.data()));
        return true;
    }
    const auto isIt = [&address](const std::string& each) {
        return each == address || each.substr(0, each.find('/')) == address;
    };
    const auto removed = std::find_if(found->addresses.begin(), found->addresses.end(), isIt);
    if (removed == found->addresses.end()) return false;
    found->addresses.erase(removed);
    return true;
}

void interfaceCommand(SimulatedHost& host, Words& words) {
    const std::string what = words.next("add or remove");
    const std::string name = words.next("the interface's name");
    if (what != "add" && what != "remove")
        throw UsageError("interface: \"" + what + "\" is none of add, remove");
    const std::string address = what == "remove" && words.empty() ? "" : words.next("the address");
    words.end();
    host.change([&](HostDescription& description) {
        auto& all = description.part<Interfaces>().all;
        if (what == "add")
            addAddress(all, name, address);
        else if (!removeAddress(all, name, address))
            throw UsageError("there is no such interface or address");
    });
}

constexpr ControlCommand commands[] = {
    {"interface",
     "  interface add NAME ADDRESS[/LENGTH]  adds an IPv4 address; adds the interface\n"
     "                                       if it is missing\n"
     "  interface remove NAME [ADDRESS]      removes the address, or the interface\n",
     interfaceCommand}};

class InterfacesModule : public HostModule {
public:
    void parse(Section& root, const std::string& /*directory*/, HostDescription& into) const override {
        auto& all = into.part<Interfaces>().all;
        root.list("interfaces", [&all](const Json::Value& each, const std::string& name) {
            all.push_back(parseInterface(each, name));
        });
    }
    Rows<ControlCommand> controls() const override { return commands; }
    void addCounters(const HostDescription& host, Counters& counters) const override {
        for (const auto& interface : host.part<Interfaces>().all)
            for (const char* counter : {"Packets Transmitted/sec", "MBits Transmitted/sec",
                                        "Packets Received/sec", "MBits Received/sec"})
                counters.putMoving("Network Port(" + interface.name + ")\\" + counter, 5.0, 4.0);
    }
    void addFacts(const HostDescription& host, HostFacts& facts) const override {
        const auto& all = host.part<Interfaces>().all;
        for (const auto& interface : all) put(facts, entryOf(interface));
        for (const auto& interface : all) {
            for (const auto& address : interface.addresses) {
                HostAddress entry = entryOf(interface);
                entry.isAddress = 1;
                parseInterfaceAddress(address, entry.ipv4, entry.prefixLength);
                put(facts, entry);
            }
        }
    }
    void show(SimulatedHost& host, Json::Value& shown) const override {
        shown["interfaces"] = Json::arrayValue;
        for (const auto& interface : host.description().part<Interfaces>().all) {
            Json::Value entry;
            entry["name"] = interface.name;
            entry["addresses"] = Json::arrayValue;
            for (const auto& address : interface.addresses) entry["addresses"].append(address);
            shown["interfaces"].append(entry);
        }
    }
};

}  // namespace

const HostModule& interfacesModule() {
    static const InterfacesModule module;
    return module;
}

}  // namespace simhost
