// The whole system with storage alone, for the tests of what happens to its controllers and disks.
#pragma once

#include <string>
#include <vector>

#include "system/SimulatedSystem.h"

class StorageSystem : public SimulatedSystem {
protected:
    using Texts = std::vector<std::string>;

    static Json::Value storageSettings();
    // Starts the host and its controller. An answer of the controller may be as late as 20 s.
    void startHostOfStorage(const Json::Value& settings = storageSettings(),
                            const std::string& host = "rack-node");
    // Starts the agent, and waits for the pushes that the start brings.
    void startAgentOfStorage();

    // So many more after those of the start.
    int waitForInventory(int more) { return waitFor("inventory", first + more); }
    // A section of an inventory, counted from the last one of the start: "SERIAL STATE/HEALTH" of each
    // element.
    Texts listed(int more, const char* section) const;
    // The elements of a section of an inventory, counted likewise.
    Json::Value elements(int more, const char* section) const;

    // An event in short: number, location, serial number and text.
    static std::string inShort(const char* id, const std::string& location, const std::string& serial,
                               const std::string& text);
    Texts eventsInShort() const;

    void expectAGracefulEndWithoutAViolation();

    int first = 1;  // the number of the last inventory that the start brings
    static constexpr char poll[] = "SAS_RM: Polling devices.";
};
