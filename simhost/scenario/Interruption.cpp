#include "scenario/Interruption.h"

#include <csignal>
#include <utility>

namespace simhost {

namespace {

constexpr std::chrono::seconds sameKeyPress{3};
volatile std::sig_atomic_t lastSignal = 0;

void note(int signal) {
    lastSignal = signal;
}

}  // namespace

Interruption::Interruption() {
    struct sigaction action {};
    action.sa_handler = note;  // without SA_RESTART: a sleep ends
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) ::sigaction(signal, &action, nullptr);
    std::signal(SIGPIPE, SIG_IGN);
}

void Interruption::check() {
    const int signal = lastSignal;
    if (signal == 0) return;
    lastSignal = 0;
    if (!expected_ && !came_) throw Interrupted{signal};
    const auto now = std::chrono::steady_clock::now();
    if (!std::exchange(came_, true)) first_ = now;
    if (now - first_ >= sameKeyPress) throw Interrupted{signal};
}

bool Interruption::endCame() {
    check();
    return came_;
}

}  // namespace simhost
