// The device nodes of a replayed host that the agent has open. Each descriptor is a memory file with what
// read(2) returned when it was recorded.
#pragma once

#include <map>
#include <memory>
#include <mutex>
#include <string>

#include "recording/FormsDevices.h"
#include "replayaccess/ReplayQuestions.h"

namespace simhost {

class ReplayDevices {
public:
    explicit ReplayDevices(ReplayQuestions& questions) : questions_(questions) {}

    // A descriptor, or -1 with errno. `answer` is that to recording::openQuestion().
    int open(const std::string& device, const recording::Fields& answer);
    bool isOpen(int descriptor);
    // ioctl(2): its recorded result with errno; -1 with EIO if it is not recorded.
    int ioctl(int descriptor, unsigned long request, void* argument);
    // The recorded result of the wait for the answer of the last message to the controller.
    int wait(int descriptor);
    // Forgets the descriptor, which the caller closes.
    void closed(int descriptor) { take(descriptor); }

private:
    struct Device {
        std::string name;
        std::mutex mutex;  // of what follows
        recording::IpmiExchange exchange;
        long messageId = 0;
        bool waiting = false;  // for a receipt
    };

    std::shared_ptr<Device> find(int descriptor);
    void take(int descriptor);
    int send(Device& device, const ipmi_req& request);
    static int receive(Device& device, unsigned long request, ipmi_recv& message);

    ReplayQuestions& questions_;
    std::mutex mutex_;
    std::map<int, std::shared_ptr<Device>> devices_;
};

}  // namespace simhost
