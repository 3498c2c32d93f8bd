// The cost of a chunk of a remote command beyond the system calls that carry it.
//
// The device is a socket pair whose far end this process answers itself and at once. The bare loop makes the
// two ioctls and a select(2) on the one descriptor, with nothing beside them. "ratio" is the library's
// processor time for a chunk divided by the bare loop's, measured alternately in one run; the exit status is
// 1 if it is above 1.2.
//
// The library takes some 200 ns more. A third is the second descriptor of the wait, by which a stop ends it.
// A seventh is the notice of an exchange that takes long. The rest is clearing the records of the exchange
// and noting its outcome. A real controller takes at least a millisecond for a chunk, so that 200 ns don't
// count; this one takes none, and they are up to a tenth. The limit leaves as much again for differences
// between machines.
#include <benchmark/benchmark.h>
#include <linux/ipmi.h>
#include <sys/ioctl.h>
#include <sys/select.h>
#include <sys/socket.h>
#include <unistd.h>
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <string>
#include <vector>

#include "platform/access/vokHostAccess.h"
#include "rmc/ipmi/vokipmi.h"

namespace {

constexpr double maxRatio = 1.2;
constexpr std::size_t chunkSize = 60;
constexpr unsigned char acknowledgement[] = {0, 0, 1, 0, 0};

// The three system calls of an exchange, and the far end's answer.
class LoopedDevice : public vokKernelHostAccess {
public:
    LoopedDevice() {
        if (::socketpair(AF_UNIX, SOCK_SEQPACKET, 0, ends_) != 0) std::abort();
    }
    int openDevice(const std::string&, int) override { return ends_[0]; }
    int closeDevice(int) override { return 0; }
    void pause(unsigned long) override {}
    void systemLog(int, const std::string&) override {}
    int ioctlDevice(int descriptor, unsigned long request, void* argument) override {
        if (request == static_cast<unsigned long>(IPMICTL_SEND_COMMAND)) {
            const auto& sent = *static_cast<const ipmi_req*>(argument);
            return send(descriptor, sent.msg.data, sent.msg.data_len);
        }
        auto& received = *static_cast<ipmi_recv*>(argument);
        const ssize_t count = ::read(descriptor, received.msg.data, received.msg.data_len);
        received.msg.data_len = static_cast<unsigned short>(count);
        return count < 0 ? -1 : 0;
    }
    int send(int descriptor, const void* data, std::size_t size) {
        unsigned char request[chunkSize];
        if (::write(descriptor, data, size) < 0 || ::read(ends_[1], request, sizeof(request)) < 0) return -1;
        return ::write(ends_[1], acknowledgement, sizeof(acknowledgement)) < 0 ? -1 : 0;
    }
    int end() const { return ends_[0]; }

private:
    int ends_[2] = {-1, -1};
};

LoopedDevice& device() {
    static LoopedDevice* const instance = [] {
        auto access = std::make_unique<LoopedDevice>();
        LoopedDevice* const raw = access.get();
        vokSetHostAccess(std::move(access));
        return raw;
    }();
    return *instance;
}

std::size_t chunksOf(std::size_t length) {
    return 1 + (length + 1 - 33 + 56) / 57;
}

// One exchange: the two ioctls and select(2) on the one descriptor, with the records that they need.
int bareExchange(IvokHostAccess& host, int descriptor, unsigned char* data) {
    ipmi_system_interface_addr address{};
    address.addr_type = IPMI_SYSTEM_INTERFACE_ADDR_TYPE;
    address.channel = IPMI_BMC_CHANNEL;
    ipmi_req request{};
    request.addr = reinterpret_cast<unsigned char*>(&address);
    request.addr_len = sizeof(address);
    request.msg.netfn = 0x3A;
    request.msg.cmd = 0x80;
    request.msg.data = data;
    request.msg.data_len = chunkSize;
    if (host.ioctlDevice(descriptor, IPMICTL_SEND_COMMAND, &request) != 0) return -1;

    fd_set readable;
    FD_ZERO(&readable);
    FD_SET(descriptor, &readable);
    if (::select(descriptor + 1, &readable, nullptr, nullptr, nullptr) <= 0) return -1;

    unsigned char from[40];
    unsigned char reply[272];
    ipmi_recv receive{};
    receive.addr = from;
    receive.addr_len = sizeof(from);
    receive.msg.data = reply;
    receive.msg.data_len = sizeof(reply);
    const int result = host.ioctlDevice(descriptor, IPMICTL_RECEIVE_MSG_TRUNC, &receive);
    benchmark::DoNotOptimize(reply);
    return result;
}

// Of this thread on a processor: the device answers at once, so that there is no wait, and the load of other
// processes does not count.
double processorSeconds() {
    timespec now{};
    ::clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

double bareSeconds(std::size_t chunks) {
    unsigned char chunk[chunkSize] = {};
    const double began = processorSeconds();
    for (std::size_t i = 0; i < chunks; ++i)
        if (bareExchange(device(), device().end(), chunk) != 0) std::abort();
    return processorSeconds() - began;
}

double librarySeconds(const std::string& payload) {
    unsigned char transfer = 0;
    unsigned char exit = 0;
    ipmi::IPMIUtils utils;
    const double began = processorSeconds();
    utils.RMC_CLI_Exec("WriteInventory", payload, &transfer, &exit);
    return processorSeconds() - began;
}

bool isWithinLimit = true;

void remoteCommand(benchmark::State& state) {
    device();
    const std::string payload(static_cast<std::size_t>(state.range(0)), 'x');
    const std::size_t chunks = chunksOf(payload.size());
    // The fastest of each, which the load of other processes affects least.
    double bare = 1e9;
    double library = 1e9;
    for (auto _ : state) {
        bare = std::min(bare, bareSeconds(chunks));
        library = std::min(library, librarySeconds(payload));
    }
    state.counters["bare_ns_per_chunk"] = bare * 1e9 / static_cast<double>(chunks);
    state.counters["library_ns_per_chunk"] = library * 1e9 / static_cast<double>(chunks);
    state.counters["ratio"] = library / bare;
    isWithinLimit = isWithinLimit && library <= maxRatio * bare;
}

BENCHMARK(remoteCommand)->Arg(2000)->Arg(20000)->Arg(200000)->Iterations(300)->Unit(benchmark::kMillisecond);

}  // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    benchmark::RunSpecifiedBenchmarks();
    if (isWithinLimit) return 0;
    std::fprintf(stderr, "ipmiBench: a chunk takes more than %.1f times the bare exchange\n", maxRatio);
    return 1;
}
