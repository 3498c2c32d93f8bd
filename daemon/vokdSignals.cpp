#include "daemon/vokdSignals.h"

#include <pthread.h>
#include <unistd.h>
#include <cerrno>
#include <csignal>
#include <ctime>

namespace {

volatile sig_atomic_t statusAtNextSignal;
time_t stopBegun;

// A terminal and a script may both pass on the one wish to stop; only what comes later is impatience.
constexpr time_t secondsOfOneWish = 3;

time_t monotonicSeconds() {
    timespec now{};
    ::clock_gettime(CLOCK_MONOTONIC, &now);
    return now.tv_sec;
}

// A handler rather than SIG_IGN: the agent's commands start with the default again, and end with their
// reader.
void passOver(int) {}

void endAtOnce(int) {
    if (monotonicSeconds() - stopBegun >= secondsOfOneWish) ::_exit(statusAtNextSignal);
}

sigset_t endingSignals() {
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, SIGTERM);
    sigaddset(&set, SIGINT);
    return set;
}

}  // namespace

void vokdHoldSignals() {
    sigset_t held = endingSignals();
    sigaddset(&held, SIGCHLD);  // of the agent's commands
    ::pthread_sigmask(SIG_BLOCK, &held, nullptr);
    ::signal(SIGPIPE, passOver);
    ::signal(SIGHUP, SIG_IGN);  // there is nothing to reload, and a closed terminal is no order to end
}

int vokdWaitForSignal(int seconds) {
    const sigset_t set = endingSignals();
    const timespec limit{seconds, 0};
    const int number = ::sigtimedwait(&set, nullptr, &limit);
    return number > 0 ? number : 0;
}

void vokdEndAtNextSignal(int exitStatus) {
    statusAtNextSignal = exitStatus;
    stopBegun = monotonicSeconds();
    struct sigaction action {};
    action.sa_handler = endAtOnce;
    action.sa_flags = SA_RESTART;
    const sigset_t set = endingSignals();
    ::sigaction(SIGTERM, &action, nullptr);
    ::sigaction(SIGINT, &action, nullptr);
    ::pthread_sigmask(SIG_UNBLOCK, &set, nullptr);
}
