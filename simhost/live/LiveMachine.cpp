#include "live/LiveMachine.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <cerrno>
#include <cstring>
#include <stdexcept>

#include "common/FileDescriptor.h"
#include "modules/Modules.h"

namespace simhost {

namespace {

constexpr char ipmiNode[] = "/dev/ipmi0";

// Short intervals: a person is looking.
constexpr char configuration[] = R"({
  "EnableResources": ["All"],
  "LoggingLevel": "Info",
  "EnableDebugLog": "false",
  "CliMode": "test",
  "CacheRefreshInSeconds": { "Global": "10" },
  "PushInventoryFrequencyInMinutes": "1440",
  "VOKLogLocation": "/scratch/log/mev/vok/vok.log",
  "DebugLogLocation": "/scratch/log/mev/vok/vok-debug.log",
  "IPMIDoorBellMonitorInterval": "1",
  "InventoryQueryIntervalInSeconds": "3",
  "CaptureUnhandledExceptionStack": "true"
}
)";

std::optional<DriverFacts> noDriver(const std::string&) {
    return std::nullopt;
}

}  // namespace

LiveMachine::LiveMachine(const std::string& root, AskDriver askDriver)
    : readers_(root, askDriver      ? std::move(askDriver)
                     : root.empty() ? askKernelForDriver
                                    : noDriver) {}

HostDescription LiveMachine::describe() {
    HostDescription made;
    made.onlyMeasured = true;
    made.configuration = configuration;
    for (const HostModule* module : hostModules()) module->readMachine(readers_, made);
    return made;
}

void LiveMachine::refresh(HostDescription& description, const std::vector<std::string>& command) {
    std::string words;
    for (const auto& word : command) words += (words.empty() ? "" : " ") + word;
    for (const HostModule* module : hostModules()) module->refresh(readers_, words, description);
}

std::string LiveMachine::ipmiDevice() const {
    std::string place = readers_.files.place(ipmiNode);
    const FileDescriptor device(::open(place.c_str(), O_RDWR | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    if (!device)
        throw std::runtime_error("no management controller to be reached: " + place + ": " +
                                 std::strerror(errno) +
                                 " (its driver is the kernel's ipmi_devintf, over ipmi_si or ipmi_ssif)");
    struct stat status {};
    if (::fstat(device.get(), &status) != 0 || !S_ISCHR(status.st_mode))
        throw std::runtime_error("no management controller to be reached: " + place + ": not a device node");
    return place;
}

}  // namespace simhost
