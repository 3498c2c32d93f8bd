#include "host/SimulatedHost.h"

#include <net/if.h>
#include <sys/stat.h>
#include <algorithm>
#include <cmath>
#include <cstring>
#include <ctime>
#include <fstream>

#include "common/SimulatedClock.h"
#include "common/Words.h"

namespace simhost {

namespace {

template <std::size_t Room>
void putText(char (&field)[Room], const std::string& text) {
    const std::size_t length = std::min(text.size(), Room - 1);
    std::memcpy(field, text.data(), length);
    field[length] = '\0';
}

std::int64_t machineClock(clockid_t which) {
    timespec now{};
    ::clock_gettime(which, &now);
    return static_cast<std::int64_t>(now.tv_sec) * nanosecondsInSecond + now.tv_nsec;
}

std::int64_t machineWall() {
    return machineClock(CLOCK_REALTIME);
}

std::int64_t thousandths(double speed) {
    return std::max<std::int64_t>(1, std::llround(speed * 1000));
}

HostAddress entryOf(const DescribedInterface& interface) {
    HostAddress entry{};
    const bool loopback = interface.name.compare(0, 2, "lo") == 0;
    putText(entry.interface, interface.name);
    if (!interface.hardwareAddress.empty()) parseHardwareAddress(interface.hardwareAddress, entry.hardware);
    entry.flags = IFF_UP | IFF_RUNNING | (loopback ? IFF_LOOPBACK : IFF_BROADCAST | IFF_MULTICAST);
    return entry;
}

}  // namespace

SimulatedHost::SimulatedHost(EventLoop& loop, const std::string& root, HostDescription description,
                             const HostSettings& settings, std::unique_ptr<LiveMachine> live)
    : places_(root),
      live_(std::move(live)),
      machinesIpmi_(settings.machinesIpmi),
      description_(std::move(description)),
      state_(HostState::create(places_.state())),
      summary_(places_.summaryLog()),
      driver_(loop, {places_.ipmiDevice(), places_.controllerSocket()}, description_.nodeName,
              settings.ipmiPatience),
      commands_(loop, {places_.commandSocket(), places_.commandLog(),
                       [this](const std::vector<std::string>& command) {
                           if (live_) live_->refresh(description_, command);
                           return CommandContext{description_, wall(), ""};
                       },
                       [this](double seconds) {
                           return std::chrono::nanoseconds(machineDuration(
                               clock_, static_cast<std::int64_t>(seconds * nanosecondsInSecond)));
                       },
                       [this](const std::string& name) { commandRan(name); }}) {
    initializeClock(settings);
    publishFacts();
    driver_.setPresent(!settings.machinesIpmi);
}

const HostDescription& SimulatedHost::description() {
    if (live_) live_->refresh(description_, {});
    return description_;
}

void SimulatedHost::requireOwnIpmi() const {
    if (machinesIpmi_) throw UsageError("the device node is the machine's own");
}

void SimulatedHost::requireDescribed() const {
    if (live_) throw UsageError("this host is the machine it runs on, which is not changed from here");
}

// A root that had a host before goes on where its clock is, unless a setting says otherwise.
void SimulatedHost::initializeClock(const HostSettings& settings) {
    const std::int64_t machine = machineNow();
    const bool goesOn = !settings.startTime && !settings.uptime && state_.readClock(clock_) &&
                        clock_.speedThousandths > 0 && clock_.machineBase <= machine;
    if (goesOn) {
        if (settings.speed) changeSpeed(clock_, machine, thousandths(*settings.speed));
    } else {
        const std::int64_t wall =
            settings.startTime ? *settings.startTime * nanosecondsInSecond : machineWall();
        const std::int64_t uptime =
            settings.uptime.value_or(description_.uptimeSeconds) * nanosecondsInSecond;
        clock_ = startClock(machine, wall, uptime, thousandths(settings.speed.value_or(1)));
    }
    state_.writeClock(clock_);
    startSummaryLog(goesOn);
}

void SimulatedHost::startSummaryLog(bool clockGoesOn) {
    struct stat status {};
    const std::int64_t boot = wall() - uptime();
    if (live_)
        tellMachinesBoot(boot);
    else if (::stat(places_.summaryLog().c_str(), &status) != 0)
        summary_.writeHistory(boot);
    else if (!clockGoesOn)
        summary_.booted(boot);
}

// Once for each boot of the machine.
void SimulatedHost::tellMachinesBoot(std::int64_t boot) {
    std::string before;
    const bool known = static_cast<bool>(std::getline(std::ifstream(places_.bootId()), before));
    const std::string now = live_->bootId();
    if (!known)
        summary_.startWith(boot);
    else if (now != before)
        summary_.booted(boot);
    std::ofstream(places_.bootId()) << now << '\n';
}

void SimulatedHost::publishFacts() {
    HostFacts facts{};
    facts.machineAnswers = live_ ? 1 : 0;
    facts.totalMBytes = description_.totalMBytes;
    facts.freeMBytes = description_.freeMBytes;
    putText(facts.systemName, description_.systemName);
    putText(facts.nodeName, description_.nodeName);
    putText(facts.release, description_.release);
    putText(facts.version, description_.version);
    putText(facts.machine, description_.machine);
    const auto put = [&facts](const HostAddress& entry) {
        if (facts.addressCount < mostAddresses) facts.addresses[facts.addressCount++] = entry;
    };
    for (const auto& interface : description_.interfaces) put(entryOf(interface));
    for (const auto& interface : description_.interfaces) {
        for (const auto& address : interface.addresses) {
            HostAddress entry = entryOf(interface);
            entry.isAddress = 1;
            parseInterfaceAddress(address, entry.ipv4, entry.prefixLength);
            put(entry);
        }
    }
    state_.writeFacts(facts);
}

std::int64_t SimulatedHost::wall() const {
    return live_ ? machineWall() : wallAt(clock_, machineNow());
}

std::int64_t SimulatedHost::uptime() const {
    return live_ ? machineClock(CLOCK_BOOTTIME) : uptimeAt(clock_, machineNow());
}

double SimulatedHost::speed() const {
    return static_cast<double>(clock_.speedThousandths) / 1000;
}

void SimulatedHost::jumpClock(std::int64_t nanoseconds) {
    requireDescribed();
    clock_.wallOffset += nanoseconds;
    state_.writeClock(clock_);
}

void SimulatedHost::setSpeed(double speed) {
    requireDescribed();
    changeSpeed(clock_, machineNow(), thousandths(speed));
    state_.writeClock(clock_);
}

void SimulatedHost::setMemory(std::uint64_t totalMBytes, std::uint64_t freeMBytes) {
    requireDescribed();
    if (freeMBytes > totalMBytes) throw UsageError("more free memory than memory");
    description_.totalMBytes = totalMBytes;
    description_.freeMBytes = freeMBytes;
    publishFacts();
}

NetworkAdapter& SimulatedHost::adapter(const std::string& name) {
    requireDescribed();
    for (auto& each : description_.networkAdapters)
        if (each.name == name) return each;
    throw UsageError("the host has no Ethernet adapter \"" + name + "\"");
}

void SimulatedHost::addAdapter(const NetworkAdapter& adapter) {
    requireDescribed();
    for (const auto& each : description_.networkAdapters)
        if (each.name == adapter.name)
            throw UsageError("the host has an adapter " + adapter.name + " already");
    description_.networkAdapters.push_back(adapter);
}

void SimulatedHost::removeAdapter(const std::string& name) {
    const NetworkAdapter* const gone = &adapter(name);
    description_.networkAdapters.erase(description_.networkAdapters.begin() +
                                       (gone - description_.networkAdapters.data()));
}

void SimulatedHost::addAddress(const std::string& interface, const std::string& address) {
    requireDescribed();
    std::uint8_t bytes[4];
    std::uint8_t length = 0;
    if (!parseInterfaceAddress(address, bytes, length))
        throw UsageError("\"" + address + "\" is not an IPv4 address");
    if (interface.empty() || interface.size() > 15)
        throw UsageError("an interface has a name of 1 to 15 characters");
    std::size_t entries = 1;
    for (const auto& each : description_.interfaces) entries += 1 + each.addresses.size();
    if (entries >= mostAddresses) throw UsageError("the host has as many addresses as it can have");
    auto& all = description_.interfaces;
    auto found = std::find_if(all.begin(), all.end(),
                              [&interface](const auto& each) { return each.name == interface; });
    if (found == all.end()) found = all.insert(all.end(), {interface, "", {}});
    found->addresses.push_back(address);
    publishFacts();
}

bool SimulatedHost::removeAddress(const std::string& interface, const std::string& address) {
    requireDescribed();
    auto& all = description_.interfaces;
    const auto found = std::find_if(all.begin(), all.end(),
                                    [&interface](const auto& each) { return each.name == interface; });
    if (found == all.end()) return false;
    if (address.empty()) {
        all.erase(found);
    } else {
        const auto isIt = [&address](const std::string& each) {
            return each == address || each.substr(0, each.find('/')) == address;
        };
        const auto place = std::find_if(found->addresses.begin(), found->addresses.end(), isIt);
        if (place == found->addresses.end()) return false;
        found->addresses.erase(place);
    }
    publishFacts();
    return true;
}

void SimulatedHost::hideIpmi(std::optional<unsigned long> callsUntilBack) {
    requireOwnIpmi();
    modprobesUntilIpmi_ = callsUntilBack;
    driver_.setPresent(false);
}

void SimulatedHost::showIpmi() {
    requireOwnIpmi();
    modprobesUntilIpmi_.reset();
    driver_.setPresent(true);
}

void SimulatedHost::commandRan(const std::string& name) {
    if (name != "modprobe" || !modprobesUntilIpmi_) return;
    if (*modprobesUntilIpmi_ > 1)
        --*modprobesUntilIpmi_;
    else
        showIpmi();
}

void SimulatedHost::reboot(bool graceful, std::int64_t downSeconds) {
    requireDescribed();
    driver_.disconnectUsers();
    if (graceful) summary_.rebooting(wall());
    const std::int64_t machine = machineNow();
    changeSpeed(clock_, machine, clock_.speedThousandths);
    clock_.lineBase += downSeconds * nanosecondsInSecond;
    clock_.boot = clock_.lineBase;
    state_.writeClock(clock_);
    summary_.booted(wall());
}

}  // namespace simhost
