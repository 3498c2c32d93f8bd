#include "modules/physloc/PhyslocModule.h"

#include <filesystem>

#include "common/Text.h"
#include "host/LayoutFiles.h"
#include "host/SimulatedHost.h"
#include "modules/Modules.h"

namespace simhost {

namespace {

// Every host has both; the agent looks for its own platform's.
constexpr VendorLibrary libraries[] = {
    {"libvkloc0202.so", "libvkloc0202.so", "without-encoder", "libvkloc-without-encoder.so"},
    {"libvkloc0302.so", "libvkloc0302.so", "without-encoder", "libvkloc-without-encoder.so"},
};

// Of any module.
const VendorLibrary& findLibrary(const std::string& name) {
    std::vector<std::string> known;
    for (const HostModule* module : hostModules())
        for (const VendorLibrary& each : module->vendorLibraries()) {
            if (name == each.name) return each;
            known.emplace_back(each.name);
        }
    throw UsageError("the host has no library \"" + name + "\"; it may have " + listed(known));
}

void libraryCommand(SimulatedHost& host, Words& words) {
    const VendorLibrary& library = findLibrary(words.next("the library's name"));
    const std::string how = words.next("present, absent or " + std::string(library.lackingWord));
    words.end();
    const std::string& root = host.paths().root;
    if (how == "present")
        linkLibrary(root, library.standIn, library.name);
    else if (how == "absent")
        std::filesystem::remove(root + "/lib/" + library.name);
    else if (how == library.lackingWord)
        linkLibrary(root, library.lacking, library.name);
    else
        throw UsageError("library: \"" + how + "\" is none of present, absent, " + library.lackingWord);
}

constexpr ControlCommand commands[] = {
    {"library",
     "  library NAME present|absent|without-encoder|without-entry-point\n"
     "                                       a location library, libstorelib.so or an\n"
     "                                       HBA library, which the agent loads when\n"
     "                                       it starts\n",
     libraryCommand}};

class PhyslocModule : public HostModule {
public:
    void layOut(const std::string& root, const HostDescription& /*host*/,
                const LayoutSources& /*sources*/) const override {
        for (const VendorLibrary& each : libraries) linkLibrary(root, each.standIn, each.name);
    }
    Rows<VendorLibrary> vendorLibraries() const override { return libraries; }
    Rows<ControlCommand> controls() const override { return commands; }
};

}  // namespace

const HostModule& physlocModule() {
    static const PhyslocModule module;
    return module;
}

}  // namespace simhost
