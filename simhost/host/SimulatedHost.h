// A simulated host while it runs: its clock, its facts, its commands and what its modules keep, and the
// changes that can be made to it from outside.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "common/EventLoop.h"
#include "common/HostPaths.h"
#include "common/HostState.h"
#include "common/RequestServer.h"
#include "devices/ScsiDevice.h"
#include "host/CommandService.h"
#include "host/HostDescription.h"
#include "host/HostModule.h"
#include "host/SummaryLog.h"
#include "library/LibraryServer.h"
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
    // How long the machine takes for `seconds` of the host's time.
    EventLoop::Clock::duration machineTime(double seconds) const;

    // Changes the host: `how` gets its description, checks and changes it, and the facts follow. Throws
    // UsageError when this host is the machine.
    template <class How>
    void change(How how) {
        requireDescribed();
        how(description_);
        publishFacts();
    }
    // For what is not a fact of the host but the form of its output, which may change on any host.
    HostDescription& changeOutput() { return description_; }

    // The host goes down now and is up again after `downSeconds` of its time, which pass at once.
    void reboot(bool graceful, std::int64_t downSeconds);

    CommandService& commands() { return commands_; }
    LibraryServer& libraries() { return libraries_; }
    const HostPaths& paths() const { return paths_; }
    const HostSettings& settings() const { return settings_; }
    EventLoop& loop() { return loop_; }
    // For the device nodes that modules make.
    DeviceNodes& nodes() { return nodes_; }
    // The host's time for a device of a module. The host outlives what its modules keep.
    ScsiDevice::Time time() const;
    // What a module keeps; its type is the one that the module's start() made.
    template <class State>
    State& state() {
        for (const auto& each : states_)
            if (auto* const found = dynamic_cast<State*>(each.get())) return *found;
        throw std::logic_error("no module keeps this state");
    }

private:
    void initializeClock();
    void startSummaryLog(bool clockGoesOn);
    void recordMachinesBoot(std::int64_t boot);
    // Throws UsageError when this host is the machine.
    void requireDescribed() const;
    void publishFacts();

    EventLoop& loop_;
    HostPaths paths_;
    HostSettings settings_;
    std::unique_ptr<LiveMachine> live_;
    HostDescription description_;
    HostState state_;
    ClockState clock_{};
    SummaryLog summary_;
    LibraryServer libraries_;
    DeviceNodes nodes_;
    std::vector<std::unique_ptr<ModuleState>> states_;
    CommandService commands_;
};

}  // namespace simhost
