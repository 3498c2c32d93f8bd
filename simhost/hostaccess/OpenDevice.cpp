#include "hostaccess/OpenDevice.h"

#include <poll.h>
#include <sys/socket.h>
#include <cerrno>

#include "common/PacketSocket.h"

namespace simhost {

namespace {

// Until the socket is ready for `events`: it may have been opened without blocking.
void waitFor(int descriptor, short events) {
    pollfd polled{descriptor, events, 0};
    ::poll(&polled, 1, -1);
}

}  // namespace

std::optional<std::string> OpenDevice::exchange(DeviceKind kind, const std::string& content) {
    const std::lock_guard<std::mutex> lock(mutex_);
    const std::uint32_t id = ++lastId_;
    const std::string request = DeviceMessage{id, kind, 0, content}.encode();
    while (!sendPacket(descriptor_, request)) {
        if (errno == EPIPE || errno == ECONNRESET) errno = ENODEV;
        if (errno != EAGAIN) return std::nullopt;
        waitFor(descriptor_, POLLOUT);
    }
    for (;;) {
        const auto packet = receivePacket(descriptor_, longestDevicePacket);
        if (!packet && errno == EAGAIN) {
            waitFor(descriptor_, POLLIN);
            continue;
        }
        if (!packet) return std::nullopt;
        auto reply = DeviceMessage::decode(*packet);
        if (!reply || reply->id != id || reply->kind != kind) continue;  // not what was asked for
        if (reply->error == 0) return std::move(reply->content);
        errno = static_cast<int>(reply->error);
        return std::nullopt;
    }
}

void OpenDevices::opened(int descriptor) {
    const std::lock_guard<std::mutex> lock(mutex_);
    devices_[descriptor] = std::make_shared<OpenDevice>(descriptor);
}

void OpenDevices::closed(int descriptor) {
    const std::lock_guard<std::mutex> lock(mutex_);
    devices_.erase(descriptor);
}

std::shared_ptr<OpenDevice> OpenDevices::find(int descriptor) {
    const std::lock_guard<std::mutex> lock(mutex_);
    const auto found = devices_.find(descriptor);
    return found == devices_.end() ? nullptr : found->second;
}

int failIoctl(int reason) {
    errno = reason;
    return -1;
}

}  // namespace simhost
