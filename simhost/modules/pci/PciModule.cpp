#include "modules/pci/PciModule.h"

#include <json/json.h>
#include <algorithm>
#include <set>

#include "host/DescriptionSection.h"
#include "host/HostLayout.h"
#include "host/LocalcliForms.h"
#include "host/SimulatedHost.h"
#include "live/MachineReaders.h"
#include "modules/pci/PciFunctions.h"
#include "modules/pci/PciTree.h"

namespace simhost {

namespace {

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
    const auto parsed = parsePciAddress(address);
    if (!parsed) section.fail("has the Address \"" + address + "\", which is not of the form 0000:3b:00.0");
    PciFunction made = usualPciFunction(*parsed);
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
        if (each.address.bus == 0 || each.at("Parent Device") != noPciParent) continue;
        const auto spawns = [&each](const PciFunction& other) {
            return other.address.segment == each.address.segment &&
                   parsePrefixedHexadecimal(other.at("Spawned Bus")).value_or(0) == each.address.bus;
        };
        const auto bridge = std::find_if(functions.begin(), functions.end(), spawns);
        if (bridge != functions.end()) each.listed["Parent Device"] = pciListAddress(bridge->address);
    }
}

// A block a function: its address as the head line, its keys three blanks in, an empty line after it.
Answer hardwarePciList(const HostDescription& host, const std::string& /*argument*/) {
    std::string text;
    for (const auto& function : host.part<PciFunctions>().all) {
        if (!text.empty()) text += "\n";
        text += function.at("Address") + ":\n";
        for (const auto& key : pciKeys()) text += formatLine(key, function.at(key));
    }
    return {0, text, ""};
}

constexpr LocalcliCommand localcliCommands[] = {{"hardware pci list", nullptr, hardwarePciList}};

class PciModule : public HostModule {
public:
    void parse(Section& root, const std::string& /*directory*/, HostDescription& into) const override {
        auto& functions = into.part<PciFunctions>().all;
        root.list("pci", [&functions](const Json::Value& each, const std::string& name) {
            functions.push_back(parsePciFunction(each, name));
        });
        completePciFunctions(root, functions);
    }
    void readMachine(MachineReaders& machine, HostDescription& into) const override {
        into.part<PciFunctions>().all = machine.pci.functions();
    }
    void refresh(MachineReaders& machine, const std::string& command, HostDescription& into) const override {
        if (command.empty() || command.rfind("localcli hardware", 0) == 0) readMachine(machine, into);
    }
    void layOut(const std::string& root, const HostDescription& host,
                const LayoutSources& sources) const override {
        if (sources.sysDirectory.empty()) layOutPciTree(root + "/sys", host.part<PciFunctions>().all);
    }
    Rows<LocalcliCommand> localcli() const override { return localcliCommands; }
    void show(SimulatedHost& host, Json::Value& shown) const override {
        shown["pciFunctions"] = Json::UInt64(host.description().part<PciFunctions>().all.size());
    }
};

}  // namespace

const HostModule& pciModule() {
    static const PciModule module;
    return module;
}

}  // namespace simhost
