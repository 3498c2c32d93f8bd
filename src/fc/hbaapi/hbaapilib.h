// The common layer of the SNIA Common HBA API: one set of functions over the libraries of all adapter
// vendors. The libraries are those of /etc/config/mev/vok/hba.conf, one a line: name, tab or blank, path.
//
// The functions bear the standard's names with C++ linkage: a C symbol of such a name in the agent would
// take the place of a vendor library's own function of that name.
//
// One thread uses this layer; nothing is locked. A handle is (index of the library << 16 | the low half of
// the vendor's handle). A function that takes one returns 3 for a bad handle, 1 for a library that is not
// loaded, HBA_STATUS_ERROR_NOT_SUPPORTED if the library has no such function, else what that returns.
#pragma once

#include "fc/hbaapi/hbaapi.h"

inline constexpr HBA_UINT32 hbaNameLength = 256;  // of an adapter's name, with its NUL

// 0, or 1 if the list of libraries can't be opened. A second call begins at entry 0 again.
HBA_STATUS HBA_LoadLibrary();
// The result of the last vendor's function, or 0.
HBA_STATUS HBA_FreeLibrary();
HBA_UINT32 HBA_GetVersion();  // 1
HBA_UINT32 HBA_GetNumberOfAdapters();
// Stores a text of less than hbaNameLength characters; 6 for an index beyond the last adapter.
HBA_STATUS HBA_GetAdapterName(HBA_UINT32 index, char* name);
// 0 if no adapter has this name or its library can't open adapters.
HBA_HANDLE HBA_OpenAdapter(char* name);
void HBA_CloseAdapter(HBA_HANDLE handle);
HBA_STATUS HBA_GetAdapterAttributes(HBA_HANDLE handle, HBA_ADAPTERATTRIBUTES* attributes);
HBA_STATUS HBA_GetAdapterPortAttributes(HBA_HANDLE handle, HBA_UINT32 port, HBA_PORTATTRIBUTES* attributes);
