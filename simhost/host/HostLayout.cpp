#include "host/HostLayout.h"

#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>

#include "common/HostPaths.h"
#include "host/LayoutFiles.h"
#include "modules/Modules.h"
#include "platform/access/vokShell.h"

namespace fs = std::filesystem;

namespace simhost {

namespace {

// Made by vok-simhost: only such a directory is written into again.
constexpr char markFile[] = "/.vok-simhost";

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

std::string readFile(const std::string& file) {
    std::ifstream stream(file, std::ios::binary);
    if (!stream) throw std::runtime_error(file + ": can't be opened");
    std::ostringstream content;
    content << stream.rdbuf();
    return content.str();
}

void writeStandIns(const std::string& root, const std::string& client) {
    for (const char* name : standInNames())
        writeFile(root + "/bin/" + name,
                  "#!/bin/sh\nexec " + vokShellQuote(client) + " --root " + vokShellQuote(root) + " " + name +
                      " \"$@\"\n",
                  0700);
}

// What links out of the root may lead to the machine itself, so a link goes before anything is made or
// removed below its name.
void removeLinks(const std::string& root) {
    if (fs::is_symlink(root + "/sys")) fs::remove(root + "/sys");
    if (!fs::exists(root + "/dev")) return;
    for (const auto& node : fs::directory_iterator(root + "/dev"))
        if (node.is_symlink()) fs::remove(node.path());
}

void linkSys(const std::string& root, const std::string& machines) {
    fs::remove_all(root + "/sys");  // of a host that was described; it follows no link
    writeLink(machines, root + "/sys");
}

void writeConfiguration(const std::string& root, const HostDescription& host, const std::string& given) {
    const std::string file = root + "/etc/config/mev/vok/vok.conf";
    if (!given.empty())
        writeFile(file, readFile(given));
    else if (!host.configuration.empty() && !fs::exists(file))
        writeFile(file, host.configuration);
}

}  // namespace

std::string claimRoot(const std::string& root) {
    fs::create_directories(root);
    std::string path = fs::canonical(root).string();
    if (path.find_first_of(":\n") != std::string::npos)
        throw std::runtime_error(path + ": a search path can't name a directory with a colon or a newline");
    if (!fs::is_empty(path) && !fs::exists(path + markFile))
        throw std::runtime_error(path + ": holds something that vok-simhost did not make; give an empty one");
    writeFile(path + markFile, "The root of a simulated host, made by vok-simhost.\n");
    fs::create_directories(HostPaths(path).run());
    return path;
}

void layOutHost(const std::string& root, const HostDescription& host, const LayoutSources& sources) {
    removeLinks(root);
    for (const char* directory : directories) fs::create_directories(root + directory);
    writeStandIns(root, sources.commandClient);
    writeLink(sources.module, moduleLink(root));
    writeLink("/dev/null", root + "/dev/null");
    writeConfiguration(root, host, sources.configuration);
    writeFile(root + "/proc/devices", deviceNumbers);
    if (!sources.sysDirectory.empty()) linkSys(root, sources.sysDirectory);
    for (const HostModule* module : hostModules()) module->layOut(root, host, sources);
    for (const auto& [file, content] : host.files) writeFile(root + file, content);
}

}  // namespace simhost
