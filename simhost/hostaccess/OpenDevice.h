// A device node that the agent has open, as a handler of an ioctl gets it, and the exchange of one request
// for its reply.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "devices/DeviceMessage.h"

namespace simhost {

class OpenDevice {
public:
    explicit OpenDevice(int descriptor) : descriptor_(descriptor) {}

    int descriptor() const { return descriptor_; }
    // Sends a request and waits for its reply, as a driver waits, whatever signals come: the content. Nothing
    // with errno: what the device answered, or ENODEV when it has vanished. Threads that use one descriptor
    // take turns.
    std::optional<std::string> exchange(DeviceKind kind, const std::string& content);

private:
    int descriptor_;
    std::mutex mutex_;
    std::uint32_t lastId_ = 0;
};

// What is open, by descriptor.
class OpenDevices {
public:
    void opened(int descriptor);
    void closed(int descriptor);
    // Null when the descriptor is none of these.
    std::shared_ptr<OpenDevice> find(int descriptor);

private:
    std::mutex mutex_;
    std::map<int, std::shared_ptr<OpenDevice>> devices_;
};

// For a handler: sets errno and returns -1.
int failIoctl(int reason);

}  // namespace simhost
