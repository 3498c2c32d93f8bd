#include "modules/raid/RaidState.h"

#include <json/json.h>
#include <signal.h>
#include <algorithm>
#include <cerrno>

#include "common/ByteCodec.h"
#include "common/Files.h"
#include "common/SimulatedClock.h"
#include "common/Text.h"
#include "host/SimulatedHost.h"
#include "modules/raid/RaidRecords.h"
#include "modules/raid/RaidWire.h"

namespace simhost {

namespace {

constexpr std::size_t longestLog = 1000;
constexpr std::int64_t startOfEventTime = 946684800;  // 2000-01-01

constexpr char safeId[] = "safe-id";
constexpr char manufacturing[] = "manufacturing";
constexpr char inquiryName[] = "inquiry";
constexpr char ataLogName[] = "ata-log";

bool is(const RaidCommandRow& row, const RaidCommandRow& other) {
    return row.type == other.type && row.command == other.command;
}

Json::Value countsOf(const std::map<std::string, std::uint64_t>& counts) {
    Json::Value shown = Json::objectValue;
    for (const auto& [name, count] : counts) shown[name] = Json::UInt64(count);
    return shown;
}

template <class Part>
bool fits(const std::optional<Part>& wanted, Part has) {
    return !wanted || *wanted == has;
}

template <class Part>
bool covers(const std::optional<Part>& wanted, const std::optional<Part>& has) {
    return !wanted || wanted == has;
}

bool covers(const RaidCommandChoice& wanted, const RaidCommandChoice& has) {
    return covers(wanted.controller, has.controller) && (wanted.name.empty() || wanted.name == has.name) &&
           covers(wanted.device, has.device) && covers(wanted.target, has.target);
}

}  // namespace

// As the library packs it.
struct RaidState::Command {
    const RaidCommandRow* row = nullptr;
    std::uint32_t controller = 0;
    std::uint16_t device = 0;
    std::uint8_t target = 0;
    std::uint32_t process = 0;
    std::string rest;  // what belongs to the command
    std::string name;

    std::uint32_t controllerId() const { return controller & 0xFFFFFF; }
    bool ofLibrary() const { return row->type == 0; }
};

namespace {

// A passed-through command is named after what it asks for.
std::string nameOf(const RaidCommandRow& row, const std::string& rest) {
    ByteReader reader(rest.data(), rest.size());
    const auto first = reader.number<std::uint32_t>();
    if (is(row, raidControllerCommand)) return first == raidSafeIdOpcode ? safeId : manufacturing;
    if (!is(row, raidScsiCommand)) return row.name;
    const std::string command = reader.text();
    if (!command.empty() && command[0] == '\x12') return inquiryName;
    return !command.empty() && command[0] == '\x85' ? ataLogName : row.name;
}

}  // namespace

RaidState::RaidState(SimulatedHost& host) : host_(host) {
    host.libraries().serve(raidCommand, [this](const std::string& bytes, const LibraryServer::Reply& reply) {
        handle(bytes, reply);
    });
    host.libraries().serve(raidViolation, [this](const std::string& text, const LibraryServer::Reply& reply) {
        noteViolation(text);
        reply(0, "");
    });
}

std::vector<std::string> RaidState::commandNames() {
    std::vector<std::string> names;
    for (const RaidCommandRow* each : raidCommandRows)
        if (each != &raidControllerCommand) names.emplace_back(each->name);
    for (const char* each : {safeId, manufacturing, inquiryName, ataLogName}) names.emplace_back(each);
    return names;
}

void RaidState::noteViolation(const std::string& text) {
    ++violations_;
    appendLine(host_.paths().raidViolations(), oneLine(text));
}

void RaidState::handle(const std::string& bytes, const LibraryServer::Reply& reply) {
    ByteReader reader(bytes.data(), bytes.size());
    Command command;
    const auto type = reader.number<std::uint8_t>();
    command.row = findRaidCommand(type, reader.number<std::uint8_t>());
    command.controller = reader.number<std::uint32_t>();
    command.device = reader.number<std::uint16_t>();
    command.target = reader.number<std::uint8_t>();
    command.process = reader.number<std::uint32_t>();
    if (!reader.good() || !command.row) return reply(0, ByteWriter().number(raidInvalidParameter).bytes());
    const Bytes rest = reader.rest();
    command.rest.assign(rest.begin(), rest.end());
    command.name = nameOf(*command.row, command.rest);
    count(command);

    const auto send = [reply](const Answer& answer) {
        reply(0, ByteWriter().number(answer.status).bytes() + answer.bytes);
    };
    RaidFault* const fault = faultFor(command);
    if (!fault) return send(answer(command));
    switch (fault->kind) {
        case RaidFault::fail: {
            // A command with too much or too little data has data all the same.
            const bool withData = fault->status == raidDataOverrun || fault->status == raidDataUnderrun;
            Answer failed = withData ? answer(command) : Answer{};
            failed.status = fault->status;
            return send(failed);
        }
        case RaidFault::slow:
            host_.loop().after(host_.machineTime(fault->seconds),
                               [send, late = answer(command)] { send(late); });
            return;
        case RaidFault::hang:
            hanging_.push_back({fault->choice, [this, send, command] { send(answer(command)); }});
            return;
    }
}

// The newest that fits; one more of its count is used up.
RaidFault* RaidState::faultFor(const Command& command) {
    for (auto fault = faults_.rbegin(); fault != faults_.rend(); ++fault) {
        const RaidCommandChoice& choice = fault->choice;
        const bool ofController = !choice.controller || !command.ofLibrary();
        if (!ofController || !fits(choice.controller, command.controllerId()) ||
            (!choice.name.empty() && choice.name != command.name) || !fits(choice.device, command.device) ||
            !fits(choice.target, command.target) || (fault->count && *fault->count == 0))
            continue;
        if (fault->count) --*fault->count;
        return &*fault;
    }
    return nullptr;
}

void RaidState::cancel(const RaidCommandChoice& choice) {
    const auto covered = [&choice](const auto& each) { return covers(choice, each.choice); };
    faults_.erase(std::remove_if(faults_.begin(), faults_.end(), covered), faults_.end());
    const auto released = std::stable_partition(hanging_.begin(), hanging_.end(),
                                                [&covered](const Hanging& each) { return !covered(each); });
    const std::vector<Hanging> answered(released, hanging_.end());
    hanging_.erase(released, hanging_.end());
    for (const Hanging& each : answered) each.answer();
}

void RaidState::count(const Command& command) {
    if (command.ofLibrary()) {
        ++libraryCounts_[command.name];
        return;
    }
    ++counts_[command.controllerId()][command.name];
    if (command.row->type == raidDiskRecord.type || is(*command.row, raidScsiCommand))
        ++diskCounts_[{command.controllerId(), command.device}][command.name];
}

RaidState::Answer RaidState::answer(const Command& command) {
    if (command.ofLibrary()) return answerLibrary(command);
    for (const RaidController& each : host_.description().part<RaidControllers>().all)
        if (each.entry() == command.controller && !each.gone) return answerController(command, each);
    return {raidInvalidController, ""};
}

RaidState::Answer RaidState::answerLibrary(const Command& command) {
    if (is(*command.row, raidRegister)) return registerProcess(command);
    if (is(*command.row, raidUnregister)) return unregister(command);
    if (!is(*command.row, raidExit))
        return {raidSuccess, raidControllerList(host_.description().part<RaidControllers>())};
    const auto ofProcess = [&command](const Registration& each) { return each.process == command.process; };
    registrations_.erase(std::remove_if(registrations_.begin(), registrations_.end(), ofProcess),
                         registrations_.end());
    return {};
}

RaidState::Answer RaidState::answerController(const Command& command, const RaidController& controller) {
    struct Record {
        RaidCommandRow row;
        std::string (*make)(const RaidController& controller);
    };
    constexpr Record records[] = {
        {raidControllerRecord, raidControllerRecordOf},
        {raidListDisks, raidDiskList},
        {raidListEnclosures, raidEnclosureList},
        {raidPciLocation, raidPciRecord},
        {raidListVolumes, raidVolumeList},
        {raidEventSequence, raidSequenceRecord},
    };
    for (const Record& each : records)
        if (is(*command.row, each.row)) return {raidSuccess, each.make(controller)};
    if (is(*command.row, raidDiskRecord)) {
        const RaidDisk* disk = presentRaidDisk(controller, command.device);
        return disk ? Answer{raidSuccess, raidDiskRecordOf(*disk)} : Answer{raidNoSuchDevice, ""};
    }
    if (command.row->type != raidVolumeRecord.type) return passThrough(command, controller);
    for (const RaidVolume& volume : controller.volumes)
        if (volume.target == command.target)
            return {raidSuccess,
                    is(*command.row, raidVolumeDisks) ? raidMemberList(volume) : raidVolumeRecordOf(volume)};
    return {raidNoSuchDevice, ""};
}

RaidState::Answer RaidState::passThrough(const Command& command, const RaidController& controller) {
    ByteReader reader(command.rest.data(), command.rest.size());
    const auto first = reader.number<std::uint32_t>();
    if (is(*command.row, raidControllerCommand))
        return {raidSuccess,
                first == raidSafeIdOpcode ? raidSafeId(controller) : raidManufacturingRecord(controller)};
    const RaidDisk* disk = presentRaidDisk(controller, command.device);
    if (!disk) return {raidNoSuchDevice, ""};
    const RaidScsiAnswer answer = answerRaidScsi(*disk, reader.text(), first);
    return {raidSuccess, ByteWriter().number(answer.status).bytes() + answer.data};
}

RaidState::Answer RaidState::registerProcess(const Command& command) {
    ByteReader reader(command.rest.data(), command.rest.size());
    Registration made{++lastUniqueId_, reader.number<std::uint64_t>(), command.process, {}};
    const auto count = reader.number<std::uint32_t>();
    for (std::uint32_t i = 0; i < count && reader.good(); ++i) {
        Interest interest{};
        interest.controller = reader.number<std::uint32_t>();
        interest.locale = reader.number<std::uint16_t>();
        interest.eventClass = reader.number<std::int8_t>();
        interest.sequence = reader.number<std::uint32_t>();
        made.interests.push_back(interest);
    }
    if (!reader.good()) return {raidInvalidParameter, ""};
    const auto& controllers = host_.description().part<RaidControllers>().all;
    for (const Interest& interest : made.interests)
        if (std::none_of(controllers.begin(), controllers.end(), [&interest](const RaidController& each) {
                return each.entry() == interest.controller && !each.gone;
            }))
            return {raidInvalidController, ""};
    forgetGoneProcesses();
    registrations_.push_back(made);
    // Events since the sequence number was read.
    for (const RaidController& controller : controllers)
        for (const Logged& logged : logs_[controller.id]) deliver(made, controller, logged);
    return {raidSuccess, ByteWriter().number(made.uniqueId).bytes()};
}

RaidState::Answer RaidState::unregister(const Command& command) {
    const auto uniqueId = ByteReader(command.rest.data(), command.rest.size()).number<std::uint32_t>();
    const auto isIt = [&](const Registration& each) {
        return each.uniqueId == uniqueId && each.process == command.process;
    };
    const auto found = std::find_if(registrations_.begin(), registrations_.end(), isIt);
    if (found != registrations_.end()) registrations_.erase(found);  // none after the host went down
    return {};
}

void RaidState::forgetGoneProcesses() {
    const auto gone = [](const Registration& each) {
        return ::kill(static_cast<pid_t>(each.process), 0) != 0 && errno == ESRCH;
    };
    registrations_.erase(std::remove_if(registrations_.begin(), registrations_.end(), gone),
                         registrations_.end());
}

void RaidState::deliver(const Registration& registration, const RaidController& controller,
                        const Logged& logged) {
    for (const Interest& interest : registration.interests) {
        if (interest.controller != controller.entry() || logged.sequence <= interest.sequence ||
            (interest.locale & logged.event.locale) == 0 || logged.event.eventClass < interest.eventClass)
            continue;
        ByteWriter bytes;
        bytes.number(registration.token).number(logged.event.status).number(controller.id);
        host_.libraries().post(raidEvent, bytes.raw(logged.record.data(), logged.record.size()).bytes());
        return;
    }
}

void RaidState::send(RaidController& controller, const RaidEvent& event) {
    const std::uint32_t sequence = ++controller.newestSequence;
    const auto seconds = static_cast<std::uint32_t>(host_.wall() / nanosecondsInSecond - startOfEventTime);
    std::deque<Logged>& log = logs_[controller.id];
    log.push_back({sequence, event, raidEventRecord(event, sequence, seconds)});
    if (log.size() > longestLog) log.pop_front();
    forgetGoneProcesses();
    for (const Registration& each : registrations_) deliver(each, controller, log.back());
}

void RaidState::show(Json::Value& shown) {
    const auto& part = host_.description().part<RaidControllers>();
    if (part.described) showLibrary(shown["raidLibrary"]);
    for (const char* each : {"raidControllers", "raidDisks", "raidVolumes"}) shown[each] = Json::arrayValue;
    for (const RaidController& controller : part.all) {
        Json::Value made;
        made["id"] = controller.id;
        made["serial"] = controller.serial;
        made["address"] = formatPciAddress(controller.address);
        made["device"] = formatText("0x%04x", controller.device);
        made["present"] = !controller.gone;
        made["newestSequence"] = controller.newestSequence;
        made["commands"] = countsOf(counts_[controller.id]);
        shown["raidControllers"].append(made);
        for (const RaidDisk& disk : controller.disks) {
            Json::Value row;
            row["controller"] = controller.id;
            row["disk"] = raidDiskName(disk);
            row["deviceId"] = disk.deviceId;
            row["serial"] = disk.serial;
            row["interface"] = raidWord(raidInterfaces, disk.interfaceType);
            row["state"] = raidWord(raidDiskStates, disk.state);
            row["present"] = !disk.pulled;
            const RaidVolume* const volume = volumeOfRaidDisk(controller, disk);
            row["volume"] = volume ? Json::Value(volume->target) : Json::Value();
            row["commands"] = countsOf(diskCounts_[{controller.id, disk.deviceId}]);
            shown["raidDisks"].append(row);
        }
        for (const RaidVolume& volume : controller.volumes) {
            Json::Value row;
            row["controller"] = controller.id;
            row["target"] = volume.target;
            row["level"] = raidLevelName(volume);
            row["state"] = raidWord(raidVolumeStates, volume.state);
            row["members"] = Json::arrayValue;
            for (const std::uint16_t member : volume.members) row["members"].append(member);
            shown["raidVolumes"].append(row);
        }
    }
}

void RaidState::showLibrary(Json::Value& library) {
    forgetGoneProcesses();
    library["commands"] = countsOf(libraryCounts_);
    library["simulation"] = host_.description().part<RaidControllers>().simulation;
    library["violations"] = Json::UInt64(violations_);
    library["hanging"] = Json::UInt64(hanging_.size());
    library["registrations"] = Json::arrayValue;
    for (const Registration& each : registrations_) {
        Json::Value registration;
        registration["uniqueId"] = each.uniqueId;
        registration["process"] = each.process;
        for (const Interest& interest : each.interests)
            registration["controllers"].append(interest.controller & 0xFFFFFF);
        library["registrations"].append(registration);
    }
}

}  // namespace simhost
