// Managers of the test's own in the place of those that the library has or lacks.
#pragma once

#include <json/value.h>
#include <map>
#include <string>
#include <vector>

#include "core/inventory/vokResourceManager.h"

// Answers with what the test sets, and notes what it was asked for.
class StandInManager final : public vokResourceManager {
public:
    std::vector<Json::Value> elements;                       // of getInventoryJsonObject
    std::map<int, std::vector<Json::Value>> elementsByType;  // of getInventoryJsonObject2
    int isPrevious = 0;                                      // what both return
    int readyFromPass = 0;
    std::vector<std::string> asked;
    std::vector<int> readinessPasses;

    void cacheBuild() override {}
    void stopResourceManagerJob() override {}
    void init() override {}
    void startInventory() override {}
    bool getInventoryJsonObject(std::vector<Json::Value>& out) override;
    int getInventoryJsonObject2(int type, std::vector<Json::Value>& out) override;
    bool isRunning() override { return true; }
    bool isInventoryReady(int iteration) override;
};

// From here on the factory gives `manager` for `id`, which may also be null or an id without a manager.
void standInFor(int id, vokResourceManager* manager);
