#include "modules/fc/FcAdapters.h"

#include <json/json.h>
#include <algorithm>
#include <iterator>
#include <set>
#include <stdexcept>

#include "common/Hexadecimal.h"
#include "common/Text.h"
#include "host/DescriptionSection.h"
#include "host/HostDescription.h"
#include "modules/fc/FcWire.h"
#include "modules/pci/PciFunctions.h"

namespace simhost {

namespace {

struct StateRow {
    std::uint32_t state;
    const char* text;
};
constexpr StateRow states[] = {
    {fc::portUnknown, "UNKNOWN"},   {fc::portOnline, "ONLINE"},           {fc::portOffline, "OFFLINE"},
    {fc::portBypassed, "BYPASSED"}, {fc::portDiagnostics, "DIAGNOSTICS"}, {fc::portLinkDown, "LINKDOWN"},
    {fc::portError, "ERROR"},       {fc::portLoopback, "LOOPBACK"},       {fc::portDegraded, "DEGRADED"},
};

constexpr char perPort[] = "per-port";
constexpr char perAdapter[] = "per-adapter";

const StorageAdapter* findPort(const HostDescription& host, const std::string& name) {
    for (const auto& each : host.part<StorageAdapters>().all)
        if (each.name == name && each.fibreChannel) return &each;
    return nullptr;
}

// The function whose address starts the description of a storage adapter; null for none.
const PciFunction* functionOf(const HostDescription& host, const StorageAdapter& port) {
    const std::size_t end = port.description.find(')');
    if (port.description.empty() || port.description[0] != '(' || end == std::string::npos) return nullptr;
    const auto address = parsePciAddress(port.description.substr(1, end - 1));
    for (const auto& each : host.part<PciFunctions>().all)
        if (address && each.address == *address) return &each;
    return nullptr;
}

std::string tagOf(const PciFunction& function, const char* keyword) {
    const auto found = function.productTags.find(keyword);
    return found == function.productTags.end() ? "" : found->second;
}

// What the card's product data say, and otherwise the port.
void setDefaults(const HostDescription& host, FcAdapter& adapter) {
    const StorageAdapter& port = fcPort(host, adapter.ports.front());
    if (const PciFunction* const function = functionOf(host, port)) {
        adapter.manufacturer = function->at("Vendor Name");
        adapter.model = tagOf(*function, "PN");
        adapter.serialNumber = tagOf(*function, "SN");
    }
    if (adapter.model.empty()) adapter.model = port.fibreChannel->modelDescription;
    if (!adapter.serialNumber.empty()) return;
    adapter.serialNumber = "FC";
    const std::string& name = port.fibreChannel->portName;
    std::copy_if(name.begin(), name.end(), std::back_inserter(adapter.serialNumber),
                 [](char each) { return each != ':'; });
}

std::size_t libraryOf(Section& section) {
    std::string file;
    section.text("library", file);
    std::vector<std::string> known;
    for (const FcLibraryRow& each : fcLibraries) {
        if (file == each.file) return known.size();
        known.emplace_back(each.file);
    }
    section.fail("has the library \"" + file + "\", which is none of " + listed(known));
}

void parsePort(Section& section, const std::string& name, const HostDescription& host,
               std::set<std::string>& taken) {
    const StorageAdapter* const port = findPort(host, name);
    if (!port)
        section.fail("has the port \"" + name + "\", which is no Fibre Channel port of storageAdapters");
    if (!taken.insert(name).second) section.fail("has the port " + name + ", which is in an adapter already");
    for (const std::string& wwn : {port->fibreChannel->nodeName, port->fibreChannel->portName})
        if (!parseWwn(wwn)) section.fail("has the port " + name + ", whose name \"" + wwn + "\" is none");
}

void parseAdapter(Section& section, const HostDescription& host, std::set<std::string>& taken,
                  std::vector<FcAdapter>& into) {
    FcAdapter made;
    made.library = libraryOf(section);
    section.list("ports", [&](const Json::Value& each, const std::string& where) {
        made.ports.push_back(textElement(each, where));
        parsePort(section, made.ports.back(), host, taken);
    });
    if (made.ports.empty()) section.fail("needs a port");
    std::string how = perPort;
    section.text("listed", how);
    if (how != perPort && how != perAdapter)
        section.fail("is listed \"" + how + "\", which is none of per-port, per-adapter");
    if (section.has("reportedPorts"))
        section.number("reportedPorts", made.reportedPorts.emplace(), 0xFFFFFFFF);
    setDefaults(host, made);
    section.text("manufacturer", made.manufacturer);
    section.text("model", made.model);
    section.text("serialNumber", made.serialNumber);
    section.end();

    const std::string prefix = std::string(fcLibraries[made.library].name) + "-";
    made.name = prefix + made.ports.front();
    if (how == perAdapter) return into.push_back(made);
    for (const std::string& port : made.ports) {
        FcAdapter single = made;
        single.name = prefix + port;
        single.ports = {port};
        into.push_back(single);
    }
}

}  // namespace

void parseFcAdapters(Section& root, HostDescription& into) {
    if (!root.has("fibreChannelAdapters")) return;
    FcAdapters read;
    read.described = true;
    std::set<std::string> taken;
    root.list("fibreChannelAdapters", [&](const Json::Value& each, const std::string& name) {
        Section section(each, name);
        parseAdapter(section, into, taken, read.all);
    });
    into.part<FcAdapters>() = read;
}

const StorageAdapter& fcPort(const HostDescription& host, const std::string& name) {
    if (const StorageAdapter* const found = findPort(host, name)) return *found;
    throw std::logic_error("no Fibre Channel port " + name);
}

StorageAdapter& fcPort(HostDescription& host, const std::string& name) {
    for (auto& each : host.part<StorageAdapters>().all)
        if (each.name == name && each.fibreChannel) return each;
    throw std::logic_error("no Fibre Channel port " + name);
}

bool isPresent(const HostDescription& host, const FcAdapter& adapter) {
    return !fcPort(host, adapter.ports.front()).gone;
}

std::optional<fc::Wwn> parseWwn(const std::string& text) {
    fc::Wwn wwn{};
    constexpr std::size_t width = 3;  // of a byte, with the colon after it
    if (text.size() != width * sizeof(wwn.bytes) - 1) return std::nullopt;
    for (std::size_t i = 0; i < sizeof(wwn.bytes); ++i) {
        const auto number = parseHexadecimal(text.substr(width * i, 2));
        const bool last = i + 1 == sizeof(wwn.bytes);
        if (!number || (!last && text[width * i + 2] != ':')) return std::nullopt;
        wwn.bytes[i] = static_cast<std::uint8_t>(*number);
    }
    return wwn;
}

std::string fcStateText(std::uint32_t state) {
    for (const StateRow& each : states)
        if (each.state == state) return each.text;
    return std::to_string(state);
}

std::uint32_t fcStateOf(const std::string& text) {
    for (const StateRow& each : states)
        if (text == each.text) return each.state;
    const bool number =
        !text.empty() && text.size() <= 10 && text.find_first_not_of("0123456789") == std::string::npos;
    const unsigned long long value = number ? std::stoull(text) : 0;
    return number && value <= 0xFFFFFFFF ? static_cast<std::uint32_t>(value) : std::uint32_t{fc::portUnknown};
}

}  // namespace simhost
