// The firmware's SMBIOS table, read from the host's device file, and its records of three types as plain
// structures. The table is held from SmBiosInit to SmBiosDeinit; nothing in it is trusted: what lies beyond a
// wrong length, string number or end is treated as missing.
#pragma once

#include <cstddef>

#include "platform/firmware/vokSmBiosStructures.h"

// Reads the device file. Returns 0, also if the table is already held; otherwise -1, with errno from the open
// or the read, or ENODATA if the file holds no entry point.
int SmBiosInit();
// Releases the table. SmBiosInit may follow.
void SmBiosDeinit();
// All records of a type in table order, as one malloc()ed array of the type's structure that the caller
// frees. Returns 0, or -1 if the table is not held, the type is not one of the three, there is no record or
// no memory; then `*records` is null and `*count` 0. `count` may be null. vokSmBiosRecords owns such an
// array.
int getSmbiosRecordsByType(unsigned char type, void** records, std::size_t* count = nullptr);
