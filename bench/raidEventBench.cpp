// How soon an event of a RAID controller's firmware reaches the first chunk of its remote command, and the
// memory of the agent meanwhile: the real vokd on a simulated host with the stand-in of the vendor's library,
// and vok-rmc as its controller.
//
// The time begins when the agent's callback is entered and ends when the chunk has left the host's device
// node. The callback is noted by a library before the stand-in (raidTimedLibrary.cpp), the chunk by a relay
// between the host and vok-rmc, both by the steady clock of the machine. In between are the refresh of what
// the event is about, the analysis of the event, the agent's delivery, and the simulated driver.
//
// The refresh asks the library for all disks if the event is about a disk, and for all volumes if it is about
// a volume. "library" is the time of those commands, which go to the process of the simulated host; a
// vendor's library takes its own.
//
// The exit status is 1 if the median of a kind of event is above 5 ms on the host "rack-node"; if that of the
// agent's own part, without the library's, is above the limit of a larger host; or if an event does not
// arrive or a form is violated. On the larger hosts most of the time is that of the simulated library, a
// limit for which would be none of the agent's.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <json/json.h>
#include <poll.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <unistd.h>
#include <algorithm>
#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <limits>
#include <memory>
#include <optional>
#include <sstream>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "RaidCallbackTimes.h"
#include "RaidHost.h"
#include "common/HostPaths.h"
#include "common/RequestServer.h"
#include "common/UnixSocket.h"
#include "devices/IpmiPackets.h"
#include "simhost/RunningProgram.h"
#include "support/TemporaryDirectory.h"

namespace fs = std::filesystem;

namespace {

constexpr int longestWait = 20;      // seconds
constexpr char fastClock[] = "100";  // simulated seconds per second
constexpr auto quietTime = std::chrono::milliseconds(500);

// --- the events ---

// Each pair of them leaves the agent where it was, and none makes it send an inventory. `C` is the
// controller, `D` its disk.
const struct EventKind {
    const char* name;
    std::vector<std::string> words[2];
} kinds[] = {
    {"disk",
     {{"event", "C", "0x72", "0", "disk", "--type", "15", "--disk", "D", "--previous", "24", "--value", "17"},
      {"event", "C", "0x72", "0", "disk", "--type", "15", "--disk", "D", "--previous", "17", "--value",
       "24"}}},
    {"volume",
     {{"event", "C", "0xFB", "2", "volume", "--type", "2", "--volume", "0"},
      {"event", "C", "0xF9", "0", "volume", "--type", "2", "--volume", "0"}}},
    {"controller", {{"event", "C", "0x0F", "2", "controller"}, {"event", "C", "0x0C", "0", "controller"}}},
    {"battery", {{"event", "C", "0x8E", "1", "battery"}, {"event", "C", "0x8E", "1", "battery"}}},
};

constexpr double noLimit = std::numeric_limits<double>::infinity();

const struct Place {
    const char* name;
    const char* host;  // of those that come with the project; null: eight controllers with 256 disks each
    const char* controller;
    const char* disk;
    int pairs;         // of events of each kind
    double mostWhole;  // limits in milliseconds
    double mostOwn;
} places[] = {
    {"rack-node", "rack-node", "SK71620581", "252:1", 50, 5, 5},
    {"large", "large", "SKL0000001", "240:1", 20, noLimit, 10},
    {"8 x 256", nullptr, "SK00000001", "252:1", 10, noLimit, 20},
};

// --- between the host and its controller ---

// Passes the packets of both on, and notes those of remote commands.
class Relay {
public:
    Relay(const std::string& hostSocket, const std::string& controllerSocket)
        : listener_(simhost::listenAt(controllerSocket, SOCK_SEQPACKET)),
          thread_([this, hostSocket] { run(hostSocket); }) {}
    ~Relay() {
        stop_ = true;
        thread_.join();
    }
    Relay(const Relay&) = delete;
    Relay& operator=(const Relay&) = delete;

    // The arrival of the first chunk since forget(), 0 without one; nanoseconds.
    std::int64_t firstChunk() const { return firstChunk_; }
    // True once the agent has closed the device that the chunk came through.
    bool isClosed() const { return isClosed_; }
    std::int64_t lastPacket() const { return lastPacket_; }
    void forget() {
        isClosed_ = false;
        firstChunk_ = 0;
    }

private:
    static constexpr int lookEvery = 50;  // milliseconds, for the stop

    void run(const std::string& hostSocket) {
        pollfd listening{listener_.get(), POLLIN, 0};
        while (::poll(&listening, 1, lookEvery) == 0)
            if (stop_) return;
        const simhost::FileDescriptor controller(::accept(listener_.get(), nullptr, nullptr));
        const simhost::FileDescriptor host = simhost::connectTo(hostSocket, SOCK_SEQPACKET);
        while (!stop_) {
            pollfd ends[] = {{host.get(), POLLIN, 0}, {controller.get(), POLLIN, 0}};
            if (::poll(ends, 2, lookEvery) <= 0) continue;
            if (ends[0].revents != 0 && !pass(host.get(), controller.get(), true)) return;
            if (ends[1].revents != 0 && !pass(controller.get(), host.get(), false)) return;
        }
    }
    bool pass(int from, int to, bool isOfHost) {
        char bytes[simhost::largestPacket];
        const ssize_t size = ::recv(from, bytes, sizeof(bytes), 0);
        const std::int64_t now = steadyNanoseconds();
        if (size <= 0) return false;
        lastPacket_ = now;
        if (isOfHost) note(simhost::ControllerPacket::decode(bytes, static_cast<std::size_t>(size)), now);
        return ::send(to, bytes, static_cast<std::size_t>(size), MSG_NOSIGNAL) == size;
    }
    void note(const std::optional<simhost::ControllerPacket>& packet, std::int64_t now) {
        constexpr std::uint8_t netfn = 0x3A;
        constexpr std::uint8_t chunk = 0x80;
        if (!packet) return;
        if (packet->kind == simhost::ControllerPacketKind::closed && packet->descriptor == descriptor_ &&
            firstChunk_ != 0)
            isClosed_ = true;
        if (packet->kind != simhost::ControllerPacketKind::request || packet->netfn != netfn ||
            packet->command != chunk || firstChunk_ != 0)
            return;
        descriptor_ = packet->descriptor;
        firstChunk_ = now;
    }

    simhost::FileDescriptor listener_;
    std::uint32_t descriptor_ = 0;  // of the first chunk
    std::atomic<std::int64_t> firstChunk_{0};
    std::atomic<std::int64_t> lastPacket_{0};
    std::atomic<bool> isClosed_{false};
    std::atomic<bool> stop_{false};
    std::thread thread_;
};

// --- the whole system ---

void waitUntil(const std::string& what, const std::function<bool()>& condition) {
    const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(longestWait);
    while (!condition()) {
        if (std::chrono::steady_clock::now() > limit) throw std::runtime_error("in vain: wait for " + what);
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
}

Json::Value settings() {
    Json::Value made;
    made["EnableResources"].append("StorageControllers");
    made["LoggingLevel"] = "Info";
    made["EnableDebugLog"] = "false";
    made["CacheRefreshInSeconds"]["Global"] = "36000";
    made["PushInventoryFrequencyInMinutes"] = "14400";
    made["VOKLogLocation"] = "/scratch/log/mev/vok/vok.log";
    made["IPMIDoorBellMonitorInterval"] = "100000";
    made["InventoryQueryIntervalInSeconds"] = "1";
    return made;
}

struct Unmap {
    void operator()(RaidCallbackTimes* times) const { ::munmap(times, sizeof(*times)); }
};
using MappedTimes = std::unique_ptr<RaidCallbackTimes, Unmap>;

// Of a new file, all zero.
MappedTimes mapTimes(const std::string& path) {
    const simhost::FileDescriptor file(::open(path.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
    if (!file || ::ftruncate(file.get(), sizeof(RaidCallbackTimes)) != 0)
        throw std::runtime_error(path + " can't be made");
    void* const memory =
        ::mmap(nullptr, sizeof(RaidCallbackTimes), PROT_READ | PROT_WRITE, MAP_SHARED, file.get(), 0);
    if (memory == MAP_FAILED) throw std::runtime_error(path + " can't be mapped");
    return MappedTimes(static_cast<RaidCallbackTimes*>(memory));
}

struct Delay {
    double whole = 0;  // milliseconds
    double library = 0;
    long commands = 0;
};

class System {
public:
    explicit System(const Place& place) : place_(place) {
        directory_.writeFile("settings.json", settings().toStyledString());
        const bool isShipped = place.host != nullptr;
        if (!isShipped) directory_.writeFile("host.json", raidHost::describe(8, 256).toStyledString());
        // At first the clock is fast, and the first inventory comes soon.
        hostProgram_ = RunningProgram(
            directory_.path(), "simhost",
            {VOK_SIMHOST_PROGRAM, "run", "--host", isShipped ? place.host : directory_.path() + "/host.json",
             "--root", root(), "--config", directory_.path() + "/settings.json", "--speed", fastClock,
             "--ipmi-timeout", "20"},
            "ready");
        timeCallbacks();
        const simhost::HostPaths relayed(directory_.path() + "/relay");
        fs::create_directories(relayed.run());
        relay_ = std::make_unique<Relay>(paths_.controllerSocket(), relayed.controllerSocket());
        controllerProgram_ = RunningProgram(
            directory_.path(), "rmc",
            {VOK_RMC_PROGRAM, "run", "--root", relayed.root, "--out", out(), "--quiet"}, "ready");
        controller({"wait", "attached", "1"});
        agent_ = RunningProgram(directory_.path(), "vokd", {VOKD_PROGRAM, "--host-root", root()}, "");
        controller({"wait", "inventory", "1"});
        host({"clock", "speed", "1"});
        waitUntil("the registration for events", [&] { return registrations() == 1; });
        waitUntil("the end of the inventories", [&] {
            return steadyNanoseconds() - relay_->lastPacket() > std::chrono::nanoseconds(quietTime).count();
        });
    }

    Delay deliver(std::vector<std::string> words) {
        for (std::string& word : words)
            word = word == "C" ? place_.controller : word == "D" ? place_.disk : word;
        words.insert(words.begin(), "raid");
        const std::uint64_t before = times_->count;
        relay_->forget();
        host(words);
        waitUntil("the event", [&] { return relay_->firstChunk() != 0; });
        // The agent pauses after the last chunk of a command.
        host({"clock", "speed", fastClock});
        waitUntil("the end of the event", [&] { return relay_->isClosed(); });
        host({"clock", "speed", "1"});
        controller({"wait", "event", std::to_string(++events_)});
        if (times_->count != before + 1) throw std::runtime_error("not one callback for one event");
        constexpr double millisecond = 1e6;
        return {static_cast<double>(relay_->firstChunk() - times_->entered) / millisecond,
                static_cast<double>(times_->libraryTime) / millisecond,
                static_cast<long>(times_->libraryCommands)};
    }

    long memoryKiB(const std::string& name) const {
        std::ifstream status("/proc/" + std::to_string(agent_.process()) + "/status");
        for (std::string word; status >> word;) {
            long value = 0;
            if (word == name + ":" && status >> value) return value;
        }
        return 0;
    }

    // Throws if something was wrong.
    void end() {
        if (agent_.end(SIGTERM) != 0) throw std::runtime_error("vokd failed: " + agent_.errors());
        if (parsed(controller({"status"}))["violations"].asInt() != 0)
            throw std::runtime_error("the protocol was violated");
        if (parsed(host({"show"}))["raidLibrary"]["violations"].asInt() != 0)
            throw std::runtime_error("a command of the library was wrong");
    }

private:
    std::string root() const { return directory_.path() + "/root"; }
    std::string out() const { return directory_.path() + "/rmc"; }

    // Puts the timed library before the stand-in.
    void timeCallbacks() {
        times_ = mapTimes(root() + raidCallbackTimesPath);
        const std::string library = root() + "/lib/libstorelib.so";
        fs::rename(library, root() + "/lib/libstorelib-stand-in.so");
        fs::create_symlink(RAID_TIMED_LIBRARY, library);
    }

    static Json::Value parsed(const std::string& text) {
        Json::Value value;
        std::istringstream(text) >> value;
        return value;
    }
    int registrations() {
        return static_cast<int>(parsed(host({"show"}))["raidLibrary"]["registrations"].size());
    }
    static std::string ask(const std::string& socket, const std::vector<std::string>& words) {
        std::string error;
        const auto answer = simhost::askServer(socket, words, error);
        if (!answer || answer->status != 0)
            throw std::runtime_error(words.front() + ": " + (answer ? answer->error : error));
        return answer->output;
    }
    std::string host(const std::vector<std::string>& words) { return ask(paths_.controlSocket(), words); }
    std::string controller(const std::vector<std::string>& words) {
        return ask(out() + "/control.sock", words);
    }

    const Place& place_;
    TemporaryDirectory directory_;
    simhost::HostPaths paths_{root()};
    MappedTimes times_;
    RunningProgram hostProgram_;
    std::unique_ptr<Relay> relay_;
    RunningProgram controllerProgram_;
    RunningProgram agent_;
    int events_ = 0;
};

// --- the measuring ---

double medianOf(std::vector<double> values) {
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

bool isGood = true;

void measure(const Place& place) {
    System system(place);
    for (const EventKind& kind : kinds) {
        std::vector<double> whole;
        std::vector<double> own;
        long commands = 0;
        for (int i = 0; i < 2 * place.pairs; ++i) {
            const Delay delay = system.deliver(kind.words[i % 2]);
            whole.push_back(delay.whole);
            own.push_back(delay.whole - delay.library);
            commands = delay.commands;
        }
        const double median = medianOf(whole);
        const double medianOwn = medianOf(own);
        const bool isWithin = median <= place.mostWhole && medianOwn <= place.mostOwn;
        std::printf("%-12s%-12s%10.2f%10.2f%10.2f%10ld%s\n", place.name, kind.name, median, medianOwn,
                    *std::max_element(whole.begin(), whole.end()), commands, isWithin ? "" : "  TOO LATE");
        isGood = isGood && isWithin;
    }
    std::printf("%-12smemory of the agent: %ld KiB resident, %ld at most\n", place.name,
                system.memoryKiB("VmRSS"), system.memoryKiB("VmHWM"));
    std::fflush(stdout);
    system.end();
}

void raidEvents(benchmark::State& state) {
    const Place& place = places[state.range(0)];
    state.SetLabel(place.name);
    for (auto _ : state) {
        try {
            measure(place);
        } catch (const std::exception& failure) {
            isGood = false;
            std::printf("%s: %s\n", place.name, failure.what());
            state.SkipWithError(failure.what());
            return;
        }
    }
}

BENCHMARK(raidEvents)->Arg(0)->Arg(1)->Arg(2)->Iterations(1)->UseRealTime()->Unit(benchmark::kMillisecond);

}  // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 2;
    std::printf("\nFrom the callback to the first chunk of the event, in ms:\n%-12s%-12s%10s%10s%10s%10s\n",
                "host", "event", "median", "own part", "longest", "commands");
    benchmark::RunSpecifiedBenchmarks();
    return isGood ? 0 : 1;
}
