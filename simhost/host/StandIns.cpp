#include "host/StandIns.h"

#include <algorithm>

namespace simhost {

namespace {

// The driver's modules; there is nothing to load, the host has them.
constexpr const char* modules[] = {"ipmi_msghandler", "ipmi_si", "ipmi_devintf", "ipmi_watchdog",
                                   "ipmi_ssif"};

Answer runModprobe(const std::vector<std::string>& arguments) {
    for (const auto& argument : arguments) {
        if (argument.rfind('-', 0) == 0) continue;
        if (std::find(std::begin(modules), std::end(modules), argument) == std::end(modules))
            return {1, "", "modprobe: FATAL: Module " + argument + " not found.\n"};
    }
    return {};
}

CommandResult modprobe(const std::vector<std::string>& arguments, const CommandContext&) {
    return {runModprobe(arguments), 0};
}

// The driver makes its own device node; nothing else may appear on a simulated host.
CommandResult mknod(const std::vector<std::string>&, const CommandContext&) {
    return {};
}

CommandResult mdadm(const std::vector<std::string>&, const CommandContext&) {
    return {{127, "", "sh: mdadm: not found\n"}, 0};
}

CommandResult localcli(const std::vector<std::string>& arguments, const CommandContext& context) {
    return {runLocalcli(arguments, context.host), 0};
}

struct StandIn {
    const char* name;
    CommandResult (*run)(const std::vector<std::string>& arguments, const CommandContext& context);
};

constexpr StandIn standIns[] = {
    {"localcli", localcli}, {"esxtop", runEsxtop}, {"modprobe", modprobe}, {"mknod", mknod}, {"mdadm", mdadm},
};

}  // namespace

std::vector<const char*> standInNames() {
    std::vector<const char*> names;
    for (const auto& each : standIns) names.push_back(each.name);
    return names;
}

CommandResult runStandIn(const std::vector<std::string>& words, const CommandContext& context) {
    if (words.empty()) return {{127, "", "no command\n"}, 0};
    for (const auto& each : standIns)
        if (words[0] == each.name) return each.run({words.begin() + 1, words.end()}, context);
    return {{127, "", "sh: " + words[0] + ": not found\n"}, 0};
}

}  // namespace simhost
