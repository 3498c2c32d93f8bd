#include "modules/nic/NicModule.h"

#include <json/json.h>

#include "host/DescriptionSection.h"
#include "host/LocalcliForms.h"
#include "host/SimulatedHost.h"
#include "live/MachineReaders.h"
#include "modules/nic/NetworkAdapters.h"

namespace simhost {

namespace {

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

bool isUp(const NetworkAdapter& adapter) {
    return adapter.linkStatus == "Up";
}

constexpr Column<NetworkAdapter> listColumns[] = {
    {"Name", [](const NetworkAdapter& each) { return each.name; }},
    {"PCI Device", [](const NetworkAdapter& each) { return each.pciDevice; }},
    {"Driver", [](const NetworkAdapter& each) { return each.driver; }},
    {"Admin Status", [](const NetworkAdapter& each) { return each.adminStatus; }},
    {"Link Status", [](const NetworkAdapter& each) { return each.linkStatus; }},
    {"Speed", [](const NetworkAdapter& each) { return std::to_string(isUp(each) ? each.speedMbps : 0); }},
    {"Duplex", [](const NetworkAdapter& each) { return isUp(each) ? each.duplex : std::string("Half"); }},
    {"MAC Address", [](const NetworkAdapter& each) { return each.hardwareAddress; }},
    {"MTU", [](const NetworkAdapter& each) { return std::to_string(each.mtu); }},
    {"Description", [](const NetworkAdapter& each) { return each.description; }},
};

Answer nicList(const HostDescription& host, const std::string& /*argument*/) {
    return {0, formatTable(listColumns, host.part<NetworkAdapters>().all), ""};
}

// The parts that differ from adapter to adapter; the rest of the real command's keys is of no use here.
Answer nicGet(const HostDescription& host, const std::string& name) {
    for (const auto& each : host.part<NetworkAdapters>().all) {
        if (each.name != name) continue;
        std::string text = formatLine("Auto Negotiation", "true");
        text += "   Driver Info: \n";
        text += "         Bus Info: " + each.pciDevice + "\n";
        text += "         Driver: " + each.driver + "\n";
        if (!each.firmwareVersion.empty())
            text += "         Firmware Version: " + each.firmwareVersion + "\n";
        text += formatLine("Link Detected", isUp(each) ? "true" : "false");
        text += formatLine("Link Status", each.linkStatus + " ");
        text += formatLine("Name", each.name);
        text += formatLine("Virtual Address", each.hardwareAddress);
        return {0, text, ""};
    }
    return {1, "", "Error: Nic " + name + " not found\n"};
}

constexpr LocalcliCommand localcliCommands[] = {
    {"network nic list", nullptr, nicList},
    {"network nic get -n", "NIC", nicGet},
};
constexpr char getCommand[] = "localcli network nic get -n ";

std::vector<NetworkAdapter>::iterator find(std::vector<NetworkAdapter>& all, const std::string& name) {
    auto each = all.begin();
    while (each != all.end() && each->name != name) ++each;
    return each;
}

// An adapter that is there is changed by `how`.
template <class How>
void changeAdapter(SimulatedHost& host, const std::string& name, How how) {
    host.change([&](HostDescription& description) {
        auto& all = description.part<NetworkAdapters>().all;
        const auto found = find(all, name);
        if (found == all.end()) throw UsageError("the host has no Ethernet adapter \"" + name + "\"");
        how(all, found);
    });
}

void addAdapter(SimulatedHost& host, const std::string& name, Words& words) {
    NetworkAdapter made;
    made.name = name;
    made.pciDevice = words.next("the PCI address");
    made.driver = words.empty() ? "ixgben" : words.next("the driver");
    words.end();
    made.speedMbps = 10000;
    made.hardwareAddress = "02:00:5e:00:53:01";
    made.description = "Added while the host runs";
    host.change([&made](HostDescription& description) {
        auto& all = description.part<NetworkAdapters>().all;
        if (find(all, made.name) != all.end())
            throw UsageError("the host has an adapter " + made.name + " already");
        all.push_back(made);
    });
}

// The host's own form: "Up" for "up".
std::string capitalised(std::string word, const std::string& choices) {
    if ((" " + choices + " ").find(" " + word + " ") == std::string::npos)
        throw UsageError("\"" + word + "\" is none of " + choices);
    word[0] = static_cast<char>(word[0] - 'a' + 'A');
    return word;
}

void nicCommand(SimulatedHost& host, Words& words) {
    const std::string name = words.next("the adapter's name");
    const std::string what = words.next("link, admin, speed, remove or add");
    if (what == "add") return addAdapter(host, name, words);
    if (what == "remove") {
        words.end();
        return changeAdapter(host, name, [](auto& all, auto found) { all.erase(found); });
    }
    if (what == "speed") {
        const long long speed = words.nextNumber("the megabits per second", 0, 1000000000);
        words.end();
        return changeAdapter(host, name, [speed](auto& /*all*/, auto found) {
            found->speedMbps = static_cast<std::uint64_t>(speed);
        });
    }
    if (what != "link" && what != "admin")
        throw UsageError("nic: \"" + what + "\" is none of link, admin, speed, remove, add");
    const std::string status =
        capitalised(words.next("the status"), what == "link" ? "up down unknown" : "up down");
    words.end();
    changeAdapter(host, name, [&](auto& /*all*/, auto found) {
        found->linkStatus = status;
        if (what == "admin") found->adminStatus = status;
    });
}

constexpr ControlCommand commands[] = {
    {"nic",
     "  nic NAME link up|down|unknown        the link of an Ethernet adapter\n"
     "  nic NAME admin up|down               switched on or off, with its link\n"
     "  nic NAME speed MBITS                 the speed of its link\n"
     "  nic NAME remove                      removes the adapter\n"
     "  nic NAME add PCI-ADDRESS [DRIVER]    adds an adapter\n",
     nicCommand}};

class NicModule : public HostModule {
public:
    void parse(Section& root, const std::string& /*directory*/, HostDescription& into) const override {
        auto& all = into.part<NetworkAdapters>().all;
        root.list("networkAdapters", [&all](const Json::Value& each, const std::string& name) {
            all.push_back(parseNetworkAdapter(each, name));
        });
    }
    void readMachine(MachineReaders& machine, HostDescription& into) const override {
        into.part<NetworkAdapters>().all = machine.network.adapters();
    }
    void refresh(MachineReaders& machine, const std::string& command, HostDescription& into) const override {
        if (command.rfind(getCommand, 0) == 0)
            into.part<NetworkAdapters>().all =
                machine.network.adapter(command.substr(sizeof(getCommand) - 1));
        else if (command.rfind("localcli network", 0) == 0)
            readMachine(machine, into);
    }
    Rows<ControlCommand> controls() const override { return commands; }
    Rows<LocalcliCommand> localcli() const override { return localcliCommands; }
};

}  // namespace

const HostModule& nicModule() {
    static const NicModule module;
    return module;
}

}  // namespace simhost
