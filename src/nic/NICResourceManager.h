// The resource manager of the Ethernet adapters: lists the host's network interfaces, keeps a record of
// each, checks once between two builds whether a link has changed, and raises an event when the state or
// health of a port differs from that of the previous build. Its members are implemented in three sources:
// its queries to the host in NICInterfaceList.cpp, its events in NICEvents.cpp, all else in
// NICResourceManager.cpp.
#pragma once

#include <json/value.h>
#include <atomic>
#include <string>
#include <vector>

#include "core/inventory/vokCachedResourceManager.h"
#include "nic/NICEventMonitor.h"
#include "nic/NICPhysicalAdapter.h"
#include "nic/PhyAdapterInventory.h"

class NICResourceManager : public vokCachedResourceManager {
public:
    // Lives as long as the process.
    static NICResourceManager* getInstance();

    // The words of each line of the host's interface list; none if the list is not available.
    void getInterfaceDetails(std::vector<std::vector<std::string>>& out);
    // Replaces the records; mlock is held.
    void getInventory();
    // True if the host reports a link status of some interface that differs from its record.
    bool checkLinkState();
    // Raises the events for what has changed since the previous build. Waits for their delivery with mlock
    // held, so that readers get the previous inventory meanwhile without waiting.
    void compareStatusAndGenerateEvent();

    // A copy of the record of an interface, or a default record. Waits while a build runs.
    PhyAdapterInventory getHealthOfIntf(const char* interfaceName);
    // Overwrites state and health of an interface in the inventory until the next build.
    void updateStateAndHealth(const char* intf, std::string state, std::string health);

    // The description of an event; 0 stands for an injected event.
    static std::string getDescription(int eventId);
    // Adds the keys of one adapter to `out`.
    static void populateInventory(Json::Value& out, const PhyAdapterInventory& adapter);
    static Json::Value getVariableData(const PhyAdapterInventory& adapter, int eventId);
    void generateEvent(int eventId, std::string partNumber, bool isService, std::string physicalLocation,
                       PhyAdapterInventory adapter);
    // Raises the event on a client's request, with a sample adapter at `location`.
    void generateTestEvent(int eventId, std::string location);
    void createJsonStringUsingJsonCpp() override;

protected:
    void prepare() override;
    long wakeInterval(long refreshSeconds) override;
    void onTimeOut(time_t now, long refreshSeconds) override;
    void betweenWaits(bool buildWanted) override;
    gathered gather() override;
    void afterBuild() override;
    void tearDown() override;

private:
    NICResourceManager();
    ~NICResourceManager() = default;

    // The record of an interface, or null; mlock is held.
    PhyAdapterInventory* findRecord(const std::string& interfaceName);

    static std::atomic<bool> stopNIC;

    vokRecordHistory<PhyAdapterInventory> adapters{recordStores};
    std::vector<PhyAdapterInventory>& _NICInfo = adapters.current;
    std::vector<PhyAdapterInventory>& _prevNICInfo = adapters.previous;
    NICPhysicalAdapter physicalAdapter;  // under mlock
    std::atomic<bool> checkNICState{false};
    NICEventMonitor eventMonitor;
};
