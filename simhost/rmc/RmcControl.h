// The "control" commands of vok-rmc: ring, misbehave, tell and wait, as words in and a text out.
#pragma once

#include <functional>
#include <list>
#include <string>
#include <vector>

#include "common/RequestServer.h"
#include "rmc/Controller.h"

namespace simhost {

extern const char rmcControlHelp[];

// Exit status of a "wait" whose time is over.
inline constexpr int waitTimedOut = 4;
// Real seconds of a "wait" that names none, and the most that one may name.
inline constexpr long long usualWait = 60;
inline constexpr long long longestWait = 1000000;

class RmcControl {
public:
    RmcControl(EventLoop& loop, const std::string& socket);

    // Throws UsageError unless the words are those of a "wait"; returns its seconds.
    static long long checkedWait(Words words);

    // The controller it controls; set before the loop runs.
    void setController(Controller& controller) { controller_ = &controller; }
    // Something happened that a waiter may wait for.
    void changed();

private:
    struct Waiter {
        std::string what;
        unsigned long least = 0;
        long long seconds = 0;  // of real time
        RequestServer::Reply reply;
        EventLoop::Timer timer = 0;
    };
    void run(const std::vector<std::string>& words, const RequestServer::Reply& reply);
    void ring(Words& words);
    void wait(Words& words, const RequestServer::Reply& reply);
    static Waiter waiterOf(Words& words);
    unsigned long countOf(const std::string& what) const;
    std::string status() const;

    EventLoop& loop_;
    Controller* controller_ = nullptr;
    std::list<Waiter> waiters_;
    RequestServer server_;
};

}  // namespace simhost
