#include "modules/fc/FcState.h"

#include <json/json.h>
#include <signal.h>
#include <algorithm>
#include <cerrno>

#include "common/ByteCodec.h"
#include "host/SimulatedHost.h"
#include "modules/fc/FcRecords.h"

namespace simhost {

namespace {

constexpr std::uint32_t apiVersion = 1;
constexpr std::size_t mostOpened = 1024;  // of a library; then the one opened first is forgotten
constexpr std::uint32_t lowHalf = 0xFFFF;
constexpr std::uint32_t lowByte = 0xFF;

template <class Key>
Json::Value countsOf(const std::map<Key, std::uint64_t>& counts) {
    Json::Value shown = Json::objectValue;
    for (const auto& [entry, count] : counts) shown[fcRowOf(entry).name] = Json::UInt64(count);
    return shown;
}

template <class Part>
bool covers(const std::optional<Part>& wanted, const std::optional<Part>& has) {
    return !wanted || wanted == has;
}

bool covers(const FcCallChoice& wanted, const FcCallChoice& has) {
    return covers(wanted.library, has.library) && covers(wanted.entry, has.entry) &&
           (wanted.adapter.empty() || wanted.adapter == has.adapter) && covers(wanted.port, has.port);
}

}  // namespace

// As the library packs it.
struct FcState::Call {
    std::size_t library = 0;
    FcEntry entry = FcEntry::getVersion;
    std::uint32_t process = 0;
    std::uint32_t handle = 0;
    std::uint32_t first = 0;
    std::uint32_t second = 0;
    std::string bytes;
    std::string adapter;  // that it concerns; empty: none

    const FcEntryRow& row() const { return fcRowOf(entry); }
    FcCallChoice choice() const {
        FcCallChoice made;
        made.library = library;
        made.entry = entry;
        made.adapter = adapter;
        if (row().hasPort) made.port = first;
        return made;
    }
};

FcState::FcState(SimulatedHost& host) : host_(host) {
    host.libraries().serve(fcCall, [this](const std::string& bytes, const LibraryServer::Reply& reply) {
        handle(bytes, reply);
    });
}

void FcState::hostGoesDown() {
    for (Library& each : libraries_) each.opened.clear();
}

void FcState::handle(const std::string& bytes, const LibraryServer::Reply& reply) {
    ByteReader reader(bytes.data(), bytes.size());
    Call call;
    call.library = reader.number<std::uint8_t>();
    const auto entry = reader.number<std::uint8_t>();
    call.process = reader.number<std::uint32_t>();
    call.handle = reader.number<std::uint32_t>();
    call.first = reader.number<std::uint32_t>();
    call.second = reader.number<std::uint32_t>();
    const Bytes rest = reader.rest();
    call.bytes.assign(rest.begin(), rest.end());
    const auto send = [reply](const Answer& answer) {
        reply(0, ByteWriter().number(answer.result).bytes() + answer.record);
    };
    if (!reader.good() || call.library >= std::size(libraries_) || entry > fcTableEntries)
        return send({fc::statusError, ""});
    call.entry = static_cast<FcEntry>(entry);
    if (const FcAdapter* const adapter = adapterOf(call)) call.adapter = adapter->name;
    count(call);

    FcFault* const fault = faultFor(call);
    if (!fault) {
        send(answer(call));
    } else {
        switch (fault->kind) {
            case FcFault::fail:
                send({fault->result, ""});
                break;
            case FcFault::rubbish: {
                const bool number = call.row().rubbish == FcRubbish::number;
                send({number ? fcRubbishNumber : std::uint32_t{fc::statusOk},
                      number ? "" : fcRubbishRecord(call.entry)});
                break;
            }
            case FcFault::slow:
                host_.loop().after(host_.machineTime(fault->seconds),
                                   [send, late = answer(call)] { send(late); });
                break;
            case FcFault::hang:
                hanging_.push_back({call.library, fault->choice, [this, send, call] { send(answer(call)); }});
                break;
            case FcFault::missing:  // takes effect when a library is registered
                send(answer(call));
                break;
        }
    }
    vanishAfter(call);
}

// --- faults ---

// The newest that fits; one more of its count is used up.
FcFault* FcState::faultFor(const Call& call) {
    for (auto fault = faults_.rbegin(); fault != faults_.rend(); ++fault) {
        if (fault->kind == FcFault::missing || !covers(fault->choice, call.choice()) ||
            (fault->kind == FcFault::rubbish && call.row().rubbish == FcRubbish::none) ||
            (fault->count && *fault->count == 0))
            continue;
        if (fault->count) --*fault->count;
        return &*fault;
    }
    return nullptr;
}

void FcState::cancel(const FcCallChoice& choice) {
    const auto covered = [&choice](const auto& each) { return covers(choice, each.choice); };
    faults_.erase(std::remove_if(faults_.begin(), faults_.end(), covered), faults_.end());
    const auto released = std::stable_partition(hanging_.begin(), hanging_.end(),
                                                [&covered](const Hanging& each) { return !covered(each); });
    const std::vector<Hanging> answered(released, hanging_.end());
    hanging_.erase(released, hanging_.end());
    for (const Hanging& each : answered) each.answer();
}

std::uint32_t FcState::missingEntries(std::size_t library) const {
    std::uint32_t missing = 0;
    for (const FcFault& fault : faults_) {
        if (fault.kind != FcFault::missing || (fault.choice.library && *fault.choice.library != library))
            continue;
        if (fault.choice.entry)
            missing |= 1u << static_cast<unsigned>(*fault.choice.entry);
        else
            missing = ~0u;
    }
    return missing;
}

// --- adapters that come and go ---

void FcState::setGone(const std::string& adapter, bool gone) {
    host_.change([&](HostDescription& description) {
        for (const FcAdapter& each : description.part<FcAdapters>().all)
            if (each.name == adapter)
                for (const std::string& port : each.ports) fcPort(description, port).gone = gone;
    });
}

void FcState::vanish(const std::string& adapter) {
    setGone(adapter, true);
}

void FcState::vanishAfter(const std::string& adapter, FcEntry entry) {
    vanishing_.emplace_back(adapter, entry);
}

void FcState::comeBack(const std::string& adapter) {
    vanishing_.erase(std::remove_if(vanishing_.begin(), vanishing_.end(),
                                    [&adapter](const auto& each) { return each.first == adapter; }),
                     vanishing_.end());
    setGone(adapter, false);
}

void FcState::vanishAfter(const Call& call) {
    std::vector<std::string> gone;
    const auto concerns = [&](const std::pair<std::string, FcEntry>& each) {
        if (each.second != call.entry) return false;
        if (!call.adapter.empty()) return call.adapter == each.first;
        const auto& all = host_.description().part<FcAdapters>().all;
        return std::any_of(all.begin(), all.end(), [&](const FcAdapter& adapter) {
            return adapter.name == each.first && adapter.library == call.library;
        });
    };
    for (const auto& each : vanishing_)
        if (concerns(each)) gone.push_back(each.first);
    vanishing_.erase(std::remove_if(vanishing_.begin(), vanishing_.end(), concerns), vanishing_.end());
    for (const std::string& each : gone) vanish(each);
}

// --- answers ---

std::vector<const FcAdapter*> FcState::listed(std::size_t library) {
    const HostDescription& description = host_.description();
    std::vector<const FcAdapter*> list;
    for (const FcAdapter& each : description.part<FcAdapters>().all)
        if (each.library == library && isPresent(description, each)) list.push_back(&each);
    return list;
}

// The adapter that a call names by an index, a name or a handle, also one that has vanished since it was
// opened.
const FcAdapter* FcState::adapterOf(const Call& call) {
    const std::vector<const FcAdapter*> list = listed(call.library);
    if (call.entry == FcEntry::getAdapterName) return call.first < list.size() ? list[call.first] : nullptr;
    if (call.entry == FcEntry::openAdapter) {
        for (const FcAdapter* each : list)
            if (each->name == call.bytes) return each;
        return nullptr;
    }
    const auto& opened = libraries_[call.library].opened;
    const auto found = opened.find(call.handle);
    if (found == opened.end() || found->second.process != call.process) return nullptr;
    for (const FcAdapter& each : host_.description().part<FcAdapters>().all)
        if (each.name == found->second.adapter) return &each;
    return nullptr;
}

void FcState::count(const Call& call) {
    ++libraries_[call.library].calls[call.entry];
    if (!call.adapter.empty()) ++adapterCalls_[call.adapter][call.entry];
}

FcState::Answer FcState::answer(const Call& call) {
    const std::vector<const FcAdapter*> list = listed(call.library);
    switch (call.entry) {
        case FcEntry::registerLibrary:
            return {fc::statusOk, ByteWriter().number(missingEntries(call.library)).bytes()};
        case FcEntry::getVersion:
            return {apiVersion, ""};
        case FcEntry::loadLibrary:
        case FcEntry::freeLibrary:
            forgetProcess(call.library, call.process);
            return {};
        case FcEntry::getNumberOfAdapters:
            return {static_cast<std::uint32_t>(list.size()), ""};
        case FcEntry::getAdapterName:
            if (call.first >= list.size()) return {fc::statusIllegalIndex, ""};
            return {fc::statusOk, fcNameRecord(list[call.first]->name)};
        case FcEntry::openAdapter:
            return {open(call), ""};
        default:
            break;
    }
    const FcAdapter* const adapter = adapterOf(call);
    if (!adapter) return {fc::statusInvalidHandle, ""};
    if (call.entry == FcEntry::closeAdapter) {
        libraries_[call.library].opened.erase(call.handle);
        return {};
    }
    if (!isPresent(host_.description(), *adapter)) return {fc::statusUnavailable, ""};
    return answerOpened(call, *adapter);
}

FcState::Answer FcState::answerOpened(const Call& call, const FcAdapter& adapter) {
    const HostDescription& description = host_.description();
    if (call.row().hasPort && call.first >= adapter.ports.size()) return {fc::statusIllegalIndex, ""};
    const std::string none = ByteWriter().number(std::uint32_t{0}).bytes();  // number of entries or events
    switch (call.entry) {
        case FcEntry::getAdapterAttributes:
            return {fc::statusOk, fcAdapterRecord(description, adapter)};
        case FcEntry::getAdapterPortAttributes:
            return {fc::statusOk, fcPortRecord(fcPort(description, adapter.ports[call.first]))};
        case FcEntry::getPortStatistics:
            return {fc::statusOk, fcStatisticsRecord(fcPort(description, adapter.ports[call.first]))};
        case FcEntry::getDiscoveredPortAttributes:
            return {fc::statusIllegalIndex, ""};  // there is no other port
        case FcEntry::getPortAttributesByWwn:
            return byPortName(call, adapter);
        case FcEntry::getFcpTargetMapping:
        case FcEntry::getFcpPersistentBinding:
        case FcEntry::getEventBuffer:
            return {fc::statusOk, none};
        case FcEntry::refreshInformation:
        case FcEntry::resetStatistics:
            return {};
        default:
            return {fc::statusNotSupported, ""};
    }
}

FcState::Answer FcState::byPortName(const Call& call, const FcAdapter& adapter) {
    for (const std::string& name : adapter.ports) {
        const StorageAdapter& port = fcPort(host_.description(), name);
        const fc::Wwn wwn = *parseWwn(port.fibreChannel->portName);
        if (call.bytes == std::string(reinterpret_cast<const char*>(wwn.bytes), sizeof(wwn.bytes)))
            return {fc::statusOk, fcPortRecord(port)};
    }
    return {fc::statusIllegalWwn, ""};
}

// --- handles ---

std::uint32_t FcState::open(const Call& call) {
    if (call.adapter.empty()) return 0;
    Library& library = libraries_[call.library];
    for (auto each = library.opened.begin(); each != library.opened.end();) {
        const bool gone = ::kill(static_cast<pid_t>(each->second.process), 0) != 0 && errno == ESRCH;
        each = gone ? library.opened.erase(each) : std::next(each);
    }
    if (library.opened.size() >= mostOpened) library.opened.erase(library.opened.begin());
    std::uint32_t handle = 0;
    do {
        library.lastNumber = (library.lastNumber + 1) & lowHalf;
        handle = fcLibraries[call.library].handles | library.lastNumber;
    } while ((handle & lowByte) == 0 || library.opened.count(handle) > 0);
    library.opened[handle] = {call.process, call.adapter};
    return handle;
}

void FcState::forgetProcess(std::size_t library, std::uint32_t process) {
    auto& opened = libraries_[library].opened;
    for (auto each = opened.begin(); each != opened.end();)
        each = each->second.process == process ? opened.erase(each) : std::next(each);
}

// --- show ---

void FcState::show(Json::Value& shown) {
    const HostDescription& description = host_.description();
    const FcAdapters& adapters = description.part<FcAdapters>();
    for (const char* each : {"fibreChannelLibraries", "fibreChannelAdapters", "fibreChannelPorts"})
        shown[each] = Json::arrayValue;
    for (std::size_t i = 0; adapters.described && i < std::size(fcLibraries); ++i) {
        Json::Value library;
        library["library"] = fcLibraries[i].file;
        library["calls"] = countsOf(libraries_[i].calls);
        library["hanging"] = Json::UInt64(std::count_if(
            hanging_.begin(), hanging_.end(), [i](const Hanging& each) { return each.library == i; }));
        library["open"] = Json::UInt64(libraries_[i].opened.size());
        shown["fibreChannelLibraries"].append(library);
    }
    for (const FcAdapter& adapter : adapters.all) {
        const bool present = isPresent(description, adapter);
        Json::Value row;
        row["name"] = adapter.name;
        row["library"] = fcLibraries[adapter.library].file;
        row["model"] = adapter.model;
        row["serialNumber"] = adapter.serialNumber;
        row["nodeName"] = fcPort(description, adapter.ports.front()).fibreChannel->nodeName;
        row["present"] = present;
        row["ports"] = Json::UInt64(adapter.ports.size());
        row["reportedPorts"] =
            adapter.reportedPorts.value_or(static_cast<std::uint32_t>(adapter.ports.size()));
        row["calls"] = countsOf(adapterCalls_[adapter.name]);
        shown["fibreChannelAdapters"].append(row);
        for (std::size_t i = 0; i < adapter.ports.size(); ++i) {
            const FibreChannelPort& port = *fcPort(description, adapter.ports[i]).fibreChannel;
            Json::Value made;
            made["name"] = adapter.ports[i];
            made["adapter"] = adapter.name;
            made["port"] = Json::UInt64(i);
            made["state"] = port.portState;
            made["nodeName"] = port.nodeName;
            made["portName"] = port.portName;
            made["present"] = present;
            shown["fibreChannelPorts"].append(made);
        }
    }
}

}  // namespace simhost
