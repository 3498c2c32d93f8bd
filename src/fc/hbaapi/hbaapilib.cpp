#include "fc/hbaapi/hbaapilib.h"

HBA_STATUS HBA_LoadLibrary() {
    return HBA_STATUS_ERROR;
}
HBA_STATUS HBA_FreeLibrary() {
    return HBA_STATUS_OK;
}
HBA_UINT32 HBA_GetVersion() {
    return 1;
}
HBA_UINT32 HBA_GetNumberOfAdapters() {
    return 0;
}
HBA_STATUS HBA_GetAdapterName(HBA_UINT32, char*) {
    return HBA_STATUS_ERROR_ILLEGAL_INDEX;
}
HBA_HANDLE HBA_OpenAdapter(char*) {
    return 0;
}
void HBA_CloseAdapter(HBA_HANDLE) {}
HBA_STATUS HBA_GetAdapterAttributes(HBA_HANDLE, HBA_ADAPTERATTRIBUTES*) {
    return HBA_STATUS_ERROR_INVALID_HANDLE;
}
HBA_STATUS HBA_GetAdapterPortAttributes(HBA_HANDLE, HBA_UINT32, HBA_PORTATTRIBUTES*) {
    return HBA_STATUS_ERROR_INVALID_HANDLE;
}
