#include "core/base/vokModules.h"

const std::map<MODULE_NAME, const char*> VOK_MODULE_NAME_MAP = {
    {FIBRE_CHANNEL_DEVICES, "FibreChannelDevices"},
    {HOST_OS_INFO, "HostOSInfo"},
    {STORAGE_CONTROLLERS, "StorageControllers"},
    {ETHERNET_DEVICES, "EthernetDevices"},
    {NVME_CONTROLLERS, "NVMeControllers"},
    {GPU_DEVICES, "GPUDevices"},
    {INFINIBAND_DEVICES, "InfiniBandDevices"},
    {TRUSTED_PLATFORM_MODULE, "TrustedPlatformModule"},
    {PROCESSOR_TELEMETRY, "ProcessorTelemetry"},
    {MEMORY_TELEMETRY, "MemoryTelemetry"},
    {NETWORK_TELEMETRY, "NetworkTelemetry"},
    {STORAGE_TELEMETRY, "StorageTelemetry"},
    {FILE_SERVICE_TELEMETRY, "FileServiceTelemetry"},
    {NUMASTAT_TELEMETRY, "NumastatTelemetry"},
};

const char* const vokResourceStateMap[32] = {
    "Unknown",             // 0
    "Bypassed",            // 1
    "Cancel",              // 2
    "Cancel/Recovery",     // 3
    "Created",             // 4
    "Degraded",            // 5
    "Deleted",             // 6
    "Deleted/Recovery",    // 7
    "Diagnostic mode",     // 8
    "Down",                // 9
    "Error",               // 10
    "Failed",              // 11
    "Linkdown",            // 12
    "Loopback",            // 13
    "Offline",             // 14
    "Online",              // 15
    "Optimal",             // 16
    "Other",               // 17
    "Partially degraded",  // 18
    "Predictive failure",  // 19
    "Rebuild",             // 20
    "Recovering",          // 21
    "Recovery",            // 22
    "Running",             // 23
    "Unconfigured bad",    // 24
};

const char* const vokResourceHealthMap[4] = {
    "Unknown",   // 0
    "Critical",  // 1
    "OK",        // 2
    "Warning",   // 3
};
