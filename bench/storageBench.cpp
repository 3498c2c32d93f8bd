// The cost of a build and of a poll of storage per disk: on hosts with 10, 100 and 1,000 disks behind one
// controller, and with 1,000 behind eight, in both layouts of /sys.
//
// /sys is that of a simulated host, and its disks answer in this process. Counted is the processor time of
// the agent, without that of the answers.
//
// A sample is of a thousand disks, whatever the size of the host: a pass on each of a hundred hosts with ten
// disks, of ten with a hundred, of one with a thousand. So between two passes on a disk there are always
// those on 999 others, and the processor's caches hold as much of its records and of its part of /sys. A host
// that is measured again and again by itself is no measure of the others: all about a hundred disks stays in
// the caches, all about a thousand does not, and the kernel then takes much longer to find the names in /sys.
//
// Each size is measured in a separate process; the sizes alternate, and the best sample of each counts. The
// exit status is 1 if a disk among more takes more than 1.3 times the processor time of one among fewer, or
// with eight controllers 1.5 times that with one. It is also 1 if a disk gets another number of commands than
// the rules need, or if its attributes are read more often.
#include <benchmark/benchmark.h>
#include <json/json.h>
#include <scsi/sg.h>
#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <fstream>
#include <iterator>
#include <limits>
#include <memory>
#include <string>
#include <vector>

#include "ChildProcess.h"
#include "ProcessorTime.h"
#include "host/HostDescription.h"
#include "modules/pci/PciFunctions.h"
#include "modules/pci/PciTree.h"
#include "modules/storage/ScsiAnswers.h"
#include "modules/storage/StorageTree.h"
#include "platform/access/vokRootedHostAccess.h"
#include "storage/SASResourceManager.h"
#include "storage/vokStorageController.h"
#include "storage/vokStorageControllerClass.h"
#include "storage/vokStorageControllerFactory.h"
#include "support/TemporaryDirectory.h"

namespace {

constexpr int disksOfSample = 1000;

constexpr struct Size {
    int controllers;
    int disksEach;
    bool classic;  // the layout of /sys that old kernels have

    constexpr int disks() const { return controllers * disksEach; }
    constexpr int hosts() const { return disksOfSample / disks(); }
} sizes[] = {{1, 10, false},  {1, 100, false}, {1, 1000, false},
             {8, 125, false}, {1, 1000, true}, {8, 125, true}};

constexpr double maxRatio = 1.3;
// Of a disk behind one of eight controllers: the seven others read its link too, on an old kernel with two
// system calls.
constexpr double maxRatioOfControllers = 1.5;
constexpr int buildSamples = 3;
constexpr int pollSamples = 8;

// --- the disks, and what they are asked ---

constexpr struct Kind {
    const char* name;
    const char* transport;
    const char* media;
    // Build: two commands for the identity of the disk (SAS: transport protocol, rotation rate; SATA:
    // IDENTIFY DEVICE, manufacturer), and those of a poll. Poll: temperature and health, of an SSD the wear
    // too.
    int commandsOfBuild;
    int commandsOfPoll;
} kinds[] = {{"SAS HDD", "SAS", "HDD", 4, 2},
             {"SAS SSD", "SAS", "SSD", 5, 3},
             {"SATA HDD", "SATA", "HDD", 4, 2},
             {"SATA SSD", "SATA", "SSD", 5, 3}};
constexpr int kindCount = static_cast<int>(std::size(kinds));

// Attributes and directories of a disk that are read. Build: the generic node, type, revision, the model and
// the vendor twice, the serial number for the identity and again for the status, the block device and its
// size, which old kernels have in the third place that is looked at. Poll: the generic node, the serial
// number.
constexpr int readsOfBuild = 11;
constexpr int readsOfClassicBuild = 13;
constexpr int readsOfPoll = 2;

// --- the host ---

simhost::HostDescription describe(Size size) {
    Json::Value host(Json::objectValue);
    for (int i = 0; i < size.controllers; ++i) {
        Json::Value controller(Json::objectValue);
        char address[24];
        std::snprintf(address, sizeof(address), "0000:%02x:00.0", 0x10u + static_cast<unsigned>(i));
        controller["address"] = address;
        controller["vendor"] = controller["subsystemVendor"] = "0x9005";
        controller["device"] = "0x028f";
        controller["subsystemDevice"] = "0x0608";
        controller["driver"] = "smartpqi";
        controller["layout"] = size.classic ? "classic" : "today";
        Json::Value disks(Json::arrayValue);
        for (int kind = 0; kind < kindCount; ++kind) {
            Json::Value disk(Json::objectValue);
            disk["count"] = size.disksEach / kindCount + (kind < size.disksEach % kindCount ? 1 : 0);
            disk["transport"] = kinds[kind].transport;
            disk["media"] = kinds[kind].media;
            if (disk["transport"] == "SATA") disk["logD0"] = "MVD0";
            disks.append(disk);
        }
        controller["ports"][0]["disks"] = disks;
        host["storageControllers"].append(controller);
    }
    return simhost::parseHostDescription(host);
}

void layOut(const std::string& root, const simhost::HostDescription& host) {
    simhost::layOutPciTree(root + "/sys", host.part<simhost::PciFunctions>().all);
    simhost::StorageTree(root, host).layOut();
}

// What the agent asks of its host.
struct Requests {
    long commands[kindCount] = {};
    long opens = 0;  // of nodes
    long reads = 0;  // of attributes and directories of disks
    long links = 0;  // of entries of the class directory, by all controllers
    double answerSeconds = 0;
};

// All hosts of one size. The agent runs on one of them at a time.
class MeasuredHosts : public vokKernelHostAccess {
public:
    void add(const std::string& root, const simhost::HostDescription& description) {
        Host& host = hosts_.emplace_back(root);
        for (const auto& controller : description.part<simhost::StorageControllers>().all)
            for (const auto& port : controller.ports)
                for (const auto& disk : port.disks) {
                    if (genericName(disk) != "sg" + std::to_string(host.disks.size())) std::abort();
                    host.disks.push_back(&disk);
                }
    }
    void use(std::size_t host) { current_ = &hosts_.at(host); }

    mutable Requests requests;
    int openNodes = 0;

    std::string path(const std::string& absolute) const override {
        count(absolute);
        return current_->access.path(absolute);
    }
    int openDevice(const std::string& hostPath, int) override {
        // Nothing is searched for: that would count as the agent's time.
        const std::string& nodes = current_->nodes;
        const std::size_t number = hostPath.compare(0, nodes.size(), nodes) == 0
                                       ? std::strtoul(hostPath.c_str() + nodes.size(), nullptr, 10)
                                       : current_->disks.size();
        if (number >= current_->disks.size()) {
            errno = ENOENT;
            return -1;
        }
        ++requests.opens;
        ++openNodes;
        return firstDescriptor + static_cast<int>(number);
    }
    int closeDevice(int) override {
        --openNodes;
        return 0;
    }
    int ioctlDevice(int descriptor, unsigned long request, void* argument) override {
        const double began = processorSeconds();
        if (request != SG_IO) std::abort();
        const simhost::Disk& disk =
            *current_->disks.at(static_cast<std::size_t>(descriptor - firstDescriptor));
        ++requests.commands[2 * (isSata(disk) ? 1 : 0) + (isSolidState(disk) ? 1 : 0)];
        answer(disk, *static_cast<sg_io_hdr_t*>(argument));
        requests.answerSeconds += processorSeconds() - began;
        return 0;
    }
    void systemLog(int, const std::string&) override {}

private:
    static constexpr int firstDescriptor = 1 << 20;

    struct Host {
        explicit Host(const std::string& root) : access(root), nodes(access.path("/dev/sg")) {}

        const vokRootedHostAccess access;
        const std::string nodes;                  // their path without the number
        std::vector<const simhost::Disk*> disks;  // by the number of the node
    };

    void count(const std::string& absolute) const {
        static const std::string entries = "/sys/class/scsi_device/";
        if (absolute.compare(0, entries.size(), entries) != 0 || absolute == entries) return;
        const std::size_t end = absolute.find('/', entries.size());
        const std::string below = end == std::string::npos ? "" : absolute.substr(end);
        ++(below.empty() || below == "/device" ? requests.links : requests.reads);
    }
    static void answer(const simhost::Disk& disk, sg_io_hdr_t& header) {
        simhost::ScsiRequest request;
        request.command.assign(reinterpret_cast<const char*>(header.cmdp), header.cmd_len);
        request.direction = simhost::ScsiDirection::fromDevice;
        request.room = header.dxfer_len;
        request.senseRoom = header.mx_sb_len;
        const simhost::ScsiReply reply = answerScsi(disk, request);
        if (reply.status != 0) std::abort();  // these disks have every page
        std::memcpy(header.dxferp, reply.data.data(), std::min<std::size_t>(reply.data.size(), request.room));
        header.resid = reply.residual;
        header.info = SG_INFO_OK;
    }

    std::deque<Host> hosts_;
    const Host* current_ = nullptr;
};

// A controller whose bays are known: the target is the slot. So its disks are compared with those of the
// build before.
class BayController : public vokStorageController {
public:
    using vokStorageController::vokStorageController;

    static bool claimDevice(unsigned int chipset, unsigned int board, std::string& location, bool firstPass,
                            vokStorageController** device) {
        constexpr unsigned char family = 4;
        *device = new BayController(chipset, board, location, family, firstPass);
        return true;
    }
    int discoverPhysicalDiskSlotNumber(vokDiskInfo& disk) override {
        const std::string link = disk.getOSSCSILink();
        disk.setSlot(link.substr(4, link.rfind(':') - 4));
        return 0;
    }
};

// --- the measuring ---

// Of a sample: a thousand disks.
struct Cost {
    double seconds = std::numeric_limits<double>::max();  // of the processor, the least of all samples
    Requests requests;                                    // of the last sample
};

struct Costs {
    bool good = false;
    Cost build;
    Cost poll;
    long peakKiB = 0;  // what the builds and polls added to the memory of the process
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

// True if the inventory is complete and every disk is well.
bool isComplete(SASResourceManager& manager, Size size) {
    std::vector<Json::Value> controllers;
    std::vector<Json::Value> disks;
    if (manager.getInventoryJsonObject2(1, controllers) || manager.getInventoryJsonObject2(2, disks) ||
        controllers.size() != static_cast<std::size_t>(size.controllers) ||
        disks.size() != static_cast<std::size_t>(size.disks()))
        return false;
    return std::all_of(disks.begin(), disks.end(), [](const Json::Value& disk) {
        return disk["Status"]["Health"] == "OK" && !disk["SerialNumber"].asString().empty();
    });
}

// Each host has one of its own, with its controllers; the manager uses that of the current host.
class HostFactory : public vokStorageControllerFactory {};

struct HostOfASize {
    explicit HostOfASize(Size size) : description(describe(size)) { layOut(root.path(), description); }

    simhost::HostDescription description;
    TemporaryDirectory root;
};

using Hosts = std::vector<std::unique_ptr<HostOfASize>>;

// Of the first `count` hosts.
class Measurement {
public:
    Measurement(const Hosts& hosts, std::size_t count) : factories_(count) {
        auto access = std::make_unique<MeasuredHosts>();
        for (std::size_t i = 0; i < count; ++i) access->add(hosts[i]->root.path(), hosts[i]->description);
        access_ = access.get();
        vokSetHostAccess(std::move(access));
    }

    Costs run(Size size) {
        const vokRegistryManager<_VOK_STORAGE_CONTROLLER_CLASS_METADATA> registration(
            {"BayController", BayController::claimDevice, nullptr});
        Costs costs;
        const long before = memoryKiB("VmRSS");
        onEachHost([&] { manager_.cacheBuild(); });
        for (int i = 0; i < buildSamples; ++i) takeSample(costs.build, [&] { manager_.cacheBuild(); });
        for (int i = 0; i < pollSamples; ++i) takeSample(costs.poll, [&] { manager_.pollDevices(); });
        costs.peakKiB = memoryKiB("VmHWM") - before;
        costs.good = access_->openNodes == 0;
        onEachHost([&] {
            manager_.cacheBuild();
            costs.good = costs.good && isComplete(manager_, size);
        });
        return costs;
    }

private:
    template <typename Pass>
    void onEachHost(Pass pass) {
        for (std::size_t i = 0; i < factories_.size(); ++i) {
            access_->use(i);
            SASResourceManager::Factories::_registryList() = {&factories_[i]};
            pass();
        }
    }
    template <typename Pass>
    void takeSample(Cost& cost, Pass pass) {
        double seconds = 0;
        access_->requests = {};
        onEachHost([&] {
            const double began = processorSeconds();
            pass();
            seconds += processorSeconds() - began;
        });
        cost.seconds = std::min(cost.seconds, seconds - access_->requests.answerSeconds);
        cost.requests = access_->requests;
    }

    MeasuredHosts* access_ = nullptr;
    std::deque<HostFactory> factories_;
    SASResourceManager& manager_ = *SASResourceManager::getInstance();
};

void keepBest(Cost& best, const Cost& cost) {
    best.seconds = std::min(best.seconds, cost.seconds);
    best.requests = cost.requests;
}

Costs best[std::size(sizes)];
bool ran = false;

Costs costsOn(const Hosts& hosts, std::size_t count, Size size) {
    return inChildProcess([&] { return Measurement(hosts, count).run(size); });
}

void storageCosts(benchmark::State& state) {
    std::vector<Hosts> hosts(std::size(sizes));
    for (std::size_t i = 0; i < std::size(sizes); ++i)
        for (int j = 0; j < sizes[i].hosts(); ++j)
            hosts[i].push_back(std::make_unique<HostOfASize>(sizes[i]));
    ran = true;
    for (auto _ : state) {
        for (std::size_t i = 0; i < std::size(sizes); ++i) {
            const Costs costs = costsOn(hosts[i], hosts[i].size(), sizes[i]);
            const Costs alone = costsOn(hosts[i], 1, sizes[i]);
            if (!costs.good || !alone.good)
                return state.SkipWithError("a build did not produce a complete inventory");
            best[i].good = true;
            keepBest(best[i].build, costs.build);
            keepBest(best[i].poll, costs.poll);
            best[i].peakKiB = std::max(best[i].peakKiB, alone.peakKiB);
        }
    }
}

BENCHMARK(storageCosts)->Iterations(5)->Unit(benchmark::kMillisecond);

// --- what is printed and checked ---

// Of a sample.
double perDisk(double value) {
    return value / disksOfSample;
}

int disksOf(int kind, Size size) {
    return size.hosts() * size.controllers *
           (size.disksEach / kindCount + (kind < size.disksEach % kindCount ? 1 : 0));
}

std::string nameOf(Size size) {
    return std::to_string(size.controllers) + " x " + std::to_string(size.disksEach) +
           (size.classic ? " classic" : "");
}

void printCosts(const char* what, Cost Costs::*which) {
    std::printf("\n%-12s%16s%13s%8s%8s%8s", what, "controllers", "us a disk", "opens", "reads", "links");
    for (const Kind& kind : kinds) std::printf("%10s", kind.name);
    std::printf("%10s\n", what == std::string("poll") ? "peak KiB" : "");
    for (std::size_t i = 0; i < std::size(sizes); ++i) {
        const Cost& cost = best[i].*which;
        const Requests& asked = cost.requests;
        std::printf("%-12s%16s%13.2f%8.2f%8.2f%8.2f", "", nameOf(sizes[i]).c_str(),
                    perDisk(cost.seconds * 1e6), perDisk(static_cast<double>(asked.opens)),
                    perDisk(static_cast<double>(asked.reads)), perDisk(static_cast<double>(asked.links)));
        for (int kind = 0; kind < kindCount; ++kind)
            std::printf("%10.2f", static_cast<double>(asked.commands[kind]) / disksOf(kind, sizes[i]));
        if (what == std::string("poll")) std::printf("%10ld", best[i].peakKiB);
        std::printf("\n");
    }
}

bool areAsNeeded(const char* what, const Cost& cost, Size size, int Kind::*commands, int reads) {
    bool asNeeded = cost.requests.opens == disksOfSample &&
                    cost.requests.reads == static_cast<long>(reads) * disksOfSample;
    for (int kind = 0; kind < kindCount; ++kind)
        asNeeded = asNeeded && cost.requests.commands[kind] ==
                                   static_cast<long>(kinds[kind].*commands) * disksOf(kind, size);
    if (!asNeeded)
        std::printf("%s on %s: NOT THE REQUESTS THAT THE RULES NEED\n", what, nameOf(size).c_str());
    return asNeeded;
}

bool isWithin(const char* what, Cost Costs::*which, std::size_t host, std::size_t other) {
    const double ratio = (best[host].*which).seconds / (best[other].*which).seconds;
    const bool isOfControllers = sizes[host].controllers > sizes[other].controllers;
    const double limit = isOfControllers ? maxRatioOfControllers : maxRatio;
    const bool within = ratio <= limit;
    std::printf("%s: a disk of %s takes %.2f times the processor of one of %s (at most %.2f)%s\n", what,
                nameOf(sizes[host]).c_str(), ratio, nameOf(sizes[other]).c_str(), limit,
                within ? "" : ": TOO MUCH");
    return within;
}

bool check() {
    bool within = true;
    std::printf("\n");
    for (std::size_t i = 0; i < std::size(sizes); ++i) {
        const int reads = sizes[i].classic ? readsOfClassicBuild : readsOfBuild;
        within &= areAsNeeded("build", best[i].build, sizes[i], &Kind::commandsOfBuild, reads);
        within &= areAsNeeded("poll", best[i].poll, sizes[i], &Kind::commandsOfPoll, readsOfPoll);
    }
    constexpr std::size_t compared[][2] = {{1, 0}, {2, 0}, {2, 1}, {3, 2}, {5, 4}};
    for (const auto& [host, other] : compared) {
        within &= isWithin("build", &Costs::build, host, other);
        within &= isWithin("poll", &Costs::poll, host, other);
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
    printCosts("build", &Costs::build);
    printCosts("poll", &Costs::poll);
    return check() ? 0 : 1;
}
