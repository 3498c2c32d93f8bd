#include "modules/fc/library/StandardFunctions.h"

std::uint32_t HBA_GetVersion() {
    return fc::getVersion();
}

fc::Status HBA_LoadLibrary() {
    return fc::loadLibrary();
}

fc::Status HBA_FreeLibrary() {
    return fc::freeLibrary();
}

std::uint32_t HBA_GetNumberOfAdapters() {
    return fc::getNumberOfAdapters();
}

fc::Status HBA_GetAdapterName(std::uint32_t index, char* name) {
    return fc::getAdapterName(index, name);
}

fc::Handle HBA_OpenAdapter(char* name) {
    return fc::openAdapter(name);
}

void HBA_CloseAdapter(fc::Handle handle) {
    fc::closeAdapter(handle);
}

fc::Status HBA_GetAdapterAttributes(fc::Handle handle, fc::AdapterAttributes* attributes) {
    return fc::getAdapterAttributes(handle, attributes);
}

fc::Status HBA_GetAdapterPortAttributes(fc::Handle handle, std::uint32_t port,
                                        fc::PortAttributes* attributes) {
    return fc::getAdapterPortAttributes(handle, port, attributes);
}

fc::Status HBA_GetPortStatistics(fc::Handle handle, std::uint32_t port, fc::PortStatistics* statistics) {
    return fc::getPortStatistics(handle, port, statistics);
}

fc::Status HBA_GetDiscoveredPortAttributes(fc::Handle handle, std::uint32_t port, std::uint32_t discovered,
                                           fc::PortAttributes* attributes) {
    return fc::getDiscoveredPortAttributes(handle, port, discovered, attributes);
}

fc::Status HBA_GetPortAttributesByWWN(fc::Handle handle, fc::Wwn wwn, fc::PortAttributes* attributes) {
    return fc::getPortAttributesByWwn(handle, wwn, attributes);
}

fc::Status HBA_SendCTPassThru(fc::Handle handle, void* request, std::uint32_t requestSize, void* response,
                              std::uint32_t responseSize) {
    return fc::sendCtPassThru(handle, request, requestSize, response, responseSize);
}

void HBA_RefreshInformation(fc::Handle handle) {
    fc::refreshInformation(handle);
}

void HBA_ResetStatistics(fc::Handle handle, std::uint32_t port) {
    fc::resetStatistics(handle, port);
}

fc::Status HBA_GetFcpTargetMapping(fc::Handle handle, fc::TargetMapping* mapping) {
    return fc::getFcpTargetMapping(handle, mapping);
}

fc::Status HBA_GetFcpPersistentBinding(fc::Handle handle, fc::PersistentBinding* binding) {
    return fc::getFcpPersistentBinding(handle, binding);
}

fc::Status HBA_GetEventBuffer(fc::Handle handle, fc::EventInfo* events, std::uint32_t* count) {
    return fc::getEventBuffer(handle, events, count);
}

fc::Status HBA_SetRNIDMgmtInfo(fc::Handle handle, fc::ManagementInfo info) {
    return fc::setRnidMgmtInfo(handle, info);
}

fc::Status HBA_GetRNIDMgmtInfo(fc::Handle handle, fc::ManagementInfo* info) {
    return fc::getRnidMgmtInfo(handle, info);
}

fc::Status HBA_SendRNID(fc::Handle handle, fc::Wwn wwn, std::uint32_t wwnType, void* response,
                        std::uint32_t* size) {
    return fc::sendRnid(handle, wwn, wwnType, response, size);
}

fc::Status HBA_SendScsiInquiry(fc::Handle handle, fc::Wwn wwn, std::uint64_t lun, std::uint8_t vital,
                               std::uint32_t page, void* response, std::uint32_t responseSize, void* sense,
                               std::uint32_t senseSize) {
    return fc::scsiInquiry(handle, wwn, lun, vital, page, response, responseSize, sense, senseSize);
}

fc::Status HBA_SendReportLUNs(fc::Handle handle, fc::Wwn wwn, void* response, std::uint32_t responseSize,
                              void* sense, std::uint32_t senseSize) {
    return fc::reportLuns(handle, wwn, response, responseSize, sense, senseSize);
}

fc::Status HBA_SendReadCapacity(fc::Handle handle, fc::Wwn wwn, std::uint64_t lun, void* response,
                                std::uint32_t responseSize, void* sense, std::uint32_t senseSize) {
    return fc::readCapacity(handle, wwn, lun, response, responseSize, sense, senseSize);
}
