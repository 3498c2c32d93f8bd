#include "host/HostControl.h"

#include <json/json.h>
#include <algorithm>
#include <cstring>

#include "common/Words.h"
#include "host/HostLayout.h"

namespace simhost {

const char hostControlHelp[] =
    "Commands:\n"
    "  show                                 the host's state as JSON\n"
    "  clock jump +SECONDS|-SECONDS         the wall clock jumps; the uptime does not\n"
    "  clock set EPOCH                      the wall clock is set, in seconds since 1970\n"
    "  clock speed N                        simulated seconds in a real one, 0.001 to 10000\n"
    "  memory total MB free MB\n"
    "  interface add NAME ADDRESS[/LENGTH]\n"
    "  interface remove NAME [ADDRESS]\n"
    "  nic NAME link up|down|unknown        the link of an Ethernet adapter\n"
    "  nic NAME admin up|down               switched on or off by the administrator, with its link\n"
    "  nic NAME speed MBITS\n"
    "  nic NAME remove                      the adapter is gone\n"
    "  nic NAME add PCI-ADDRESS [DRIVER]    and a new one has come\n"
    "  command NAME fail STATUS [--count N]\n"
    "  command NAME hang SECONDS [--count N] of the host's time; then it answers as ever\n"
    "  command NAME garbage [--count N]     prints nonsense; without --count this stays so\n"
    "  command NAME normal\n"
    "  esxtop final-comma on|off            whether its lines end in a comma\n"
    "  library NAME present|absent|without-encoder\n"
    "                                       a location library; the agent looks when it starts\n"
    "  ipmi absent|present                  the device node vanishes, comes back\n"
    "  ipmi appears-after-bringup [N]       absent until modprobe was called N (5) times\n"
    "  reboot [--down SECONDS]              down in order, and up again after SECONDS (90) of the\n"
    "                                       host's time, which pass at once\n"
    "  power-cut [--down SECONDS]           the same without any order\n";

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

void memoryCommand(SimulatedHost& host, Words& words) {
    constexpr long long most = 1LL << 40;
    std::uint64_t total = host.description().totalMBytes;
    std::uint64_t free = host.description().freeMBytes;
    do {
        const std::string which = words.next("total or free");
        if (which != "total" && which != "free")
            throw UsageError("memory: \"" + which + "\" is none of total, free");
        const auto megabytes = static_cast<std::uint64_t>(words.nextNumber("the megabytes", 0, most));
        if (which == "total")
            total = megabytes;
        else
            free = megabytes;
    } while (!words.empty());
    host.setMemory(total, free);
}

void interfaceCommand(SimulatedHost& host, Words& words) {
    const std::string what = words.next("add or remove");
    const std::string name = words.next("the interface's name");
    if (what != "add" && what != "remove")
        throw UsageError("interface: \"" + what + "\" is none of add, remove");
    const std::string address = what == "remove" && words.empty() ? "" : words.next("the address");
    words.end();
    if (what == "add") return host.addAddress(name, address);
    if (!host.removeAddress(name, address)) throw UsageError("there is no such interface or address");
}

// The host's own words: "Up" for "up".
std::string capitalised(std::string word, const std::string& choices) {
    if ((" " + choices + " ").find(" " + word + " ") == std::string::npos)
        throw UsageError("\"" + word + "\" is none of " + choices);
    word[0] = static_cast<char>(word[0] - 'a' + 'A');
    return word;
}

void nicCommand(SimulatedHost& host, Words& words) {
    const std::string name = words.next("the adapter's name");
    const std::string what = words.next("link, admin, speed, remove or add");
    if (what == "add") {
        NetworkAdapter made;
        made.name = name;
        made.pciDevice = words.next("the PCI address");
        made.driver = words.empty() ? "ixgben" : words.next("the driver");
        words.end();
        made.speedMbps = 10000;
        made.hardwareAddress = "02:00:5e:00:53:01";
        made.description = "Added while the host runs";
        return host.addAdapter(made);
    }
    if (what == "remove") {
        words.end();
        return host.removeAdapter(name);
    }
    NetworkAdapter& adapter = host.adapter(name);
    if (what == "speed") {
        const long long speed = words.nextNumber("the megabits per second", 0, 1000000000);
        words.end();
        adapter.speedMbps = static_cast<std::uint64_t>(speed);
        return;
    }
    if (what != "link" && what != "admin")
        throw UsageError("nic: \"" + what + "\" is none of link, admin, speed, remove, add");
    const std::string status =
        capitalised(words.next("the status"), what == "link" ? "up down unknown" : "up down");
    words.end();
    adapter.linkStatus = status;
    if (what == "admin") adapter.adminStatus = status;
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

void esxtopCommand(SimulatedHost& host, Words& words) {
    const std::string what = words.next("final-comma");
    const std::string how = words.next("on or off");
    words.end();
    if (what != "final-comma" || (how != "on" && how != "off"))
        throw UsageError("esxtop: it is \"final-comma on\" or \"final-comma off\"");
    host.setMemoryLinesEndInComma(how == "on");
}

void libraryCommand(SimulatedHost& host, Words& words) {
    const std::string name = words.next("the library's name");
    const auto names = locationLibraryNames();
    if (std::none_of(names.begin(), names.end(), [&name](const char* each) { return name == each; }))
        throw UsageError("the host has no library \"" + name + "\"");
    const std::string how = words.next("present, absent or without-encoder");
    words.end();
    if (how == "present")
        putLocationLibrary(host.places().root, name, LibraryForm::present);
    else if (how == "absent")
        putLocationLibrary(host.places().root, name, LibraryForm::absent);
    else if (how == "without-encoder")
        putLocationLibrary(host.places().root, name, LibraryForm::withoutEncoder);
    else
        throw UsageError("library: \"" + how + "\" is none of present, absent, without-encoder");
}

void ipmiCommand(SimulatedHost& host, Words& words) {
    const std::string what = words.next("absent, present or appears-after-bringup");
    if (what != "absent" && what != "present" && what != "appears-after-bringup")
        throw UsageError("ipmi: \"" + what + "\" is none of absent, present, appears-after-bringup");
    std::optional<unsigned long> calls;
    if (what == "appears-after-bringup")
        calls = static_cast<unsigned long>(
            words.empty() ? 5 : words.nextNumber("the number of calls", 1, 1000000));
    words.end();
    if (what == "present")
        host.showIpmi();
    else
        host.hideIpmi(calls);
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

// Each takes all its words before it does anything.
struct Command {
    const char* name;
    void (*run)(SimulatedHost& host, Words& words);
};

constexpr Command commands[] = {
    {"clock", clockCommand},        {"memory", memoryCommand}, {"interface", interfaceCommand},
    {"command", commandCommand},    {"esxtop", esxtopCommand}, {"ipmi", ipmiCommand},
    {"library", libraryCommand},    {"nic", nicCommand},       {"reboot", rebootCommand},
    {"power-cut", powerCutCommand},
};

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

std::string show(SimulatedHost& host) {
    Json::Value shown;
    shown["nodeName"] = host.description().nodeName;
    shown["root"] = host.places().root;
    const std::int64_t wall = host.wall();
    shown["wallClock"] = summaryStamp(wall);
    shown["epoch"] = Json::Int64(wall / nanosecondsInSecond);
    shown["epochNanoseconds"] = Json::Int64(wall);
    shown["uptimeSeconds"] = Json::Int64(host.uptime() / nanosecondsInSecond);
    shown["speed"] = host.speed();
    shown["memory"]["totalMBytes"] = Json::UInt64(host.description().totalMBytes);
    shown["memory"]["freeMBytes"] = Json::UInt64(host.description().freeMBytes);
    shown["pciFunctions"] = Json::UInt64(host.description().pciFunctions.size());
    shown["interfaces"] = Json::arrayValue;
    for (const auto& interface : host.description().interfaces) {
        Json::Value entry;
        entry["name"] = interface.name;
        entry["addresses"] = Json::arrayValue;
        for (const auto& address : interface.addresses) entry["addresses"].append(address);
        shown["interfaces"].append(entry);
    }
    shown["ipmi"]["present"] = host.driver().present();
    shown["ipmi"]["controllerAttached"] = host.driver().controllerAttached();
    shown["ipmi"]["openDescriptors"] = Json::UInt64(host.driver().openDescriptors());
    shown["ipmi"]["exchanges"] = Json::UInt64(host.driver().exchanges());
    shown["ipmi"]["expired"] = Json::UInt64(host.driver().expiredExchanges());
    shown["commandsRun"] = Json::objectValue;
    for (const auto& [name, count] : host.commands().runs()) shown["commandsRun"][name] = Json::UInt64(count);
    for (const auto& [name, fault] : host.commands().faults())
        shown["spoiledCommands"][name] = faultName(fault.kind);
    Json::StreamWriterBuilder builder;
    builder["indentation"] = "  ";
    builder["enableYAMLCompatibility"] = true;
    return Json::writeString(builder, shown) + "\n";
}

}  // namespace

HostControl::HostControl(EventLoop& loop, SimulatedHost& host)
    : host_(host),
      server_(loop, host.places().controlSocket(),
              [this](const std::vector<std::string>& words, const RequestServer::Reply& reply) {
                  reply(run(words));
              }) {}

Answer HostControl::run(const std::vector<std::string>& given) {
    try {
        Words words(given);
        const std::string name = words.next("a command");
        if (name == "help") return {0, hostControlHelp, ""};
        if (name == "show") {
            words.end();
            return {0, show(host_), ""};
        }
        for (const auto& command : commands) {
            if (name != command.name) continue;
            command.run(host_, words);
            return {0, "ok\n", ""};
        }
        throw UsageError("there is no command \"" + name + "\"");
    } catch (const UsageError& error) {
        return {2, "", std::string("vok-simhost control: ") + error.what() + "\n"};
    } catch (const std::exception& error) {
        return {1, "", std::string("vok-simhost control: ") + error.what() + "\n"};
    }
}

}  // namespace simhost
