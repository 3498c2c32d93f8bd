// Packets that wait for a connection of an event loop to take them.
#pragma once

#include <cstddef>
#include <deque>
#include <string>

namespace simhost {

class PacketQueue {
public:
    enum class State {
        empty,    // all is sent
        waiting,  // the other end takes nothing in for now: wait for POLLOUT
        gone,     // the other end is gone, or too much waits for it: nothing is kept
    };
    // `mostBytes` may wait after the packet that goes next, which may be of any length.
    explicit PacketQueue(std::size_t mostBytes) : mostBytes_(mostBytes) {}

    void push(std::string packet);
    // Sends what the connection takes without blocking.
    State flush(int socket);

private:
    std::size_t mostBytes_;
    std::size_t bytes_ = 0;
    std::deque<std::string> packets_;
};

}  // namespace simhost
