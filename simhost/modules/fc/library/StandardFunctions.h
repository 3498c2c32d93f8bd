// The functions of the standard's names that the second vendor's library exports. They are defined in another
// source than they are called in, so each call goes to whatever the dynamic linker finds first: a program
// with C functions of these names would get the calls.
#pragma once

#include "modules/fc/library/StandIn.h"

VOK_ENTRY_POINT std::uint32_t HBA_GetVersion();
VOK_ENTRY_POINT fc::Status HBA_LoadLibrary();
VOK_ENTRY_POINT fc::Status HBA_FreeLibrary();
VOK_ENTRY_POINT std::uint32_t HBA_GetNumberOfAdapters();
VOK_ENTRY_POINT fc::Status HBA_GetAdapterName(std::uint32_t index, char* name);
VOK_ENTRY_POINT fc::Handle HBA_OpenAdapter(char* name);
VOK_ENTRY_POINT void HBA_CloseAdapter(fc::Handle handle);
VOK_ENTRY_POINT fc::Status HBA_GetAdapterAttributes(fc::Handle handle, fc::AdapterAttributes* attributes);
VOK_ENTRY_POINT fc::Status HBA_GetAdapterPortAttributes(fc::Handle handle, std::uint32_t port,
                                                        fc::PortAttributes* attributes);
VOK_ENTRY_POINT fc::Status HBA_GetPortStatistics(fc::Handle handle, std::uint32_t port,
                                                 fc::PortStatistics* statistics);
VOK_ENTRY_POINT fc::Status HBA_GetDiscoveredPortAttributes(fc::Handle handle, std::uint32_t port,
                                                           std::uint32_t discovered,
                                                           fc::PortAttributes* attributes);
VOK_ENTRY_POINT fc::Status HBA_GetPortAttributesByWWN(fc::Handle handle, fc::Wwn wwn,
                                                      fc::PortAttributes* attributes);
VOK_ENTRY_POINT fc::Status HBA_SendCTPassThru(fc::Handle handle, void* request, std::uint32_t requestSize,
                                              void* response, std::uint32_t responseSize);
VOK_ENTRY_POINT void HBA_RefreshInformation(fc::Handle handle);
VOK_ENTRY_POINT void HBA_ResetStatistics(fc::Handle handle, std::uint32_t port);
VOK_ENTRY_POINT fc::Status HBA_GetFcpTargetMapping(fc::Handle handle, fc::TargetMapping* mapping);
VOK_ENTRY_POINT fc::Status HBA_GetFcpPersistentBinding(fc::Handle handle, fc::PersistentBinding* binding);
VOK_ENTRY_POINT fc::Status HBA_GetEventBuffer(fc::Handle handle, fc::EventInfo* events, std::uint32_t* count);
VOK_ENTRY_POINT fc::Status HBA_SetRNIDMgmtInfo(fc::Handle handle, fc::ManagementInfo info);
VOK_ENTRY_POINT fc::Status HBA_GetRNIDMgmtInfo(fc::Handle handle, fc::ManagementInfo* info);
VOK_ENTRY_POINT fc::Status HBA_SendRNID(fc::Handle handle, fc::Wwn wwn, std::uint32_t wwnType, void* response,
                                        std::uint32_t* size);
VOK_ENTRY_POINT fc::Status HBA_SendScsiInquiry(fc::Handle handle, fc::Wwn wwn, std::uint64_t lun,
                                               std::uint8_t vital, std::uint32_t page, void* response,
                                               std::uint32_t responseSize, void* sense,
                                               std::uint32_t senseSize);
VOK_ENTRY_POINT fc::Status HBA_SendReportLUNs(fc::Handle handle, fc::Wwn wwn, void* response,
                                              std::uint32_t responseSize, void* sense,
                                              std::uint32_t senseSize);
VOK_ENTRY_POINT fc::Status HBA_SendReadCapacity(fc::Handle handle, fc::Wwn wwn, std::uint64_t lun,
                                                void* response, std::uint32_t responseSize, void* sense,
                                                std::uint32_t senseSize);
