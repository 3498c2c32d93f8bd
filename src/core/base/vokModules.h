// Resource ids and names, and the state and health of a resource with their texts.
#pragma once

#include <cstdint>
#include <map>

enum MODULE_NAME : std::int32_t {
    FIBRE_CHANNEL_DEVICES = 0,
    HOST_OS_INFO = 1,
    STORAGE_CONTROLLERS = 2,
    ETHERNET_DEVICES = 3,
    NVME_CONTROLLERS = 4,
    GPU_DEVICES = 5,
    INFINIBAND_DEVICES = 6,
    TRUSTED_PLATFORM_MODULE = 7,
    PROCESSOR_TELEMETRY = 100,
    MEMORY_TELEMETRY = 101,
    NETWORK_TELEMETRY = 102,
    STORAGE_TELEMETRY = 103,
    FILE_SERVICE_TELEMETRY = 104,
    NUMASTAT_TELEMETRY = 105,
};

// The name of each resource and the settings that may name it. Its manager is bound by
// core/vokResourceRows.cpp.
struct vokModule {
    MODULE_NAME id;
    const char* name;
    bool canBeEnabled;        // EnableResources may name it; the other names are reserved
    bool hasRefreshInterval;  // CacheRefreshInSeconds may name it
};

// In the order of the ids.
inline constexpr vokModule vokModules[] = {
    {FIBRE_CHANNEL_DEVICES, "FibreChannelDevices", true, true},
    {HOST_OS_INFO, "HostOSInfo", true, true},
    {STORAGE_CONTROLLERS, "StorageControllers", true, true},
    {ETHERNET_DEVICES, "EthernetDevices", true, true},
    {NVME_CONTROLLERS, "NVMeControllers", false, true},
    {GPU_DEVICES, "GPUDevices", false, true},
    {INFINIBAND_DEVICES, "InfiniBandDevices", false, true},
    {TRUSTED_PLATFORM_MODULE, "TrustedPlatformModule", false, false},
    {PROCESSOR_TELEMETRY, "ProcessorTelemetry", false, false},
    {MEMORY_TELEMETRY, "MemoryTelemetry", false, false},
    {NETWORK_TELEMETRY, "NetworkTelemetry", false, false},
    {STORAGE_TELEMETRY, "StorageTelemetry", false, false},
    {FILE_SERVICE_TELEMETRY, "FileServiceTelemetry", false, false},
    {NUMASTAT_TELEMETRY, "NumastatTelemetry", false, false},
};

// The row of a resource id, or null.
const vokModule* vokFindModule(int id);
// The id of a resource, or -1 for a name that no resource has.
int vokFindModuleId(const char* name);

// The name of each resource.
extern const std::map<MODULE_NAME, const char*> VOK_MODULE_NAME_MAP;

enum VOK_RESOURCE_STATE : std::int32_t {
    VOK_STATE_UNKNOWN = 0,
    VOK_STATE_BYPASSED,
    VOK_STATE_CANCEL,
    VOK_STATE_CANCEL_RECOVERY,
    VOK_STATE_CREATED,
    VOK_STATE_DEGRADED,
    VOK_STATE_DELETED,
    VOK_STATE_DELETED_RECOVERY,
    VOK_STATE_DIAGNOSTIC_MODE,
    VOK_STATE_DOWN,
    VOK_STATE_ERROR,
    VOK_STATE_FAILED,
    VOK_STATE_LINKDOWN,
    VOK_STATE_LOOPBACK,
    VOK_STATE_OFFLINE,
    VOK_STATE_ONLINE,
    VOK_STATE_OPTIMAL,
    VOK_STATE_OTHER,
    VOK_STATE_PARTIALLY_DEGRADED,
    VOK_STATE_PREDICTIVE_FAILURE,
    VOK_STATE_REBUILD,
    VOK_STATE_RECOVERING,
    VOK_STATE_RECOVERY,
    VOK_STATE_RUNNING,
    VOK_STATE_UNCONFIGURED_BAD,
};

enum VOK_RESOURCE_HEALTH : std::int32_t {
    VOK_HEALTH_UNKNOWN = 0,
    VOK_HEALTH_CRITICAL,
    VOK_HEALTH_OK,
    VOK_HEALTH_WARNING,
};

// The values of the JSON keys State and Health. Unused entries of the state table are null.
extern const char* const vokResourceStateMap[32];
extern const char* const vokResourceHealthMap[4];
