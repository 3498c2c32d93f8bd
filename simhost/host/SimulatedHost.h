// A simulated host while it runs: its clock, its facts, its driver and its commands, and the changes that
// can be made to it from outside.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "common/EventLoop.h"
#include "common/HostPlaces.h"
#include "common/HostState.h"
#include "common/RequestServer.h"
#include "host/CommandService.h"
#include "host/HostDescription.h"
#include "host/OpenIpmiDriver.h"
#include "host/SummaryLog.h"
#include "live/LiveMachine.h"

namespace simhost {

struct HostSettings {
    std::optional<double> speed;
    std::optional<std::int64_t> startTime;  // seconds since the Epoch
    std::optional<std::int64_t> uptime;     // seconds
    EventLoop::Clock::duration ipmiPatience = std::chrono::seconds(5);
    bool machinesIpmi = false;  // the device node is the machine's own, laid out as a link
};

class SimulatedHost {
public:
    // `root` is laid out. Throws when the sockets or the state can't be made. With `live` the host is that
    // machine: its clock, its facts and its answers are the machine's, and what would change them is refused.
    SimulatedHost(EventLoop& loop, const std::string& root, HostDescription description,
                  const HostSettings& settings, std::unique_ptr<LiveMachine> live = nullptr);

    // The host as it is now.
    const HostDescription& description();
    std::int64_t wall() const;    // nanoseconds
    std::int64_t uptime() const;  // nanoseconds
    double speed() const;

    void jumpClock(std::int64_t nanoseconds);
    void setSpeed(double speed);
    void setMemory(std::uint64_t totalMBytes, std::uint64_t freeMBytes);
    void setMemoryLinesEndInComma(bool comma) { description_.memoryLinesEndInComma = comma; }
    // A new address goes behind those that the interface has, a new interface behind the others.
    void addAddress(const std::string& interface, const std::string& address);
    // Without an address the whole interface goes. False when there is no such one.
    bool removeAddress(const std::string& interface, const std::string& address);

    // Throws UsageError when the host has no adapter of this name, or one already.
    NetworkAdapter& adapter(const std::string& name);
    void addAdapter(const NetworkAdapter& adapter);
    void removeAdapter(const std::string& name);

    // The node vanishes; it comes back after so many calls of modprobe, with none never by itself.
    void hideIpmi(std::optional<unsigned long> callsUntilBack);
    void showIpmi();
    // The host goes down now and is up again after `downSeconds` of its time, which pass at once.
    void reboot(bool graceful, std::int64_t downSeconds);

    CommandService& commands() { return commands_; }
    const OpenIpmiDriver& driver() const { return driver_; }
    const HostPlaces& places() const { return places_; }

private:
    void initializeClock(const HostSettings& settings);
    void startSummaryLog(bool clockGoesOn);
    void tellMachinesBoot(std::int64_t boot);
    // Throws UsageError when this host is the machine.
    void requireDescribed() const;
    void requireOwnIpmi() const;
    void publishFacts();
    void commandRan(const std::string& name);

    HostPlaces places_;
    std::unique_ptr<LiveMachine> live_;
    bool machinesIpmi_;
    HostDescription description_;
    HostState state_;
    ClockState clock_{};
    SummaryLog summary_;
    std::optional<unsigned long> modprobesUntilIpmi_;
    OpenIpmiDriver driver_;
    CommandService commands_;
};

}  // namespace simhost
