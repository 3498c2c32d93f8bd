// The storage manager with a factory whose controllers do what a test says.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "storage/SASResourceManager.h"
#include "storage/ScriptedStorage.h"
#include "storage/StorageFixture.h"

class StorageManager : public StorageFixture {
protected:
    StorageManager() { factory.calls = &calls; }
    ~StorageManager() override { SASResourceManager::Factories::_registryList().clear(); }

    bool managerLogged(const std::string& line) const { return hasLogged(host, "DEBUG SAS_RM: " + line); }
    long timesManagerLogged(const std::string& line) const {
        return countLogged(host, "DEBUG SAS_RM: " + line);
    }
    std::vector<Json::Value> documents(int type) {
        std::vector<Json::Value> out;
        manager.getInventoryJsonObject2(type, out);
        return out;
    }
    // Runs the manager's loop. `wait` is called in each wait with its number from 1; true ends the loop.
    void run(std::function<bool(int)> wait) {
        clock.onTimedWait = [this, wait](const timespec&) {
            if (!wait(++waits)) return false;
            clock.failReads(endlessly);  // ends the loop
            return false;
        };
        manager.init();
        clock.failReads(0);
    }
    long builds() const { return timesManagerLogged("Building storage cache."); }
    long polls() const { return timesManagerLogged("Polling devices."); }

    static constexpr int endlessly = 1000000;

    CallList calls;
    ScriptedFactory factory;
    SASResourceManager::Factories registration{&factory};
    SASResourceManager& manager = *SASResourceManager::getInstance();
    int waits = 0;
};
