#include "modules/physloc/PhyslocModule.h"

#include <algorithm>
#include <filesystem>
#include <iterator>

#include "host/LayoutFiles.h"
#include "host/SimulatedHost.h"

namespace simhost {

namespace {

// Every host has both; the agent looks for its own platform's.
constexpr const char* libraries[] = {"libvkloc0202.so", "libvkloc0302.so"};
constexpr char withoutEncoder[] = "libvkloc-without-encoder.so";

void libraryCommand(SimulatedHost& host, Words& words) {
    const std::string name = words.next("the library's name");
    if (std::none_of(std::begin(libraries), std::end(libraries),
                     [&name](const char* each) { return name == each; }))
        throw UsageError("the host has no library \"" + name + "\"");
    const std::string how = words.next("present, absent or without-encoder");
    words.end();
    const std::string& root = host.paths().root;
    if (how == "present")
        linkLibrary(root, name, name);
    else if (how == "absent")
        std::filesystem::remove(root + "/lib/" + name);
    else if (how == "without-encoder")
        linkLibrary(root, withoutEncoder, name);
    else
        throw UsageError("library: \"" + how + "\" is none of present, absent, without-encoder");
}

constexpr ControlCommand commands[] = {
    {"library",
     "  library NAME present|absent|without-encoder\n"
     "                                       a location library, which the agent loads\n"
     "                                       when it starts\n",
     libraryCommand}};

class PhyslocModule : public HostModule {
public:
    void layOut(const std::string& root, const HostDescription& /*host*/,
                const LayoutSources& /*sources*/) const override {
        for (const char* name : libraries) linkLibrary(root, name, name);
    }
    Rows<ControlCommand> controls() const override { return commands; }
};

}  // namespace

const HostModule& physlocModule() {
    static const PhyslocModule module;
    return module;
}

}  // namespace simhost
