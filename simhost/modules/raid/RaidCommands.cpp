// The control command "raid".
#include <json/json.h>
#include <algorithm>

#include "common/Text.h"
#include "host/DescriptionSection.h"
#include "host/SimulatedHost.h"
#include "modules/pci/PciFunctions.h"
#include "modules/raid/RaidDescription.h"
#include "modules/raid/RaidState.h"
#include "modules/raid/RaidWire.h"

namespace simhost {

namespace {

using Found = RaidController&;

RaidController& findController(HostDescription& description, const std::string& name) {
    std::vector<std::string> known;
    for (RaidController& each : description.part<RaidControllers>().all) {
        const std::string id = std::to_string(each.id);
        if (name == id || name == each.serial || name == formatPciAddress(each.address)) return each;
        known.push_back(id + " (" + each.serial + ")");
    }
    throw UsageError("the host has no RAID controller \"" + name + "\"" + butHas(known));
}

RaidDisk& findDisk(RaidController& controller, const std::string& name) {
    std::vector<std::string> known;
    for (RaidDisk& each : controller.disks) {
        if (&each == findRaidDisk(controller, name)) return each;
        known.push_back(raidDiskName(each));
    }
    throw UsageError("the controller has no disk \"" + name + "\"" + butHas(known));
}

RaidVolume& findVolume(RaidController& controller, unsigned target) {
    std::vector<std::string> known;
    for (RaidVolume& each : controller.volumes) {
        if (each.target == target) return each;
        known.push_back(std::to_string(each.target));
    }
    throw UsageError("the controller has no volume " + std::to_string(target) + butHas(known));
}

unsigned nextTarget(Words& words) {
    return static_cast<unsigned>(words.nextNumber("the target id of the volume", 0, 255));
}

template <class How>
void changeController(SimulatedHost& host, const std::string& name, How how) {
    host.change([&](HostDescription& description) { how(findController(description, name)); });
}

void send(SimulatedHost& host, RaidController& controller, const RaidEvent& event) {
    host.state<RaidState>().send(controller, event);
}

template <std::size_t Count>
std::uint16_t numberOf(const RaidWord (&words)[Count], const std::string& text, const char* what,
                       unsigned most) {
    const auto number = raidNumber(words, text, most);
    if (!number)
        throw UsageError("raid: \"" + text + "\" is no " + what + ": it is a number or one of " +
                         listed(raidWordList(words)));
    return *number;
}

// One of the rows by its word.
template <class Row, std::size_t Count>
const Row& chosen(const Row (&rows)[Count], const std::string& word) {
    std::vector<std::string> known;
    for (const Row& each : rows) {
        if (word == each.word) return each;
        known.emplace_back(each.word);
    }
    throw UsageError("raid: \"" + word + "\" is none of " + listed(known));
}

// --- volumes ---

void setVolumeState(SimulatedHost& host, RaidController& controller, RaidVolume& volume, std::uint8_t state) {
    const std::uint8_t previous = volume.state;
    volume.state = state;
    if (state == previous) return;
    send(host, controller, raidVolumeStateEvent(volume, previous));
    if (const auto event = raidVolumeConditionEvent(volume)) send(host, controller, *event);
}

void createVolume(SimulatedHost& host, RaidController& controller, unsigned target, Words& words) {
    Json::Value described = Json::objectValue;
    described["target"] = target;
    described["level"] = words.next("the RAID level");
    described["members"] = Json::arrayValue;
    while (!words.empty()) described["members"].append(words.next("a disk"));
    if (controller.volumes.size() >= mostRaidVolumes)
        throw UsageError("raid: the controller has no room for it");
    try {
        Section section(described, "the volume");
        controller.volumes.push_back(parseRaidVolume(section, controller));
    } catch (const std::runtime_error& error) {
        throw UsageError(std::string("raid: ") + error.what());
    }
    const RaidVolume& made = controller.volumes.back();
    send(host, controller,
         raidVolumeEvent(0x8A, raidClassInformation, made, raidVolumeText(made) + " was created"));
}

void deleteVolume(SimulatedHost& host, RaidController& controller, unsigned target) {
    const RaidVolume gone = findVolume(controller, target);
    auto& volumes = controller.volumes;
    volumes.erase(std::find_if(volumes.begin(), volumes.end(),
                               [target](const RaidVolume& each) { return each.target == target; }));
    send(host, controller,
         raidVolumeEvent(0x8B, raidClassInformation, gone, raidVolumeText(gone) + " was deleted"));
}

void volumeCommand(SimulatedHost& host, Words& words) {
    struct Verb {
        const char* word;
        int state;  // that it brings about; -1: none
    };
    constexpr Verb verbs[] = {
        {"degrade", raidVolumeDegraded},
        {"partially-degrade", raidVolumePartiallyDegraded},
        {"optimal", raidVolumeOptimal},
        {"offline", raidVolumeOffline},
        {"create", -1},
        {"delete", -1},
        {"state", -1},
    };
    const std::string name = words.next("the controller");
    const unsigned target = nextTarget(words);
    const Verb& verb = chosen(verbs, words.next("what happens to the volume"));
    const std::string word = verb.word;
    changeController(host, name, [&](RaidController& controller) {
        if (word == "create") return createVolume(host, controller, target, words);
        RaidVolume& volume = findVolume(controller, target);
        const std::string state = word == "state" ? words.next("the state") : "";
        words.end();
        if (word == "delete") return deleteVolume(host, controller, target);
        if (word == "state")
            volume.state =
                static_cast<std::uint8_t>(numberOf(raidVolumeStates, state, "state of a volume", 255));
        else
            setVolumeState(host, controller, volume, static_cast<std::uint8_t>(verb.state));
    });
}

// --- disks ---

// Changes the disk by `how`; `tell` sends its events. Those of its volumes follow.
template <class How, class Tell>
void changeDisk(SimulatedHost& host, RaidController& controller, How how, Tell tell) {
    std::vector<std::uint8_t> before;
    for (const RaidVolume& volume : controller.volumes) before.push_back(stateByMembers(controller, volume));
    how();
    tell();
    for (std::size_t i = 0; i < before.size(); ++i) {
        RaidVolume& volume = controller.volumes[i];
        const std::uint8_t after = stateByMembers(controller, volume);
        if (after != before[i]) setVolumeState(host, controller, volume, after);
    }
}

void setDiskState(SimulatedHost& host, RaidController& controller, RaidDisk& disk, std::uint16_t state) {
    const std::uint16_t previous = disk.state;
    if (previous == state) return;
    changeDisk(
        host, controller, [&] { disk.state = state; },
        [&] { send(host, controller, raidDiskStateEvent(disk, previous)); });
}

void pullDisk(SimulatedHost& host, RaidController& controller, RaidDisk& disk) {
    const std::uint16_t previous = disk.state;
    changeDisk(
        host, controller,
        [&] {
            disk.pulled = true;
            if (volumeOfRaidDisk(controller, disk)) disk.state = raidDiskFailed;
        },
        [&] {
            send(host, controller,
                 raidDiskEvent(0x70, raidClassWarning, disk, raidDiskText(disk) + " was removed"));
            if (disk.state != previous) send(host, controller, raidDiskStateEvent(disk, previous));
        });
}

void insertDisk(SimulatedHost& host, RaidController& controller, RaidDisk& disk, const std::string& serial) {
    if (!serial.empty()) disk.serial = disk.inquirySerial = disk.vpdSerial = serial;
    changeDisk(
        host, controller,
        [&] {
            disk.pulled = false;
            disk.state = raidDiskUnconfiguredGood;
        },
        [&] {
            send(host, controller,
                 raidDiskEvent(0x5B, raidClassInformation, disk, raidDiskText(disk) + " was inserted"));
        });
}

void diskCommand(SimulatedHost& host, Words& words) {
    enum Verb { setState, predict, pull, insert, silently, status };
    struct Row {
        const char* word;
        Verb verb;
        std::uint16_t state;  // that it brings about
    };
    constexpr Row rows[] = {
        {"fail", setState, raidDiskFailed},
        {"predict", predict, 0},
        {"pull", pull, 0},
        {"insert", insert, 0},
        {"rebuild", setState, raidDiskRebuild},
        {"online", setState, raidDiskOnline},
        {"offline", setState, raidDiskOffline},
        {"state", silently, 0},
        {"scsi-status", status, 0},
    };
    const std::string controllerName = words.next("the controller");
    const std::string diskName = words.next("the disk (ENCLOSURE:SLOT or its serial number)");
    const Row& row = chosen(rows, words.next("what happens to the disk"));
    std::string serial;
    std::uint16_t number = 0;
    if (row.verb == insert && !words.empty()) serial = words.next("the serial number");
    if (row.verb == silently)
        number = numberOf(raidDiskStates, words.next("the state"), "state of a disk", 65535);
    if (row.verb == status) number = static_cast<std::uint16_t>(words.nextNumber("the SCSI status", 0, 255));
    words.end();
    if (serial.size() > 32) throw UsageError("raid: a serial number has at most 32 characters");
    changeController(host, controllerName, [&](RaidController& controller) {
        RaidDisk& disk = findDisk(controller, diskName);
        if (disk.pulled != (row.verb == insert))
            throw UsageError("raid: the disk " + raidDiskName(disk) +
                             (disk.pulled ? " is pulled out" : " is not pulled out"));
        switch (row.verb) {
            case setState:
                return setDiskState(host, controller, disk, row.state);
            case predict:
                return send(host, controller,
                            raidDiskEvent(0x60, raidClassWarning, disk,
                                          "A failure of " + raidDiskText(disk) + " is predicted"));
            case pull:
                return pullDisk(host, controller, disk);
            case insert:
                return insertDisk(host, controller, disk, serial);
            case silently:
                disk.state = number;
                return;
            case status:
                disk.scsiStatus = static_cast<std::uint8_t>(number);
                return;
        }
    });
}

// --- controllers, batteries, checks ---

void controllerCommand(SimulatedHost& host, Words& words) {
    struct Row {
        const char* word;
    };
    constexpr Row rows[] = {{"gone"}, {"back"}, {"move"}};
    const std::string name = words.next("the controller");
    const std::string word = chosen(rows, words.next("gone, back or move")).word;
    const std::string address = word == "move" ? words.next("the PCI address") : "";
    words.end();
    const auto place = parsePciAddress(address);
    host.change([&](HostDescription& description) {
        RaidController& controller = findController(description, name);
        if (word != "move") {
            controller.gone = word == "gone";
            return;
        }
        const auto& functions = description.part<PciFunctions>().all;
        if (!place || std::none_of(functions.begin(), functions.end(),
                                   [&place](const PciFunction& each) { return each.address == *place; }))
            throw UsageError("raid: the host has no PCI function at \"" + address + "\"");
        controller.address = *place;
    });
}

void batteryCommand(SimulatedHost& host, Words& words) {
    struct Row {
        std::uint32_t code;
        std::int8_t eventClass;
        const char* text;
    };
    constexpr Row rows[] = {
        {0x8D, raidClassInformation, "A battery is present"},
        {0x8E, raidClassWarning, "The battery is missing"},
        {0x90, raidClassInformation, "The battery was replaced"},
        {0x91, raidClassWarning, "The battery is too hot"},
        {0x92, raidClassWarning, "The voltage of the battery is low"},
        {0x93, raidClassInformation, "The battery is being charged"},
        {0x96, raidClassFatal, "The battery has failed and can't keep the data of the cache"},
        {0xC2, raidClassInformation, "The battery backs up the cache again: volumes write back"},
        {0xC3, raidClassWarning, "The battery no longer backs up the cache: volumes write through"},
    };
    const auto eventClass = words.numberOption("--class", -2, 9);
    const auto text = words.option("--text");
    const std::string name = words.next("the controller");
    const auto code = static_cast<std::uint32_t>(words.nextNumber("the code of the event", 0, 0xFFFFFFFF));
    words.end();
    RaidEvent event;
    event.code = code;
    event.locale = raidLocaleBattery;
    event.eventClass = raidClassWarning;
    event.text = formatText("Event 0x%x of the battery", code);
    for (const Row& each : rows) {
        if (each.code != code) continue;
        event.eventClass = each.eventClass;
        event.text = each.text;
    }
    if (eventClass) event.eventClass = static_cast<std::int8_t>(*eventClass);
    if (text) event.text = *text;
    changeController(host, name, [&](RaidController& controller) { send(host, controller, event); });
}

void checkCommand(SimulatedHost& host, Words& words) {
    struct Row {
        const char* word;
        std::uint32_t code;
        std::int8_t eventClass;
        std::uint8_t argumentType;
        const char* text;  // before the volume's name
    };
    constexpr Row rows[] = {
        {"started", 0x42, raidClassInformation, 2, "A consistency check has begun on"},
        {"corrected", 0x39, raidClassInformation, 6, "The consistency check corrected a medium error on"},
        {"uncorrectable", 0x3C, raidClassFatal, 4, "The consistency check found several medium errors on"},
        {"inconsistent", 0x3F, raidClassWarning, 4, "The consistency check found inconsistent parity on"},
        {"too-many", 0x40, raidClassWarning, 2, "Inconsistent parity is no longer logged for"},
        {"done", 0x3A, raidClassInformation, 2, "The consistency check has ended on"},
        {"done-inconsistent", 0x3B, raidClassWarning, 3,
         "The consistency check has ended with corrections on"},
        {"aborted", 0x38, raidClassWarning, 2, "The consistency check was stopped on"},
        {"ownership-lost", 0xC6, raidClassWarning, 5, "The consistency check was stopped by a new owner of"},
        {"failed", 0x3D, raidClassFatal, 2, "The consistency check has failed on"},
        {"failed-uncorrectable", 0x3E, raidClassFatal, 2, "The consistency check has failed on bad media of"},
    };
    const std::string name = words.next("the controller");
    const unsigned target = nextTarget(words);
    const Row& row = chosen(rows, words.next("what the check reports"));
    const auto times = words.empty() ? 1 : words.nextNumber("the number of events", 1, 10000);
    words.end();
    changeController(host, name, [&](RaidController& controller) {
        const RaidVolume& volume = findVolume(controller, target);
        RaidArguments told;
        told.target = volume.target;
        if (!volume.members.empty()) told.disk = presentRaidDisk(controller, volume.members.front());
        const RaidEvent event{row.code,
                              raidLocaleVolume,
                              row.eventClass,
                              row.argumentType,
                              raidArguments(row.argumentType, told),
                              std::string(row.text) + " " + raidVolumeText(volume),
                              0};
        for (long long i = 0; i < times; ++i) send(host, controller, event);
    });
}

// --- any event ---

std::uint16_t localeOf(const std::string& text) {
    struct Row {
        const char* word;
        std::uint16_t locale;
    };
    constexpr Row rows[] = {
        {"volume", raidLocaleVolume},
        {"disk", raidLocaleDisk},
        {"enclosure", raidLocaleEnclosure},
        {"battery", raidLocaleBattery},
        {"sas", raidLocaleSas},
        {"controller", raidLocaleController},
        {"configuration", raidLocaleConfiguration},
        {"cluster", raidLocaleCluster},
        {"all", raidLocaleAll},
    };
    const bool number = !text.empty() && text[0] >= '0' && text[0] <= '9';
    return number ? static_cast<std::uint16_t>(toNumber(text, "the locale", 0, 0xFFFF))
                  : chosen(rows, text).locale;
}

void eventCommand(SimulatedHost& host, Words& words) {
    RaidEvent event;
    const auto type = words.numberOption("--type", 0, 255);
    const auto arguments = words.option("--args");
    const auto text = words.option("--text");
    const auto disk = words.option("--disk");
    const auto volume = words.numberOption("--volume", 0, 65535);
    const auto previous = words.numberOption("--previous", 0, 0xFFFFFFFF);
    const auto value = words.numberOption("--value", 0, 0xFFFFFFFF);
    const auto status = words.numberOption("--status", 0, 0xFFFF);
    const auto times = words.numberOption("--count", 1, 100000);
    const std::string name = words.next("the controller");
    event.code = static_cast<std::uint32_t>(words.nextNumber("the code of the event", 0, 0xFFFFFFFF));
    event.eventClass = static_cast<std::int8_t>(words.nextNumber("the class of the event", -128, 127));
    event.locale = localeOf(words.next("the locale of the event"));
    words.end();
    event.argumentType = static_cast<std::uint8_t>(type.value_or(0));
    event.text = text.value_or(formatText("Event 0x%x", event.code));
    event.status = static_cast<std::uint16_t>(status.value_or(0));
    if (arguments) {
        const auto bytes = parseHexadecimalBytes(*arguments);
        if (!bytes || bytes->size() > raidArgumentsSize)
            throw UsageError("raid: --args takes at most 96 bytes in hexadecimal");
        if (disk || volume || previous || value)
            throw UsageError("raid: --args stands for --disk, --volume, --previous and --value");
        event.arguments = *bytes;
    }
    changeController(host, name, [&](RaidController& controller) {
        RaidArguments told;
        if (disk) told.disk = &findDisk(controller, *disk);
        if (volume) told.target = static_cast<std::uint16_t>(*volume);
        told.previous = static_cast<std::uint32_t>(previous.value_or(0));
        told.value = static_cast<std::uint32_t>(value.value_or(0));
        if (!arguments) event.arguments = raidArguments(event.argumentType, told);
        for (long long i = 0; i < times.value_or(1); ++i) send(host, controller, event);
    });
}

// --- commands of the library ---

void faultCommand(SimulatedHost& host, Words& words) {
    struct Row {
        const char* word;
        bool sets;
        RaidFault::Kind kind;
    };
    constexpr Row rows[] = {
        {"fail", true, RaidFault::fail},
        {"slow", true, RaidFault::slow},
        {"hang", true, RaidFault::hang},
        {"normal", false, RaidFault::fail},
    };
    RaidFault fault;
    fault.count = words.numberOption("--count", 1, 1000000);
    const auto disk = words.option("--disk");
    const auto target = words.numberOption("--volume", 0, 255);
    const std::string controller = words.next("the controller, or all");
    const std::string name = words.next("the command, or all");
    const std::vector<std::string> names = RaidState::commandNames();
    if (name != "all" && std::find(names.begin(), names.end(), name) == names.end())
        throw UsageError("raid: \"" + name + "\" is none of all, " + listed(names));
    const Row& row = chosen(rows, words.next("fail, slow, hang or normal"));
    fault.kind = row.kind;
    if (row.sets && fault.kind == RaidFault::fail)
        fault.status = static_cast<std::uint32_t>(words.nextNumber("the status", 1, 0xFFFFFFFF));
    if (fault.kind == RaidFault::slow) fault.seconds = words.nextFraction("the seconds", 0, 86400);
    words.end();
    if (name != "all") fault.choice.name = name;
    if (target) fault.choice.target = static_cast<std::uint8_t>(*target);
    host.change([&](HostDescription& description) {
        if (controller == "all") {
            if (disk) throw UsageError("raid: --disk needs a controller");
            return;
        }
        RaidController& found = findController(description, controller);
        fault.choice.controller = found.id;
        if (disk) fault.choice.device = findDisk(found, *disk).deviceId;
    });
    RaidState& state = host.state<RaidState>();
    if (row.sets)
        state.add(fault);
    else
        state.cancel(fault.choice);
}

void simulationCommand(SimulatedHost& host, Words& words) {
    struct Row {
        const char* word;
        bool on;
    };
    constexpr Row rows[] = {{"on", true}, {"off", false}};
    const Row& row = chosen(rows, words.next("on or off"));
    words.end();
    host.change(
        [&](HostDescription& description) { description.part<RaidControllers>().simulation = row.on; });
}

void raidControl(SimulatedHost& host, Words& words) {
    struct Row {
        const char* word;
        void (*run)(SimulatedHost& host, Words& words);
    };
    constexpr Row rows[] = {
        {"event", eventCommand},   {"disk", diskCommand},
        {"volume", volumeCommand}, {"battery", batteryCommand},
        {"check", checkCommand},   {"controller", controllerCommand},
        {"command", faultCommand}, {"simulation", simulationCommand},
    };
    chosen(rows, words.next("event, disk, volume, battery, check, controller, command or simulation"))
        .run(host, words);
}

constexpr ControlCommand commands[] = {
    {"raid",
     "  raid disk C E:S fail|predict|pull|insert [SERIAL]|rebuild|online|offline\n"
     "                                       a disk of a RAID controller, with the\n"
     "                                       events of its firmware; C is its id,\n"
     "                                       serial number or PCI address\n"
     "  raid disk C E:S state S|scsi-status N\n"
     "                                       without an event\n"
     "  raid volume C T degrade|partially-degrade|optimal|offline|delete\n"
     "  raid volume C T create LEVEL E:S...  with the firmware's events\n"
     "  raid volume C T state S              without an event\n"
     "  raid battery C CODE [--class N] [--text T]\n"
     "  raid check C T started|corrected|uncorrectable|inconsistent|too-many|done|\n"
     "      done-inconsistent|aborted|ownership-lost|failed|failed-uncorrectable [N]\n"
     "                                       N events of a consistency check\n"
     "  raid controller C gone|back|move PCI-ADDRESS\n"
     "  raid event C CODE CLASS LOCALE [--type N] [--disk E:S] [--volume T]\n"
     "      [--previous N] [--value N] [--args HEX] [--text T] [--status N]\n"
     "      [--count N]                      any event\n"
     "  raid command C|all NAME|all fail STATUS|slow SECONDS|hang|normal\n"
     "      [--count N] [--disk E:S] [--volume T]\n"
     "                                       commands of the library\n"
     "  raid simulation on|off               what the library says of itself\n",
     raidControl}};

}  // namespace

Rows<ControlCommand> raidCommands() {
    return commands;
}

}  // namespace simhost
