#include <unistd.h>
#include <algorithm>
#include <cstring>

#include "common/ByteCodec.h"
#include "library/LibraryFault.h"
#include "modules/fc/FcWire.h"
#include "modules/fc/library/StandIn.h"

namespace fc {

namespace {

using simhost::FcEntry;

struct Asked {
    Handle handle = 0;
    std::uint32_t first = 0;
    std::uint32_t second = 0;
    std::string bytes;
};

struct Answered {
    std::uint32_t result = 0;
    std::string record;
};

Answered ask(FcEntry entry, const Asked& asked = {}) {
    simhost::sufferLibraryFault(simhost::fcRowOf(entry).name);
    simhost::ByteWriter packet;
    packet.number(ownLibrary).number(static_cast<std::uint8_t>(entry));
    packet.number(static_cast<std::uint32_t>(::getpid())).number(asked.handle);
    packet.number(asked.first).number(asked.second);
    const simhost::LibraryReply got =
        simhost::ownLibraryClient().request(simhost::fcCall, packet.bytes() + asked.bytes);
    simhost::ByteReader reader(got.bytes.data(), got.bytes.size());
    const auto result = reader.number<std::uint32_t>();
    if (got.status == 0 && reader.good()) return {result, got.bytes.substr(sizeof(result))};
    const bool isStatus = simhost::fcRowOf(entry).returns == simhost::FcReturns::status;
    return {isStatus ? statusError : 0u, ""};
}

// The record of the reply is at most as long as the caller's.
Status fill(FcEntry entry, const Asked& asked, void* record, std::size_t size) {
    const Answered answered = ask(entry, asked);
    if (answered.result == statusOk && record)
        std::memcpy(record, answered.record.data(), std::min(answered.record.size(), size));
    return answered.result;
}

std::string bytesOf(const Wwn& wwn) {
    return {reinterpret_cast<const char*>(wwn.bytes), sizeof(wwn.bytes)};
}

}  // namespace

std::uint32_t getVersion() {
    return ask(FcEntry::getVersion).result;
}

Status loadLibrary() {
    return ask(FcEntry::loadLibrary).result;
}

Status freeLibrary() {
    return ask(FcEntry::freeLibrary).result;
}

std::uint32_t getNumberOfAdapters() {
    return ask(FcEntry::getNumberOfAdapters).result;
}

Status getAdapterName(std::uint32_t index, char* name) {
    return fill(FcEntry::getAdapterName, {0, index, 0, ""}, name, nameSize);
}

Handle openAdapter(char* name) {
    return ask(FcEntry::openAdapter, {0, 0, 0, std::string(name, ::strnlen(name, nameSize))}).result;
}

void closeAdapter(Handle handle) {
    ask(FcEntry::closeAdapter, {handle, 0, 0, ""});
}

Status getAdapterAttributes(Handle handle, AdapterAttributes* attributes) {
    return fill(FcEntry::getAdapterAttributes, {handle, 0, 0, ""}, attributes, sizeof(*attributes));
}

Status getAdapterPortAttributes(Handle handle, std::uint32_t port, PortAttributes* attributes) {
    return fill(FcEntry::getAdapterPortAttributes, {handle, port, 0, ""}, attributes, sizeof(*attributes));
}

Status getPortStatistics(Handle handle, std::uint32_t port, PortStatistics* statistics) {
    return fill(FcEntry::getPortStatistics, {handle, port, 0, ""}, statistics, sizeof(*statistics));
}

Status getDiscoveredPortAttributes(Handle handle, std::uint32_t port, std::uint32_t discovered,
                                   PortAttributes* attributes) {
    return fill(FcEntry::getDiscoveredPortAttributes, {handle, port, discovered, ""}, attributes,
                sizeof(*attributes));
}

Status getPortAttributesByWwn(Handle handle, Wwn wwn, PortAttributes* attributes) {
    return fill(FcEntry::getPortAttributesByWwn, {handle, 0, 0, bytesOf(wwn)}, attributes,
                sizeof(*attributes));
}

Status sendCtPassThru(Handle handle, void* /*request*/, std::uint32_t /*requestSize*/, void* /*response*/,
                      std::uint32_t /*responseSize*/) {
    return ask(FcEntry::sendCtPassThru, {handle, 0, 0, ""}).result;
}

void refreshInformation(Handle handle) {
    ask(FcEntry::refreshInformation, {handle, 0, 0, ""});
}

void resetStatistics(Handle handle, std::uint32_t port) {
    ask(FcEntry::resetStatistics, {handle, port, 0, ""});
}

Status getFcpTargetMapping(Handle handle, TargetMapping* mapping) {
    return fill(FcEntry::getFcpTargetMapping, {handle, 0, 0, ""}, &mapping->numberOfEntries,
                sizeof(mapping->numberOfEntries));
}

Status getFcpPersistentBinding(Handle handle, PersistentBinding* binding) {
    return fill(FcEntry::getFcpPersistentBinding, {handle, 0, 0, ""}, &binding->numberOfEntries,
                sizeof(binding->numberOfEntries));
}

Status getEventBuffer(Handle handle, EventInfo* /*events*/, std::uint32_t* count) {
    return fill(FcEntry::getEventBuffer, {handle, 0, 0, ""}, count, sizeof(*count));
}

Status setRnidMgmtInfo(Handle handle, ManagementInfo /*info*/) {
    return ask(FcEntry::setRnidMgmtInfo, {handle, 0, 0, ""}).result;
}

Status getRnidMgmtInfo(Handle handle, ManagementInfo* /*info*/) {
    return ask(FcEntry::getRnidMgmtInfo, {handle, 0, 0, ""}).result;
}

Status sendRnid(Handle handle, Wwn wwn, std::uint32_t wwnType, void* /*response*/, std::uint32_t* /*size*/) {
    return ask(FcEntry::sendRnid, {handle, wwnType, 0, bytesOf(wwn)}).result;
}

Status scsiInquiry(Handle handle, Wwn wwn, std::uint64_t /*lun*/, std::uint8_t vital, std::uint32_t page,
                   void* /*response*/, std::uint32_t /*responseSize*/, void* /*sense*/,
                   std::uint32_t /*senseSize*/) {
    return ask(FcEntry::scsiInquiry, {handle, vital, page, bytesOf(wwn)}).result;
}

Status reportLuns(Handle handle, Wwn wwn, void* /*response*/, std::uint32_t /*responseSize*/, void* /*sense*/,
                  std::uint32_t /*senseSize*/) {
    return ask(FcEntry::reportLuns, {handle, 0, 0, bytesOf(wwn)}).result;
}

Status readCapacity(Handle handle, Wwn wwn, std::uint64_t /*lun*/, void* /*response*/,
                    std::uint32_t /*responseSize*/, void* /*sense*/, std::uint32_t /*senseSize*/) {
    return ask(FcEntry::readCapacity, {handle, 0, 0, bytesOf(wwn)}).result;
}

Status registerLibrary(const EntryPoints& handlers, EntryPoints* table) {
    const Answered answered = ask(FcEntry::registerLibrary);
    if (answered.result != statusOk) return answered.result;
    const auto missing =
        simhost::ByteReader(answered.record.data(), answered.record.size()).number<std::uint32_t>();
    // The table is an array of pointers, which are all of one size.
    char given[sizeof(EntryPoints)];
    std::memcpy(given, &handlers, sizeof(given));
    for (std::size_t i = 0; i < simhost::fcTableEntries; ++i)
        if ((missing >> i & 1) != 0) std::memset(given + i * sizeof(void*), 0, sizeof(void*));
    std::memcpy(table, given, sizeof(given));
    return statusOk;
}

}  // namespace fc
