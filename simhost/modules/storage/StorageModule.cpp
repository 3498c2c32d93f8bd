#include "modules/storage/StorageModule.h"

#include <json/json.h>

#include "host/Counters.h"
#include "host/DescriptionSection.h"
#include "host/LocalcliForms.h"
#include "modules/storage/StorageAdapters.h"

namespace simhost {

namespace {

// "20000090fa7c41d0" as "20:00:00:90:fa:7c:41:d0".
std::string worldWideName(const std::string& digits) {
    std::string name;
    for (std::size_t at = 0; at < digits.size(); at += 2) name += (at ? ":" : "") + digits.substr(at, 2);
    return name;
}

// What the adapter's row says of its port need not be said again: "fc.NODE:PORT" is its UID.
FibreChannelPort portOf(const StorageAdapter& adapter) {
    FibreChannelPort port;
    const std::size_t colon = adapter.uid.find(':');
    if (adapter.uid.compare(0, 3, "fc.") == 0 && colon != std::string::npos) {
        port.nodeName = worldWideName(adapter.uid.substr(3, colon - 3));
        port.portName = worldWideName(adapter.uid.substr(colon + 1));
    }
    const bool up = adapter.linkState == "link-up";
    port.speed = "16 Gbps";
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

std::vector<StorageAdapter> presentAdapters(const HostDescription& host) {
    std::vector<StorageAdapter> present;
    for (const auto& each : host.part<StorageAdapters>().all)
        if (!each.gone) present.push_back(each);
    return present;
}

constexpr Column<StorageAdapter> adapterColumns[] = {
    {"HBA Name", [](const StorageAdapter& each) { return each.name; }},
    {"Driver", [](const StorageAdapter& each) { return each.driver; }},
    {"Link State", [](const StorageAdapter& each) { return each.linkState; }},
    {"UID", [](const StorageAdapter& each) { return each.uid; }},
    {"Capabilities", [](const StorageAdapter& each) { return each.capabilities; }},
    {"Description", [](const StorageAdapter& each) { return each.description; }},
};

Answer coreAdapterList(const HostDescription& host, const std::string& /*argument*/) {
    return {0, formatTable(adapterColumns, presentAdapters(host)), ""};
}

constexpr Line<FibreChannelPort> portLines[] = {
    {"Port ID", [](const FibreChannelPort& port) { return isOnline(port) ? port.portId : "000000"; }},
    {"Node Name", [](const FibreChannelPort& port) { return port.nodeName; }},
    {"Port Name", [](const FibreChannelPort& port) { return port.portName; }},
    {"Speed", [](const FibreChannelPort& port) { return isOnline(port) ? port.speed : "0 Gbps"; }},
    {"Port Type", [](const FibreChannelPort& port) { return port.portType; }},
    {"Port State", [](const FibreChannelPort& port) { return port.portState; }},
    {"Model Description", [](const FibreChannelPort& port) { return port.modelDescription; }},
    {"Hardware Version", [](const FibreChannelPort& port) { return port.hardwareVersion; }},
    {"OptionROM Version", [](const FibreChannelPort& port) { return port.optionRomVersion; }},
    {"Firmware Version", [](const FibreChannelPort& port) { return port.firmwareVersion; }},
    {"Driver Name", [](const FibreChannelPort& port) { return port.driverName; }},
};

// A block a port. A driver that does not report its version makes an error line in the midst of it.
Answer sanFcList(const HostDescription& host, const std::string& /*argument*/) {
    std::string text;
    for (const auto& adapter : presentAdapters(host)) {
        if (!adapter.fibreChannel) continue;
        const FibreChannelPort& port = *adapter.fibreChannel;
        if (!text.empty()) text += "\n";
        text += "FcDevice:\n" + formatLine("Adapter", adapter.name) + formatLines(portLines, port);
        text += port.driverVersion.empty() ? "Error getting field DriverVersion\n"
                                           : formatLine("DriverVersion", port.driverVersion);
    }
    return {0, text, ""};
}

constexpr LocalcliCommand localcliCommands[] = {
    {"storage core adapter list", nullptr, coreAdapterList},
    {"storage san fc list", nullptr, sanFcList},
};

class StorageModule : public HostModule {
public:
    void parse(Section& root, const std::string& /*directory*/, HostDescription& into) const override {
        auto& all = into.part<StorageAdapters>().all;
        root.list("storageAdapters", [&all](const Json::Value& each, const std::string& name) {
            all.push_back(parseAdapter(each, name));
        });
    }
    Rows<LocalcliCommand> localcli() const override { return localcliCommands; }
    void addCounters(const HostDescription& host, Counters& counters) const override {
        for (const auto& adapter : presentAdapters(host))
            for (const char* counter :
                 {"Commands/sec", "Reads/sec", "Writes/sec", "MBytes Read/sec", "MBytes Written/sec"})
                counters.putMoving("Physical Disk Adapter(" + adapter.name + ")\\" + counter, 8.0, 6.0);
    }
};

}  // namespace

const HostModule& storageModule() {
    static const StorageModule module;
    return module;
}

}  // namespace simhost
