// Stand-ins of two made-up vendors' HBA libraries, which answer with what vok-simhost has. Both have the same
// entry points; the second also exports functions of the standard's names, which its table calls.
#pragma once

#include "library/LibraryClient.h"
#include "modules/fc/HbaApi.h"

namespace fc {

// Place of the library that this is linked into in simhost::fcLibraries.
extern const std::uint8_t ownLibrary;

// The entry points, see fc::EntryPoints. Without a host a status is statusError, and a number 0.
std::uint32_t getVersion();
Status loadLibrary();
Status freeLibrary();
std::uint32_t getNumberOfAdapters();
Status getAdapterName(std::uint32_t index, char* name);
Handle openAdapter(char* name);
void closeAdapter(Handle handle);
Status getAdapterAttributes(Handle handle, AdapterAttributes* attributes);
Status getAdapterPortAttributes(Handle handle, std::uint32_t port, PortAttributes* attributes);
Status getPortStatistics(Handle handle, std::uint32_t port, PortStatistics* statistics);
Status getDiscoveredPortAttributes(Handle handle, std::uint32_t port, std::uint32_t discovered,
                                   PortAttributes* attributes);
Status getPortAttributesByWwn(Handle handle, Wwn wwn, PortAttributes* attributes);
Status sendCtPassThru(Handle handle, void* request, std::uint32_t requestSize, void* response,
                      std::uint32_t responseSize);
void refreshInformation(Handle handle);
void resetStatistics(Handle handle, std::uint32_t port);
Status getFcpTargetMapping(Handle handle, TargetMapping* mapping);
Status getFcpPersistentBinding(Handle handle, PersistentBinding* binding);
Status getEventBuffer(Handle handle, EventInfo* events, std::uint32_t* count);
Status setRnidMgmtInfo(Handle handle, ManagementInfo info);
Status getRnidMgmtInfo(Handle handle, ManagementInfo* info);
Status sendRnid(Handle handle, Wwn wwn, std::uint32_t wwnType, void* response, std::uint32_t* size);
Status scsiInquiry(Handle handle, Wwn wwn, std::uint64_t lun, std::uint8_t vital, std::uint32_t page,
                   void* response, std::uint32_t responseSize, void* sense, std::uint32_t senseSize);
Status reportLuns(Handle handle, Wwn wwn, void* response, std::uint32_t responseSize, void* sense,
                  std::uint32_t senseSize);
Status readCapacity(Handle handle, Wwn wwn, std::uint64_t lun, void* response, std::uint32_t responseSize,
                    void* sense, std::uint32_t senseSize);

// Fills the table with these handlers, less those that the host says are missing. For HBA_RegisterLibrary.
Status registerLibrary(const EntryPoints& handlers, EntryPoints* table);

}  // namespace fc
