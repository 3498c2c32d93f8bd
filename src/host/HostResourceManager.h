// The resource manager of the host itself: names, version, addresses and memory of the operating system as
// one inventory object, and the events that tell the management controller of a boot and of how the last
// shutdown went.
#pragma once

#include <atomic>
#include <string>
#include <vector>

#include "core/vokCachedResourceManager.h"
#include "host/vokHostOSInfo.h"

class HostResourceManager final : public vokCachedResourceManager {
public:
    // Lives as long as the process.
    static HostResourceManager* getInstance();

    // Raises the boot and shutdown events, then runs the loop until the manager is stopped.
    void init() override;
    void createJsonStringUsingJsonCpp() override;

    // A copy of the manager's records: one after the first build. Waits while a build runs.
    std::vector<vokHostOSInfo> getHostInventory();
    // Fills one record and puts it on the list.
    void populateHostInfo();
    void populateCollectionInfo();
    // Total and free memory in GiB, each a whole number; empty on failure.
    std::vector<double> getTotalPhysicalMemory();
    // The addresses of all interfaces but "lo", in the order of the system, and a debug line for each.
    std::vector<std::string> getIPAddress();

    // Works out, 20 seconds after its call, whether the system has booted since the last run, and raises the
    // events for it. Then the startup record takes this run's start as the last one.
    void genOSBootLogic();
    // The number behind the key in the startup record, 0 if none.
    long readStartupValue(std::string key);
    // Raises event `id` with sample values.
    void generateTestEvent(int id);

    static constexpr char hostMemFile[] = "/opt/mev/vok/data/vok-mem.txt";
    static constexpr char esxtopconf[] = "/opt/mev/vok/data/esxtopconf";

private:
    HostResourceManager();

    long refreshInterval() override;
    void onTimeOut(time_t now, long refreshSeconds) override;
    void destroyRecords() override;
    gathered gather() override;
    std::size_t recordCount() override;

    static std::atomic<bool> stopHost;
    static bool getTotalPhysicalMemoryFailureLogged;  // one failure line stands for the whole run

    std::vector<vokHostOSInfo> HostInventory;  // under mlock
    vokCollectionInfo collectionInfo;          // under mlock
};
