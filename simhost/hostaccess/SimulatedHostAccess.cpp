#include "hostaccess/SimulatedHostAccess.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <net/if.h>
#include <netinet/in.h>
#include <netpacket/packet.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <limits>
#include <memory>

#include "common/HostPaths.h"
#include "common/SimulatedClock.h"
#include "common/UnixSocket.h"
#include "devices/OpenFault.h"
#include "hostaccess/Ioctls.h"

namespace simhost {

namespace {

constexpr std::int64_t longestSleep = 200000000;  // how late a change of the clock's speed may be noticed

int fail(int reason) {
    errno = reason;
    return -1;
}

// One element of an address list, with all that its pointers point to.
struct AddressEntry {
    ifaddrs entry{};  // first: the list's pointers are the elements' own
    char name[sizeof(HostAddress::interface) + 1] = {};
    sockaddr_in address{};
    sockaddr_in mask{};
    sockaddr_ll link{};
};

std::unique_ptr<AddressEntry> addressEntry(const HostAddress& told, int index) {
    auto made = std::make_unique<AddressEntry>();
    std::memcpy(made->name, told.interface, sizeof(told.interface));
    made->entry.ifa_name = made->name;
    made->entry.ifa_flags = told.flags;
    if (!told.isAddress) {
        made->link.sll_family = AF_PACKET;
        made->link.sll_ifindex = index;
        made->link.sll_halen = sizeof(told.hardware);
        std::memcpy(made->link.sll_addr, told.hardware, sizeof(told.hardware));
        made->entry.ifa_addr = reinterpret_cast<sockaddr*>(&made->link);
        return made;
    }
    made->address.sin_family = AF_INET;
    std::memcpy(&made->address.sin_addr, told.ipv4, sizeof(told.ipv4));
    made->mask.sin_family = AF_INET;
    const unsigned bits = std::min<unsigned>(told.prefixLength, 32);
    made->mask.sin_addr.s_addr = htonl(bits == 0 ? 0 : ~std::uint32_t{0} << (32 - bits));
    made->entry.ifa_addr = reinterpret_cast<sockaddr*>(&made->address);
    made->entry.ifa_netmask = reinterpret_cast<sockaddr*>(&made->mask);
    return made;
}

// "sg3", and the block device "sdb", which stands for its generic node.
bool isDisk(const std::string& name) {
    const bool isGeneric = name.compare(0, 2, "sg") == 0;
    const char* const rest = isGeneric ? "0123456789" : "abcdefghijklmnopqrstuvwxyz";
    return name.size() > 2 && (isGeneric || name.compare(0, 2, "sd") == 0) &&
           name.find_first_not_of(rest, 2) == std::string::npos;
}

template <std::size_t Size, std::size_t Room>
void copyField(char (&to)[Room], const char (&from)[Size]) {
    const std::size_t length = std::min(::strnlen(from, Size), Room - 1);
    std::memcpy(to, from, length);
    to[length] = '\0';
}

}  // namespace

LiveHostAccess::LiveHostAccess(const std::string& root) : vokRootedHostAccess(root) {
    const std::string link = HostPaths(this->root()).machineDevices();
    struct stat status {};
    if (::lstat(link.c_str(), &status) == 0 && S_ISLNK(status.st_mode)) machineDevices_ = link;
}

std::string LiveHostAccess::path(const std::string& absolute) const {
    constexpr char nodes[] = "/dev/";
    constexpr std::size_t start = sizeof(nodes) - 1;
    if (!machineDevices_.empty() && absolute.compare(0, start, nodes) == 0 && isDisk(absolute.substr(start)))
        return machineDevices_ + "/" + absolute.substr(start);
    return vokRootedHostAccess::path(absolute);
}

SimulatedHostAccess::SimulatedHostAccess(const std::string& root, HostState state)
    : LiveHostAccess(root), state_(std::move(state)), waiters_(state_) {}

int LiveHostAccess::openDevice(const std::string& hostPath, int flags) {
    if (const int reason = openFaultAt(hostPath)) return fail(reason);
    struct stat status {};
    if (::stat(hostPath.c_str(), &status) != 0 || !S_ISSOCK(status.st_mode))
        return vokRootedHostAccess::openDevice(hostPath, flags);
    FileDescriptor device = connectTo(hostPath, SOCK_SEQPACKET);
    if (!device) return fail(errno == ECONNREFUSED ? ENXIO : errno);
    if (flags & O_NONBLOCK) ::fcntl(device.get(), F_SETFL, O_NONBLOCK);
    devices_.opened(device.get());
    return device.release();
}

int LiveHostAccess::ioctlDevice(int descriptor, unsigned long request, void* argument) {
    const auto device = devices_.find(descriptor);
    if (!device) return vokRootedHostAccess::ioctlDevice(descriptor, request, argument);
    return deviceIoctl(*device, request, argument);
}

int LiveHostAccess::closeDevice(int descriptor) {
    devices_.closed(descriptor);
    return vokRootedHostAccess::closeDevice(descriptor);
}

int SimulatedHostAccess::systemName(struct utsname* name) {
    HostFacts facts{};
    if (!state_.readFacts(facts)) return fail(EFAULT);
    *name = {};
    copyField(name->sysname, facts.systemName);
    copyField(name->nodename, facts.nodeName);
    copyField(name->release, facts.release);
    copyField(name->version, facts.version);
    copyField(name->machine, facts.machine);
    return 0;
}

int SimulatedHostAccess::systemInformation(struct sysinfo* information) {
    HostFacts facts{};
    ClockState clock{};
    if (!state_.readFacts(facts) || !state_.readClock(clock)) return fail(EFAULT);
    constexpr std::uint64_t mostUnits = std::numeric_limits<decltype(information->totalram)>::max();
    constexpr unsigned megabyte = 1 << 20;
    *information = {};
    information->uptime = static_cast<decltype(information->uptime)>(
        std::max<std::int64_t>(0, uptimeAt(clock, machineNow())) / nanosecondsInSecond);
    information->totalram =
        static_cast<decltype(information->totalram)>(std::min(facts.totalMBytes, mostUnits));
    information->freeram = static_cast<decltype(information->freeram)>(std::min(facts.freeMBytes, mostUnits));
    information->procs = 1;
    information->mem_unit = megabyte;
    return 0;
}

int SimulatedHostAccess::interfaceAddresses(struct ifaddrs** addresses) {
    HostFacts facts{};
    *addresses = nullptr;
    if (!state_.readFacts(facts)) return fail(EIO);
    ifaddrs** last = addresses;
    int index = 0;
    for (std::size_t i = 0; i < std::min<std::size_t>(facts.addressCount, mostAddresses); ++i) {
        if (!facts.addresses[i].isAddress) ++index;
        *last = &addressEntry(facts.addresses[i], index).release()->entry;
        last = &(*last)->ifa_next;
    }
    return 0;
}

void SimulatedHostAccess::freeInterfaceAddresses(struct ifaddrs* addresses) {
    while (addresses) {
        ifaddrs* const next = addresses->ifa_next;
        delete reinterpret_cast<AddressEntry*>(addresses);
        addresses = next;
    }
}

int SimulatedHostAccess::wallClock(struct timespec* now) {
    std::int64_t wall = 0;
    if (!simulatedWall(state_, wall)) return fail(EINVAL);
    std::int64_t seconds = wall / nanosecondsInSecond;
    std::int64_t rest = wall % nanosecondsInSecond;
    if (rest < 0) {
        rest += nanosecondsInSecond;
        --seconds;
    }
    if (seconds > std::numeric_limits<decltype(now->tv_sec)>::max()) return fail(EOVERFLOW);
    now->tv_sec = static_cast<decltype(now->tv_sec)>(seconds);
    now->tv_nsec = static_cast<decltype(now->tv_nsec)>(rest);
    return 0;
}

int SimulatedHostAccess::timedWait(pthread_cond_t* condition, pthread_mutex_t* mutex,
                                   const struct timespec* deadline) {
    return waiters_.wait(condition, mutex, *deadline);
}

void SimulatedHostAccess::pause(unsigned long microseconds) {
    ClockState clock{};
    if (!state_.readClock(clock)) return vokRootedHostAccess::pause(microseconds);
    const std::int64_t end = lineAt(clock, machineNow()) + static_cast<std::int64_t>(microseconds) * 1000;
    for (;;) {
        const std::int64_t left = machineDuration(clock, end - lineAt(clock, machineNow()));
        if (left <= 0) return;
        vokRootedHostAccess::pause(static_cast<unsigned long>(std::min(left, longestSleep) / 1000 + 1));
        state_.readClock(clock);
    }
}

int SimulatedHostAccess::waitForSignal(const sigset_t* signals, long seconds) {
    ClockState clock{};
    if (!state_.readClock(clock)) return vokRootedHostAccess::waitForSignal(signals, seconds);
    const std::int64_t end = lineAt(clock, machineNow()) + seconds * nanosecondsInSecond;
    for (;;) {
        const std::int64_t left = machineDuration(clock, end - lineAt(clock, machineNow()));
        const timespec slice{0, static_cast<long>(std::min(left, longestSleep))};
        const int number = ::sigtimedwait(signals, nullptr, &slice);
        if (number > 0 || errno != EAGAIN || left <= longestSleep) return number;
        state_.readClock(clock);
    }
}

}  // namespace simhost
