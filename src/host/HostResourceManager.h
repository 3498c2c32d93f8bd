// The resource manager of the host's operating system: its names, version, addresses and memory. On its
// thread it also determines, once, whether the host has just booted and how the last run ended.
#pragma once

#include <atomic>
#include <string>
#include <vector>

#include "core/inventory/vokCachedResourceManager.h"
#include "host/vokHostOSInfo.h"

class HostResourceManager : public vokCachedResourceManager {
public:
    // Lives as long as the process.
    static HostResourceManager* getInstance();

    // Compares the startup record with the time of the host's boot, raises the events for a boot, and
    // records this run's start as the last one. Takes twenty seconds.
    void genOSBootLogic();
    // The number of a key in the startup record; 0 if there is none.
    long readStartupValue(std::string key);
    // Raises the event on a client's request, whatever the state of the host.
    void generateTestEvent(int id);

    // A copy of the records: one, once a build has ended. Waits while a build runs.
    std::vector<vokHostOSInfo> getHostInventory();
    // Add the one record of the list, and fill the collection information; mlock is held.
    void populateHostInfo();
    void populateCollectionInfo();
    void createJsonStringUsingJsonCpp() override;
    // The addresses of all interfaces but "lo", each logged.
    std::vector<std::string> getIPAddress();
    // Total and free memory in whole GiB; empty if no sample is available.
    std::vector<double> getTotalPhysicalMemory();

protected:
    void prepare() override;
    long refreshInterval() override;
    void onTimeOut(time_t now, long refreshSeconds) override;
    gathered gather() override;

private:
    HostResourceManager();
    ~HostResourceManager() = default;

    static std::atomic<bool> stopHost;
    static bool getTotalPhysicalMemoryFailureLogged;  // logged once in a run

    vokRecords<vokHostOSInfo> hostInventory{recordStores};
    vokCollectionInfo collectionInfo;  // under mlock
};
