// The control commands of the Fibre Channel adapters.
#include <algorithm>

#include "common/Text.h"
#include "host/SimulatedHost.h"
#include "modules/fc/FcState.h"

namespace simhost {

namespace {

constexpr long long mostNumber = 0xFFFFFFFF;

// The row of a word; a UsageError with the right words when there is none.
template <class Row, std::size_t Count>
const Row& chosen(const Row (&rows)[Count], const std::string& word) {
    std::vector<std::string> words;
    for (const Row& each : rows) {
        if (word == each.word) return each;
        words.emplace_back(each.word);
    }
    throw UsageError("fc: \"" + word + "\" is none of " + listed(words));
}

// By its name, or by that of one of its ports.
FcAdapter& findAdapter(HostDescription& description, const std::string& name) {
    std::vector<std::string> known;
    for (FcAdapter& each : description.part<FcAdapters>().all) {
        if (each.name == name || std::count(each.ports.begin(), each.ports.end(), name) > 0) return each;
        known.push_back(each.name);
    }
    throw UsageError("the host has no Fibre Channel adapter \"" + name + "\"" + butHas(known));
}

// The place of the port that the command means: the word given, the port that the adapter was named by, or
// its only one.
std::size_t portOf(const FcAdapter& adapter, const std::string& name, const std::string& given) {
    if (!given.empty())
        return static_cast<std::size_t>(
            toNumber(given, "the port", 0, static_cast<long long>(adapter.ports.size()) - 1));
    const auto named = std::find(adapter.ports.begin(), adapter.ports.end(), name);
    if (named != adapter.ports.end()) return static_cast<std::size_t>(named - adapter.ports.begin());
    if (adapter.ports.size() > 1)
        throw UsageError("fc: " + name + " has " + std::to_string(adapter.ports.size()) +
                         " ports; the port's number is missing");
    return 0;
}

std::uint32_t stateOf(const std::string& word) {
    struct Row {
        const char* word;
        std::uint32_t state;
    };
    constexpr Row rows[] = {
        {"online", fc::portOnline},     {"offline", fc::portOffline},   {"linkdown", fc::portLinkDown},
        {"error", fc::portError},       {"bypassed", fc::portBypassed}, {"diagnostics", fc::portDiagnostics},
        {"loopback", fc::portLoopback}, {"unknown", fc::portUnknown},   {"degraded", fc::portDegraded},
    };
    const bool number = !word.empty() && word[0] >= '0' && word[0] <= '9';
    return number ? static_cast<std::uint32_t>(toNumber(word, "the state", 0, mostNumber))
                  : chosen(rows, word).state;
}

FcEntry entryOf(const std::string& name) {
    std::vector<std::string> names;
    for (const FcEntryRow& each : fcEntryRows) {
        if (name == each.name) return each.entry;
        names.emplace_back(each.name);
    }
    throw UsageError("fc: \"" + name + "\" is none of " + listed(names));
}

std::size_t libraryOf(const std::string& name) {
    std::vector<std::string> files;
    for (const FcLibraryRow& each : fcLibraries) {
        if (name == each.file) return files.size();
        files.emplace_back(each.file);
    }
    throw UsageError("fc: \"" + name + "\" is none of all, " + listed(files));
}

// --- an adapter ---

void portCommand(SimulatedHost& host, const std::string& name, const std::string& port,
                 const std::string& word) {
    const std::uint32_t state = stateOf(word);
    host.change([&](HostDescription& description) {
        const FcAdapter& adapter = findAdapter(description, name);
        StorageAdapter& changed = fcPort(description, adapter.ports[portOf(adapter, name, port)]);
        changed.fibreChannel->portState = fcStateText(state);
        changed.linkState = isOnline(*changed.fibreChannel) ? "link-up" : "link-down";
    });
}

void vanishCommand(SimulatedHost& host, const std::string& adapter, Words& words) {
    const auto after = words.option("--after");
    words.end();
    FcState& state = host.state<FcState>();
    if (after)
        state.vanishAfter(adapter, entryOf(*after));
    else
        state.vanish(adapter);
}

void returnCommand(SimulatedHost& host, const std::string& adapter, Words& words) {
    words.end();
    host.state<FcState>().comeBack(adapter);
}

void reportedPortsCommand(SimulatedHost& host, const std::string& adapter, Words& words) {
    const auto number = static_cast<std::uint32_t>(words.nextNumber("the number of ports", 0, mostNumber));
    words.end();
    host.change(
        [&](HostDescription& description) { findAdapter(description, adapter).reportedPorts = number; });
}

void adapterCommand(SimulatedHost& host, const std::string& name, Words& words) {
    struct Row {
        const char* word;
        void (*run)(SimulatedHost& host, const std::string& adapter, Words& words);
    };
    constexpr Row rows[] = {
        {"vanish", vanishCommand}, {"return", returnCommand}, {"reported-ports", reportedPortsCommand}};
    std::string adapter;
    host.change([&](HostDescription& description) { adapter = findAdapter(description, name).name; });
    const std::string first = words.next("the port's number, its state, vanish, return or reported-ports");
    for (const Row& each : rows)
        if (first == each.word) return each.run(host, adapter, words);
    const std::string second = words.empty() ? "" : words.next("the state");
    words.end();
    if (second.empty())
        portCommand(host, name, "", first);
    else
        portCommand(host, name, first, second);
}

// --- calls ---

void readFault(Words& words, const std::string& word, FcFault& fault) {
    if (word == "fail")
        fault.result = static_cast<std::uint32_t>(
            words.nextNumber("the status or number that it returns", 0, mostNumber));
    if (word == "slow") fault.seconds = words.nextFraction("the seconds", 0, 86400);
}

void checkFault(const FcFault& fault) {
    const auto& entry = fault.choice.entry;
    const std::string name = entry ? fcRowOf(*entry).name : "";
    if (fault.kind == FcFault::rubbish && entry && fcRowOf(*entry).rubbish == FcRubbish::none)
        throw UsageError("fc: " + name + " returns nothing that could be rubbish");
    if (fault.kind == FcFault::fail && entry && fcRowOf(*entry).returns == FcReturns::nothing)
        throw UsageError("fc: " + name + " returns nothing");
    if (fault.kind != FcFault::missing) return;
    if (entry == FcEntry::registerLibrary)
        throw UsageError("fc: a library without HBA_RegisterLibrary is a matter of the command \"library\"");
    if (fault.count || fault.choice.port || !fault.choice.adapter.empty())
        throw UsageError("fc: an entry point is missing for all calls");
}

void callCommand(SimulatedHost& host, Words& words) {
    struct Row {
        const char* word;
        bool sets;
        FcFault::Kind kind;
    };
    constexpr Row rows[] = {
        {"fail", true, FcFault::fail},       {"slow", true, FcFault::slow},
        {"hang", true, FcFault::hang},       {"rubbish", true, FcFault::rubbish},
        {"missing", true, FcFault::missing}, {"normal", false, FcFault::fail},
    };
    FcFault fault;
    fault.count = words.numberOption("--count", 1, 1000000);
    const auto adapter = words.option("--adapter");
    if (const auto port = words.numberOption("--port", 0, mostNumber))
        fault.choice.port = static_cast<std::uint32_t>(*port);
    const std::string library = words.next("the library, or all");
    if (library != "all") fault.choice.library = libraryOf(library);
    const std::string entry = words.next("the entry point, or all");
    if (entry != "all") fault.choice.entry = entryOf(entry);
    const std::string word = words.next("fail, slow, hang, rubbish, missing or normal");
    const Row& row = chosen(rows, word);
    fault.kind = row.kind;
    readFault(words, word, fault);
    words.end();
    host.change([&](HostDescription& description) {
        if (adapter) fault.choice.adapter = findAdapter(description, *adapter).name;
    });
    FcState& state = host.state<FcState>();
    if (!row.sets) return state.cancel(fault.choice);
    checkFault(fault);
    state.add(fault);
}

void fcControl(SimulatedHost& host, Words& words) {
    const std::string first = words.next("the adapter, or \"call\"");
    if (first == "call") return callCommand(host, words);
    adapterCommand(host, first, words);
}

constexpr ControlCommand commands[] = {
    {"fc",
     "  fc ADAPTER [PORT] online|offline|linkdown|error|bypassed|diagnostics|\n"
     "      loopback|unknown|degraded|N      the state of a Fibre Channel port; an\n"
     "                                       adapter is named as its library does, or\n"
     "                                       by a port\n"
     "  fc ADAPTER vanish [--after ENTRY]    it is gone, at once or after the next\n"
     "                                       call of this entry point\n"
     "  fc ADAPTER return                    it is there again\n"
     "  fc ADAPTER reported-ports N          how many ports it says it has\n"
     "  fc call LIBRARY|all ENTRY|all fail N|slow SECONDS|hang|rubbish|missing|normal\n"
     "      [--count N] [--adapter ADAPTER] [--port N]\n"
     "                                       calls of an HBA library\n",
     fcControl}};

}  // namespace

Rows<ControlCommand> fcCommands() {
    return commands;
}

}  // namespace simhost
