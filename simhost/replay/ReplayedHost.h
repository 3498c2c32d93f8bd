// A recorded host that is played back: its laid-out files, its clock, and the answers to what the agent asks
// through the host-access module of replayed hosts.
#pragma once

#include <memory>
#include <string>

#include "common/EventLoop.h"
#include "common/HostPaths.h"
#include "common/HostState.h"
#include "common/RequestServer.h"
#include "devices/DeviceNode.h"
#include "library/LibraryServer.h"
#include "modules/ipmi/OpenIpmiDriver.h"
#include "replay/ReplayAnswers.h"

namespace simhost {

struct ReplaySettings {
    double speed = 0;  // recorded seconds per real second; 0: the clock stands at the recorded instant
    EventLoop::Clock::duration ipmiPatience = std::chrono::seconds(5);
};

class ReplayedHost {
public:
    // `root` is laid out; `recording` and `answers` outlive this. Throws when the sockets or the state can't
    // be made.
    ReplayedHost(EventLoop& loop, const std::string& root, const recording::Recording& recording,
                 ReplayAnswers& answers, const ReplaySettings& settings);

    // A control command: "help" or "show".
    Answer control(const std::vector<std::string>& words);
    // The name that the host has by the recording; empty if it was not asked.
    std::string nodeName() const;

private:
    void startClock(double speed);
    void serve();
    std::string show() const;

    const recording::Recording& recording_;
    ReplayAnswers& answers_;
    HostPaths paths_;
    HostState state_;
    LibraryServer server_;
    DeviceNodes nodes_;
    std::unique_ptr<OpenIpmiDriver> ipmi_;  // null if the recording has answers of the device itself
    RequestServer control_;
};

// The lines that name what was asked in vain, with counts; empty if nothing was.
std::string notRecordedReport(const ReplayAnswers& answers);

}  // namespace simhost
