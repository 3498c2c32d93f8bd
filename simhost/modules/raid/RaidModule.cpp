#include "modules/raid/RaidModule.h"

#include <filesystem>

#include "host/LayoutFiles.h"
#include "host/SimulatedHost.h"
#include "modules/raid/RaidDescription.h"
#include "modules/raid/RaidState.h"

namespace simhost {

namespace {

bool hasEntry(const std::string& entry) {
    return entry == "ProcessLibCommand";
}

constexpr VendorLibrary libraries[] = {{"libstorelib.so", "libstorelib.so", "without-entry-point",
                                        "libstorelib-without-entry-point.so", hasEntry}};

class RaidModule : public HostModule {
public:
    void parse(Section& root, const std::string& /*directory*/, HostDescription& into) const override {
        parseRaidControllers(root, into);
    }
    void layOut(const std::string& root, const HostDescription& host,
                const LayoutSources& /*sources*/) const override {
        const VendorLibrary& library = libraries[0];
        std::filesystem::remove(root + "/lib/" + library.name);  // that of an earlier host
        if (host.part<RaidControllers>().described) linkLibrary(root, library.standIn, library.name);
    }
    Rows<VendorLibrary> vendorLibraries() const override { return libraries; }
    Rows<ControlCommand> controls() const override { return raidCommands(); }
    std::unique_ptr<ModuleState> start(SimulatedHost& host) const override {
        return std::make_unique<RaidState>(host);
    }
    void show(SimulatedHost& host, Json::Value& shown) const override { host.state<RaidState>().show(shown); }
};

}  // namespace

const HostModule& raidModule() {
    static const RaidModule module;
    return module;
}

}  // namespace simhost
