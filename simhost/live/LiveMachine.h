// The Linux machine that this program runs on, as a host: what the stand-ins of the commands answer when no
// description tells it. Each answer is read when it is asked for, so a change of the machine shows at once.
// The machine itself is never changed.
#pragma once

#include <string>
#include <vector>

#include "host/HostDescription.h"
#include "live/MachineReaders.h"

namespace simhost {

class LiveMachine {
public:
    // `root`: a directory with a copy of a machine's files; empty for the machine itself. Drivers are asked
    // through the kernel, unless `askDriver` is given; those of a copy are not there to be asked. Throws
    // std::runtime_error when there is no such directory.
    explicit LiveMachine(const std::string& root = "", AskDriver askDriver = nullptr);
    LiveMachine(const LiveMachine&) = delete;
    LiveMachine& operator=(const LiveMachine&) = delete;

    // All of it, with the agent's configuration for such a host.
    HostDescription describe();
    // Reads anew what the answer to `command` ("localcli", "network", ...) is made of; without a command the
    // memory and the PCI functions.
    void refresh(HostDescription& description, const std::vector<std::string>& command);

    // Another one after each boot of the machine.
    std::string bootId() const { return readers_.files.line("/proc/sys/kernel/random/boot_id"); }
    // The machine's sysfs.
    std::string sysDirectory() const { return readers_.files.place("/sys"); }
    // The machine's device nodes.
    std::string deviceDirectory() const { return readers_.files.place("/dev"); }
    // The node of the machine's own OpenIPMI driver. Throws std::runtime_error with a sentence when there is
    // none or it can't be used.
    std::string ipmiDevice() const;

private:
    MachineReaders readers_;
};

}  // namespace simhost
