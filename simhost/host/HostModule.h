// A class of hardware of a simulated host. Each is one folder below modules/ and one row of the list in
// modules/Modules.cpp; all else in vok-simhost walks that list and knows no class by name.
//
// A module itself keeps no state and overrides only what it has. What a host keeps of it while it runs is a
// ModuleState, made by start().
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "common/RequestServer.h"
#include "common/Words.h"
#include "host/Rows.h"
#include "host/StandIns.h"

namespace Json {
class Value;
}

namespace simhost {

class Counters;
class HostDescription;
class Section;
class SimulatedHost;
struct HostFacts;
struct LayoutSources;
struct MachineReaders;

// A control command. It takes all its words before it does anything; what is wrong is a UsageError.
struct ControlCommand {
    const char* name;
    const char* help;  // whole lines, two blanks in
    void (*run)(SimulatedHost& host, Words& words);
};

// A namespace of localcli.
struct LocalcliCommand {
    const char* words;     // "network nic list"
    const char* argument;  // name of the last word, which is then passed on; null for none
    Answer (*run)(const HostDescription& host, const std::string& argument);
};

// A vendor's library that hosts may have in their lib, and its stand-ins beside the host-access module.
struct VendorLibrary {
    const char* name;
    const char* standIn;
    const char* lackingWord;  // control command "library": the stand-in that lacks an entry point
    const char* lacking;
    // Whether it has this entry point, for the control command "library NAME call".
    bool (*hasEntry)(const std::string& entry);
};

// What a host keeps of a module while it runs: device nodes, services for libraries, what is under way.
class ModuleState {
public:
    ModuleState() = default;
    virtual ~ModuleState() = default;
    ModuleState(const ModuleState&) = delete;
    ModuleState& operator=(const ModuleState&) = delete;

    // A command of the host's bin has run.
    virtual void commandRan(const std::string& /*name*/) {}
    // The host goes down. Its device nodes close what processes have open by themselves.
    virtual void hostGoesDown() {}
};

class HostModule {
public:
    virtual ~HostModule() = default;

    // Takes the module's keys of a description. Throws std::runtime_error; Section does for a wrong type.
    // `directory` is where files lie that the description names.
    virtual void parse(Section& /*root*/, const std::string& /*directory*/, HostDescription& /*into*/) const {
    }
    // The same part of the description of a live host, read from the machine.
    virtual void readMachine(MachineReaders& /*machine*/, HostDescription& /*into*/) const {}
    // Reads anew what a command of the host's bin prints of it, or, with an empty `command`, what `show`
    // does.
    virtual void refresh(MachineReaders& /*machine*/, const std::string& /*command*/,
                         HostDescription& /*into*/) const {}

    // Puts the module's files into the root: device files, parts of /sys, libraries. What is the machine's
    // own by `sources` is a link. Throws std::runtime_error or std::filesystem::filesystem_error.
    virtual void layOut(const std::string& /*root*/, const HostDescription& /*host*/,
                        const LayoutSources& /*sources*/) const {}

    virtual Rows<ControlCommand> controls() const { return {}; }
    // Libraries that the control command "library" takes away and puts back.
    virtual Rows<VendorLibrary> vendorLibraries() const { return {}; }
    // Commands of the host's bin.
    virtual Rows<StandIn> standIns() const { return {}; }
    virtual Rows<LocalcliCommand> localcli() const { return {}; }
    // Columns of esxtop.
    virtual void addCounters(const HostDescription& /*host*/, Counters& /*counters*/) const {}
    // What system calls return, see HostState.h.
    virtual void addFacts(const HostDescription& /*host*/, HostFacts& /*facts*/) const {}

    // What the host keeps while it runs; null for nothing.
    virtual std::unique_ptr<ModuleState> start(SimulatedHost& /*host*/) const { return nullptr; }
    // Members of the control command `show`.
    virtual void show(SimulatedHost& /*host*/, Json::Value& /*shown*/) const {}
};

using HostModules = std::vector<const HostModule*>;

}  // namespace simhost
