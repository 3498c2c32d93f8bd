// The types of the SNIA Common HBA API, version 1 (T11 FC-HBA), as a vendor's library and the common layer
// exchange them. The names are those of the standard.
#pragma once

#include <cstddef>
#include <cstdint>

using HBA_UINT8 = std::uint8_t;
using HBA_UINT16 = std::uint16_t;
using HBA_UINT32 = std::uint32_t;
using HBA_UINT64 = std::uint64_t;
using HBA_INT32 = std::int32_t;
using HBA_INT64 = std::int64_t;
using HBA_BOOLEAN = HBA_UINT8;
using HBA_HANDLE = HBA_UINT32;  // 0 from HBA_OpenAdapter means failure
using HBA_STATUS = HBA_UINT32;
using HBA_PORTTYPE = HBA_UINT32;
using HBA_PORTSTATE = HBA_UINT32;
using HBA_PORTSPEED = HBA_UINT32;
using HBA_COS = HBA_UINT32;
using HBA_WWNTYPE = HBA_UINT32;

inline constexpr HBA_UINT32 hbaNameLength = 256;  // of an adapter's name, with its NUL
inline constexpr HBA_UINT32 hbaPathLength = 256;  // of a library's path, with its NUL

// Of the statuses those that the common layer makes or tells apart.
inline constexpr HBA_STATUS HBA_STATUS_OK = 0;
inline constexpr HBA_STATUS HBA_STATUS_ERROR = 1;
inline constexpr HBA_STATUS HBA_STATUS_ERROR_NOT_SUPPORTED = 2;
inline constexpr HBA_STATUS HBA_STATUS_ERROR_INVALID_HANDLE = 3;
inline constexpr HBA_STATUS HBA_STATUS_ERROR_ILLEGAL_INDEX = 6;

inline constexpr HBA_PORTSTATE HBA_PORTSTATE_UNKNOWN = 1;
inline constexpr HBA_PORTSTATE HBA_PORTSTATE_ONLINE = 2;
inline constexpr HBA_PORTSTATE HBA_PORTSTATE_OFFLINE = 3;
inline constexpr HBA_PORTSTATE HBA_PORTSTATE_BYPASSED = 4;
inline constexpr HBA_PORTSTATE HBA_PORTSTATE_DIAGNOSTICS = 5;
inline constexpr HBA_PORTSTATE HBA_PORTSTATE_LINKDOWN = 6;
inline constexpr HBA_PORTSTATE HBA_PORTSTATE_ERROR = 7;
inline constexpr HBA_PORTSTATE HBA_PORTSTATE_LOOPBACK = 8;

struct HBA_WWN {
    HBA_UINT8 wwn[8];
};

struct HBA_FC4TYPES {
    HBA_UINT8 bits[32];
};

// A text that fills its field has no NUL.
struct HBA_ADAPTERATTRIBUTES {
    char Manufacturer[64];
    char SerialNumber[64];
    char Model[256];
    char ModelDescription[256];
    HBA_WWN NodeWWN;
    char NodeSymbolicName[256];
    char HardwareVersion[256];
    char DriverVersion[256];
    char OptionROMVersion[256];
    char FirmwareVersion[256];
    HBA_UINT32 VendorSpecificID;
    HBA_UINT32 NumberOfPorts;
    char DriverName[256];
};
static_assert(offsetof(HBA_ADAPTERATTRIBUTES, SerialNumber) == 64);
static_assert(offsetof(HBA_ADAPTERATTRIBUTES, Model) == 128);
static_assert(offsetof(HBA_ADAPTERATTRIBUTES, ModelDescription) == 384);
static_assert(offsetof(HBA_ADAPTERATTRIBUTES, NodeWWN) == 640);
static_assert(offsetof(HBA_ADAPTERATTRIBUTES, NodeSymbolicName) == 648);
static_assert(offsetof(HBA_ADAPTERATTRIBUTES, HardwareVersion) == 904);
static_assert(offsetof(HBA_ADAPTERATTRIBUTES, DriverVersion) == 1160);
static_assert(offsetof(HBA_ADAPTERATTRIBUTES, OptionROMVersion) == 1416);
static_assert(offsetof(HBA_ADAPTERATTRIBUTES, FirmwareVersion) == 1672);
static_assert(offsetof(HBA_ADAPTERATTRIBUTES, VendorSpecificID) == 1928);
static_assert(offsetof(HBA_ADAPTERATTRIBUTES, NumberOfPorts) == 1932);
static_assert(offsetof(HBA_ADAPTERATTRIBUTES, DriverName) == 1936);
static_assert(sizeof(HBA_ADAPTERATTRIBUTES) == 2192);

struct HBA_PORTATTRIBUTES {
    HBA_WWN NodeWWN;
    HBA_WWN PortWWN;
    HBA_UINT32 PortFcId;
    HBA_PORTTYPE PortType;
    HBA_PORTSTATE PortState;
    HBA_COS PortSupportedClassofService;
    HBA_FC4TYPES PortSupportedFc4Types;
    HBA_FC4TYPES PortActiveFc4Types;
    char PortSymbolicName[256];
    char OSDeviceName[256];
    HBA_PORTSPEED PortSupportedSpeed;
    HBA_PORTSPEED PortSpeed;
    HBA_UINT32 PortMaxFrameSize;
    HBA_WWN FabricName;
    HBA_UINT32 NumberofDiscoveredPorts;
};
static_assert(offsetof(HBA_PORTATTRIBUTES, PortWWN) == 8);
static_assert(offsetof(HBA_PORTATTRIBUTES, PortFcId) == 16);
static_assert(offsetof(HBA_PORTATTRIBUTES, PortType) == 20);
static_assert(offsetof(HBA_PORTATTRIBUTES, PortState) == 24);
static_assert(offsetof(HBA_PORTATTRIBUTES, PortSupportedClassofService) == 28);
static_assert(offsetof(HBA_PORTATTRIBUTES, PortSupportedFc4Types) == 32);
static_assert(offsetof(HBA_PORTATTRIBUTES, PortActiveFc4Types) == 64);
static_assert(offsetof(HBA_PORTATTRIBUTES, PortSymbolicName) == 96);
static_assert(offsetof(HBA_PORTATTRIBUTES, OSDeviceName) == 352);
static_assert(offsetof(HBA_PORTATTRIBUTES, PortSupportedSpeed) == 608);
static_assert(offsetof(HBA_PORTATTRIBUTES, PortSpeed) == 612);
static_assert(offsetof(HBA_PORTATTRIBUTES, PortMaxFrameSize) == 616);
static_assert(offsetof(HBA_PORTATTRIBUTES, FabricName) == 620);
static_assert(offsetof(HBA_PORTATTRIBUTES, NumberofDiscoveredPorts) == 628);
static_assert(sizeof(HBA_PORTATTRIBUTES) == 632);

struct HBA_PORTSTATISTICS {
    HBA_INT64 SecondsSinceLastReset;
    HBA_INT64 TxFrames;
    HBA_INT64 TxWords;
    HBA_INT64 RxFrames;
    HBA_INT64 RxWords;
    HBA_INT64 LIPCount;
    HBA_INT64 NOSCount;
    HBA_INT64 ErrorFrames;
    HBA_INT64 DumpedFrames;
    HBA_INT64 LinkFailureCount;
    HBA_INT64 LossOfSyncCount;
    HBA_INT64 LossOfSignalCount;
    HBA_INT64 PrimitiveSeqProtocolErrCount;
    HBA_INT64 InvalidTxWordCount;
    HBA_INT64 InvalidCRCCount;
};
static_assert(sizeof(HBA_PORTSTATISTICS) == 120);

struct HBA_SCSIID {
    char OSDeviceName[256];
    HBA_UINT32 ScsiBusNumber;
    HBA_UINT32 ScsiTargetNumber;
    HBA_UINT32 ScsiOSLun;
};
static_assert(sizeof(HBA_SCSIID) == 268);

struct HBA_FCPID {
    HBA_UINT32 FcId;
    HBA_WWN NodeWWN;
    HBA_WWN PortWWN;
    HBA_UINT64 FcpLun;
};
static_assert(sizeof(HBA_FCPID) == (sizeof(void*) == 4 ? 28 : 32));

struct HBA_FCPSCSIENTRY {
    HBA_SCSIID ScsiId;
    HBA_FCPID FcpId;
};
static_assert(sizeof(HBA_FCPSCSIENTRY) == (sizeof(void*) == 4 ? 296 : 304));

struct HBA_FCPTARGETMAPPING {
    HBA_UINT32 NumberOfEntries;
    HBA_FCPSCSIENTRY entry[1];  // as many as the number tells
};
static_assert(sizeof(HBA_FCPTARGETMAPPING) == (sizeof(void*) == 4 ? 300 : 312));

struct HBA_FCPBINDINGENTRY {
    HBA_UINT32 type;
    HBA_SCSIID ScsiId;
    HBA_FCPID FcpId;
    HBA_UINT32 FcId;
};
static_assert(sizeof(HBA_FCPBINDINGENTRY) == (sizeof(void*) == 4 ? 304 : 312));

struct HBA_FCPBINDING {
    HBA_UINT32 NumberOfEntries;
    HBA_FCPBINDINGENTRY entry[1];  // as many as the number tells
};
static_assert(sizeof(HBA_FCPBINDING) == (sizeof(void*) == 4 ? 308 : 320));

struct HBA_EVENTINFO {
    HBA_UINT32 EventCode;
    HBA_UINT32 Event[4];  // depends on the code
};
static_assert(sizeof(HBA_EVENTINFO) == 20);

struct HBA_MGMTINFO {
    HBA_WWN wwn;
    HBA_UINT32 unittype;
    HBA_UINT32 PortId;
    HBA_UINT32 NumberOfAttachedNodes;
    HBA_UINT16 IPVersion;
    HBA_UINT16 UDPPort;
    HBA_UINT8 IPAddress[16];
    HBA_UINT16 reserved;
    HBA_UINT16 TopologyDiscoveryFlags;
};
static_assert(sizeof(HBA_MGMTINFO) == 44);

// The handlers of a vendor's library, in the order in which HBA_RegisterLibrary fills them.
struct HBA_ENTRYPOINTS {
    HBA_UINT32 (*GetVersionHandler)();
    HBA_STATUS (*LoadLibraryHandler)();
    HBA_STATUS (*FreeLibraryHandler)();
    HBA_UINT32 (*GetNumberOfAdaptersHandler)();
    HBA_STATUS (*GetAdapterNameHandler)(HBA_UINT32 index, char* name);
    HBA_HANDLE (*OpenAdapterHandler)(char* name);
    void (*CloseAdapterHandler)(HBA_HANDLE);
    HBA_STATUS (*GetAdapterAttributesHandler)(HBA_HANDLE, HBA_ADAPTERATTRIBUTES*);
    HBA_STATUS (*GetAdapterPortAttributesHandler)(HBA_HANDLE, HBA_UINT32 port, HBA_PORTATTRIBUTES*);
    HBA_STATUS (*GetPortStatisticsHandler)(HBA_HANDLE, HBA_UINT32 port, HBA_PORTSTATISTICS*);
    HBA_STATUS(*GetDiscoveredPortAttributesHandler)
    (HBA_HANDLE, HBA_UINT32 port, HBA_UINT32 discoveredPort, HBA_PORTATTRIBUTES*);
    HBA_STATUS (*GetPortAttributesByWWNHandler)(HBA_HANDLE, HBA_WWN, HBA_PORTATTRIBUTES*);
    HBA_STATUS(*SendCTPassThruHandler)
    (HBA_HANDLE, void* request, HBA_UINT32 requestSize, void* response, HBA_UINT32 responseSize);
    void (*RefreshInformationHandler)(HBA_HANDLE);
    void (*ResetStatisticsHandler)(HBA_HANDLE, HBA_UINT32 port);
    HBA_STATUS (*GetFcpTargetMappingHandler)(HBA_HANDLE, HBA_FCPTARGETMAPPING*);
    HBA_STATUS (*GetFcpPersistentBindingHandler)(HBA_HANDLE, HBA_FCPBINDING*);
    HBA_STATUS (*GetEventBufferHandler)(HBA_HANDLE, HBA_EVENTINFO*, HBA_UINT32* count);
    HBA_STATUS (*SetRNIDMgmtInfoHandler)(HBA_HANDLE, HBA_MGMTINFO);
    HBA_STATUS (*GetRNIDMgmtInfoHandler)(HBA_HANDLE, HBA_MGMTINFO*);
    HBA_STATUS (*SendRNIDHandler)(HBA_HANDLE, HBA_WWN, HBA_WWNTYPE, void* response, HBA_UINT32* size);
    HBA_STATUS(*ScsiInquiryHandler)
    (HBA_HANDLE, HBA_WWN, HBA_UINT64 lun, HBA_UINT8 evpd, HBA_UINT32 page, void* response,
     HBA_UINT32 responseSize, void* sense, HBA_UINT32 senseSize);
    HBA_STATUS(*ReportLUNsHandler)
    (HBA_HANDLE, HBA_WWN, void* response, HBA_UINT32 responseSize, void* sense, HBA_UINT32 senseSize);
    HBA_STATUS(*ReadCapacityHandler)
    (HBA_HANDLE, HBA_WWN, HBA_UINT64 lun, void* response, HBA_UINT32 responseSize, void* sense,
     HBA_UINT32 senseSize);
};
static_assert(sizeof(HBA_ENTRYPOINTS) == 24 * sizeof(void*));
static_assert(offsetof(HBA_ENTRYPOINTS, GetVersionHandler) == 0 * sizeof(void*));
static_assert(offsetof(HBA_ENTRYPOINTS, LoadLibraryHandler) == 1 * sizeof(void*));
static_assert(offsetof(HBA_ENTRYPOINTS, FreeLibraryHandler) == 2 * sizeof(void*));
static_assert(offsetof(HBA_ENTRYPOINTS, GetNumberOfAdaptersHandler) == 3 * sizeof(void*));
static_assert(offsetof(HBA_ENTRYPOINTS, GetAdapterNameHandler) == 4 * sizeof(void*));
static_assert(offsetof(HBA_ENTRYPOINTS, OpenAdapterHandler) == 5 * sizeof(void*));
static_assert(offsetof(HBA_ENTRYPOINTS, CloseAdapterHandler) == 6 * sizeof(void*));
static_assert(offsetof(HBA_ENTRYPOINTS, GetAdapterAttributesHandler) == 7 * sizeof(void*));
static_assert(offsetof(HBA_ENTRYPOINTS, GetAdapterPortAttributesHandler) == 8 * sizeof(void*));
static_assert(offsetof(HBA_ENTRYPOINTS, GetPortStatisticsHandler) == 9 * sizeof(void*));
static_assert(offsetof(HBA_ENTRYPOINTS, GetDiscoveredPortAttributesHandler) == 10 * sizeof(void*));
static_assert(offsetof(HBA_ENTRYPOINTS, GetPortAttributesByWWNHandler) == 11 * sizeof(void*));
static_assert(offsetof(HBA_ENTRYPOINTS, SendCTPassThruHandler) == 12 * sizeof(void*));
static_assert(offsetof(HBA_ENTRYPOINTS, RefreshInformationHandler) == 13 * sizeof(void*));
static_assert(offsetof(HBA_ENTRYPOINTS, ResetStatisticsHandler) == 14 * sizeof(void*));
static_assert(offsetof(HBA_ENTRYPOINTS, GetFcpTargetMappingHandler) == 15 * sizeof(void*));
static_assert(offsetof(HBA_ENTRYPOINTS, GetFcpPersistentBindingHandler) == 16 * sizeof(void*));
static_assert(offsetof(HBA_ENTRYPOINTS, GetEventBufferHandler) == 17 * sizeof(void*));
static_assert(offsetof(HBA_ENTRYPOINTS, SetRNIDMgmtInfoHandler) == 18 * sizeof(void*));
static_assert(offsetof(HBA_ENTRYPOINTS, GetRNIDMgmtInfoHandler) == 19 * sizeof(void*));
static_assert(offsetof(HBA_ENTRYPOINTS, SendRNIDHandler) == 20 * sizeof(void*));
static_assert(offsetof(HBA_ENTRYPOINTS, ScsiInquiryHandler) == 21 * sizeof(void*));
static_assert(offsetof(HBA_ENTRYPOINTS, ReportLUNsHandler) == 22 * sizeof(void*));
static_assert(offsetof(HBA_ENTRYPOINTS, ReadCapacityHandler) == 23 * sizeof(void*));

// The one symbol of a vendor's library: fills the table and returns a status.
inline constexpr char HBA_RegisterLibrarySymbol[] = "HBA_RegisterLibrary";
using HBA_REGISTERLIBRARY = HBA_STATUS (*)(HBA_ENTRYPOINTS*);
