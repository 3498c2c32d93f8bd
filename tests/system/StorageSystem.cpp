#include "system/StorageSystem.h"

#include <csignal>
#include <sstream>

Json::Value StorageSystem::storageSettings() {
    Json::Value settings = usualSettings();
    settings["EnableResources"][0] = "StorageControllers";
    settings["InventoryQueryIntervalInSeconds"] = "10";  // the first builds have ended by then
    return settings;
}

void StorageSystem::startHostOfStorage(const Json::Value& settings, const std::string& host) {
    startHostAlone(settings, usualSpeed, {"--ipmi-timeout", "20"}, host);
    startController();
}

void StorageSystem::startAgentOfStorage() {
    startAgentAndWaitForItsPush();
    // The first build requests a push, which comes as a second one if the first one is under way. A poll
    // that has begun comes after the build that the poll before it has caused.
    ASSERT_TRUE(waitForLog(poll, timesLogged(poll) + 1));
    first = 1 + timesLogged("JSON_AGGR: Request to send inventory");
    ASSERT_EQ(waitFor("inventory", first), 0);
}

Json::Value StorageSystem::elements(int more, const char* section) const {
    Json::Value document;
    std::istringstream(inventoryText(first + more)) >> document;
    return document["HostDataCollection"][section];
}

StorageSystem::Texts StorageSystem::listed(int more, const char* section) const {
    Texts texts;
    for (const Json::Value& element : elements(more, section))
        texts.push_back(element["SerialNumber"].asString() + " " + element["Status"]["State"].asString() +
                        "/" + element["Status"]["Health"].asString());
    return texts;
}

std::string StorageSystem::inShort(const char* id, const std::string& location, const std::string& serial,
                                   const std::string& text) {
    return std::string(id) + " [" + location + "] " + serial + ": " + text;
}

StorageSystem::Texts StorageSystem::eventsInShort() const {
    Texts all;
    for (const Json::Value& event : eventObjects()) {
        const Json::Value& variable = event["VariableData"];
        all.push_back(inShort(event["ID"].asString().c_str(), event["PhysicalLocation"].asString(),
                              variable["Data"]["SerialNumber"].asString(), variable["EventInfo"].asString()));
    }
    return all;
}

void StorageSystem::expectAGracefulEndWithoutAViolation() {
    EXPECT_EQ(stopAgent(), 0);
    EXPECT_EQ(controllerCount("violations"), 0) << controllerProgram.errors();
    EXPECT_EQ(controllerCount("abandonedTransfers"), 0);
    EXPECT_EQ(timesLogged("FAILURE in logging event to RMC"), 0);
}
