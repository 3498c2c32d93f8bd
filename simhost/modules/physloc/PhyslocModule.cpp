#include "modules/physloc/PhyslocModule.h"

#include <filesystem>

#include "common/Files.h"
#include "common/HostPaths.h"
#include "common/Text.h"
#include "host/LayoutFiles.h"
#include "host/SimulatedHost.h"
#include "library/LibraryFault.h"
#include "modules/Modules.h"

namespace simhost {

namespace {

bool hasEntry(const std::string& entry) {
    return entry == "physloc_init_data" || entry == "physloc_encode";
}

// Every host has both; the agent looks for its own platform's.
constexpr VendorLibrary libraries[] = {
    {"libvkloc0202.so", "libvkloc0202.so", "without-encoder", "libvkloc-without-encoder.so", hasEntry},
    {"libvkloc0302.so", "libvkloc0302.so", "without-encoder", "libvkloc-without-encoder.so", hasEntry},
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

// Its file is replaced as a whole, as a call of the library may read it at any time.
void callCommand(const HostPaths& paths, const VendorLibrary& library, Words& words) {
    const std::string file = paths.libraryFault(library.name);
    const auto after = words.numberOption("--after", 0, 1000000);
    const std::string entry = words.next("an entry point, load or normal");
    if (entry == "normal") {
        words.end();
        std::filesystem::remove(file);
        return;
    }
    if (entry != "load" && !library.hasEntry(entry))
        throw UsageError(std::string(library.name) + " has no entry point \"" + entry + "\"");
    const std::string how = words.next("hang, crash, abort or exit");
    words.end();
    const auto end = toLibraryEnd(how);
    if (!end) throw UsageError("library: \"" + how + "\" is none of hang, crash, abort, exit");
    const LibraryFault fault{entry, *end, static_cast<unsigned long>(after.value_or(0))};
    writeFile(file + ".new", fault.line() + "\n");
    std::filesystem::rename(file + ".new", file);
}

void libraryCommand(SimulatedHost& host, Words& words) {
    const VendorLibrary& library = findLibrary(words.next("the library's name"));
    const std::string how = words.next("present, absent, call or " + std::string(library.lackingWord));
    if (how == "call") return callCommand(host.paths(), library, words);
    words.end();
    const std::string& root = host.paths().root;
    if (how == "present")
        linkLibrary(root, library.standIn, library.name);
    else if (how == "absent")
        std::filesystem::remove(root + "/lib/" + library.name);
    else if (how == library.lackingWord)
        linkLibrary(root, library.lacking, library.name);
    else
        throw UsageError("library: \"" + how + "\" is none of present, absent, call, " + library.lackingWord);
}

constexpr ControlCommand commands[] = {
    {"library",
     "  library NAME present|absent|without-encoder|without-entry-point\n"
     "                                       a location library, libstorelib.so or an\n"
     "                                       HBA library, which the agent loads when\n"
     "                                       it starts\n"
     "  library NAME call ENTRY|load hang|crash|abort|exit [--after N]\n"
     "  library NAME call normal             what a call of an entry point does, or\n"
     "                                       the loading, after N (0) usual calls\n",
     libraryCommand}};

class PhyslocModule : public HostModule {
public:
    void layOut(const std::string& root, const HostDescription& /*host*/,
                const LayoutSources& /*sources*/) const override {
        for (const VendorLibrary& each : libraries) linkLibrary(root, each.standIn, each.name);
        for (const HostModule* module : hostModules())
            for (const VendorLibrary& each : module->vendorLibraries())
                std::filesystem::remove(HostPaths(root).libraryFault(each.name));
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
