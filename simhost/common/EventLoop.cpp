#include "common/EventLoop.h"

#include <poll.h>
#include <sys/signalfd.h>
#include <algorithm>
#include <cerrno>
#include <climits>
#include <csignal>
#include <system_error>
#include <utility>
#include <vector>

namespace simhost {

EventLoop::Watch EventLoop::watch(int descriptor, short events, std::function<void(short)> ready) {
    watched_[++lastId_] = {descriptor, events,
                           std::make_shared<std::function<void(short)>>(std::move(ready))};
    return lastId_;
}

void EventLoop::setEvents(Watch watch, short events) {
    const auto found = watched_.find(watch);
    if (found != watched_.end()) found->second.events = events;
}

void EventLoop::forget(Watch watch) {
    watched_.erase(watch);
}

void EventLoop::rest(Watch watch, Clock::duration length) {
    const auto found = watched_.find(watch);
    if (found == watched_.end()) return;
    const short events = std::exchange(found->second.events, short{0});
    after(length, [this, watch, events] { setEvents(watch, events); });
}

EventLoop::Timer EventLoop::after(Clock::duration delay, std::function<void()> expired) {
    timers_[{Clock::now() + delay, ++lastId_}] = std::move(expired);
    return lastId_;
}

void EventLoop::cancel(Timer timer) {
    const auto found = std::find_if(timers_.begin(), timers_.end(),
                                    [timer](const auto& each) { return each.first.second == timer; });
    if (found != timers_.end()) timers_.erase(found);
}

void EventLoop::stopOnSignals() {
    sigset_t ending;
    sigemptyset(&ending);
    sigaddset(&ending, SIGTERM);
    sigaddset(&ending, SIGINT);
    std::signal(SIGPIPE, SIG_IGN);
    if (::sigprocmask(SIG_BLOCK, &ending, nullptr) != 0)
        throw std::system_error(errno, std::generic_category(), "sigprocmask");
    signals_.reset(::signalfd(-1, &ending, SFD_CLOEXEC | SFD_NONBLOCK));
    if (!signals_) throw std::system_error(errno, std::generic_category(), "signalfd");
    watch(signals_.get(), POLLIN, [this](short) { stop(); });
}

int EventLoop::millisecondsToNextTimer() const {
    if (timers_.empty()) return -1;
    const auto left =
        std::chrono::ceil<std::chrono::milliseconds>(timers_.begin()->first.first - Clock::now());
    return static_cast<int>(std::clamp<long long>(left.count(), 0, INT_MAX));
}

void EventLoop::runTimers() {
    while (!timers_.empty() && timers_.begin()->first.first <= Clock::now() && !stopped_) {
        const auto expired = std::move(timers_.begin()->second);
        timers_.erase(timers_.begin());
        expired();
    }
}

void EventLoop::run() {
    stopped_ = false;
    std::vector<pollfd> polled;
    std::vector<Watch> order;
    while (!stopped_) {
        polled.clear();
        order.clear();
        for (const auto& [id, each] : watched_) {
            polled.push_back({each.descriptor, each.events, 0});
            order.push_back(id);
        }
        const int ready =
            ::poll(polled.data(), static_cast<nfds_t>(polled.size()), millisecondsToNextTimer());
        if (ready < 0 && errno != EINTR) throw std::system_error(errno, std::generic_category(), "poll");
        for (std::size_t i = 0; ready > 0 && i < polled.size() && !stopped_; ++i) {
            if (polled[i].revents == 0) continue;
            const auto found = watched_.find(order[i]);  // an earlier one may have ended it
            if (found == watched_.end()) continue;
            const auto handler = found->second.ready;
            (*handler)(polled[i].revents);
        }
        runTimers();
    }
}

}  // namespace simhost
