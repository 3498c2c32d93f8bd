#include "host/HostLayout.h"

#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>

#include "common/HostPlaces.h"
#include "host/LayoutFiles.h"
#include "host/PciTree.h"
#include "host/StandIns.h"
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
    "/vmfs/devices/char/mem",
};

constexpr char moduleLink[] = "/lib/libvok-hostaccess.so";
constexpr char libraryWithoutEncoder[] = "libvkloc-without-encoder.so";

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

// A configuration of esxtop as the tool itself saves it: a line a screen, capitals for shown columns.
constexpr char memoryToolConfiguration[] =
    "ABcDEFghij\n"
    "aBcDefgHijKLmnOpq\n"
    "ABCdEfGhijkl\n"
    "ABcdeFGhIjklmnop\n"
    "aBCDEFGH\n"
    "AbcDEFGHIJKLMNopq\n"
    "ABCDeF\n"
    "ABCDe\n"
    "ABCd\n"
    "5m\n";

std::string readFile(const std::string& place) {
    std::ifstream stream(place, std::ios::binary);
    if (!stream) throw std::runtime_error(place + ": can't be opened");
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

// Without a table the host has no device file for one.
void writeSmBios(const std::string& root, const HostDescription& host) {
    const std::string place = root + "/vmfs/devices/char/mem/smbios";
    if (host.smbios.empty())
        fs::remove(place);
    else
        writeFile(place, host.smbios);
}

// What links out of the root may lead to the machine itself, so a link goes before anything is made or
// removed behind its name.
void removeLinks(const std::string& root) {
    for (const char* place : {"/sys", "/dev/ipmi0"})
        if (fs::is_symlink(root + place)) fs::remove(root + place);
}

void putSys(const std::string& root, const HostDescription& host, const std::string& machines) {
    const std::string place = root + "/sys";
    if (machines.empty()) return layOutPciTree(place, host.pciFunctions);
    fs::remove_all(place);  // of a host that was described; it follows no link
    writeLink(machines, place);
}

void writeConfiguration(const std::string& root, const HostDescription& host, const std::string& given) {
    const std::string place = root + "/etc/config/mev/vok/vok.conf";
    if (!given.empty())
        writeFile(place, readFile(given));
    else if (!host.configuration.empty() && !fs::exists(place))
        writeFile(place, host.configuration);
}

}  // namespace

std::string claimRoot(const std::string& root) {
    fs::create_directories(root);
    std::string place = fs::canonical(root).string();
    if (place.find_first_of(":\n") != std::string::npos)
        throw std::runtime_error(place + ": a search path can't name a directory with a colon or a newline");
    if (!fs::is_empty(place) && !fs::exists(place + markFile))
        throw std::runtime_error(place +
                                 ": holds something that vok-simhost did not make; give an empty one");
    writeFile(place + markFile, "The root of a simulated host, made by vok-simhost.\n");
    fs::create_directories(HostPlaces(place).run());
    return place;
}

void layOutHost(const std::string& root, const HostDescription& host, const LayoutSources& sources) {
    removeLinks(root);
    for (const char* directory : directories) fs::create_directories(root + directory);
    writeStandIns(root, sources.commandClient);
    writeLink(sources.module, root + moduleLink);
    for (const char* name : locationLibraryNames()) putLocationLibrary(root, name, LibraryForm::present);
    writeLink("/dev/null", root + "/dev/null");
    writeConfiguration(root, host, sources.configuration);
    writeFile(root + "/proc/devices", deviceNumbers);
    const std::string memoryTool = root + "/opt/mev/vok/data/esxtopconf";
    if (!fs::exists(memoryTool)) writeFile(memoryTool, memoryToolConfiguration);
    writeSmBios(root, host);
    if (!sources.ipmiDevice.empty()) writeLink(sources.ipmiDevice, root + "/dev/ipmi0");
    putSys(root, host, sources.sysDirectory);
    for (const auto& [file, content] : host.files) writeFile(root + file, content);
}

std::vector<const char*> locationLibraryNames() {
    return {"libvkloc0202.so", "libvkloc0302.so"};
}

void putLocationLibrary(const std::string& root, const std::string& name, LibraryForm form) {
    const std::string place = root + "/lib/" + name;
    if (form == LibraryForm::absent) {
        fs::remove(place);
        return;
    }
    const fs::path standIn = fs::canonical(root + moduleLink).parent_path() /
                             (form == LibraryForm::withoutEncoder ? libraryWithoutEncoder : name);
    if (!fs::exists(standIn))
        throw std::runtime_error(standIn.string() + ": the stand-in of a library is not there");
    writeLink(standIn.string(), place);
}

}  // namespace simhost
