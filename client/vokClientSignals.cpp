#include "vokClientSignals.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <ctime>

namespace {

constexpr int endingSignals[] = {SIGINT, SIGTERM, SIGHUP, SIGQUIT};

volatile sig_atomic_t arrivedSignal = 0;

extern "C" void storeSignal(int number) {
    arrivedSignal = number;
}

}  // namespace

vokClientSignals::vokClientSignals() {
    ::signal(SIGPIPE, SIG_IGN);  // an agent that has ended is a result, and must not end the client
    sigset_t blocked;
    ::sigemptyset(&blocked);
    struct sigaction action {};
    action.sa_handler = storeSignal;
    for (const int number : endingSignals) {
        struct sigaction current {};
        ::sigaction(number, nullptr, &current);
        if (current.sa_handler == SIG_IGN) continue;  // as under nohup
        ::sigaddset(&blocked, number);
        ::sigaction(number, &action, nullptr);
    }
    ::sigprocmask(SIG_BLOCK, &blocked, &before_);
}

int vokClientSignals::wait(pollfd* descriptors, nfds_t count, Clock::time_point deadline) {
    for (;;) {
        const auto remaining = std::max(deadline - Clock::now(), Clock::duration::zero());
        const auto whole = std::chrono::duration_cast<std::chrono::seconds>(remaining);
        const timespec limit{static_cast<time_t>(whole.count()),
                             static_cast<long>(std::chrono::nanoseconds(remaining - whole).count())};
        const int ready = ::ppoll(descriptors, count, &limit, &before_);
        if (ready >= 0 || errno != EINTR) return ready;
        if (arrived() != 0) return 0;
    }
}

int vokClientSignals::arrived() const {
    return arrivedSignal;
}

void vokClientSignals::endByArrived() {
    const int number = arrivedSignal;
    ::signal(number, SIG_DFL);
    ::sigprocmask(SIG_SETMASK, &before_, nullptr);
    ::raise(number);
    std::_Exit(128 + number);
}
