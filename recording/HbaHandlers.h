// The handlers of a Fibre Channel library: names, parameters, and what each returns if there is no answer.
#pragma once

#include <tuple>

#include "fc/hbaapi/hbaapi.h"
#include "recording/LibraryParameters.h"

namespace recording {

// A handler, by its member of HBA_ENTRYPOINTS.
template <auto member>
struct HbaHandler {
    const char* name;
    HBA_STATUS failure = HBA_STATUS_ERROR;
};

template <typename Record>
LibraryParameter changedRecord(const char* name, Record* record) {
    return changedBytes(name, record, sizeof(Record));
}

inline LibraryParameter readWwn(const HBA_WWN& wwn) {
    return readBytes("wwn", wwn.wwn, sizeof(wwn.wwn));
}

using HbaTable = HBA_ENTRYPOINTS;

inline LibraryParameters parametersOf(HbaHandler<&HbaTable::GetVersionHandler>) {
    return {};
}
inline LibraryParameters parametersOf(HbaHandler<&HbaTable::LoadLibraryHandler>) {
    return {};
}
inline LibraryParameters parametersOf(HbaHandler<&HbaTable::FreeLibraryHandler>) {
    return {};
}
inline LibraryParameters parametersOf(HbaHandler<&HbaTable::GetNumberOfAdaptersHandler>) {
    return {};
}
inline LibraryParameters parametersOf(HbaHandler<&HbaTable::GetAdapterNameHandler>, HBA_UINT32 index,
                                      char* name) {
    return {readNumber("index", index), changedText("name", name, hbaNameLength)};
}
inline LibraryParameters parametersOf(HbaHandler<&HbaTable::OpenAdapterHandler>, char* name) {
    return {readText("name", name)};
}
inline LibraryParameters parametersOf(HbaHandler<&HbaTable::CloseAdapterHandler>, HBA_HANDLE handle) {
    return {readNumber("handle", handle)};
}
inline LibraryParameters parametersOf(HbaHandler<&HbaTable::GetAdapterAttributesHandler>, HBA_HANDLE handle,
                                      HBA_ADAPTERATTRIBUTES* attributes) {
    return {readNumber("handle", handle), changedRecord("attributes", attributes)};
}
inline LibraryParameters parametersOf(HbaHandler<&HbaTable::GetAdapterPortAttributesHandler>,
                                      HBA_HANDLE handle, HBA_UINT32 port, HBA_PORTATTRIBUTES* attributes) {
    return {readNumber("handle", handle), readNumber("port", port), changedRecord("attributes", attributes)};
}
inline LibraryParameters parametersOf(HbaHandler<&HbaTable::GetPortStatisticsHandler>, HBA_HANDLE handle,
                                      HBA_UINT32 port, HBA_PORTSTATISTICS* statistics) {
    return {readNumber("handle", handle), readNumber("port", port), changedRecord("statistics", statistics)};
}
inline LibraryParameters parametersOf(HbaHandler<&HbaTable::GetDiscoveredPortAttributesHandler>,
                                      HBA_HANDLE handle, HBA_UINT32 port, HBA_UINT32 discoveredPort,
                                      HBA_PORTATTRIBUTES* attributes) {
    return {readNumber("handle", handle), readNumber("port", port),
            readNumber("discoveredPort", discoveredPort), changedRecord("attributes", attributes)};
}
inline LibraryParameters parametersOf(HbaHandler<&HbaTable::GetPortAttributesByWWNHandler>, HBA_HANDLE handle,
                                      HBA_WWN wwn, HBA_PORTATTRIBUTES* attributes) {
    return {readNumber("handle", handle), readWwn(wwn), changedRecord("attributes", attributes)};
}
inline LibraryParameters parametersOf(HbaHandler<&HbaTable::SendCTPassThruHandler>, HBA_HANDLE handle,
                                      void* request, HBA_UINT32 requestSize, void* response,
                                      HBA_UINT32 responseSize) {
    return {readNumber("handle", handle), readBytes("request", request, requestSize),
            readNumber("responseSize", responseSize), changedBytes("response", response, responseSize)};
}
inline LibraryParameters parametersOf(HbaHandler<&HbaTable::RefreshInformationHandler>, HBA_HANDLE handle) {
    return {readNumber("handle", handle)};
}
inline LibraryParameters parametersOf(HbaHandler<&HbaTable::ResetStatisticsHandler>, HBA_HANDLE handle,
                                      HBA_UINT32 port) {
    return {readNumber("handle", handle), readNumber("port", port)};
}
inline LibraryParameters parametersOf(HbaHandler<&HbaTable::GetFcpTargetMappingHandler>, HBA_HANDLE handle,
                                      HBA_FCPTARGETMAPPING* mapping) {
    return {readNumber("handle", handle),
            changedCount("entries", mapping ? &mapping->NumberOfEntries : nullptr)};
}
inline LibraryParameters parametersOf(HbaHandler<&HbaTable::GetFcpPersistentBindingHandler>,
                                      HBA_HANDLE handle, HBA_FCPBINDING* binding) {
    return {readNumber("handle", handle),
            changedCount("entries", binding ? &binding->NumberOfEntries : nullptr)};
}
inline LibraryParameters parametersOf(HbaHandler<&HbaTable::GetEventBufferHandler>, HBA_HANDLE handle,
                                      HBA_EVENTINFO* events, HBA_UINT32* count) {
    return {readNumber("handle", handle), changedCount("count", count),
            changedBytes("events", events, count ? *count * sizeof(*events) : 0)};
}
inline LibraryParameters parametersOf(HbaHandler<&HbaTable::SetRNIDMgmtInfoHandler>, HBA_HANDLE handle,
                                      HBA_MGMTINFO information) {
    return {readNumber("handle", handle), readBytes("information", &information, sizeof(information))};
}
inline LibraryParameters parametersOf(HbaHandler<&HbaTable::GetRNIDMgmtInfoHandler>, HBA_HANDLE handle,
                                      HBA_MGMTINFO* information) {
    return {readNumber("handle", handle), changedRecord("information", information)};
}
inline LibraryParameters parametersOf(HbaHandler<&HbaTable::SendRNIDHandler>, HBA_HANDLE handle, HBA_WWN wwn,
                                      HBA_WWNTYPE type, void* response, HBA_UINT32* size) {
    return {readNumber("handle", handle), readWwn(wwn), readNumber("type", type), changedCount("size", size),
            changedBytes("response", response, size ? *size : 0)};
}
inline LibraryParameters parametersOf(HbaHandler<&HbaTable::ScsiInquiryHandler>, HBA_HANDLE handle,
                                      HBA_WWN wwn, HBA_UINT64 lun, HBA_UINT8 evpd, HBA_UINT32 page,
                                      void* response, HBA_UINT32 responseSize, void* sense,
                                      HBA_UINT32 senseSize) {
    return {readNumber("handle", handle),
            readWwn(wwn),
            readNumber("lun", lun),
            readNumber("evpd", evpd),
            readNumber("page", page),
            readNumber("responseSize", responseSize),
            changedBytes("response", response, responseSize),
            changedBytes("sense", sense, senseSize)};
}
inline LibraryParameters parametersOf(HbaHandler<&HbaTable::ReportLUNsHandler>, HBA_HANDLE handle,
                                      HBA_WWN wwn, void* response, HBA_UINT32 responseSize, void* sense,
                                      HBA_UINT32 senseSize) {
    return {readNumber("handle", handle), readWwn(wwn), readNumber("responseSize", responseSize),
            changedBytes("response", response, responseSize), changedBytes("sense", sense, senseSize)};
}
inline LibraryParameters parametersOf(HbaHandler<&HbaTable::ReadCapacityHandler>, HBA_HANDLE handle,
                                      HBA_WWN wwn, HBA_UINT64 lun, void* response, HBA_UINT32 responseSize,
                                      void* sense, HBA_UINT32 senseSize) {
    return {readNumber("handle", handle),
            readWwn(wwn),
            readNumber("lun", lun),
            readNumber("responseSize", responseSize),
            changedBytes("response", response, responseSize),
            changedBytes("sense", sense, senseSize)};
}

// All, in the order of the table.
inline constexpr std::tuple hbaHandlers{
    HbaHandler<&HbaTable::GetVersionHandler>{"GetVersionHandler", 0},
    HbaHandler<&HbaTable::LoadLibraryHandler>{"LoadLibraryHandler"},
    HbaHandler<&HbaTable::FreeLibraryHandler>{"FreeLibraryHandler"},
    HbaHandler<&HbaTable::GetNumberOfAdaptersHandler>{"GetNumberOfAdaptersHandler", 0},
    HbaHandler<&HbaTable::GetAdapterNameHandler>{"GetAdapterNameHandler"},
    HbaHandler<&HbaTable::OpenAdapterHandler>{"OpenAdapterHandler", 0},
    HbaHandler<&HbaTable::CloseAdapterHandler>{"CloseAdapterHandler"},
    HbaHandler<&HbaTable::GetAdapterAttributesHandler>{"GetAdapterAttributesHandler"},
    HbaHandler<&HbaTable::GetAdapterPortAttributesHandler>{"GetAdapterPortAttributesHandler"},
    HbaHandler<&HbaTable::GetPortStatisticsHandler>{"GetPortStatisticsHandler"},
    HbaHandler<&HbaTable::GetDiscoveredPortAttributesHandler>{"GetDiscoveredPortAttributesHandler"},
    HbaHandler<&HbaTable::GetPortAttributesByWWNHandler>{"GetPortAttributesByWWNHandler"},
    HbaHandler<&HbaTable::SendCTPassThruHandler>{"SendCTPassThruHandler"},
    HbaHandler<&HbaTable::RefreshInformationHandler>{"RefreshInformationHandler"},
    HbaHandler<&HbaTable::ResetStatisticsHandler>{"ResetStatisticsHandler"},
    HbaHandler<&HbaTable::GetFcpTargetMappingHandler>{"GetFcpTargetMappingHandler"},
    HbaHandler<&HbaTable::GetFcpPersistentBindingHandler>{"GetFcpPersistentBindingHandler"},
    HbaHandler<&HbaTable::GetEventBufferHandler>{"GetEventBufferHandler"},
    HbaHandler<&HbaTable::SetRNIDMgmtInfoHandler>{"SetRNIDMgmtInfoHandler"},
    HbaHandler<&HbaTable::GetRNIDMgmtInfoHandler>{"GetRNIDMgmtInfoHandler"},
    HbaHandler<&HbaTable::SendRNIDHandler>{"SendRNIDHandler"},
    HbaHandler<&HbaTable::ScsiInquiryHandler>{"ScsiInquiryHandler"},
    HbaHandler<&HbaTable::ReportLUNsHandler>{"ReportLUNsHandler"},
    HbaHandler<&HbaTable::ReadCapacityHandler>{"ReadCapacityHandler"},
};
static_assert(std::tuple_size_v<decltype(hbaHandlers)> == sizeof(HbaTable) / sizeof(void (*)()));

}  // namespace recording
