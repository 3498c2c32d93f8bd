// What the stand-ins of the HBA libraries ask vok-simhost for.
#pragma once

#include <cstdint>
#include <string>

namespace simhost {

// A call of an entry point: library (8 bits, its place in fcLibraries), entry point (8), process (32), handle
// (32), two numbers (32 each), and the bytes of a name. The reply: what the entry point returns (32), then
// the record that it fills; of RegisterLibrary, a bit for each entry point that the table lacks (32).
inline constexpr std::uint32_t fcCall = 0x5A1F0001;

enum class FcReturns : std::uint8_t { status, number, nothing };

// What the rubbish of an entry point is.
enum class FcRubbish : std::uint8_t { none, number, record };

// In the order of the table; the last is the library's one symbol.
enum class FcEntry : std::uint8_t {
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
    registerLibrary,
};

struct FcEntryRow {
    FcEntry entry;
    const char* name;  // the standard's, without "Handler"
    FcReturns returns;
    FcRubbish rubbish;
    bool hasPort;  // its first number is the index of a port
};
inline constexpr FcEntryRow fcEntryRows[] = {
    {FcEntry::getVersion, "GetVersion", FcReturns::number, FcRubbish::number, false},
    {FcEntry::loadLibrary, "LoadLibrary", FcReturns::status, FcRubbish::none, false},
    {FcEntry::freeLibrary, "FreeLibrary", FcReturns::status, FcRubbish::none, false},
    {FcEntry::getNumberOfAdapters, "GetNumberOfAdapters", FcReturns::number, FcRubbish::number, false},
    {FcEntry::getAdapterName, "GetAdapterName", FcReturns::status, FcRubbish::record, false},
    {FcEntry::openAdapter, "OpenAdapter", FcReturns::number, FcRubbish::number, false},
    {FcEntry::closeAdapter, "CloseAdapter", FcReturns::nothing, FcRubbish::none, false},
    {FcEntry::getAdapterAttributes, "GetAdapterAttributes", FcReturns::status, FcRubbish::record, false},
    {FcEntry::getAdapterPortAttributes, "GetAdapterPortAttributes", FcReturns::status, FcRubbish::record,
     true},
    {FcEntry::getPortStatistics, "GetPortStatistics", FcReturns::status, FcRubbish::record, true},
    {FcEntry::getDiscoveredPortAttributes, "GetDiscoveredPortAttributes", FcReturns::status,
     FcRubbish::record, true},
    {FcEntry::getPortAttributesByWwn, "GetPortAttributesByWWN", FcReturns::status, FcRubbish::record, false},
    {FcEntry::sendCtPassThru, "SendCTPassThru", FcReturns::status, FcRubbish::none, false},
    {FcEntry::refreshInformation, "RefreshInformation", FcReturns::nothing, FcRubbish::none, false},
    {FcEntry::resetStatistics, "ResetStatistics", FcReturns::nothing, FcRubbish::none, true},
    {FcEntry::getFcpTargetMapping, "GetFcpTargetMapping", FcReturns::status, FcRubbish::none, false},
    {FcEntry::getFcpPersistentBinding, "GetFcpPersistentBinding", FcReturns::status, FcRubbish::none, false},
    {FcEntry::getEventBuffer, "GetEventBuffer", FcReturns::status, FcRubbish::none, false},
    {FcEntry::setRnidMgmtInfo, "SetRNIDMgmtInfo", FcReturns::status, FcRubbish::none, false},
    {FcEntry::getRnidMgmtInfo, "GetRNIDMgmtInfo", FcReturns::status, FcRubbish::none, false},
    {FcEntry::sendRnid, "SendRNID", FcReturns::status, FcRubbish::none, false},
    {FcEntry::scsiInquiry, "ScsiInquiry", FcReturns::status, FcRubbish::none, false},
    {FcEntry::reportLuns, "ReportLUNs", FcReturns::status, FcRubbish::none, false},
    {FcEntry::readCapacity, "ReadCapacity", FcReturns::status, FcRubbish::none, false},
    {FcEntry::registerLibrary, "RegisterLibrary", FcReturns::status, FcRubbish::none, false},
};
inline constexpr std::size_t fcTableEntries = 24;  // all but RegisterLibrary
static_assert(sizeof(fcEntryRows) / sizeof(fcEntryRows[0]) == fcTableEntries + 1);

constexpr bool fcRowsAreInOrder() {
    for (std::size_t i = 0; i <= fcTableEntries; ++i)
        if (static_cast<std::size_t>(fcEntryRows[i].entry) != i) return false;
    return true;
}
static_assert(fcRowsAreInOrder());

inline const FcEntryRow& fcRowOf(FcEntry entry) {
    return fcEntryRows[static_cast<std::size_t>(entry)];
}

// The vendors' libraries. Of the second the upper half of a handle is not zero.
struct FcLibraryRow {
    const char* file;
    const char* name;       // first column of its line in the list of libraries, and of its adapters' names
    const char* listedAs;   // second column: a name that the loader looks for, or a path on the host
    std::uint32_t handles;  // added to its handles
};
inline constexpr FcLibraryRow fcLibraries[] = {
    {"libvokfca.so", "vokfca", "libvokfca.so", 0},
    {"libvokfcb.so", "vokfcb", "/lib/libvokfcb.so", 0xB0000000},
};

}  // namespace simhost
