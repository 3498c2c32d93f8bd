// Managers that a test supplies for any resource, whether the library has a manager for it or not.
#pragma once

#include <json/value.h>
#include <map>
#include <string>
#include <vector>

#include "core/inventory/vokResourceManager.h"

// Returns what the test sets, and records what was read.
class StandInManager final : public vokResourceManager {
public:
    std::vector<Json::Value> elements;                       // of getInventoryJsonObject
    std::map<int, std::vector<Json::Value>> elementsByType;  // of getInventoryJsonObject2
    int isPrevious = 0;                                      // what both return
    int readyFromPass = 0;
    std::vector<std::string> reads;
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

// Makes the factory return `manager`, which may be null, for `id`.
void standInFor(int id, vokResourceManager* manager);
