#include "daemon/vokdSignals.h"

#include <pthread.h>
#include <unistd.h>
#include <cerrno>
#include <csignal>
#include <ctime>

#include "platform/access/vokHostAccess.h"

namespace {

volatile sig_atomic_t signalDuringStart;

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
    constexpr char text[] = "vokd: ended at once by another signal, without the record of a graceful stop\n";
    if (monotonicSeconds() - stopBegun < secondsOfOneRequest) return;
    [[maybe_unused]] const ssize_t written = ::write(STDERR_FILENO, text, sizeof(text) - 1);
    ::_exit(statusAtNextSignal);
}

void stopStarting(int number) {
    signalDuringStart = number;
    vokHostAccess().requestStop();
}

volatile sig_atomic_t statusAtSignal;

void endInterrupted(int number) {
    constexpr char terminated[] = "vokd: interrupted by SIGTERM\n";
    constexpr char interrupted[] = "vokd: interrupted by SIGINT\n";
    [[maybe_unused]] const ssize_t written =
        number == SIGTERM ? ::write(STDERR_FILENO, terminated, sizeof(terminated) - 1)
                          : ::write(STDERR_FILENO, interrupted, sizeof(interrupted) - 1);
    ::_exit(statusAtSignal);
}

struct AwaitedSignal {
    int number;
    const char* name;
    bool ends;
};

constexpr AwaitedSignal awaitedSignals[] = {
    {SIGTERM, "SIGTERM", true},  {SIGINT, "SIGINT", true},    {SIGHUP, "SIGHUP", false},
    {SIGUSR1, "SIGUSR1", false}, {SIGUSR2, "SIGUSR2", false}, {SIGALRM, "SIGALRM", false},
};

const AwaitedSignal* awaitedSignal(int number) {
    for (const auto& each : awaitedSignals)
        if (each.number == number) return &each;
    return nullptr;
}

sigset_t setOfAwaited(bool onlyEnding) {
    sigset_t set;
    sigemptyset(&set);
    for (const auto& each : awaitedSignals)
        if (each.ends || !onlyEnding) sigaddset(&set, each.number);
    return set;
}

// SIGTERM and SIGINT call `handler` on this thread.
void handleEnding(void (*handler)(int)) {
    struct sigaction action {};
    action.sa_handler = handler;
    action.sa_flags = SA_RESTART;
    ::sigaction(SIGTERM, &action, nullptr);
    ::sigaction(SIGINT, &action, nullptr);
    const sigset_t set = setOfAwaited(true);
    ::pthread_sigmask(SIG_UNBLOCK, &set, nullptr);
}

}  // namespace

bool vokdSignalEndsTheAgent(int number) {
    const AwaitedSignal* const known = awaitedSignal(number);
    return known && known->ends;
}

const char* vokdSignalName(int number) {
    const AwaitedSignal* const known = awaitedSignal(number);
    return known ? known->name : "no signal";
}

void vokdHoldSignals() {
    sigset_t held = setOfAwaited(false);
    sigaddset(&held, SIGCHLD);  // of the agent's commands
    ::pthread_sigmask(SIG_BLOCK, &held, nullptr);
    // A parent may ignore them, and an ignored signal may be discarded even while it is blocked.
    for (const auto& each : awaitedSignals) ::signal(each.number, SIG_DFL);
    ::signal(SIGPIPE, ignoreSignal);
    ::signal(SIGXFSZ, ignoreSignal);  // a log that reaches the limit on file sizes
    ::signal(SIGCHLD, SIG_DFL);       // an inherited SIG_IGN would discard the results of commands
}

vokdSignalsDuringStart::vokdSignalsDuringStart() {
    vokHostAccess();  // exists from here on: its first use in a handler would not be async-signal-safe
    handleEnding(stopStarting);
}

vokdSignalsDuringStart::~vokdSignalsDuringStart() {
    const sigset_t set = setOfAwaited(true);
    ::pthread_sigmask(SIG_BLOCK, &set, nullptr);
}

int vokdSignalDuringStart() {
    return signalDuringStart;
}

int vokdWaitForSignal(int seconds) {
    const sigset_t set = setOfAwaited(false);
    const int number = vokHostAccess().waitForSignal(&set, seconds);
    return number > 0 ? number : 0;
}

void vokdEndAtSignal(int exitStatus) {
    statusAtSignal = exitStatus;
    handleEnding(endInterrupted);
}

void vokdEndAtNextSignal(int exitStatus) {
    statusAtNextSignal = exitStatus;
    stopBegun = monotonicSeconds();
    handleEnding(endImmediately);
}
