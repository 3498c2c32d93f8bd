// The types of the SNIA Common HBA API, version 1 (T11 FC-HBA), as a vendor's library has them. Every record
// that holds no LUN is the same for both ABIs, so vok-simhost fills it and the library copies it.
#pragma once

#include <cstddef>
#include <cstdint>

namespace fc {

inline constexpr bool is32Bit = sizeof(void*) == 4;

using Handle = std::uint32_t;
using Status = std::uint32_t;

enum : Status {
    statusOk = 0,
    statusError = 1,
    statusNotSupported = 2,
    statusInvalidHandle = 3,
    statusIllegalWwn = 5,
    statusIllegalIndex = 6,
    statusUnavailable = 12,
    statusNotLoaded = 31,
};

enum PortState : std::uint32_t {
    portUnknown = 1,
    portOnline = 2,
    portOffline = 3,
    portBypassed = 4,
    portDiagnostics = 5,
    portLinkDown = 6,
    portError = 7,
    portLoopback = 8,
    portDegraded = 9,
};

inline constexpr std::size_t nameSize = 256;  // of an adapter's name, with its NUL

struct Wwn {
    std::uint8_t bytes[8];
};
static_assert(sizeof(Wwn) == 8 && alignof(Wwn) == 1);

struct AdapterAttributes {
    char manufacturer[64];
    char serialNumber[64];
    char model[256];
    char modelDescription[256];
    Wwn nodeWwn;
    char nodeSymbolicName[256];
    char hardwareVersion[256];
    char driverVersion[256];
    char optionRomVersion[256];
    char firmwareVersion[256];
    std::uint32_t vendorSpecificId;
    std::uint32_t numberOfPorts;
    char driverName[256];
};
static_assert(offsetof(AdapterAttributes, serialNumber) == 64 && offsetof(AdapterAttributes, model) == 128);
static_assert(offsetof(AdapterAttributes, modelDescription) == 384);
static_assert(offsetof(AdapterAttributes, nodeWwn) == 640);
static_assert(offsetof(AdapterAttributes, nodeSymbolicName) == 648);
static_assert(offsetof(AdapterAttributes, hardwareVersion) == 904);
static_assert(offsetof(AdapterAttributes, driverVersion) == 1160);
static_assert(offsetof(AdapterAttributes, optionRomVersion) == 1416);
static_assert(offsetof(AdapterAttributes, firmwareVersion) == 1672);
static_assert(offsetof(AdapterAttributes, vendorSpecificId) == 1928);
static_assert(offsetof(AdapterAttributes, numberOfPorts) == 1932);
static_assert(offsetof(AdapterAttributes, driverName) == 1936 && sizeof(AdapterAttributes) == 2192);

struct PortAttributes {
    Wwn nodeWwn;
    Wwn portWwn;
    std::uint32_t portFcId;
    std::uint32_t portType;
    std::uint32_t portState;
    std::uint32_t classesOfService;
    std::uint8_t supportedFc4Types[32];
    std::uint8_t activeFc4Types[32];
    char portSymbolicName[256];
    char osDeviceName[256];
    std::uint32_t supportedSpeed;
    std::uint32_t speed;
    std::uint32_t maxFrameSize;
    Wwn fabricName;
    std::uint32_t discoveredPorts;
};
static_assert(offsetof(PortAttributes, portWwn) == 8 && offsetof(PortAttributes, portFcId) == 16);
static_assert(offsetof(PortAttributes, portType) == 20 && offsetof(PortAttributes, portState) == 24);
static_assert(offsetof(PortAttributes, classesOfService) == 28);
static_assert(offsetof(PortAttributes, supportedFc4Types) == 32);
static_assert(offsetof(PortAttributes, activeFc4Types) == 64);
static_assert(offsetof(PortAttributes, portSymbolicName) == 96);
static_assert(offsetof(PortAttributes, osDeviceName) == 352);
static_assert(offsetof(PortAttributes, supportedSpeed) == 608 && offsetof(PortAttributes, speed) == 612);
static_assert(offsetof(PortAttributes, maxFrameSize) == 616 && offsetof(PortAttributes, fabricName) == 620);
static_assert(offsetof(PortAttributes, discoveredPorts) == 628 && sizeof(PortAttributes) == 632);

struct PortStatistics {
    std::int64_t counters[15];
};
static_assert(sizeof(PortStatistics) == 120);

struct ScsiId {
    char osDeviceName[256];
    std::uint32_t bus;
    std::uint32_t target;
    std::uint32_t lun;
};
static_assert(sizeof(ScsiId) == 268);

struct FcpId {
    std::uint32_t fcId;
    Wwn nodeWwn;
    Wwn portWwn;
    std::uint64_t lun;
};
static_assert(sizeof(FcpId) == (is32Bit ? 28 : 32));

struct TargetMapping {
    std::uint32_t numberOfEntries;
    struct {
        ScsiId scsiId;
        FcpId fcpId;
    } entries[1];
};
static_assert(sizeof(TargetMapping) == (is32Bit ? 300 : 312));

struct PersistentBinding {
    std::uint32_t numberOfEntries;
    struct {
        std::uint32_t type;
        ScsiId scsiId;
        FcpId fcpId;
        std::uint32_t fcId;
    } entries[1];
};
static_assert(sizeof(PersistentBinding) == (is32Bit ? 308 : 320));

struct EventInfo {
    std::uint32_t code;
    std::uint32_t event[4];
};
static_assert(sizeof(EventInfo) == 20);

struct ManagementInfo {
    Wwn wwn;
    std::uint32_t unitType;
    std::uint32_t portId;
    std::uint32_t attachedNodes;
    std::uint16_t ipVersion;
    std::uint16_t udpPort;
    std::uint8_t ipAddress[16];
    std::uint16_t reserved;
    std::uint16_t topologyDiscoveryFlags;
};
static_assert(sizeof(ManagementInfo) == 44);

// What HBA_RegisterLibrary fills.
struct EntryPoints {
    std::uint32_t (*getVersion)();
    Status (*loadLibrary)();
    Status (*freeLibrary)();
    std::uint32_t (*getNumberOfAdapters)();
    Status (*getAdapterName)(std::uint32_t index, char* name);
    Handle (*openAdapter)(char* name);
    void (*closeAdapter)(Handle handle);
    Status (*getAdapterAttributes)(Handle handle, AdapterAttributes* attributes);
    Status (*getAdapterPortAttributes)(Handle handle, std::uint32_t port, PortAttributes* attributes);
    Status (*getPortStatistics)(Handle handle, std::uint32_t port, PortStatistics* statistics);
    Status (*getDiscoveredPortAttributes)(Handle handle, std::uint32_t port, std::uint32_t discovered,
                                          PortAttributes* attributes);
    Status (*getPortAttributesByWwn)(Handle handle, Wwn wwn, PortAttributes* attributes);
    Status (*sendCtPassThru)(Handle handle, void* request, std::uint32_t requestSize, void* response,
                             std::uint32_t responseSize);
    void (*refreshInformation)(Handle handle);
    void (*resetStatistics)(Handle handle, std::uint32_t port);
    Status (*getFcpTargetMapping)(Handle handle, TargetMapping* mapping);
    Status (*getFcpPersistentBinding)(Handle handle, PersistentBinding* binding);
    Status (*getEventBuffer)(Handle handle, EventInfo* events, std::uint32_t* count);
    Status (*setRnidMgmtInfo)(Handle handle, ManagementInfo info);
    Status (*getRnidMgmtInfo)(Handle handle, ManagementInfo* info);
    Status (*sendRnid)(Handle handle, Wwn wwn, std::uint32_t wwnType, void* response, std::uint32_t* size);
    Status (*scsiInquiry)(Handle handle, Wwn wwn, std::uint64_t lun, std::uint8_t vital, std::uint32_t page,
                          void* response, std::uint32_t responseSize, void* sense, std::uint32_t senseSize);
    Status (*reportLuns)(Handle handle, Wwn wwn, void* response, std::uint32_t responseSize, void* sense,
                         std::uint32_t senseSize);
    Status (*readCapacity)(Handle handle, Wwn wwn, std::uint64_t lun, void* response,
                           std::uint32_t responseSize, void* sense, std::uint32_t senseSize);
};
static_assert(sizeof(EntryPoints) == 24 * sizeof(void*));
static_assert(offsetof(EntryPoints, openAdapter) == 5 * sizeof(void*));
static_assert(offsetof(EntryPoints, getAdapterPortAttributes) == 8 * sizeof(void*));
static_assert(offsetof(EntryPoints, sendCtPassThru) == 12 * sizeof(void*));
static_assert(offsetof(EntryPoints, getEventBuffer) == 17 * sizeof(void*));
static_assert(offsetof(EntryPoints, readCapacity) == 23 * sizeof(void*));

}  // namespace fc
