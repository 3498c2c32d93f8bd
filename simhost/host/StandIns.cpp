#include "host/StandIns.h"

#include "modules/Modules.h"

namespace simhost {

std::vector<const char*> standInNames() {
    std::vector<const char*> names;
    for (const HostModule* module : hostModules())
        for (const auto& each : module->standIns()) names.push_back(each.name);
    return names;
}

CommandResult runStandIn(const std::vector<std::string>& words, const CommandContext& context) {
    if (words.empty()) return {{127, "", "no command\n"}, 0};
    for (const HostModule* module : hostModules())
        for (const auto& each : module->standIns())
            if (words[0] == each.name) return each.run({words.begin() + 1, words.end()}, context);
    return {{127, "", "sh: " + words[0] + ": not found\n"}, 0};
}

}  // namespace simhost
