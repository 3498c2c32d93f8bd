#include "common/PacketQueue.h"

#include <sys/socket.h>
#include <cerrno>

#include "common/PacketSocket.h"

namespace simhost {

namespace {

constexpr std::size_t keeping = 64;  // bytes that a packet takes besides its own

std::size_t costOf(const std::string& packet) {
    return packet.size() + keeping;
}

}  // namespace

void PacketQueue::push(std::string packet) {
    bytes_ += costOf(packet);
    packets_.push_back(std::move(packet));
}

PacketQueue::State PacketQueue::flush(int socket) {
    while (!packets_.empty()) {
        if (!sendPacket(socket, packets_.front(), MSG_DONTWAIT)) {
            if (errno == EAGAIN && bytes_ - costOf(packets_.front()) <= mostBytes_) return State::waiting;
            packets_.clear();
            bytes_ = 0;
            return State::gone;
        }
        bytes_ -= costOf(packets_.front());
        packets_.pop_front();
    }
    return State::empty;
}

}  // namespace simhost
