// libvokfca.so: exports nothing but HBA_RegisterLibrary.
#include "modules/fc/library/StandIn.h"

namespace fc {

const std::uint8_t ownLibrary = 0;

namespace {

constexpr EntryPoints handlers = {
    getVersion,
    loadLibrary,
    freeLibrary,
    getNumberOfAdapters,
    getAdapterName,
    openAdapter,
    closeAdapter,
    getAdapterAttributes,
    getAdapterPortAttributes,
    getPortStatistics,
    getDiscoveredPortAttributes,
    getPortAttributesByWwn,
    sendCtPassThru,
    refreshInformation,
    resetStatistics,
    getFcpTargetMapping,
    getFcpPersistentBinding,
    getEventBuffer,
    setRnidMgmtInfo,
    getRnidMgmtInfo,
    sendRnid,
    scsiInquiry,
    reportLuns,
    readCapacity,
};

}  // namespace

}  // namespace fc

VOK_ENTRY_POINT fc::Status HBA_RegisterLibrary(fc::EntryPoints* table) {
    return fc::registerLibrary(fc::handlers, table);
}
