// The records of the HBA API as bytes, for a library to copy.
#pragma once

#include <string>

#include "modules/fc/FcAdapters.h"
#include "modules/fc/FcWire.h"

namespace simhost {

std::string fcAdapterRecord(const HostDescription& host, const FcAdapter& adapter);
std::string fcPortRecord(const StorageAdapter& port);
std::string fcStatisticsRecord(const StorageAdapter& port);
// A name with its NUL, cut to its field.
std::string fcNameRecord(const std::string& name);

// The record of an entry point with texts that have no end, and thousands of ports.
std::string fcRubbishRecord(FcEntry entry);
// The number that an entry point returns in place of its own.
inline constexpr std::uint32_t fcRubbishNumber = 0xFFFFFFFF;

}  // namespace simhost
