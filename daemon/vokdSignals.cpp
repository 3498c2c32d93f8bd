#include "daemon/vokdSignals.h"

#include <pthread.h>
#include <unistd.h>
#include <cerrno>
#include <csignal>
#include <ctime>

namespace {

volatile sig_atomic_t statusAtNextSignal;
time_t stopBegun;

// A single request to stop may arrive twice, from a terminal and from a script; only a later signal asks
// for an immediate end.
constexpr time_t secondsOfOneRequest = 3;

time_t monotonicSeconds() {
    timespec now{};
    ::clock_gettime(CLOCK_MONOTONIC, &now);
    return now.tv_sec;
}

// A handler rather than SIG_IGN: the agent's commands then start with the default action, and end when
// their reader does.
void ignoreSignal(int) {}

void endImmediately(int) {
    if (monotonicSeconds() - stopBegun >= secondsOfOneRequest) ::_exit(statusAtNextSignal);
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
    ::signal(SIGPIPE, ignoreSignal);
    ::signal(SIGHUP, SIG_IGN);  // there is nothing to reload, and a closed terminal must not end the daemon
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
    action.sa_handler = endImmediately;
    action.sa_flags = SA_RESTART;
    const sigset_t set = endingSignals();
    ::sigaction(SIGTERM, &action, nullptr);
    ::sigaction(SIGINT, &action, nullptr);
    ::pthread_sigmask(SIG_UNBLOCK, &set, nullptr);
}
