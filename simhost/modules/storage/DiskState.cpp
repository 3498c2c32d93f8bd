#include "modules/storage/DiskState.h"

#include <algorithm>

#include "common/SimulatedClock.h"
#include "common/Text.h"
#include "host/SimulatedHost.h"
#include "modules/storage/DiskPages.h"

namespace simhost {

namespace {

// --- disk ---

// The one value of a disk that a word and a number set.
struct Value {
    const char* name;
    unsigned Disk::*value;
    long long most;
};
constexpr Value values[] = {
    {"wear", &Disk::wear, 255},
    {"temperature", &Disk::temperature, 254},
    {"errors", &Disk::errors, 1000},
    {"defects", &Disk::defects, 8000},
    {"hours", &Disk::powerOnHours, 71582788},
};

// A disk that is there is changed by `how`, which gets its place.
template <class How>
void changeDisk(SimulatedHost& host, const std::string& name, How how) {
    host.change([&](HostDescription& description) {
        how(DiskState::find(description.part<StorageControllers>(), name));
    });
}

// What can be seen of it in /sys changes too.
template <class How>
void exchangeDisk(SimulatedHost& host, const std::string& name, How how) {
    changeDisk(host, name, [&](const DiskPlace& place) {
        host.state<DiskState>().exchange(place, [&] { how(place.disk); });
    });
}

void diskHealth(SimulatedHost& host, const std::string& name, Words& words) {
    const auto code = static_cast<unsigned>(words.nextNumber("the additional sense code", 0, 255));
    const auto qualifier =
        static_cast<unsigned>(words.empty() ? 0 : words.nextNumber("its qualifier", 0, 255));
    words.end();
    changeDisk(host, name,
               [&](const DiskPlace& place) { place.disk.additionalSense = code << 8 | qualifier; });
}

void diskPage(SimulatedHost& host, const std::string& name, Words& words) {
    const std::string text = words.next("the page");
    const auto page = pageName(text);
    if (!page) throw UsageError("disk: \"" + text + "\" is no page: it is " + pageForms());
    const std::string how = words.next("unsupported or supported");
    words.end();
    if (how != "unsupported" && how != "supported")
        throw UsageError("disk: \"" + how + "\" is none of unsupported, supported");
    changeDisk(host, name, [&](const DiskPlace& place) {
        if (how == "supported")
            place.disk.unsupported.erase(*page);
        else
            place.disk.unsupported.insert(*page);
    });
}

// Another disk of the same kind at its place.
void diskReplace(SimulatedHost& host, const std::string& name, Words& words) {
    const std::string serial = words.next("the serial number");
    words.end();
    if (serial.empty() || serial.size() > 20)
        throw UsageError("disk: a serial number has 1 to 20 characters");
    exchangeDisk(host, name, [&](Disk& disk) {
        disk.serial = disk.inquirySerial = serial;
        disk.pulled = false;
    });
}

void diskPull(SimulatedHost& host, const std::string& name, Words& words) {
    words.end();
    exchangeDisk(host, name, [](Disk& disk) { disk.pulled = true; });
}

void diskReturn(SimulatedHost& host, const std::string& name, Words& words) {
    words.end();
    exchangeDisk(host, name, [](Disk& disk) { disk.pulled = false; });
}

void diskHang(SimulatedHost& host, const std::string& name, Words& words) {
    words.end();
    changeDisk(host, name, [](const DiskPlace& place) { place.disk.hanging = true; });
}

void diskAnswer(SimulatedHost& host, const std::string& name, Words& words) {
    words.end();
    changeDisk(host, name, [](const DiskPlace& place) { place.disk.hanging = false; });
}

void diskOpen(SimulatedHost& host, const std::string& name, Words& words) {
    const std::string how = words.next("fail or normal");
    if (how != "fail" && how != "normal") throw UsageError("disk: \"" + how + "\" is none of fail, normal");
    const int error = how == "fail" ? static_cast<int>(words.nextNumber("the error number", 1, 133)) : 0;
    words.end();
    changeDisk(host, name, [error](const DiskPlace& place) { place.disk.openError = error; });
    host.state<DiskState>().follow();
}

void diskStateText(SimulatedHost& host, const std::string& name, Words& words) {
    const std::string text = words.next("the state");
    words.end();
    changeDisk(host, name, [&](const DiskPlace& place) {
        place.disk.state = text;
        if (isPresent(place.controller, place.port, place.disk))
            host.state<DiskState>().tree().writeState(place.controller, place.port, place.disk);
    });
}

struct Verb {
    const char* name;
    void (*run)(SimulatedHost& host, const std::string& disk, Words& words);
};
constexpr Verb verbs[] = {
    {"health", diskHealth}, {"page", diskPage},     {"replace", diskReplace},
    {"pull", diskPull},     {"return", diskReturn}, {"hang", diskHang},
    {"answer", diskAnswer}, {"open", diskOpen},     {"state", diskStateText},
};

std::string everyVerb() {
    std::vector<std::string> known;
    for (const Value& each : values) known.emplace_back(each.name);
    for (const Verb& each : verbs) known.emplace_back(each.name);
    return listed(known);
}

void diskCommand(SimulatedHost& host, Words& words) {
    const std::string name = words.next("the disk (its SCSI link, node or serial number)");
    const std::string what = words.next("one of " + everyVerb());
    for (const Value& each : values) {
        if (what != each.name) continue;
        const auto number = static_cast<unsigned>(words.nextNumber("the " + what, 0, each.most));
        words.end();
        return changeDisk(host, name, [&](const DiskPlace& place) { place.disk.*each.value = number; });
    }
    for (const Verb& each : verbs)
        if (what == each.name) return each.run(host, name, words);
    throw UsageError("disk: \"" + what + "\" is none of " + everyVerb());
}

// --- scsi-host, storage-controller ---

bool gone(const std::string& how, const char* command, const char* choices) {
    if (how != "remove" && how != "return")
        throw UsageError(std::string(command) + ": \"" + how + "\" is none of " + choices);
    return how == "remove";
}

DiskState& stateOf(SimulatedHost& host) {
    return host.state<DiskState>();
}

void scsiHostCommand(SimulatedHost& host, Words& words) {
    const auto number = static_cast<unsigned>(words.nextNumber("the number of the SCSI host", 0, 65535));
    const std::string how = words.next("remove, return or state");
    const std::string text = how == "state" ? words.next("the state") : "";
    words.end();
    const bool goes = how != "state" && gone(how, "scsi-host", "remove, return, state");
    host.change([&](HostDescription& description) {
        std::vector<std::string> known;
        for (auto& controller : description.part<StorageControllers>().all)
            for (auto& port : controller.ports) {
                known.push_back(std::to_string(port.host));
                if (port.host != number) continue;
                if (how != "state")
                    return stateOf(host).exchange(controller, port, [&] { port.gone = goes; });
                port.state = text;
                if (!controller.gone && !port.gone) stateOf(host).tree().writeState(controller, port);
                return;
            }
        throw UsageError("the host has no SCSI host " + std::to_string(number) + butHas(known));
    });
}

void controllerCommand(SimulatedHost& host, Words& words) {
    const std::string text = words.next("the PCI address");
    const auto address = parsePciAddress(text);
    if (!address) throw UsageError("storage-controller: \"" + text + "\" is not of the form 0000:3b:00.0");
    const bool goes = gone(words.next("remove or return"), "storage-controller", "remove, return");
    words.end();
    host.change([&](HostDescription& description) {
        std::vector<std::string> known;
        for (auto& controller : description.part<StorageControllers>().all) {
            known.push_back(formatPciAddress(controller.address));
            if (!(controller.address == *address)) continue;
            return stateOf(host).exchange(controller, [&] { controller.gone = goes; });
        }
        throw UsageError("the host has no storage controller at " + text + butHas(known));
    });
}

constexpr ControlCommand commands[] = {
    {"disk",
     "  disk NAME wear|temperature|errors|defects|hours N\n"
     "                                       a value; NAME is the SCSI link 2:0:0:0,\n"
     "                                       the node sg4 or the serial number\n"
     "  disk NAME health CODE [QUALIFIER]    of its informational exceptions page\n"
     "  disk NAME page PAGE unsupported|supported\n"
     "                                       vpd:XX, mode:XX, log:XX, ata:XX[/XX],\n"
     "                                       smart:XX or identify\n"
     "  disk NAME pull|return                pulled out, put in again\n"
     "  disk NAME replace SERIAL             another disk in its place\n"
     "  disk NAME hang|answer                no command is answered, or all are\n"
     "  disk NAME open fail ERRNO|normal     opening its node fails\n"
     "  disk NAME state TEXT                 its state in /sys\n",
     diskCommand},
    {"scsi-host",
     "  scsi-host N remove|return            a port with its disks\n"
     "  scsi-host N state TEXT               its state in /sys\n",
     scsiHostCommand},
    {"storage-controller",
     "  storage-controller PCI-ADDRESS remove|return\n"
     "                                       with all its ports\n",
     controllerCommand},
};

}  // namespace

DiskState::DiskState(SimulatedHost& host) : host_(host), tree_(host.paths().root, host.description()) {
    for (const auto& controller : host.description().part<StorageControllers>().all)
        for (const auto& port : controller.ports)
            for (const auto& disk : port.disks)
                devices_.push_back(std::make_unique<SimulatedDisk>(host, disk));
    if (!devices_.empty()) changed(true);
}

DiskPlace DiskState::find(StorageControllers& controllers, const std::string& name) {
    std::vector<std::string> known;
    for (auto& controller : controllers.all)
        for (auto& port : controller.ports)
            for (auto& disk : port.disks) {
                if (name == diskLink(port, disk) || name == genericName(disk) || name == disk.serial)
                    return {controller, port, disk};
                known.push_back(diskLink(port, disk) + " (" + genericName(disk) + ", " + disk.serial + ")");
            }
    throw UsageError("the host has no disk \"" + name + "\"" + butHas(known));
}

void DiskState::follow() {
    const auto& controllers = host_.description().part<StorageControllers>().all;
    for (const auto& controller : controllers)
        for (const auto& port : controller.ports)
            for (const auto& disk : port.disks) deviceOf(disk).follow(isPresent(controller, port, disk));
}

SimulatedDisk& DiskState::deviceOf(const Disk& disk) const {
    const auto isIt = [&disk](const auto& each) { return &each->disk() == &disk; };
    return **std::find_if(devices_.begin(), devices_.end(), isIt);
}

void DiskState::changed(bool hosts) {
    follow();
    tree_.stamp(host_.wall() / nanosecondsInSecond, hosts);
}

Rows<ControlCommand> diskCommands() {
    return commands;
}

}  // namespace simhost
