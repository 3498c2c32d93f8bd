// Whether somebody asked the player to end: SIGINT, SIGTERM or SIGHUP came.
#pragma once

#include <chrono>

namespace simhost {

// Thrown where the play breaks off; the player's exit status is 128 and the signal's number.
struct Interrupted {
    int signal;
};

class Interruption {
public:
    // Takes these signals from now on, also where they were ignored, and ignores SIGPIPE. One object a
    // process.
    Interruption();

    // Throws Interrupted when a signal came, except for the expected one and what follows it within 3 s: one
    // Ctrl-C may arrive more than once.
    void check();
    // While the play is kept going, the first signal is its expected end.
    void expectEnd(bool expected) { expected_ = expected; }
    // True when that signal came.
    bool endCame();

private:
    bool expected_ = false;
    bool came_ = false;
    std::chrono::steady_clock::time_point first_;
};

}  // namespace simhost
