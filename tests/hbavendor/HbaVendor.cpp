// One adapter with one port. Each handler calls the library's own function of the standard's name.
#include <cstring>

#include "fc/hbaapi/hbaapi.h"

extern "C" {
HBA_UINT32 HBA_GetVersion();
HBA_STATUS HBA_LoadLibrary();
HBA_STATUS HBA_FreeLibrary();
HBA_UINT32 HBA_GetNumberOfAdapters();
HBA_STATUS HBA_GetAdapterName(HBA_UINT32 index, char* name);
HBA_HANDLE HBA_OpenAdapter(char* name);
void HBA_CloseAdapter(HBA_HANDLE handle);
HBA_STATUS HBA_GetAdapterAttributes(HBA_HANDLE handle, HBA_ADAPTERATTRIBUTES* attributes);
HBA_STATUS HBA_GetAdapterPortAttributes(HBA_HANDLE handle, HBA_UINT32 port, HBA_PORTATTRIBUTES* attributes);
HBA_STATUS HBA_RegisterLibrary(HBA_ENTRYPOINTS* table);
}

namespace {

constexpr char adapterName[] = "vendor-own-0";
constexpr HBA_HANDLE adapterHandle = 0x51;
bool isLoaded = false;
bool isOpen = false;

}  // namespace

HBA_UINT32 HBA_GetVersion() {
    return 2;
}

HBA_STATUS HBA_LoadLibrary() {
    if (HBA_GetVersion() != 2) return HBA_STATUS_ERROR;
    isLoaded = true;
    return HBA_STATUS_OK;
}

HBA_STATUS HBA_FreeLibrary() {
    if (!isLoaded) return HBA_STATUS_ERROR;
    isLoaded = false;
    return 77;
}

HBA_UINT32 HBA_GetNumberOfAdapters() {
    return isLoaded ? 1 : 0;
}

HBA_STATUS HBA_GetAdapterName(HBA_UINT32 index, char* name) {
    if (index >= HBA_GetNumberOfAdapters()) return HBA_STATUS_ERROR_ILLEGAL_INDEX;
    std::strcpy(name, adapterName);
    return HBA_STATUS_OK;
}

HBA_HANDLE HBA_OpenAdapter(char* name) {
    char own[256];
    if (HBA_GetAdapterName(0, own) != HBA_STATUS_OK || std::strcmp(own, name) != 0) return 0;
    isOpen = true;
    return adapterHandle;
}

void HBA_CloseAdapter(HBA_HANDLE handle) {
    if (handle == adapterHandle) isOpen = false;
}

HBA_STATUS HBA_GetAdapterAttributes(HBA_HANDLE handle, HBA_ADAPTERATTRIBUTES* attributes) {
    if (!isOpen || handle != adapterHandle) return HBA_STATUS_ERROR_INVALID_HANDLE;
    *attributes = {};
    std::strcpy(attributes->SerialNumber, "VENDOR0001");
    attributes->NumberOfPorts = HBA_GetNumberOfAdapters();
    return HBA_STATUS_OK;
}

HBA_STATUS HBA_GetAdapterPortAttributes(HBA_HANDLE handle, HBA_UINT32 port, HBA_PORTATTRIBUTES* attributes) {
    HBA_ADAPTERATTRIBUTES adapter;
    const HBA_STATUS status = HBA_GetAdapterAttributes(handle, &adapter);
    if (status != HBA_STATUS_OK) return status;
    if (port >= adapter.NumberOfPorts) return HBA_STATUS_ERROR_ILLEGAL_INDEX;
    *attributes = {};
    attributes->PortState = HBA_PORTSTATE_ONLINE;
    return HBA_STATUS_OK;
}

HBA_STATUS HBA_RegisterLibrary(HBA_ENTRYPOINTS* table) {
    *table = {};
    table->GetVersionHandler = HBA_GetVersion;
    table->LoadLibraryHandler = HBA_LoadLibrary;
    table->FreeLibraryHandler = HBA_FreeLibrary;
    table->GetNumberOfAdaptersHandler = HBA_GetNumberOfAdapters;
    table->GetAdapterNameHandler = HBA_GetAdapterName;
    table->OpenAdapterHandler = HBA_OpenAdapter;
    table->CloseAdapterHandler = HBA_CloseAdapter;
    table->GetAdapterAttributesHandler = HBA_GetAdapterAttributes;
    table->GetAdapterPortAttributesHandler = HBA_GetAdapterPortAttributes;
    return HBA_STATUS_OK;
}
