#include "modules/system/SystemModule.h"

#include <json/json.h>
#include <algorithm>

#include "host/DescriptionSection.h"
#include "host/LocalcliForms.h"
#include "host/SimulatedHost.h"
#include "live/MachineReaders.h"
#include "live/SystemReader.h"

namespace simhost {

namespace {

constexpr long long longestJump = 4102444800;  // the year 2100

void clockCommand(SimulatedHost& host, Words& words) {
    const std::string what = words.next("jump, set or speed");
    if (what == "speed") {
        const double speed = words.nextFraction("the speed", 0.001, 10000);
        words.end();
        return host.setSpeed(speed);
    }
    if (what != "jump" && what != "set")
        throw UsageError("clock: \"" + what + "\" is none of jump, set, speed");
    const long long least = what == "jump" ? -longestJump : 0;
    const long long seconds = words.nextNumber("the seconds", least, longestJump);
    words.end();
    host.jumpClock(seconds * nanosecondsInSecond - (what == "set" ? host.wall() : 0));
}

void commandCommand(SimulatedHost& host, Words& words) {
    CommandFault fault;
    fault.left = words.numberOption("--count", 1, 1000000000).value_or(0);
    const std::string name = words.next("the command's name");
    const auto names = standInNames();
    if (std::none_of(names.begin(), names.end(), [&name](const char* each) { return name == each; }))
        throw UsageError("the host has no command \"" + name + "\"");
    const std::string how = words.next("fail, hang, garbage or normal");
    if (how == "normal") {
        words.end();
        return host.commands().mend(name);
    }
    if (how == "fail") {
        fault.kind = CommandFault::Kind::fail;
        fault.status = static_cast<int>(words.nextNumber("the status", 0, 255));
    } else if (how == "hang") {
        fault.kind = CommandFault::Kind::hang;
        fault.seconds = words.nextFraction("the seconds", 0, 1e9);
    } else if (how == "garbage") {
        fault.kind = CommandFault::Kind::garbage;
    } else {
        throw UsageError("command: \"" + how + "\" is none of fail, hang, garbage, normal");
    }
    words.end();
    host.commands().spoil(name, fault);
}

void reboot(SimulatedHost& host, Words& words, bool graceful) {
    words.flag("--graceful");  // what a reboot is anyway
    const std::int64_t down = words.numberOption("--down", 0, 31536000).value_or(90);
    words.end();
    host.reboot(graceful, down);
}

void rebootCommand(SimulatedHost& host, Words& words) {
    reboot(host, words, true);
}

void powerCutCommand(SimulatedHost& host, Words& words) {
    reboot(host, words, false);
}

constexpr ControlCommand commands[] = {
    {"clock",
     "  clock jump +SECONDS|-SECONDS         the wall clock jumps, the uptime doesn't\n"
     "  clock set EPOCH                      sets the wall clock, seconds since 1970\n"
     "  clock speed N                        simulated seconds per real second, 0.001\n"
     "                                       to 10000\n",
     clockCommand},
    {"reboot",
     "  reboot [--down SECONDS]              an orderly reboot; SECONDS (90) of the\n"
     "                                       host's time pass at once\n",
     rebootCommand},
    {"power-cut", "  power-cut [--down SECONDS]           the same without an orderly shutdown\n",
     powerCutCommand},
    {"command",
     "  command NAME fail STATUS [--count N] its next N calls fail; without N all\n"
     "  command NAME hang SECONDS [--count N]\n"
     "                                       of the host's time; then they answer\n"
     "  command NAME garbage [--count N]     they print nonsense\n"
     "  command NAME normal                  cancels the three above\n",
     commandCommand},
};

constexpr Line<HostDescription> versionLines[] = {
    {"Product", [](const HostDescription& host) { return host.productName; }},
    {"Version", [](const HostDescription& host) { return host.productVersion; }},
    {"Build", [](const HostDescription& host) { return host.productBuild; }},
    {"Update", [](const HostDescription& host) { return host.productUpdate; }},
    {"Patch", [](const HostDescription& host) { return host.productPatch; }},
};

Answer systemVersionGet(const HostDescription& host, const std::string& /*argument*/) {
    return {0, formatLines(versionLines, host), ""};
}

constexpr LocalcliCommand localcliCommands[] = {{"system version get", nullptr, systemVersionGet}};

CommandResult localcli(const std::vector<std::string>& arguments, const CommandContext& context) {
    return {runLocalcli(arguments, context.host), 0};
}

constexpr StandIn binCommands[] = {{"localcli", localcli}};

const char* faultName(CommandFault::Kind kind) {
    switch (kind) {
        case CommandFault::Kind::fail:
            return "fail";
        case CommandFault::Kind::hang:
            return "hang";
        case CommandFault::Kind::garbage:
            return "garbage";
    }
    return "";
}

class SystemModule : public HostModule {
public:
    void parse(Section& root, const std::string& /*directory*/, HostDescription& into) const override {
        root.text("nodeName", into.nodeName);
        root.section("system", [&into](Section& system) {
            system.text("name", into.systemName);
            system.text("release", into.release);
            system.text("version", into.version);
            system.text("machine", into.machine);
        });
        root.section("product", [&into](Section& product) {
            product.text("name", into.productName);
            product.text("version", into.productVersion);
            product.text("build", into.productBuild);
            product.text("update", into.productUpdate);
            product.text("patch", into.productPatch);
        });
        root.number("uptimeSeconds", into.uptimeSeconds);
    }
    void readMachine(MachineReaders& machine, HostDescription& into) const override {
        readNames(machine.files, into);
        readProduct(machine.files, into);
    }
    void refresh(MachineReaders& machine, const std::string& command, HostDescription& into) const override {
        if (command.rfind("localcli system", 0) == 0) readProduct(machine.files, into);
    }
    Rows<ControlCommand> controls() const override { return commands; }
    Rows<StandIn> standIns() const override { return binCommands; }
    Rows<LocalcliCommand> localcli() const override { return localcliCommands; }
    void addFacts(const HostDescription& host, HostFacts& facts) const override {
        putText(facts.systemName, host.systemName);
        putText(facts.nodeName, host.nodeName);
        putText(facts.release, host.release);
        putText(facts.version, host.version);
        putText(facts.machine, host.machine);
    }
    void show(SimulatedHost& host, Json::Value& shown) const override {
        shown["nodeName"] = host.description().nodeName;
        shown["root"] = host.paths().root;
        const std::int64_t wall = host.wall();
        shown["wallClock"] = summaryStamp(wall);
        shown["epoch"] = Json::Int64(wall / nanosecondsInSecond);
        shown["epochNanoseconds"] = Json::Int64(wall);
        shown["uptimeSeconds"] = Json::Int64(host.uptime() / nanosecondsInSecond);
        shown["speed"] = host.speed();
        shown["commandsRun"] = Json::objectValue;
        for (const auto& [name, count] : host.commands().runs())
            shown["commandsRun"][name] = Json::UInt64(count);
        for (const auto& [name, fault] : host.commands().faults())
            shown["spoiledCommands"][name] = faultName(fault.kind);
    }
};

}  // namespace

const HostModule& systemModule() {
    static const SystemModule module;
    return module;
}

}  // namespace simhost
