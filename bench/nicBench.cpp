// The cost of an Ethernet inventory per adapter, on hosts with 8, 64 and 256 of them, and how it is
// distributed.
//
// The host's commands are stand-ins with the real commands' layout, run by a real shell as on a host. The
// agent of each measured host is a separate process, so that its first build finds nothing cached; the hosts
// alternate, and the best result of each counts. The cost must be linear: the exit status is 1 if an adapter
// among 256 takes more than 1.3 times the processor time of one among 8.
//
// A host's list of PCI functions grows with its adapters, and for the first build the host's tools search the
// whole list for each adapter's ids, which later builds have cached. So the 256 are compared with the fourth
// host, which has few adapters and a list of the same length; the cost of the list is reported separately.
#include <benchmark/benchmark.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <iterator>
#include <map>
#include <memory>

#include "ChildProcess.h"
#include "LocationLibrary.h"
#include "nic/NICResourceManager.h"
#include "platform/access/vokRootedHostAccess.h"
#include "platform/utils/platformCheck.h"
#include "platform/utils/vokUtils.h"
#include "platform/utils/vokVmwareOSInterface.h"
#include "support/SmBiosTable.h"
#include "support/TemporaryDirectory.h"

namespace {

using Clock = std::chrono::steady_clock;

constexpr struct Size {
    int adapters;
    int functions;  // in the host's PCI list, including the adapters
} sizes[] = {{8, 48}, {64, 104}, {256, 296}, {8, 296}};
constexpr std::size_t fewest = 0;
constexpr std::size_t most = 2;
constexpr std::size_t fewestWithLongList = 3;
constexpr double maxRatio = 1.3;
constexpr int laterBuilds = 3;

double secondsSince(Clock::time_point begin) {
    return std::chrono::duration<double>(Clock::now() - begin).count();
}

// --- the host ---

std::string addressOf(int adapter) {
    char text[24];
    std::snprintf(text, sizeof(text), "0000:%02x:00.%x", 0x10u + static_cast<unsigned>(adapter) / 2,
                  static_cast<unsigned>(adapter) % 2);
    return text;
}

std::string nameOf(int adapter) {
    return "vmnic" + std::to_string(adapter);
}

std::string interfaceList(int adapters) {
    std::string text =
        "Name      PCI Device    Driver  Admin Status  Link Status  Speed  Duplex  MAC Address         MTU  "
        "Description\n"
        "--------  ------------  ------  ------------  -----------  -----  ------  -----------------  ----  "
        "---------------------------------------------------\n";
    for (int i = 0; i < adapters; ++i) {
        char line[200];
        std::snprintf(line, sizeof(line),
                      "%-8s  %s  ixgben  Up            %-11s  %5d  %-6s  02:00:5e:10:00:%02x  1500  Intel "
                      "Corporation Ethernet Controller X550\n",
                      nameOf(i).c_str(), addressOf(i).c_str(), i % 2 ? "Down" : "Up", i % 2 ? 0 : 10000,
                      i % 2 ? "Half" : "Full", static_cast<unsigned>(i));
        text += line;
    }
    return text;
}

std::string interfaceDetails(int adapter) {
    return "   Advertised Auto Negotiation: true\n   Advertised Link Modes: Auto, 1000BaseT/Full, "
           "10000BaseT/Full\n   Auto Negotiation: true\n   Cable Type: Twisted Pair\n"
           "   Current Message Level: 0\n   Driver Info:\n         Bus Info: " +
           addressOf(adapter) +
           "\n         Driver: ixgben\n         Firmware Version: 3.2d 0x80000b5c 0.0.0\n"
           "         Version: 1.7.1.35\n   Link Detected: true\n   Link Status: Up\n   Name: " +
           nameOf(adapter) +
           "\n   PHYAddress: 0\n   Pause Autonegotiate: true\n   Pause RX: true\n   Pause TX: true\n"
           "   Supported Ports: TP\n   Supports Auto Negotiation: true\n   Supports Pause: true\n"
           "   Supports Wakeon: true\n   Transceiver:\n   Virtual Address: 00:50:56:5e:10:00\n"
           "   Wakeon: MagicPacket(tm)\n";
}

std::string pciFunction(const std::string& address, const std::string& name) {
    return address + ":\n   Address: " + address + "\n   Segment: 0x0000\n   Bus: 0x" + address.substr(5, 2) +
           "\n   Slot: 0x" + address.substr(8, 2) + "\n   Function: 0x" + address.substr(11) +
           "\n   VMkernel Name: " + name +
           "\n   Vendor Name: Intel Corporation\n   Device Name: Ethernet Controller X550\n"
           "   Configured Owner: VMkernel\n   Current Owner: VMkernel\n   Vendor ID: 0x8086\n"
           "   Device ID: 0x1563\n   SubVendor ID: 0x8086\n   SubDevice ID: 0x0001\n"
           "   Device Class: 0x0200\n   Device Class Name: Ethernet controller\n"
           "   Programming Interface: 0x00\n   Revision ID: 0x01\n   Interrupt Line: 0x0b\n"
           "   IRQ: 255\n   Interrupt Vector: 0x00\n   PCI Pin: 0x00\n   Spawned Bus: 0x00\n   Flags: "
           "0x3201\n"
           "   Module ID: 62\n   Module Name: ixgben\n   Chassis: 0\n   Physical Slot: 6\n"
           "   Slot Description: \n   Device Layer Bus Address: s00000002.00\n"
           "   Passthru Capable: true\n   Parent Device: PCI 0:133:0:0\n   Dependent Device: PCI 0:134:0:0\n"
           "   Reset Method: Function reset\n   FPT Sharable: true\n\n";
}

// Lays out the files and the one command of a host of the first platform.
void layOut(const TemporaryDirectory& root, Size size) {
    std::string functions;
    SmBiosTable table;
    table.addSystem("Maker of servers", "7711PID02020001");
    for (int i = 0; i < size.functions - size.adapters; ++i) {
        char address[24];
        std::snprintf(address, sizeof(address), "0001:%02x:00.0", static_cast<unsigned>(i) % 256);
        functions += pciFunction(address, "");
    }
    for (int i = 0; i < size.adapters; ++i) {
        functions += pciFunction(addressOf(i), nameOf(i));
        table.addSlot("Slot r001u05p2i" + std::to_string(10 + i % 80), addressOf(i));
        root.writeFile("/answers/" + nameOf(i), interfaceDetails(i));
    }
    root.writeFile(SmBiosTable::deviceFile, table.addEnd().contents());
    root.writeFile("/answers/functions", functions);
    root.writeFile("/answers/interfaces", interfaceList(size.adapters));
    root.writeFile("/opt/mev/vok/data/other", "");
    root.writeFile("/bin/localcli",
                   "#!/bin/sh\n"
                   "case $1.$2.$3 in\n"
                   "hardware.pci.list) cat '" +
                       root.path() +
                       "/answers/functions' ;;\n"
                       "network.nic.list) cat '" +
                       root.path() +
                       "/answers/interfaces' ;;\n"
                       "network.nic.get) cat '" +
                       root.path() + "/answers/'\"$5\" ;;\nesac\n");
    if (::chmod((root.path() + "/bin/localcli").c_str(), 0755) != 0) std::abort();
}

// --- the measuring ---

// The host's access, which measures the time of the commands from start to end, including the waits for their
// output.
class MeasuredHost : public vokRootedHostAccess {
public:
    using vokRootedHostAccess::vokRootedHostAccess;

    double commandSeconds = 0;
    int commands = 0;

    int runCommand(const std::string& command) override {
        ++commands;
        const Watch watch(*this);
        return vokRootedHostAccess::runCommand(command);
    }
    FILE* openCommand(const std::string& command) override {
        ++commands;
        const Watch watch(*this);
        FILE* const pipe = vokRootedHostAccess::openCommand(command);
        if (!pipe) return nullptr;
        auto stream = std::make_unique<Stream>(Stream{*this, pipe});
        FILE* const measured = ::fopencookie(stream.get(), "r", {readPipe, nullptr, nullptr, nullptr});
        if (!measured) std::abort();
        streams_[measured] = std::move(stream);
        return measured;
    }
    int closeCommand(FILE* measured) override {
        const Watch watch(*this);
        const auto stream = streams_.extract(measured);
        std::fclose(measured);
        return vokRootedHostAccess::closeCommand(stream.mapped()->pipe);
    }
    void* openLibrary(const std::string&, int) override { return this; }
    std::string libraryFile(void*) override { return ""; }
    void* librarySymbol(void*, const char* symbol) override { return locationLibrary::symbol(symbol); }
    int closeLibrary(void*) override { return 0; }
    void systemLog(int, const std::string&) override {}

private:
    class Watch {
    public:
        explicit Watch(MeasuredHost& host) : host_(host) {}
        ~Watch() { host_.commandSeconds += secondsSince(begin_); }
        Watch(const Watch&) = delete;
        Watch& operator=(const Watch&) = delete;

    private:
        MeasuredHost& host_;
        Clock::time_point begin_ = Clock::now();
    };
    struct Stream {
        MeasuredHost& host;
        FILE* pipe;
    };
    static ssize_t readPipe(void* cookie, char* buffer, std::size_t size) {
        const auto& stream = *static_cast<Stream*>(cookie);
        const Watch watch(stream.host);
        const std::size_t count = std::fread(buffer, 1, size, stream.pipe);
        return count == 0 && std::ferror(stream.pipe) ? -1 : static_cast<ssize_t>(count);
    }

    std::map<FILE*, std::unique_ptr<Stream>> streams_;
};

// Processor time of this process and of the commands it has waited for. Unlike elapsed time it does not
// depend on the load of the machine.
double processorSeconds() {
    double seconds = 0;
    for (const int who : {RUSAGE_SELF, RUSAGE_CHILDREN}) {
        rusage usage{};
        ::getrusage(who, &usage);
        for (const timeval& part : {usage.ru_utime, usage.ru_stime})
            seconds += static_cast<double>(part.tv_sec) + static_cast<double>(part.tv_usec) * 1e-6;
    }
    return seconds;
}

// Seconds of one whole build and of its parts.
struct Build {
    double total = 1e9;
    double processor = 1e9;
    double commands = 0;
    double location = 0;
    double json = 0;
    int commandCount = 0;

    double rest() const { return total - commands - location - json; }
};

// Keeps the fastest build, and the least processor time of any build.
void keepBest(Build& best, const Build& build) {
    const double processor = std::min(best.processor, build.processor);
    if (build.total < best.total) best = build;
    best.processor = processor;
}

struct Builds {
    bool good = false;
    Build first;
    Build later;
};

Build measuredBuild(MeasuredHost& host, NICResourceManager& manager, int adapters) {
    Build build;
    host.commandSeconds = 0;
    host.commands = 0;
    const double processorBefore = processorSeconds();
    auto begin = Clock::now();
    manager.cacheBuild();
    build.total = secondsSince(begin);
    build.processor = processorSeconds() - processorBefore;
    build.commands = host.commandSeconds;
    build.commandCount = host.commands;
    // The same parts once more, each by itself.
    begin = Clock::now();
    for (int i = 0; i < adapters; ++i)
        benchmark::DoNotOptimize(NICPhysicalAdapter().getOemValues(addressOf(i)));
    build.location = secondsSince(begin);
    begin = Clock::now();
    manager.createJsonStringUsingJsonCpp();
    build.json = secondsSince(begin);
    return build;
}

// True if the inventory is complete.
bool isComplete(NICResourceManager& manager, int adapters) {
    std::vector<Json::Value> records;
    if (manager.getInventoryJsonObject(records) || records.size() != static_cast<std::size_t>(adapters))
        return false;
    return std::all_of(records.begin(), records.end(), [](const Json::Value& record) {
        return record["FirmwareVersion"] == "3.2d 0x80000b5c 0.0.0" &&
               record["PartNumber"] == "MEV-1000-110A" && record["Manufacturer"] == "Intel Corporation" &&
               record["Oem"]["PhysicalLocation"] != "FFFFFFFFFFFFFFFF";
    });
}

Builds buildOn(const std::string& root, int adapters) {
    auto access = std::make_unique<MeasuredHost>(root);
    MeasuredHost& host = *access;
    vokSetHostAccess(std::move(access));
    platformCheck::setDirectoryPath();
    vokUtils::initializeSMBIOS();
    vokUtils::initGeoIDMap();
    vokVmwareOSInterface::getInstance()->populateHardwarePCIDetails();
    NICResourceManager& manager = *NICResourceManager::getInstance();
    Builds builds;
    builds.first = measuredBuild(host, manager, adapters);
    for (int i = 0; i < laterBuilds; ++i) {
        const Build build = measuredBuild(host, manager, adapters);
        keepBest(builds.later, build);
    }
    builds.good = isComplete(manager, adapters);
    return builds;
}

// --- what is printed ---

Builds best[std::size(sizes)];
bool ran = false;
double shellSeconds = 1e9;  // for a command that does nothing

void ethernetBuild(benchmark::State& state) {
    TemporaryDirectory roots[std::size(sizes)];
    for (std::size_t i = 0; i < std::size(sizes); ++i) layOut(roots[i], sizes[i]);
    vokRootedHostAccess shell(roots[0].path());
    ran = true;
    for (auto _ : state) {
        for (std::size_t i = 0; i < std::size(sizes); ++i) {
            const Builds builds = inChildProcess([&] { return buildOn(roots[i].path(), sizes[i].adapters); });
            if (!builds.good) return state.SkipWithError("a build did not produce a complete inventory");
            best[i].good = true;
            keepBest(best[i].first, builds.first);
            keepBest(best[i].later, builds.later);
        }
        const auto begin = Clock::now();
        shell.runCommand(":");
        shellSeconds = std::min(shellSeconds, secondsSince(begin));
    }
}

BENCHMARK(ethernetBuild)->Iterations(5)->Unit(benchmark::kMillisecond);

double perAdapter(double seconds, Size size) {
    return seconds * 1e3 / size.adapters;
}

void printBuilds(const char* what, Build Builds::*which) {
    std::printf("\n%-13s%9s%11s%14s%11s  %-16s%15s%11s%9s\n", what, "adapters", "functions", "ms an adapter",
                "processor", "in commands", "reading, rest", "location", "JSON");
    for (std::size_t i = 0; i < std::size(sizes); ++i) {
        const Build& build = best[i].*which;
        std::printf("%-13s%9d%11d%14.3f%11.3f%9.3f in %4.2f%15.4f%11.4f%9.4f\n", "", sizes[i].adapters,
                    sizes[i].functions, perAdapter(build.total, sizes[i]),
                    perAdapter(build.processor, sizes[i]), perAdapter(build.commands, sizes[i]),
                    static_cast<double>(build.commandCount) / sizes[i].adapters,
                    perAdapter(build.rest(), sizes[i]), perAdapter(build.location, sizes[i]),
                    perAdapter(build.json, sizes[i]));
    }
}

// The cost of an adapter on the host with the most adapters divided by that on the given host.
double ratioTo(std::size_t host, Build Builds::*which) {
    return perAdapter((best[most].*which).processor, sizes[most]) /
           perAdapter((best[host].*which).processor, sizes[host]);
}

bool isLinear(const char* what, Build Builds::*which) {
    const double ratio = ratioTo(fewestWithLongList, which);
    const bool linear = ratio <= maxRatio;
    std::printf(
        "%s: an adapter among %d takes %.2f times the processor of one among %d (at most %.2f)%s; "
        "%.2f times where the PCI list has %d functions\n",
        what, sizes[most].adapters, ratio, sizes[fewest].adapters, maxRatio, linear ? "" : ": NOT LINEAR",
        ratioTo(fewest, which), sizes[fewest].functions);
    return linear;
}

}  // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 2;
    benchmark::RunSpecifiedBenchmarks();
    if (!ran) return 0;  // the options selected another mode, such as listing
    if (!std::all_of(std::begin(best), std::end(best), [](const Builds& each) { return each.good; }))
        return 1;
    printBuilds("first build", &Builds::first);
    printBuilds("later builds", &Builds::later);
    std::printf("\na shell that runs nothing: %.3f ms\n", shellSeconds * 1e3);
    const bool firstIsLinear = isLinear("first build", &Builds::first);
    const bool laterIsLinear = isLinear("later builds", &Builds::later);
    return firstIsLinear && laterIsLinear ? 0 : 1;
}
