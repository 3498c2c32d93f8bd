// The resource manager of the Fibre Channel adapters: lists them through the common HBA layer, adds what the
// host's PCI list and firmware say about their functions, and raises an event when the state of a port
// differs from that of the previous build. Its members are implemented in four sources: opening and reading
// an adapter in FCAdapters.cpp, its state and the rules of its events in FCEventRules.cpp, the events
// themselves in FCEvents.cpp, all else in FCResourceManager.cpp.
#pragma once

#include <json/value.h>
#include <atomic>
#include <ctime>
#include <map>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "core/inventory/vokCachedResourceManager.h"
#include "fc/hbaapi/hbaapilib.h"
#include "fc/vokFCDeviceInfo.h"

// What a port can be for the rules of the events.
enum fcState {
    fcLinkDown = 0,
    fcError = 1,
    fcOffline = 2,
    fcOnline = 3,
    fcDiagnostic = 4,
    fcLoopback = 5,
    fcBypassed = 6,
};

class FCResourceManager : public vokCachedResourceManager {
public:
    // Lives as long as the process.
    static FCResourceManager* getInstance();

    // --- the adapters; buildLock is held, as the HBA layer is not locked ---

    static void loadLibrary();
    // Counts the adapters of the HBA layer.
    void discoverInstances();
    // Opens the adapter of the record's index, and sets its name and handle. False also for a handle whose
    // lowest byte is 0; that adapter stays open.
    static bool openAdapter(vokFCDeviceInfo& adapter);
    static void closeAdapter(HBA_HANDLE handle);
    // Fills the record of an open adapter. Returns 0, or the status of HBA_GetAdapterAttributes. Ports that
    // can't be read are skipped; those after the stop of the agent was requested are not read.
    HBA_STATUS getFcHbaData(vokFCDeviceInfo& adapter);
    // The part number on this platform for the four ids in hexadecimal, or empty.
    static std::string getFcaHostCntlrPartNumber(const std::string& vendor, const std::string& device,
                                                 const std::string& subVendor, const std::string& subDevice);
    // "PCI 0000:3b:00.0 r001u05p2i03" and the physical location of a PCI address.
    static std::pair<std::string, std::string> getOemValues(const std::string& pciAddress);
    // "50:06:0b:00:00:c2:62:00"
    static std::string WWNtoString(const HBA_UINT8 (&bytes)[8]);

    // True if an adapter has another port state than in the last build. Takes buildLock. By rule only those
    // adapters are looked at that openAdapter() reports as failed, and none is closed, so that most changes
    // are found by the next build.
    bool waitOnPortState();

    // --- state and events ---

    // The state of an HBA_PORTSTATE, and the health of a state.
    static VOK_RESOURCE_STATE getState(int portState);
    static VOK_RESOURCE_HEALTH getHealth(VOK_RESOURCE_STATE state);
    // The event of a change of state; number 0 for none. Sets `isService` for an event that requires service
    // and leaves it otherwise. A state without an entry enters fcStateToEnumMap.
    static void fetchFCEventInfo(VOK_RESOURCE_STATE current, VOK_RESOURCE_STATE previous, int& eventId,
                                 bool& isService);
    // The same for an adapter in this state, compared with those records of the previous build that have its
    // node name. Leaves both results if none of them differs. mlock is held.
    void compareStatusAndFetchEventAttributes(VOK_RESOURCE_STATE state, VOK_RESOURCE_HEALTH health,
                                              const std::string& wwnn, int& eventId, bool& isService);
    // The description of an event; 0 stands for an injected event.
    static std::string getDescription(int eventId);
    static void jsonInventory(Json::Value& out, const vokFCDeviceInfo& adapter);
    static Json::Value getVariableData(const vokFCDeviceInfo& adapter, int eventId);
    // Raises the event on a client's request, with a sample adapter at `location`.
    static void generateTestEvent(int eventId, std::string location);

    void createJsonStringUsingJsonCpp() override;

    // By the text of a state. Any other state that a port is seen in is added as link down, for the life of
    // the process. Under mlock.
    static std::map<std::string, fcState> fcStateToEnumMap;

protected:
    bool wasStarted() override;
    void prepare() override;
    void onTimeOut(time_t now, long refreshSeconds) override;
    void betweenWaits(bool buildWanted) override;
    gathered gather() override;
    bool runsWithoutRecords() override;

private:
    using Ids = std::pair<std::string, std::string>;

    FCResourceManager();
    ~FCResourceManager() = default;

    // True once no further call to a vendor's library may begin.
    static bool isStopping();
    static void generateEvent(int eventId, bool isService, const vokFCDeviceInfo& adapter);
    // Adds the record of one adapter and raises its event. Returns early once the stop is requested.
    void gatherFrom(int index);
    // Sets model and part number from the ids of the adapter's PCI function, and its manufacturer.
    void identify(vokFCDeviceInfo& adapter, const std::string& address);

    static std::atomic<bool> stopFC;

    vokRecordHistory<vokFCDeviceInfo> adapters{recordStores};
    std::vector<vokFCDeviceInfo>& FCInventory = adapters.current;

    bool inited = false;  // of the manager's thread
    std::once_flag mapsFilled;
    std::once_flag libraryLoaded;
    std::atomic<bool> checkPortState{false};  // set under cmutex
    std::atomic<int> NumFcaEntries{0};        // written under buildLock

    // Under buildLock.
    int NumAdapters = 0;
    std::map<int, VOK_RESOURCE_STATE> portStates;  // last seen, by index
    // By PCI address. The ids of a function don't change while the host runs, and each query runs a command.
    std::map<std::string, Ids> vendorDevice;
    std::map<std::string, Ids> subVendorDevice;
};
