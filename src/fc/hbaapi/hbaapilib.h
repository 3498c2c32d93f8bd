// The common layer of the SNIA Common HBA API: one set of functions over the libraries of all adapter
// vendors. The libraries are those of /etc/config/mev/vok/hba.conf, one a line: name, tab or blank, path.
//
// The functions bear the standard's names with C++ linkage: a C symbol of such a name in the agent would
// take the place of a vendor library's own function of that name.
//
// One thread uses this layer; nothing is locked. A handle is (index of the library << 16 | the low half of
// the vendor's handle). A function that takes one returns 3 for a bad handle, 1 for a library that is not
// loaded, HBA_STATUS_ERROR_NOT_SUPPORTED if the library has no such function, else what that returns. It
// acts on the adapter that was opened last in the handle's library, whichever handle of that library it gets.
#pragma once

#include "fc/hbaapi/hbaapi.h"

// --- libraries ---

// 0, or 1 if the list of libraries can't be opened. A library that can't be used is left out, with a warning.
// A second call frees the libraries of the first one and begins at entry 0 again.
HBA_STATUS HBA_LoadLibrary();
// The result of the last vendor's function, or 0. The list of adapters stays as it is until they are counted
// or the libraries loaded again, but none of them can be opened.
HBA_STATUS HBA_FreeLibrary();
HBA_UINT32 HBA_GetVersion();  // 1
// 0 with the index of the handle's library and the vendor's handle in use; otherwise 3 or 1, see above.
HBA_STATUS HBA_CheckLibrary(HBA_HANDLE handle, HBA_UINT32& libraryIndex, HBA_HANDLE& vendorHandle);

// --- adapters ---

// Lists the adapters of all libraries anew. An adapter whose name can't be read is listed without one.
HBA_UINT32 HBA_GetNumberOfAdapters();
// Stores the name, for which `name` has room of hbaNameLength; 6 for an index beyond the last adapter.
HBA_STATUS HBA_GetAdapterName(HBA_UINT32 index, char* name);
// Stores the path of the adapter's library as it is listed, for which `path` has room of hbaPathLength, and
// the vendor's handle in use; 6 for an index beyond the last adapter.
HBA_STATUS HBA_GetLibraryPath(HBA_UINT32 index, char* path, HBA_HANDLE* vendorHandle);
// 0 if no adapter has this name or its library can't open adapters. The low half is 0 if the vendor's handle
// is: the library has failed to open the adapter.
HBA_HANDLE HBA_OpenAdapter(char* name);
void HBA_CloseAdapter(HBA_HANDLE handle);

// --- functions of the vendors' libraries ---

HBA_STATUS HBA_GetAdapterAttributes(HBA_HANDLE handle, HBA_ADAPTERATTRIBUTES* attributes);
HBA_STATUS HBA_GetAdapterPortAttributes(HBA_HANDLE handle, HBA_UINT32 port, HBA_PORTATTRIBUTES* attributes);
HBA_STATUS HBA_GetPortStatistics(HBA_HANDLE handle, HBA_UINT32 port, HBA_PORTSTATISTICS* statistics);
HBA_STATUS HBA_GetDiscoveredPortAttributes(HBA_HANDLE handle, HBA_UINT32 port, HBA_UINT32 discoveredPort,
                                           HBA_PORTATTRIBUTES* attributes);
HBA_STATUS HBA_GetPortAttributesByWWN(HBA_HANDLE handle, HBA_WWN wwn, HBA_PORTATTRIBUTES* attributes);
HBA_STATUS HBA_SendCTPassThru(HBA_HANDLE handle, void* request, HBA_UINT32 requestSize, void* response,
                              HBA_UINT32 responseSize);
HBA_STATUS HBA_GetEventBuffer(HBA_HANDLE handle, HBA_EVENTINFO* events, HBA_UINT32* count);
HBA_STATUS HBA_SetRNIDMgmtInfo(HBA_HANDLE handle, HBA_MGMTINFO information);
HBA_STATUS HBA_GetRNIDMgmtInfo(HBA_HANDLE handle, HBA_MGMTINFO* information);
HBA_STATUS HBA_SendRNID(HBA_HANDLE handle, HBA_WWN wwn, HBA_WWNTYPE type, void* response, HBA_UINT32* size);
void HBA_RefreshInformation(HBA_HANDLE handle);
void HBA_ResetStatistics(HBA_HANDLE handle, HBA_UINT32 port);
HBA_STATUS HBA_GetFcpTargetMapping(HBA_HANDLE handle, HBA_FCPTARGETMAPPING* mapping);
HBA_STATUS HBA_GetFcpPersistentBinding(HBA_HANDLE handle, HBA_FCPBINDING* binding);
HBA_STATUS HBA_SendScsiInquiry(HBA_HANDLE handle, HBA_WWN wwn, HBA_UINT64 lun, HBA_UINT8 evpd,
                               HBA_UINT32 page, void* response, HBA_UINT32 responseSize, void* sense,
                               HBA_UINT32 senseSize);
HBA_STATUS HBA_SendReportLUNs(HBA_HANDLE handle, HBA_WWN wwn, void* response, HBA_UINT32 responseSize,
                              void* sense, HBA_UINT32 senseSize);
HBA_STATUS HBA_SendReadCapacity(HBA_HANDLE handle, HBA_WWN wwn, HBA_UINT64 lun, void* response,
                                HBA_UINT32 responseSize, void* sense, HBA_UINT32 senseSize);
