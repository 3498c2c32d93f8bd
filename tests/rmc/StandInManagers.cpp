#include "rmc/StandInManagers.h"

#include <cstddef>

#include "core/inventory/vokResources.h"

bool StandInManager::getInventoryJsonObject(std::vector<Json::Value>& out) {
    reads.emplace_back("all");
    out = elements;
    return isPrevious != 0;
}

int StandInManager::getInventoryJsonObject2(int type, std::vector<Json::Value>& out) {
    reads.push_back("type " + std::to_string(type));
    out = elementsByType[type];
    return isPrevious;
}

bool StandInManager::isInventoryReady(int iteration) {
    readinessPasses.push_back(iteration);
    return iteration >= readyFromPass;
}

namespace {

constexpr int resourceIds = 8;
vokResourceManager* standIns[resourceIds];
bool isStandIn[resourceIds];
vokResource::Manager originals[resourceIds];
vokResource rows[resourceIds];

// The manager function of a row: returns the stand-in for the resource, or the agent's own manager.
template <int id>
vokResourceManager* managerOf() {
    if (isStandIn[id]) return standIns[id];
    return originals[id] ? originals[id]() : nullptr;
}

constexpr vokResource::Manager managers[resourceIds] = {managerOf<0>, managerOf<1>, managerOf<2>,
                                                        managerOf<3>, managerOf<4>, managerOf<5>,
                                                        managerOf<6>, managerOf<7>};

// Binds the agent's own rows with these managers.
void bindOnce() {
    static const bool bound = [] {
        std::size_t count = 0;
        for (const vokResource& row : vokResources()) {
            originals[row.id] = row.manager;
            rows[count++] = row.managedBy(managers[row.id]);
        }
        vokBindResources(vokResourceTable(rows));
        return true;
    }();
    static_cast<void>(bound);
}

}  // namespace

void standInFor(int id, vokResourceManager* manager) {
    bindOnce();
    standIns[id] = manager;
    isStandIn[id] = true;
}
