#include "modules/fc/FcModule.h"

#include <algorithm>
#include <filesystem>

#include "host/LayoutFiles.h"
#include "host/SimulatedHost.h"
#include "modules/fc/FcState.h"

namespace simhost {

namespace {

constexpr char withoutWord[] = "without-entry-point";
constexpr char withoutFile[] = "libvokfc-without-entry-point.so";

bool hasEntry(const std::string& entry) {
    return std::any_of(std::begin(fcEntryRows), std::end(fcEntryRows),
                       [&entry](const FcEntryRow& row) { return entry == row.name; });
}

constexpr VendorLibrary libraries[] = {
    {fcLibraries[0].file, fcLibraries[0].file, withoutWord, withoutFile, hasEntry},
    {fcLibraries[1].file, fcLibraries[1].file, withoutWord, withoutFile, hasEntry},
};

constexpr char listFile[] = "/etc/config/mev/vok/hba.conf";

std::string listOfLibraries() {
    std::string list = "# HBA libraries: name, library\n";
    for (const FcLibraryRow& each : fcLibraries) list += std::string(each.name) + "\t" + each.listedAs + "\n";
    return list;
}

class FcModule : public HostModule {
public:
    void parse(Section& root, const std::string& /*directory*/, HostDescription& into) const override {
        parseFcAdapters(root, into);
    }
    void layOut(const std::string& root, const HostDescription& host,
                const LayoutSources& /*sources*/) const override {
        // Those of an earlier host of the same root go.
        std::filesystem::remove(root + listFile);
        for (const VendorLibrary& each : libraries) std::filesystem::remove(root + "/lib/" + each.name);
        if (!host.part<FcAdapters>().described) return;
        layOutFile(root + listFile, listOfLibraries());
        for (const VendorLibrary& each : libraries) linkLibrary(root, each.standIn, each.name);
    }
    Rows<VendorLibrary> vendorLibraries() const override { return libraries; }
    Rows<ControlCommand> controls() const override { return fcCommands(); }
    std::unique_ptr<ModuleState> start(SimulatedHost& host) const override {
        return std::make_unique<FcState>(host);
    }
    void show(SimulatedHost& host, Json::Value& shown) const override { host.state<FcState>().show(shown); }
};

}  // namespace

const HostModule& fcModule() {
    static const FcModule module;
    return module;
}

}  // namespace simhost
