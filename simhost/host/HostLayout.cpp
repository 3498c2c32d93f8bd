#include "host/HostLayout.h"

#include <filesystem>

#include "common/Files.h"
#include "common/HostPaths.h"
#include "host/LayoutFiles.h"
#include "modules/Modules.h"
#include "platform/access/vokShell.h"

namespace fs = std::filesystem;

namespace simhost {

namespace {

constexpr const char* directories[] = {
    "/bin",
    "/dev",
    "/etc/config/mev/vok",
    "/lib",
    "/opt/mev/vok/data",
    "/opt/mev/vok/log",
    "/proc",
    "/run/simhost",
    "/scratch/log",
    "/sys",
    "/tmp",
    "/var/log",
    "/var/run",
    "/var/tmp",
};

// The agent's own, which it wants for itself.
constexpr const char* privateDirectories[] = {"/opt/mev/vok/data", "/opt/mev/vok/log"};

constexpr char deviceNumbers[] =
    "Character devices:\n"
    "  1 mem\n"
    "  4 ttyS\n"
    " 10 misc\n"
    " 21 sg\n"
    "247 ipmidev\n"
    "\n"
    "Block devices:\n"
    "  8 sd\n";

void writeStandIns(const std::string& root, const std::string& client) {
    for (const char* name : standInNames())
        layOutFile(root + "/bin/" + name,
                   "#!/bin/sh\nexec " + vokShellQuote(client) + " --root " + vokShellQuote(root) + " " +
                       name + " \"$@\"\n",
                   0700);
}

// What links out of the root may lead to the machine itself, so a link goes before anything is made or
// removed below its name.
void removeLinks(const std::string& root) {
    for (const std::string& link : {root + "/sys", HostPaths(root).machineDevices()})
        if (fs::is_symlink(link)) fs::remove(link);
    if (!fs::exists(root + "/dev")) return;
    for (const auto& node : fs::directory_iterator(root + "/dev"))
        if (node.is_symlink()) fs::remove(node.path());
}

void linkSys(const std::string& root, const std::string& machines) {
    fs::remove_all(root + "/sys");  // of a host that was described; it follows no link
    writeLink(machines, root + "/sys");
}

void writeConfiguration(const std::string& root, const HostDescription& host,
                        const std::optional<std::string>& given) {
    const std::string file = root + "/etc/config/mev/vok/vok.conf";
    if (given)
        layOutFile(file, *given);
    else if (!host.configuration.empty() && !fs::exists(file))
        layOutFile(file, host.configuration);
}

}  // namespace

void layOutHost(const std::string& root, const HostDescription& host, const LayoutSources& sources) {
    removeLinks(root);
    for (const char* directory : directories) makeDirectories(root + directory);
    for (const char* directory : privateDirectories) fs::permissions(root + directory, fs::perms::owner_all);
    writeStandIns(root, sources.commandClient);
    writeLink(sources.module, moduleLink(root));
    writeLink("/dev/null", root + "/dev/null");
    writeConfiguration(root, host, sources.configuration);
    layOutFile(root + "/proc/devices", deviceNumbers);
    if (!sources.sysDirectory.empty()) linkSys(root, sources.sysDirectory);
    if (!sources.deviceDirectory.empty())
        writeLink(sources.deviceDirectory, HostPaths(root).machineDevices());
    for (const HostModule* module : hostModules()) module->layOut(root, host, sources);
    for (const auto& [file, content] : host.files) layOutFile(root + file, content);
}

}  // namespace simhost
