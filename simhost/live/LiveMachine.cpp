#include "live/LiveMachine.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <cerrno>
#include <cstring>
#include <stdexcept>

#include "common/FileDescriptor.h"
#include "live/FirmwareReader.h"
#include "live/SystemReader.h"

namespace simhost {

namespace {

constexpr char ipmiNode[] = "/dev/ipmi0";
constexpr char nicGet[] = "localcli network nic get -n ";

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
    : files_(root),
      names_(files_),
      network_(files_, names_,
               askDriver      ? std::move(askDriver)
               : root.empty() ? askKernelForDriver
                              : noDriver),
      pci_(files_, names_, network_) {}

HostDescription LiveMachine::describe() {
    HostDescription made;
    made.onlyMeasured = true;
    made.configuration = configuration;
    made.smbios = firmwareDeviceFile(files_);
    readNames(files_, made);
    readProduct(files_, made);
    readMemory(files_, made);
    made.networkAdapters = network_.adapters();
    made.pciFunctions = pci_.functions();
    return made;
}

void LiveMachine::refresh(HostDescription& description, const std::vector<std::string>& command) {
    std::string words;
    for (const auto& word : command) words += (words.empty() ? "" : " ") + word;
    const auto begins = [&words](const char* text) { return words.rfind(text, 0) == 0; };
    if (words.empty() || begins("esxtop")) readMemory(files_, description);
    if (words.empty() || begins("localcli hardware")) description.pciFunctions = pci_.functions();
    if (begins("localcli system")) readProduct(files_, description);
    if (begins(nicGet))
        description.networkAdapters = network_.adapter(words.substr(sizeof(nicGet) - 1));
    else if (begins("localcli network"))
        description.networkAdapters = network_.adapters();
}

std::string LiveMachine::ipmiDevice() const {
    std::string place = files_.place(ipmiNode);
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
