// The cost of the inventory of RAID controllers per disk: on hosts with 16 and 256 disks behind one
// controller, and with 256 behind each of eight controllers. Each volume has four disks.
//
// The vendor's library answers in this process. Counted is the processor time of the agent, without that of
// the answers, and the library's commands.
//
// A refresh reads all controllers, disks and volumes from the library. The rules of the inventory ask for one
// refresh with each controller of a build, so that a build on a host with eight controllers reads each disk
// eight times. So a refresh is measured by itself, per disk, and a build by the refreshes that it makes: what
// a disk costs in it is that of so many refreshes, and that of the rest.
//
// A sample is of 2048 disks, whatever the size of the host: 128 passes over 16 disks, eight over 256, one
// over 2048. A host of 16 disks stays in the processor's caches between two passes and a host of 2048 does
// not, so that the ratios are above those of the same number of passes.
//
// Each size is measured in a separate process; the sizes alternate, and the best sample of each counts. The
// exit status is 1 if a disk among more takes more than 1.3 times the processor time of one among fewer, or
// if the library gets another number of commands than the rules need.
#include <benchmark/benchmark.h>
#include <json/json.h>
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <limits>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "ChildProcess.h"
#include "ProcessorTime.h"
#include "RaidHost.h"
#include "host/HostDescription.h"
#include "megaraid/storelib/vokSASLSIEventBlocks.h"
#include "megaraid/storelib/vokStoreLibInterface.h"
#include "megaraid/vokMegaRAIDControllerFactory.h"
#include "modules/pci/PciFunctions.h"
#include "modules/pci/PciTree.h"
#include "modules/raid/RaidControllers.h"
#include "modules/raid/RaidRecords.h"
#include "modules/raid/RaidWire.h"
#include "platform/access/vokRootedHostAccess.h"
#include "storage/SASResourceManager.h"
#include "support/TemporaryDirectory.h"

namespace {

constexpr int disksOfSample = 2048;

constexpr struct Size {
    int controllers;
    int disksEach;

    constexpr int disks() const { return controllers * disksEach; }
    constexpr int volumes() const { return disks() / raidHost::disksOfVolume; }
    constexpr int passes() const { return disksOfSample / disks(); }
} sizes[] = {{1, 16}, {1, 256}, {8, 256}};

constexpr double maxRatio = 1.3;
constexpr int samples = 5;

// --- what the library is asked ---

// Those of one refresh: of the host, of a controller, a disk and a volume. The records of the first disk of
// each volume count as the volume's.
constexpr struct Needed {
    const simhost::RaidCommandRow& command;
    double ofHost;
    double ofController;
    double ofDisk;
    double ofVolume;
} needed[] = {
    {simhost::raidListControllers, 1, 0, 0, 0},
    {simhost::raidControllerCommand, 0, 2, 0, 0},  // safe id, manufacturing data
    {simhost::raidControllerRecord, 0, 1, 0, 0},
    {simhost::raidPciLocation, 0, 1, 0, 0},
    {simhost::raidListDisks, 0, 1, 0, 0},
    {simhost::raidDiskRecord, 0, 0, 1, 1},
    // The serial number of a SAS disk without one in its inquiry data, the vendor's signature of a SATA disk.
    {simhost::raidScsiCommand, 0, 0, 2.0 / raidHost::kindCount, 0},
    {simhost::raidListVolumes, 0, 1, 0, 0},
    {simhost::raidVolumeRecord, 0, 0, 0, 1},
    {simhost::raidVolumeDisks, 0, 0, 0, 2},  // for the size of blocks, for the members
};

// --- the library ---

struct Requests {
    long commands[std::size(needed)] = {};
    long others = 0;
    double answerSeconds = 0;
};

class Library {
public:
    explicit Library(const simhost::HostDescription& host)
        : controllers_(host.part<simhost::RaidControllers>()) {
        for (const simhost::RaidController& each : controllers_.all) {
            byEntry_[each.entry()] = &each;
            for (const simhost::RaidDisk& disk : each.disks) disks_[{each.entry(), disk.deviceId}] = &disk;
            for (const simhost::RaidVolume& volume : each.volumes)
                volumes_[{each.entry(), volume.target}] = &volume;
        }
        current = this;
    }

    Requests requests;
    static Library* current;

    static std::uint32_t process(_SL_LIB_CMD_PARAM_T* block) {
        const double began = processorSeconds();
        current->answer(*block);
        current->requests.answerSeconds += processorSeconds() - began;
        return simhost::raidSuccess;
    }

private:
    static bool is(const _SL_LIB_CMD_PARAM_T& block, const simhost::RaidCommandRow& row) {
        return block.commandType == row.type && block.command == row.command;
    }
    static void give(void* to, const std::string& bytes, std::size_t room) {
        std::memcpy(to, bytes.data(), std::min(bytes.size(), room));
    }

    void answer(const _SL_LIB_CMD_PARAM_T& block) {
        count(block);
        if (block.commandType == 0) return answerOfLibrary(block);
        const simhost::RaidController& controller = *byEntry_.at(block.controllerId);
        if (is(block, simhost::raidScsiCommand)) return passScsi(block);
        if (is(block, simhost::raidControllerCommand)) return passToFirmware(controller, block);
        give(block.data, record(controller, block), block.dataSize);
    }
    void count(const _SL_LIB_CMD_PARAM_T& block) {
        for (std::size_t i = 0; i < std::size(needed); ++i)
            if (is(block, needed[i].command)) {
                ++requests.commands[i];
                return;
            }
        ++requests.others;
    }
    void answerOfLibrary(const _SL_LIB_CMD_PARAM_T& block) const {
        const bool lists = is(block, simhost::raidInitialize) || is(block, simhost::raidListControllers);
        if (lists) give(block.data, simhost::raidControllerList(controllers_), block.dataSize);
    }
    std::string record(const simhost::RaidController& controller, const _SL_LIB_CMD_PARAM_T& block) const {
        using namespace simhost;
        if (is(block, raidControllerRecord)) return raidControllerRecordOf(controller);
        if (is(block, raidPciLocation)) return raidPciRecord(controller);
        if (is(block, raidListDisks)) return raidDiskList(controller);
        if (is(block, raidListVolumes)) return raidVolumeList(controller);
        if (is(block, raidEventSequence)) return raidSequenceRecord(controller);
        if (is(block, raidDiskRecord))
            return raidDiskRecordOf(*disks_.at({controller.entry(), block.deviceId}));
        const RaidVolume& volume = *volumes_.at({controller.entry(), block.targetId});
        return is(block, raidVolumeDisks) ? raidMemberList(volume) : raidVolumeRecordOf(volume);
    }
    void passScsi(const _SL_LIB_CMD_PARAM_T& block) const {
        auto& header = *static_cast<vokScsiPassThroughHeader*>(block.data);
        const std::string command(reinterpret_cast<const char*>(header.cdb), header.cdbLength);
        const simhost::RaidScsiAnswer answered = simhost::answerRaidScsi(
            *disks_.at({block.controllerId, header.deviceId}), command, header.dataLength);
        if (answered.status != 0) std::abort();  // these disks have every page
        header.scsiStatus = answered.status;
        give(&header + 1, answered.data, header.dataLength);
        header.dataLength = static_cast<std::uint32_t>(answered.data.size());
    }
    static void passToFirmware(const simhost::RaidController& controller, const _SL_LIB_CMD_PARAM_T& block) {
        const auto& frame = *static_cast<const _MR_DCMD_FRAME*>(block.data);
        const bool isSafeId = frame.operation == simhost::raidSafeIdOpcode;
        give(frame.data,
             isSafeId ? simhost::raidSafeId(controller) : simhost::raidManufacturingRecord(controller),
             frame.transferLength);
    }

    template <typename Item>
    using ByNumber = std::map<std::pair<std::uint32_t, unsigned>, const Item*>;  // entry of the list, number

    const simhost::RaidControllers& controllers_;
    std::map<std::uint32_t, const simhost::RaidController*> byEntry_;
    ByNumber<simhost::RaidDisk> disks_;
    ByNumber<simhost::RaidVolume> volumes_;
};

Library* Library::current = nullptr;

// --- the host ---

class MeasuredHost : public vokRootedHostAccess {
public:
    using vokRootedHostAccess::vokRootedHostAccess;

    void* openLibrary(const std::string& name, int flags) override {
        return name == "libstorelib.so" ? this : vokRootedHostAccess::openLibrary(name, flags);
    }
    std::string libraryFile(void* library) override {
        return library == this ? "" : vokRootedHostAccess::libraryFile(library);
    }
    void* librarySymbol(void* library, const char* symbol) override {
        return library == this ? reinterpret_cast<void*>(&Library::process)
                               : vokRootedHostAccess::librarySymbol(library, symbol);
    }
    int closeLibrary(void* library) override {
        return library == this ? 0 : vokRootedHostAccess::closeLibrary(library);
    }
    void systemLog(int, const std::string&) override {}
};

struct HostOfASize {
    explicit HostOfASize(Size size)
        : description(simhost::parseHostDescription(raidHost::describe(size.controllers, size.disksEach))) {
        simhost::layOutPciTree(root.path() + "/sys", description.part<simhost::PciFunctions>().all);
    }

    simhost::HostDescription description;
    TemporaryDirectory root;
};

// --- the measuring ---

// Of a sample.
struct Cost {
    double seconds = std::numeric_limits<double>::max();  // of the processor, the least of all samples
    Requests requests;                                    // of the last sample
};

struct Costs {
    bool good = false;
    Cost refresh;
    Cost build;
    long residentKiB = 0;  // that the first build and the measured ones added to the process
    long peakKiB = 0;
};

// A line "VmRSS:   1234 kB".
long memoryKiB(const std::string& name) {
    std::ifstream status("/proc/self/status");
    for (std::string word; status >> word;) {
        long value = 0;
        if (word == name + ":" && status >> value) return value;
    }
    return 0;
}

// True if the inventory is complete, every disk and volume is well, and every volume has its members.
bool isComplete(SASResourceManager& manager, Size size) {
    std::vector<Json::Value> lists[3];
    for (int type = 1; type <= 3; ++type)
        if (manager.getInventoryJsonObject2(type, lists[type - 1])) return false;
    const auto& [controllers, disks, volumes] = lists;
    return controllers.size() == static_cast<std::size_t>(size.controllers) &&
           disks.size() == static_cast<std::size_t>(size.disks()) &&
           volumes.size() == static_cast<std::size_t>(size.volumes()) &&
           std::all_of(disks.begin(), disks.end(),
                       [](const Json::Value& disk) {
                           return disk["Status"]["Health"] == "OK" &&
                                  !disk["SerialNumber"].asString().empty();
                       }) &&
           std::all_of(volumes.begin(), volumes.end(), [](const Json::Value& volume) {
               return volume["Status"]["Health"] == "OK" &&
                      volume["Drives"].size() == raidHost::disksOfVolume;
           });
}

template <typename Pass>
void takeSample(Library& library, Size size, Cost& cost, Pass pass) {
    library.requests = {};
    const double began = processorSeconds();
    for (int i = 0; i < size.passes(); ++i) pass();
    cost.seconds = std::min(cost.seconds, processorSeconds() - began - library.requests.answerSeconds);
    cost.requests = library.requests;
}

Costs measure(const HostOfASize& host, Size size) {
    Library library(host.description);
    vokSetHostAccess(std::make_unique<MeasuredHost>(host.root.path()));
    SASResourceManager::Factories::_registryList() = {vokMegaRAIDControllerFactory::getInstance()};
    SASResourceManager& manager = *SASResourceManager::getInstance();
    vokStoreLibInterface& interface = *vokStoreLibInterface::getInstance();

    Costs costs;
    const long before = memoryKiB("VmRSS");
    manager.cacheBuild();
    for (int i = 0; i < samples; ++i) {
        takeSample(library, size, costs.refresh, [&] { interface.cacheBuild("All"); });
        takeSample(library, size, costs.build, [&] { manager.cacheBuild(); });
    }
    costs.residentKiB = memoryKiB("VmRSS") - before;
    costs.peakKiB = memoryKiB("VmHWM") - before;
    costs.good = isComplete(manager, size);
    return costs;
}

void keepBest(Cost& best, const Cost& cost) {
    best.seconds = std::min(best.seconds, cost.seconds);
    best.requests = cost.requests;
}

Costs best[std::size(sizes)];
bool ran = false;

void raidCosts(benchmark::State& state) {
    std::vector<std::unique_ptr<HostOfASize>> hosts;
    for (const Size& size : sizes) hosts.push_back(std::make_unique<HostOfASize>(size));
    ran = true;
    for (auto _ : state) {
        for (std::size_t i = 0; i < std::size(sizes); ++i) {
            const Costs costs = inChildProcess([&] { return measure(*hosts[i], sizes[i]); });
            if (!costs.good) return state.SkipWithError("a build did not produce a complete inventory");
            best[i].good = true;
            keepBest(best[i].refresh, costs.refresh);
            keepBest(best[i].build, costs.build);
            best[i].residentKiB = std::max(best[i].residentKiB, costs.residentKiB);
            best[i].peakKiB = std::max(best[i].peakKiB, costs.peakKiB);
        }
    }
}

BENCHMARK(raidCosts)->Iterations(5)->Unit(benchmark::kMillisecond);

// --- what is printed and checked ---

std::string nameOf(Size size) {
    return std::to_string(size.controllers) + " x " + std::to_string(size.disksEach);
}

double microsecondsPerDisk(double seconds) {
    return seconds * 1e6 / disksOfSample;
}

// The time of a build without its refreshes. It makes one refresh for each controller.
double restOf(std::size_t i) {
    return best[i].build.seconds - sizes[i].controllers * best[i].refresh.seconds;
}

long commandsOf(const Requests& requests) {
    long all = requests.others;
    for (const long count : requests.commands) all += count;
    return all;
}

void printCosts() {
    std::printf("\n%12s%12s%12s%12s%12s%12s%12s%12s\n", "controllers", "refresh", "build", "the rest",
                "commands", "commands", "resident", "peak");
    std::printf("%12s%12s%12s%12s%12s%12s%12s%12s\n", "x disks", "us a disk", "us a disk", "us a disk",
                "of refresh", "of build", "KiB", "KiB");
    for (std::size_t i = 0; i < std::size(sizes); ++i) {
        const int passes = sizes[i].passes();
        std::printf("%12s%12.2f%12.2f%12.2f%12ld%12ld%12ld%12ld\n", nameOf(sizes[i]).c_str(),
                    microsecondsPerDisk(best[i].refresh.seconds), microsecondsPerDisk(best[i].build.seconds),
                    microsecondsPerDisk(restOf(i)), commandsOf(best[i].refresh.requests) / passes,
                    commandsOf(best[i].build.requests) / passes, best[i].residentKiB, best[i].peakKiB);
    }
    std::printf("\n");
}

bool areAsNeeded(const char* what, const Requests& requests, Size size, int refreshes) {
    bool asNeeded = requests.others == 0;
    for (std::size_t i = 0; i < std::size(needed); ++i) {
        const Needed& each = needed[i];
        const double ofRefresh = each.ofHost + each.ofController * size.controllers +
                                 each.ofDisk * size.disks() + each.ofVolume * size.volumes();
        const long wanted = static_cast<long>(ofRefresh) * refreshes * size.passes();
        if (requests.commands[i] == wanted) continue;
        asNeeded = false;
        std::printf("%s on %s: %ld commands \"%s\", not %ld\n", what, nameOf(size).c_str(),
                    requests.commands[i], each.command.name, wanted);
    }
    if (!asNeeded)
        std::printf("%s on %s: NOT THE COMMANDS THAT THE RULES NEED\n", what, nameOf(size).c_str());
    return asNeeded;
}

bool isWithin(const char* what, std::size_t host, std::size_t other, double seconds, double expected) {
    const bool within = seconds <= maxRatio * expected;
    std::printf("%s: a disk of %s takes %.2f times the processor of one of %s (at most %.2f)%s\n", what,
                nameOf(sizes[host]).c_str(), seconds / expected, nameOf(sizes[other]).c_str(), maxRatio,
                within ? "" : ": TOO MUCH");
    return within;
}

bool check() {
    bool within = true;
    for (std::size_t i = 0; i < std::size(sizes); ++i) {
        within &= areAsNeeded("refresh", best[i].refresh.requests, sizes[i], 1);
        within &= areAsNeeded("build", best[i].build.requests, sizes[i], sizes[i].controllers);
    }
    constexpr std::size_t compared[][2] = {{1, 0}, {2, 0}, {2, 1}};
    for (const auto& [host, other] : compared) {
        within &= isWithin("refresh", host, other, best[host].refresh.seconds, best[other].refresh.seconds);
        within &= isWithin("build, of as many refreshes", host, other, best[host].build.seconds,
                           sizes[host].controllers * best[other].refresh.seconds + restOf(other));
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
    printCosts();
    return check() ? 0 : 1;
}
