#include "rmc/StandInManagers.h"

#include <dlfcn.h>

#include "core/inventory/vokFactory.h"

bool StandInManager::getInventoryJsonObject(std::vector<Json::Value>& out) {
    asked.emplace_back("all");
    out = elements;
    return isPrevious != 0;
}

int StandInManager::getInventoryJsonObject2(int type, std::vector<Json::Value>& out) {
    asked.push_back("type " + std::to_string(type));
    out = elementsByType[type];
    return isPrevious;
}

bool StandInManager::isInventoryReady(int iteration) {
    readinessPasses.push_back(iteration);
    return iteration >= readyFromPass;
}

namespace {

std::map<int, vokResourceManager*>& standIns() {
    static std::map<int, vokResourceManager*> managers;
    return managers;
}

}  // namespace

void standInFor(int id, vokResourceManager* manager) {
    standIns()[id] = manager;
}

// Stands before the library's own for this program and the library itself.
vokResourceManager* vokFactory::createInstance(int id) {
    const auto found = standIns().find(id);
    if (found != standIns().end()) return found->second;
    using Create = vokResourceManager* (*)(vokFactory*, int);
    static const auto create =
        reinterpret_cast<Create>(::dlsym(RTLD_NEXT, "_ZN10vokFactory14createInstanceEi"));
    return create(this, id);
}
