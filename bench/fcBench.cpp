// The cost of an inventory of Fibre Channel per adapter, on hosts with 2, 16 and 64 adapters of two ports
// each.
//
// The common HBA layer is the agent's own; the vendor's library and the host's commands answer in this
// process. Counted is the processor time of the agent, without that of the answers, and also the calls of the
// library and the commands.
//
// A sample is of 2048 adapters, whatever the size of the host: 1024 builds of 2, 128 of 16, 32 of 64. The
// first build of an agent reads the ids of the adapters' functions, which later ones have cached; a sample of
// first builds is of 128 adapters, in as many processes as there are hosts. With few adapters what a build
// does once counts for more, so that 64 are compared with 16 too.
//
// Each size is measured in a separate process; the sizes alternate, and the best sample of each counts. The
// exit status is 1 if an adapter among more takes more than 1.3 times the processor time of one among fewer,
// or if the library gets other calls, or the host other commands, than the rules need.
#include <benchmark/benchmark.h>
#include <json/json.h>
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <limits>
#include <memory>
#include <numeric>
#include <string>
#include <vector>

#include "ChildProcess.h"
#include "LocationLibrary.h"
#include "ProcessorTime.h"
#include "fc/FCResourceManager.h"
#include "fc/hbaapi/hbaapilist.h"
#include "platform/access/vokRootedHostAccess.h"
#include "platform/utils/platformCheck.h"
#include "platform/utils/vokUtils.h"
#include "support/SmBiosTable.h"
#include "support/TemporaryDirectory.h"

namespace {

constexpr int sizes[] = {2, 16, 64};  // adapters
constexpr HBA_UINT32 portsOfAdapter = 2;
constexpr int adaptersOfSample = 2048;
constexpr int adaptersOfFirstSample = 128;
constexpr double maxRatio = 1.3;
constexpr int samples = 5;

// --- what is asked ---

enum Request {
    registerCall,
    versionCall,
    loadCall,
    countCall,
    nameCall,
    openCall,
    attributesCall,
    portCall,
    closeCall,
    pairListCommand,
    idsCommand,
    otherCommand,
    requestKinds,
};

constexpr struct Needed {
    const char* name;
    long ofFirstBuild;  // in addition to those of each build
    long ofFirstBuildPerAdapter;
    long ofBuild;
    long ofAdapter;
} needed[requestKinds] = {
    {"register", 1, 0, 0, 0},
    {"version", 1, 0, 0, 0},
    {"load", 1, 0, 0, 0},
    {"count", 0, 0, 1, 0},
    {"name", 0, 0, 0, 1},
    {"open", 0, 0, 0, 1},
    {"attributes", 0, 0, 0, 1},
    {"port", 0, 0, 0, portsOfAdapter},
    {"close", 0, 0, 0, 1},
    {"pair list", 2, 0, 0, 0},  // addresses and names of the PCI functions, names and nodes of the adapters
    {"ids", 0, 2, 0, 0},        // those of the function, those of its subsystem
    {"other command", 0, 0, 0, 0},
};

struct Requests {
    long of[requestKinds] = {};
    double answerSeconds = 0;
};
Requests requests;

// Counts a request, and the time until it is answered.
class Answering {
public:
    explicit Answering(Request request) { ++requests.of[request]; }
    ~Answering() { requests.answerSeconds += processorSeconds() - began_; }
    Answering(const Answering&) = delete;
    Answering& operator=(const Answering&) = delete;

private:
    const double began_ = processorSeconds();
};

// --- the adapters, and the vendor's library ---

int adapterCount = 0;

std::string twoDigits(unsigned value) {
    char text[16];
    std::snprintf(text, sizeof(text), "%02x", value);
    return text;
}
std::string addressOf(unsigned adapter) {
    return "0000:" + twoDigits(0x10 + adapter) + ":00.0";
}
std::string kernelNameOf(unsigned adapter) {
    return "vmhba" + std::to_string(adapter);
}
std::string nodeNameOf(unsigned adapter) {
    return "20:00:00:00:c9:00:00:" + twoDigits(adapter);
}
std::string portNameOf(unsigned adapter) {  // of the last port, which the inventory shows
    return "10:00:00:00:c9:01:00:" + twoDigits(adapter);
}
std::string slotOf(unsigned adapter) {
    return "r001u05p2i" + std::to_string(10 + adapter);
}
std::string serialNumberOf(unsigned adapter) {
    return "FC" + std::to_string(10000000 + adapter);
}

constexpr char namePrefix[] = "vendor-fc-";
constexpr char model[] = "MEV 2-port 32Gb Fibre Channel adapter, SFP28";

unsigned adapterOf(HBA_HANDLE handle) {
    if (handle < 1 || handle > static_cast<HBA_HANDLE>(adapterCount)) std::abort();
    return handle - 1;
}

template <std::size_t size>
void write(char (&field)[size], const std::string& text) {
    field[text.copy(field, size - 1)] = '\0';
}

HBA_STATUS nameOf(HBA_UINT32 index, char* name) {
    const Answering answering(nameCall);
    std::snprintf(name, hbaNameLength, "%s%u", namePrefix, index);
    return HBA_STATUS_OK;
}
HBA_HANDLE openAdapter(char* name) {
    const Answering answering(openCall);
    return static_cast<HBA_HANDLE>(std::strtoul(name + std::strlen(namePrefix), nullptr, 10)) + 1;
}
void closeAdapter(HBA_HANDLE handle) {
    const Answering answering(closeCall);
    adapterOf(handle);
}
HBA_STATUS attributesOf(HBA_HANDLE handle, HBA_ADAPTERATTRIBUTES* out) {
    const Answering answering(attributesCall);
    const unsigned adapter = adapterOf(handle);
    *out = {};
    write(out->SerialNumber, serialNumberOf(adapter));
    write(out->Model, "LPe32002-M2");
    write(out->FirmwareVersion, "12.8.340.8");
    write(out->OptionROMVersion, "12.8.340.7");
    out->NodeWWN = {{0x20, 0, 0, 0, 0xC9, 0, 0, static_cast<HBA_UINT8>(adapter)}};
    out->NumberOfPorts = portsOfAdapter;
    return HBA_STATUS_OK;
}
HBA_STATUS portAttributesOf(HBA_HANDLE handle, HBA_UINT32 port, HBA_PORTATTRIBUTES* out) {
    const Answering answering(portCall);
    const unsigned adapter = adapterOf(handle);
    *out = {};
    out->PortWWN = {{0x10, 0, 0, 0, 0xC9, static_cast<HBA_UINT8>(port), 0, static_cast<HBA_UINT8>(adapter)}};
    out->PortState = HBA_PORTSTATE_ONLINE;
    return HBA_STATUS_OK;
}

HBA_STATUS registerLibrary(HBA_ENTRYPOINTS* table) {
    const Answering answering(registerCall);
    *table = {};
    table->GetVersionHandler = [] {
        const Answering answeringVersion(versionCall);
        return HBA_UINT32{1};
    };
    table->LoadLibraryHandler = [] {
        const Answering answeringLoad(loadCall);
        return HBA_STATUS_OK;
    };
    table->GetNumberOfAdaptersHandler = [] {
        const Answering answeringCount(countCall);
        return static_cast<HBA_UINT32>(adapterCount);
    };
    table->GetAdapterNameHandler = nameOf;
    table->OpenAdapterHandler = openAdapter;
    table->CloseAdapterHandler = closeAdapter;
    table->GetAdapterAttributesHandler = attributesOf;
    table->GetAdapterPortAttributesHandler = portAttributesOf;
    return HBA_STATUS_OK;
}

// --- the host ---

constexpr char topologyFile[] = "/opt/mev/vok/data/fc_topology.txt";
constexpr char namesFile[] = "/opt/mev/vok/data/fc_name.txt";

class MeasuredHost : public vokRootedHostAccess {
public:
    using vokRootedHostAccess::vokRootedHostAccess;

    // The two lists of pairs, as their commands append them to a file.
    int runCommand(const std::string& command) override {
        const bool isTopology = command.find("hardware pci list") != std::string::npos;
        const bool isNames = command.find("storage san fc list") != std::string::npos;
        const Answering answering(isTopology || isNames ? pairListCommand : otherCommand);
        if (!isTopology && !isNames) return -1;
        FILE* const file = std::fopen(path(isTopology ? topologyFile : namesFile).c_str(), "ae");
        if (!file) std::abort();
        for (unsigned i = 0; i < static_cast<unsigned>(adapterCount); ++i) {
            if (isTopology)
                std::fprintf(file, "   Address: %s\n   VMkernel Name: %s\n", addressOf(i).c_str(),
                             kernelNameOf(i).c_str());
            else
                std::fprintf(file, "   Adapter: %s\n   Node Name: %s\n", kernelNameOf(i).c_str(),
                             nodeNameOf(i).c_str());
        }
        std::fclose(file);
        return 0;
    }
    // Answers the queries for PCI ids. All functions have the same ids.
    FILE* openCommand(const std::string& command) override {
        const bool isSubsystem = command.find("'SubVendor ID:") != std::string::npos;
        const bool isFunction = command.find("'Vendor ID:") != std::string::npos;
        const Answering answering(isSubsystem || isFunction ? idsCommand : otherCommand);
        static char ofFunction[] = "   Vendor ID: 0x10df\n   Device ID: 0xe300\n";
        static char ofSubsystem[] = "   SubVendor ID: 0x10df\n   SubDevice ID: 0xe310\n";
        if (isSubsystem) return ::fmemopen(ofSubsystem, std::strlen(ofSubsystem), "r");
        return isFunction ? ::fmemopen(ofFunction, std::strlen(ofFunction), "r") : nullptr;
    }
    int closeCommand(FILE* stream) override { return std::fclose(stream); }

    void* openLibrary(const std::string&, int) override { return this; }
    std::string libraryFile(void*) override { return ""; }
    void* librarySymbol(void*, const char* symbol) override {
        return std::strcmp(symbol, HBA_RegisterLibrarySymbol) == 0 ? reinterpret_cast<void*>(registerLibrary)
                                                                   : locationLibrary::symbol(symbol);
    }
    int closeLibrary(void*) override { return 0; }
    void systemLog(int, const std::string&) override {}
};

// Lays out the files of a host of the first platform.
void layOut(const TemporaryDirectory& root, int adapters) {
    SmBiosTable table;
    table.addSystem("Maker of servers", "7711PID02020001");
    for (unsigned i = 0; i < static_cast<unsigned>(adapters); ++i)
        table.addSlot("Slot " + slotOf(i), addressOf(i));
    root.writeFile(SmBiosTable::deviceFile, table.addEnd().contents());
    root.writeFile("/opt/mev/vok/data/other", "");
    root.writeFile(hbaListFile, "vendor\t/usr/lib/vendor/libvendor.so\n");
}

// --- the measuring ---

// Of a sample.
struct Cost {
    double seconds = std::numeric_limits<double>::max();  // of the processor, the least of all samples
    Requests requests;                                    // of the last sample
};

struct Costs {
    bool good = false;
    Cost first;
    Cost later;
};

Cost costOf(FCResourceManager& manager, int builds) {
    requests = {};
    const double began = processorSeconds();
    for (int i = 0; i < builds; ++i) manager.cacheBuild();
    return {processorSeconds() - began - requests.answerSeconds, requests};
}

void keepBest(Cost& best, const Cost& cost) {
    best.seconds = std::min(best.seconds, cost.seconds);
    best.requests = cost.requests;
}

// True if the inventory is complete and every adapter is well.
bool isComplete(FCResourceManager& manager) {
    std::vector<Json::Value> records;
    if (manager.getInventoryJsonObject(records) || records.size() != static_cast<std::size_t>(adapterCount))
        return false;
    for (unsigned i = 0; i < records.size(); ++i) {
        const Json::Value& record = records[i];
        const bool complete = record["Model"] == model && record["PartNumber"] == "MEV-2000-110A" &&
                              record["SerialNumber"] == serialNumberOf(i) &&
                              record["WWNN"] == nodeNameOf(i) && record["WWPN"] == portNameOf(i) &&
                              record["Manufacturer"] != "Not Available" &&
                              record["Status"]["Health"] == "OK" &&
                              record["Oem"]["Description"] == "PCI " + addressOf(i) + " " + slotOf(i) &&
                              record["Oem"]["PhysicalLocation"] != "FFFFFFFFFFFFFFFF";
        if (!complete) return false;
    }
    return true;
}

// In a process without anything cached: a first build, and samples of later ones.
Costs measure(const std::string& root, int adapters, int laterSamples) {
    adapterCount = adapters;
    vokSetHostAccess(std::make_unique<MeasuredHost>(root));
    platformCheck::setDirectoryPath();
    vokUtils::initializeSMBIOS();
    vokUtils::initGeoIDMap();
    FCResourceManager& manager = *FCResourceManager::getInstance();
    Costs costs;
    costs.first = costOf(manager, 1);
    costs.good = isComplete(manager);
    for (int i = 0; i < laterSamples; ++i)
        keepBest(costs.later, costOf(manager, adaptersOfSample / adapters));
    costs.good = costs.good && isComplete(manager);
    return costs;
}

// A sample of first builds: one in each of as many processes as are needed.
Costs measureFirstBuilds(const std::string& root, int adapters) {
    Costs sum;
    sum.good = true;
    sum.first.seconds = 0;
    for (int i = 0; i < adaptersOfFirstSample / adapters; ++i) {
        const Costs costs = inChildProcess([&] { return measure(root, adapters, 0); });
        sum.good = sum.good && costs.good;
        sum.first.seconds += costs.first.seconds;
        for (int kind = 0; kind < requestKinds; ++kind)
            sum.first.requests.of[kind] += costs.first.requests.of[kind];
    }
    return sum;
}

Costs best[std::size(sizes)];
bool ran = false;

void fibreChannelCosts(benchmark::State& state) {
    TemporaryDirectory roots[std::size(sizes)];
    for (std::size_t i = 0; i < std::size(sizes); ++i) layOut(roots[i], sizes[i]);
    ran = true;
    for (auto _ : state) {
        for (std::size_t i = 0; i < std::size(sizes); ++i) {
            const Costs first = measureFirstBuilds(roots[i].path(), sizes[i]);
            const Costs later = inChildProcess([&] { return measure(roots[i].path(), sizes[i], samples); });
            best[i].good = first.good && later.good;
            if (!best[i].good) return state.SkipWithError("a build did not produce a complete inventory");
            keepBest(best[i].first, first.first);
            keepBest(best[i].later, later.later);
        }
    }
}

BENCHMARK(fibreChannelCosts)->Iterations(5)->Unit(benchmark::kMillisecond);

// --- what is printed and checked ---

long sumOf(const Requests& asked, Request first, Request last) {
    return std::accumulate(asked.of + first, asked.of + last + 1, 0L);
}

void printCosts(const char* what, const Cost Costs::*which, int adapters) {
    std::printf("\n%-13s%9s%15s%8s%10s\n", what, "adapters", "us an adapter", "calls", "commands");
    for (std::size_t i = 0; i < std::size(sizes); ++i) {
        const auto& [seconds, asked] = best[i].*which;
        std::printf("%-13s%9d%15.2f%8.2f%10.2f\n", "", sizes[i], seconds * 1e6 / adapters,
                    static_cast<double>(sumOf(asked, registerCall, closeCall)) / adapters,
                    static_cast<double>(sumOf(asked, pairListCommand, otherCommand)) / adapters);
    }
}

bool areAsNeeded(const char* what, const Requests& asked, int size, bool areFirst) {
    const int adapters = areFirst ? adaptersOfFirstSample : adaptersOfSample;
    const int builds = adapters / size;
    bool asNeeded = true;
    for (int kind = 0; kind < requestKinds; ++kind) {
        const Needed& each = needed[kind];
        long wanted = each.ofBuild * builds + each.ofAdapter * adapters;
        if (areFirst) wanted += each.ofFirstBuild * builds + each.ofFirstBuildPerAdapter * adapters;
        if (asked.of[kind] == wanted) continue;
        asNeeded = false;
        std::printf("%s of %d adapters: %ld requests \"%s\", not %ld: NOT WHAT THE RULES NEED\n", what, size,
                    asked.of[kind], each.name, wanted);
    }
    return asNeeded;
}

bool isWithin(const char* what, const Cost Costs::*which, std::size_t host, std::size_t other) {
    const double ratio = (best[host].*which).seconds / (best[other].*which).seconds;
    const bool within = ratio <= maxRatio;
    std::printf("%s: an adapter among %d takes %.2f times the processor of one among %d (at most %.2f)%s\n",
                what, sizes[host], ratio, sizes[other], maxRatio, within ? "" : ": TOO MUCH");
    return within;
}

bool check() {
    bool within = true;
    std::printf("\n");
    for (std::size_t i = 0; i < std::size(sizes); ++i) {
        within &= areAsNeeded("first build", best[i].first.requests, sizes[i], true);
        within &= areAsNeeded("later builds", best[i].later.requests, sizes[i], false);
    }
    constexpr std::size_t compared[][2] = {{1, 0}, {2, 0}, {2, 1}};
    for (const auto& [host, other] : compared) {
        within &= isWithin("first build", &Costs::first, host, other);
        within &= isWithin("later builds", &Costs::later, host, other);
    }
    return within;
}

}  // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 2;
    benchmark::RunSpecifiedBenchmarks();
    if (!ran) return 0;  // the options selected another mode, such as listing
    if (!std::all_of(std::begin(best), std::end(best), [](const Costs& each) { return each.good; })) return 1;
    printCosts("first build", &Costs::first, adaptersOfFirstSample);
    printCosts("later builds", &Costs::later, adaptersOfSample);
    return check() ? 0 : 1;
}
