// libvokfcb.so: its handlers call its own functions of the standard's names.
#include "modules/fc/library/StandardFunctions.h"

namespace fc {

const std::uint8_t ownLibrary = 1;

namespace {

template <auto Function>
struct Through;
template <class Result, class... Arguments, Result (*Function)(Arguments...)>
struct Through<Function> {
    static Result call(Arguments... arguments) { return Function(arguments...); }
};

constexpr EntryPoints handlers = {
    Through<HBA_GetVersion>::call,
    Through<HBA_LoadLibrary>::call,
    Through<HBA_FreeLibrary>::call,
    Through<HBA_GetNumberOfAdapters>::call,
    Through<HBA_GetAdapterName>::call,
    Through<HBA_OpenAdapter>::call,
    Through<HBA_CloseAdapter>::call,
    Through<HBA_GetAdapterAttributes>::call,
    Through<HBA_GetAdapterPortAttributes>::call,
    Through<HBA_GetPortStatistics>::call,
    Through<HBA_GetDiscoveredPortAttributes>::call,
    Through<HBA_GetPortAttributesByWWN>::call,
    Through<HBA_SendCTPassThru>::call,
    Through<HBA_RefreshInformation>::call,
    Through<HBA_ResetStatistics>::call,
    Through<HBA_GetFcpTargetMapping>::call,
    Through<HBA_GetFcpPersistentBinding>::call,
    Through<HBA_GetEventBuffer>::call,
    Through<HBA_SetRNIDMgmtInfo>::call,
    Through<HBA_GetRNIDMgmtInfo>::call,
    Through<HBA_SendRNID>::call,
    Through<HBA_SendScsiInquiry>::call,
    Through<HBA_SendReportLUNs>::call,
    Through<HBA_SendReadCapacity>::call,
};

}  // namespace

}  // namespace fc

VOK_ENTRY_POINT fc::Status HBA_RegisterLibrary(fc::EntryPoints* table) {
    return fc::registerLibrary(fc::handlers, table);
}
