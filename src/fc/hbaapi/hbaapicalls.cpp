// The functions that take a handle. Each is one call of the same pattern.
#include <type_traits>

#include "fc/hbaapi/hbaapilib.h"
#include "fc/hbaapi/hbaapitables.h"

namespace {

// Checks the handle and calls the library's handler with the vendor's handle that is in use.
template <typename Result, typename... Parameters>
HBA_STATUS callByHandle(Result (*HBA_ENTRYPOINTS::*member)(HBA_HANDLE, Parameters...), const char* function,
                        HBA_HANDLE handle, Parameters... arguments) {
    HBA_UINT32 libraryIndex = 0;
    HBA_HANDLE vendorHandle = 0;
    const HBA_STATUS status = HBA_CheckLibrary(handle, libraryIndex, vendorHandle);
    if (status != HBA_STATUS_OK) return status;
    HBALibrary& library = librarytable()[libraryIndex];
    const auto handler = library.entryPoints.*member;
    if (!handler) return HBA_STATUS_ERROR_NOT_SUPPORTED;
    if constexpr (std::is_void_v<Result>) {
        callVendor(library, function, handler, vendorHandle, arguments...);
        return HBA_STATUS_OK;
    } else {
        library.lastResult = callVendor(library, function, handler, vendorHandle, arguments...);
        return library.lastResult;
    }
}

}  // namespace

void HBA_CloseAdapter(HBA_HANDLE handle) {
    callByHandle(&HBA_ENTRYPOINTS::CloseAdapterHandler, __func__, handle);
}
HBA_STATUS HBA_GetAdapterAttributes(HBA_HANDLE handle, HBA_ADAPTERATTRIBUTES* attributes) {
    return callByHandle(&HBA_ENTRYPOINTS::GetAdapterAttributesHandler, __func__, handle, attributes);
}
HBA_STATUS HBA_GetAdapterPortAttributes(HBA_HANDLE handle, HBA_UINT32 port, HBA_PORTATTRIBUTES* attributes) {
    return callByHandle(&HBA_ENTRYPOINTS::GetAdapterPortAttributesHandler, __func__, handle, port,
                        attributes);
}
HBA_STATUS HBA_GetPortStatistics(HBA_HANDLE handle, HBA_UINT32 port, HBA_PORTSTATISTICS* statistics) {
    return callByHandle(&HBA_ENTRYPOINTS::GetPortStatisticsHandler, __func__, handle, port, statistics);
}
HBA_STATUS HBA_GetDiscoveredPortAttributes(HBA_HANDLE handle, HBA_UINT32 port, HBA_UINT32 discoveredPort,
                                           HBA_PORTATTRIBUTES* attributes) {
    return callByHandle(&HBA_ENTRYPOINTS::GetDiscoveredPortAttributesHandler, __func__, handle, port,
                        discoveredPort, attributes);
}
HBA_STATUS HBA_GetPortAttributesByWWN(HBA_HANDLE handle, HBA_WWN wwn, HBA_PORTATTRIBUTES* attributes) {
    return callByHandle(&HBA_ENTRYPOINTS::GetPortAttributesByWWNHandler, __func__, handle, wwn, attributes);
}
HBA_STATUS HBA_SendCTPassThru(HBA_HANDLE handle, void* request, HBA_UINT32 requestSize, void* response,
                              HBA_UINT32 responseSize) {
    return callByHandle(&HBA_ENTRYPOINTS::SendCTPassThruHandler, __func__, handle, request, requestSize,
                        response, responseSize);
}
HBA_STATUS HBA_GetEventBuffer(HBA_HANDLE handle, HBA_EVENTINFO* events, HBA_UINT32* count) {
    return callByHandle(&HBA_ENTRYPOINTS::GetEventBufferHandler, __func__, handle, events, count);
}
HBA_STATUS HBA_SetRNIDMgmtInfo(HBA_HANDLE handle, HBA_MGMTINFO information) {
    return callByHandle(&HBA_ENTRYPOINTS::SetRNIDMgmtInfoHandler, __func__, handle, information);
}
HBA_STATUS HBA_GetRNIDMgmtInfo(HBA_HANDLE handle, HBA_MGMTINFO* information) {
    return callByHandle(&HBA_ENTRYPOINTS::GetRNIDMgmtInfoHandler, __func__, handle, information);
}
HBA_STATUS HBA_SendRNID(HBA_HANDLE handle, HBA_WWN wwn, HBA_WWNTYPE type, void* response, HBA_UINT32* size) {
    return callByHandle(&HBA_ENTRYPOINTS::SendRNIDHandler, __func__, handle, wwn, type, response, size);
}
void HBA_RefreshInformation(HBA_HANDLE handle) {
    callByHandle(&HBA_ENTRYPOINTS::RefreshInformationHandler, __func__, handle);
}
void HBA_ResetStatistics(HBA_HANDLE handle, HBA_UINT32 port) {
    callByHandle(&HBA_ENTRYPOINTS::ResetStatisticsHandler, __func__, handle, port);
}
HBA_STATUS HBA_GetFcpTargetMapping(HBA_HANDLE handle, HBA_FCPTARGETMAPPING* mapping) {
    return callByHandle(&HBA_ENTRYPOINTS::GetFcpTargetMappingHandler, __func__, handle, mapping);
}
HBA_STATUS HBA_GetFcpPersistentBinding(HBA_HANDLE handle, HBA_FCPBINDING* binding) {
    return callByHandle(&HBA_ENTRYPOINTS::GetFcpPersistentBindingHandler, __func__, handle, binding);
}
HBA_STATUS HBA_SendScsiInquiry(HBA_HANDLE handle, HBA_WWN wwn, HBA_UINT64 lun, HBA_UINT8 evpd,
                               HBA_UINT32 page, void* response, HBA_UINT32 responseSize, void* sense,
                               HBA_UINT32 senseSize) {
    return callByHandle(&HBA_ENTRYPOINTS::ScsiInquiryHandler, __func__, handle, wwn, lun, evpd, page,
                        response, responseSize, sense, senseSize);
}
HBA_STATUS HBA_SendReportLUNs(HBA_HANDLE handle, HBA_WWN wwn, void* response, HBA_UINT32 responseSize,
                              void* sense, HBA_UINT32 senseSize) {
    return callByHandle(&HBA_ENTRYPOINTS::ReportLUNsHandler, __func__, handle, wwn, response, responseSize,
                        sense, senseSize);
}
HBA_STATUS HBA_SendReadCapacity(HBA_HANDLE handle, HBA_WWN wwn, HBA_UINT64 lun, void* response,
                                HBA_UINT32 responseSize, void* sense, HBA_UINT32 senseSize) {
    return callByHandle(&HBA_ENTRYPOINTS::ReadCapacityHandler, __func__, handle, wwn, lun, response,
                        responseSize, sense, senseSize);
}
