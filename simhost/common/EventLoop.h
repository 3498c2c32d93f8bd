// The one loop of each program here: waits for descriptors, timers and the two signals that end a program,
// and calls who asked. Everything runs on the thread that called run().
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>

#include "common/FileDescriptor.h"

namespace simhost {

class EventLoop {
public:
    using Clock = std::chrono::steady_clock;
    using Watch = std::uint64_t;
    using Timer = std::uint64_t;

    EventLoop() = default;
    EventLoop(const EventLoop&) = delete;
    EventLoop& operator=(const EventLoop&) = delete;

    // Calls `ready` with poll(2)'s result whenever the descriptor is ready for one of `events`. Descriptors
    // are served in the order in which their watches were made. The descriptor stays the caller's.
    Watch watch(int descriptor, short events, std::function<void(short)> ready);
    void setEvents(Watch watch, short events);
    void forget(Watch watch);
    // Leaves the descriptor alone for a while: for a listener whose connections can't be taken.
    void rest(Watch watch, Clock::duration length);

    // Calls `expired` once, `delay` from now. 0 is never a timer.
    Timer after(Clock::duration delay, std::function<void()> expired);
    void cancel(Timer timer);

    // SIGTERM and SIGINT end run() from now on; SIGPIPE is ignored.
    void stopOnSignals();
    // Until stop() is called or such a signal comes.
    void run();
    void stop() { stopped_ = true; }

private:
    struct Watched {
        int descriptor;
        short events;
        std::shared_ptr<std::function<void(short)>> ready;
    };
    int millisecondsToNextTimer() const;
    void runTimers();

    bool stopped_ = false;
    std::uint64_t lastId_ = 0;
    std::map<Watch, Watched> watched_;
    std::map<std::pair<Clock::time_point, Timer>, std::function<void()>> timers_;
    FileDescriptor signals_;
};

}  // namespace simhost
