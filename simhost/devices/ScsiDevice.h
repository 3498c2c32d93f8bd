// A disk or another SCSI device of a simulated host: answers SG_IO at its own node. A class derives from it
// and carries out commands; the rest is here, as the kernel's driver has it: the time-out, which ends a
// command that has no answer, and the time that a command took.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>

#include "devices/BlockMessage.h"
#include "devices/DeviceNode.h"
#include "devices/ScsiMessage.h"

namespace simhost {

class ScsiDevice : public Device {
public:
    // How long the machine takes for seconds of the host's time, and how much of the host's time has passed
    // since some instant (SimulatedHost::machineTime and uptime).
    struct Time {
        std::function<EventLoop::Clock::duration(double seconds)> onMachine;
        std::function<std::int64_t()> nanoseconds;
    };
    ScsiDevice(DeviceNodes& nodes, const std::string& path, Time time);
    ~ScsiDevice() override;
    ScsiDevice(const ScsiDevice&) = delete;
    ScsiDevice& operator=(const ScsiDevice&) = delete;

    // Present at first. Pulled out, the node vanishes and what is open gets ENODEV.
    DeviceNode& node() { return node_; }
    void pullOut();

    void request(std::uint32_t user, const DeviceMessage& request) final;
    void closed(std::uint32_t user) final;

protected:
    using Finish = std::function<void(ScsiReply reply)>;
    // Carries out a command and calls `finish`, at once or later. What finishes after the time-out, or not at
    // all, has no effect; nor has finishing twice.
    virtual void execute(const ScsiRequest& request, const Finish& finish) = 0;
    // Another ioctl. Nothing: the device does not know it (ENOTTY).
    virtual std::optional<BlockReply> control(const BlockRequest& /*request*/) { return std::nullopt; }

private:
    struct Pending {
        std::uint32_t user;
        DeviceMessage request;
        std::int64_t begin;
        EventLoop::Timer timer;
    };
    void begin(std::uint32_t user, const DeviceMessage& message, const ScsiRequest& request);
    void finish(std::uint64_t number, ScsiReply reply);

    EventLoop& loop_;
    Time time_;
    DeviceNode node_;
    std::uint64_t lastNumber_ = 0;
    std::map<std::uint64_t, Pending> pending_;
    std::shared_ptr<ScsiDevice*> self_;  // empty once the device is gone
};

}  // namespace simhost
