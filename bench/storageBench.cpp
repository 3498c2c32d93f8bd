// The cost of a build and of a poll of storage per disk: on hosts with 10, 100 and 1,000 disks behind one
// controller, and with 1,000 behind eight, in both layouts of /sys.
//
// /sys is that of a simulated host, and its disks answer in this process. Counted is the processor time of
// the agent, without that of the answers. The agent of each measured host is a separate process, so that its
// first build finds nothing cached; the hosts alternate, and the best result of each counts. The exit status
// is 1 if a disk among more takes more than 1.3 times the processor time of one among fewer, or with eight
// controllers 1.5 times that with one. It is also 1 if a disk gets another number of commands than the rules
// need, or if its attributes are read more often.
#include <benchmark/benchmark.h>
#include <json/json.h>
#include <scsi/sg.h>
#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fstream>
#include <iterator>
#include <limits>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "ChildProcess.h"
#include "host/HostDescription.h"
#include "modules/pci/PciFunctions.h"
#include "modules/pci/PciTree.h"
#include "modules/storage/ScsiAnswers.h"
#include "modules/storage/StorageTree.h"
#include "platform/access/vokRootedHostAccess.h"
#include "storage/SASResourceManager.h"
#include "storage/vokGenericStorageFactory.h"
#include "storage/vokStorageController.h"
#include "storage/vokStorageControllerClass.h"
#include "support/TemporaryDirectory.h"

namespace {

constexpr struct Size {
    int controllers;
    int disksEach;
    bool classic;  // the layout of /sys that old kernels have

    int disks() const { return controllers * disksEach; }
} sizes[] = {{1, 10, false},  {1, 100, false}, {1, 1000, false},
             {8, 125, false}, {1, 1000, true}, {8, 125, true}};

constexpr double maxRatio = 1.3;
// Of a disk behind one of eight controllers: the seven others read its link too, on an old kernel with two
// system calls.
constexpr double maxRatioOfControllers = 1.5;
constexpr int disksOfSample = 1000;
constexpr int buildSamples = 3;
constexpr int pollSamples = 5;

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

double processorSeconds() {
    timespec now{};
    ::clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

// What the agent asks of its host.
struct Requests {
    long commands[kindCount] = {};
    long opens = 0;  // of nodes
    long reads = 0;  // of attributes and directories of disks
    long links = 0;  // of entries of the class directory, by all controllers
    double answerSeconds = 0;
};

class MeasuredHost : public vokRootedHostAccess {
public:
    MeasuredHost(const std::string& root, const simhost::HostDescription& host) : vokRootedHostAccess(root) {
        for (const auto& controller : host.part<simhost::StorageControllers>().all)
            for (const auto& port : controller.ports)
                for (const auto& disk : port.disks) addNode(disk);
    }

    mutable Requests requests;
    int openNodes = 0;

    std::string path(const std::string& absolute) const override {
        count(absolute);
        return vokRootedHostAccess::path(absolute);
    }
    int openDevice(const std::string& hostPath, int) override {
        const auto found = nodes_.find(hostPath);
        if (found == nodes_.end()) {
            errno = ENOENT;
            return -1;
        }
        ++requests.opens;
        ++openNodes;
        return found->second;
    }
    int closeDevice(int) override {
        --openNodes;
        return 0;
    }
    int ioctlDevice(int descriptor, unsigned long request, void* argument) override {
        const double began = processorSeconds();
        if (request != SG_IO) std::abort();
        const simhost::Disk& disk = *disks_.at(static_cast<std::size_t>(descriptor - firstDescriptor));
        ++requests.commands[2 * (isSata(disk) ? 1 : 0) + (isSolidState(disk) ? 1 : 0)];
        answer(disk, *static_cast<sg_io_hdr_t*>(argument));
        requests.answerSeconds += processorSeconds() - began;
        return 0;
    }
    void systemLog(int, const std::string&) override {}

private:
    static constexpr int firstDescriptor = 1 << 20;

    void addNode(const simhost::Disk& disk) {
        const int descriptor = firstDescriptor + static_cast<int>(disks_.size());
        nodes_[root() + "/dev/" + genericName(disk)] = descriptor;
        disks_.push_back(&disk);
    }
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

    std::map<std::string, int> nodes_;
    std::vector<const simhost::Disk*> disks_;
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

struct Cost {
    double seconds = std::numeric_limits<double>::max();  // of the processor, the least of all passes
    Requests requests;                                    // of the last pass
};

struct Costs {
    bool good = false;
    Cost build;
    Cost poll;
    long peakKiB = 0;  // what the builds and polls added to the memory of the process
};

// Between two passes on a host there are seconds, after which the processor's caches hold nothing of the pass
// before. Without this the records of few disks would stay in them, and those of many would not.
void forgetCaches() {
    constexpr std::size_t size = 8 << 20;
    static std::vector<unsigned char> bytes(size);
    for (std::size_t i = 0; i < size; i += 64) ++bytes[i];
    benchmark::DoNotOptimize(bytes.data());
}

// A sample is as many passes as make a thousand disks, so that the samples of all hosts take about as long
// and what else the machine does disturbs them alike.
template <typename Pass>
void measure(MeasuredHost& host, Cost& cost, Size size, int samples, Pass pass) {
    const int passes = std::max(1, disksOfSample / size.disks());
    for (int i = 0; i < samples; ++i) {
        double seconds = 0;
        for (int j = 0; j < passes; ++j) {
            forgetCaches();
            host.requests = {};
            const double began = processorSeconds();
            pass();
            seconds += processorSeconds() - began - host.requests.answerSeconds;
        }
        cost.seconds = std::min(cost.seconds, seconds / passes);
        cost.requests = host.requests;
    }
}

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

Costs costsOn(const std::string& root, const simhost::HostDescription& description, Size size) {
    auto access = std::make_unique<MeasuredHost>(root, description);
    MeasuredHost& host = *access;
    vokSetHostAccess(std::move(access));
    const vokRegistryManager<_VOK_STORAGE_CONTROLLER_CLASS_METADATA> registration(
        {"BayController", BayController::claimDevice, nullptr});
    vokUseGenericStorageFactory();
    SASResourceManager& manager = *SASResourceManager::getInstance();

    Costs costs;
    forgetCaches();  // its memory is not the agent's
    const long before = memoryKiB("VmRSS");
    manager.cacheBuild();
    measure(host, costs.build, size, buildSamples, [&] { manager.cacheBuild(); });
    measure(host, costs.poll, size, pollSamples, [&] { manager.pollDevices(); });
    costs.peakKiB = memoryKiB("VmHWM") - before;
    costs.good = isComplete(manager, size) && host.openNodes == 0;
    return costs;
}

void keepBest(Cost& best, const Cost& cost) {
    best.seconds = std::min(best.seconds, cost.seconds);
    best.requests = cost.requests;
}

Costs best[std::size(sizes)];
bool ran = false;

void storageCosts(benchmark::State& state) {
    TemporaryDirectory roots[std::size(sizes)];
    std::vector<simhost::HostDescription> hosts;
    for (std::size_t i = 0; i < std::size(sizes); ++i) {
        hosts.push_back(describe(sizes[i]));
        layOut(roots[i].path(), hosts[i]);
    }
    ran = true;
    for (auto _ : state) {
        for (std::size_t i = 0; i < std::size(sizes); ++i) {
            const Costs costs = inChildProcess([&] { return costsOn(roots[i].path(), hosts[i], sizes[i]); });
            if (!costs.good) return state.SkipWithError("a build did not produce a complete inventory");
            best[i].good = true;
            keepBest(best[i].build, costs.build);
            keepBest(best[i].poll, costs.poll);
            best[i].peakKiB = std::max(best[i].peakKiB, costs.peakKiB);
        }
    }
}

BENCHMARK(storageCosts)->Iterations(3)->Unit(benchmark::kMillisecond);

// --- what is printed and checked ---

double perDisk(double value, Size size) {
    return value / size.disks();
}

int disksOf(int kind, Size size) {
    return size.controllers * (size.disksEach / kindCount + (kind < size.disksEach % kindCount ? 1 : 0));
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
                    perDisk(cost.seconds * 1e6, sizes[i]),
                    perDisk(static_cast<double>(asked.opens), sizes[i]),
                    perDisk(static_cast<double>(asked.reads), sizes[i]),
                    perDisk(static_cast<double>(asked.links), sizes[i]));
        for (int kind = 0; kind < kindCount; ++kind)
            std::printf("%10.2f", static_cast<double>(asked.commands[kind]) / disksOf(kind, sizes[i]));
        if (what == std::string("poll")) std::printf("%10ld", best[i].peakKiB);
        std::printf("\n");
    }
}

bool areAsNeeded(const char* what, const Cost& cost, Size size, int Kind::*commands, int reads) {
    bool good =
        cost.requests.opens == size.disks() && cost.requests.reads == static_cast<long>(reads) * size.disks();
    for (int kind = 0; kind < kindCount; ++kind)
        good = good &&
               cost.requests.commands[kind] == static_cast<long>(kinds[kind].*commands) * disksOf(kind, size);
    if (!good) std::printf("%s on %s: NOT THE REQUESTS THAT THE RULES NEED\n", what, nameOf(size).c_str());
    return good;
}

bool isWithin(const char* what, Cost Costs::*which, std::size_t host, std::size_t other) {
    const double ratio = perDisk((best[host].*which).seconds, sizes[host]) /
                         perDisk((best[other].*which).seconds, sizes[other]);
    const bool isOfControllers = sizes[host].controllers > sizes[other].controllers;
    const double limit = isOfControllers ? maxRatioOfControllers : maxRatio;
    const bool within = ratio <= limit;
    std::printf("%s: a disk of %s takes %.2f times the processor of one of %s (at most %.2f)%s\n", what,
                nameOf(sizes[host]).c_str(), ratio, nameOf(sizes[other]).c_str(), limit,
                within ? "" : ": TOO MUCH");
    return within;
}

bool check() {
    bool good = true;
    std::printf("\n");
    for (std::size_t i = 0; i < std::size(sizes); ++i) {
        const int reads = sizes[i].classic ? readsOfClassicBuild : readsOfBuild;
        good &= areAsNeeded("build", best[i].build, sizes[i], &Kind::commandsOfBuild, reads);
        good &= areAsNeeded("poll", best[i].poll, sizes[i], &Kind::commandsOfPoll, readsOfPoll);
    }
    constexpr std::size_t compared[][2] = {{1, 0}, {2, 0}, {2, 1}, {3, 2}, {5, 4}};
    for (const auto& [host, other] : compared) {
        good &= isWithin("build", &Costs::build, host, other);
        good &= isWithin("poll", &Costs::poll, host, other);
    }
    return good;
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
