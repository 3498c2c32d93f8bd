#include "core/base/vokModules.h"

#include <algorithm>
#include <cstring>
#include <iterator>

namespace {

std::map<MODULE_NAME, const char*> moduleNames() {
    std::map<MODULE_NAME, const char*> names;
    for (const vokModule& module : vokModules) names.emplace(module.id, module.name);
    return names;
}

}  // namespace

const vokModule* vokFindModule(int id) {
    const auto* const found = std::find_if(std::begin(vokModules), std::end(vokModules),
                                           [id](const vokModule& module) { return module.id == id; });
    return found == std::end(vokModules) ? nullptr : found;
}

int vokFindModuleId(const char* name) {
    const auto* const found =
        std::find_if(std::begin(vokModules), std::end(vokModules),
                     [name](const vokModule& module) { return std::strcmp(module.name, name) == 0; });
    return found == std::end(vokModules) ? -1 : static_cast<int>(found->id);
}

const std::map<MODULE_NAME, const char*> VOK_MODULE_NAME_MAP = moduleNames();

const char* const vokResourceStateMap[32] = {
    "Unknown",             // 0
    "Bypassed",            // 1
    "Cancel",              // 2
    "Cancel/Recovery",     // 3
    "Created",             // 4
    "Degraded",            // 5
    "Deleted",             // 6
    "Deleted/Recovery",    // 7
    "Diagnostic mode",     // 8
    "Down",                // 9
    "Error",               // 10
    "Failed",              // 11
    "Linkdown",            // 12
    "Loopback",            // 13
    "Offline",             // 14
    "Online",              // 15
    "Optimal",             // 16
    "Other",               // 17
    "Partially degraded",  // 18
    "Predictive failure",  // 19
    "Rebuild",             // 20
    "Recovering",          // 21
    "Recovery",            // 22
    "Running",             // 23
    "Unconfigured bad",    // 24
};

const char* const vokResourceHealthMap[4] = {
    "Unknown",   // 0
    "Critical",  // 1
    "OK",        // 2
    "Warning",   // 3
};
