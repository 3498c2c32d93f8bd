#include "modules/memory/MemoryModule.h"

#include <json/json.h>
#include <filesystem>

#include "common/HostState.h"
#include "host/Counters.h"
#include "host/DescriptionSection.h"
#include "host/LayoutFiles.h"
#include "host/SimulatedHost.h"
#include "live/MachineReaders.h"
#include "live/SystemReader.h"
#include "modules/memory/Esxtop.h"
#include "modules/memory/Memory.h"

namespace simhost {

namespace {

// A configuration of esxtop as the tool itself saves it: a line a screen, capitals for shown columns.
constexpr char toolConfiguration[] =
    "ABcDEFghij\n"
    "aBcDefgHijKLmnOpq\n"
    "ABCdEfGhijkl\n"
    "ABcdeFGhIjklmnop\n"
    "aBCDEFGH\n"
    "AbcDEFGHIJKLMNopq\n"
    "ABCDeF\n"
    "ABCDe\n"
    "ABCd\n"
    "5m\n";

void memoryCommand(SimulatedHost& host, Words& words) {
    constexpr long long most = 1LL << 40;
    Memory memory = host.description().part<Memory>();
    do {
        const std::string which = words.next("total or free");
        if (which != "total" && which != "free")
            throw UsageError("memory: \"" + which + "\" is none of total, free");
        const auto megabytes = static_cast<std::uint64_t>(words.nextNumber("the megabytes", 0, most));
        if (which == "total")
            memory.totalMBytes = megabytes;
        else
            memory.freeMBytes = megabytes;
    } while (!words.empty());
    host.change([&memory](HostDescription& description) {
        if (memory.freeMBytes > memory.totalMBytes) throw UsageError("more free memory than memory");
        description.part<Memory>() = memory;
    });
}

void esxtopCommand(SimulatedHost& host, Words& words) {
    const std::string what = words.next("final-comma");
    const std::string how = words.next("on or off");
    words.end();
    if (what != "final-comma" || (how != "on" && how != "off"))
        throw UsageError("esxtop: it is \"final-comma on\" or \"final-comma off\"");
    host.changeOutput().part<Memory>().linesEndInComma = how == "on";
}

constexpr ControlCommand commands[] = {
    {"memory", "  memory total MB free MB              either or both\n", memoryCommand},
    {"esxtop", "  esxtop final-comma on|off            whether each line ends in a comma\n", esxtopCommand},
};

constexpr StandIn binCommands[] = {{"esxtop", runEsxtop}};

class MemoryModule : public HostModule {
public:
    void parse(Section& root, const std::string& /*directory*/, HostDescription& into) const override {
        auto& memory = into.part<Memory>();
        root.section("memory", [&memory](Section& section) {
            section.number("totalMBytes", memory.totalMBytes);
            section.number("freeMBytes", memory.freeMBytes);
            section.truth("linesEndInComma", memory.linesEndInComma);
        });
        if (memory.freeMBytes > memory.totalMBytes) root.fail("has more free memory than memory");
    }
    void readMachine(MachineReaders& machine, HostDescription& into) const override {
        readMemory(machine.files, into.part<Memory>());
    }
    void refresh(MachineReaders& machine, const std::string& command, HostDescription& into) const override {
        if (command.empty() || command.rfind("esxtop", 0) == 0) readMachine(machine, into);
    }
    void layOut(const std::string& root, const HostDescription& /*host*/,
                const LayoutSources& /*sources*/) const override {
        const std::string file = root + "/opt/mev/vok/data/esxtopconf";
        if (!std::filesystem::exists(file)) layOutFile(file, toolConfiguration);
    }
    Rows<ControlCommand> controls() const override { return commands; }
    Rows<StandIn> standIns() const override { return binCommands; }
    void addCounters(const HostDescription& host, Counters& counters) const override {
        addMemoryCounters(host, counters);
    }
    void addFacts(const HostDescription& host, HostFacts& facts) const override {
        facts.totalMBytes = host.part<Memory>().totalMBytes;
        facts.freeMBytes = host.part<Memory>().freeMBytes;
    }
    void show(SimulatedHost& host, Json::Value& shown) const override {
        const Memory& memory = host.description().part<Memory>();
        shown["memory"]["totalMBytes"] = Json::UInt64(memory.totalMBytes);
        shown["memory"]["freeMBytes"] = Json::UInt64(memory.freeMBytes);
    }
};

}  // namespace

const HostModule& memoryModule() {
    static const MemoryModule module;
    return module;
}

}  // namespace simhost
