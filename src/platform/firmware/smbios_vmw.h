// The firmware's SMBIOS table, read from the host's device file, and its records of three types as plain
// structures. The table is held from SmBiosInit to SmBiosDeinit; nothing in it is trusted: a length, a string
// number or an end that does not fit is treated as "not there".
#pragma once

#include <cstddef>

#include "platform/firmware/vokSmBiosStructures.h"

// Reads the device file. 0, also when it is open already; -1 otherwise, with errno as the open or the read
// left it, and ENODATA when there is no entry point in the file.
int SmBiosInit();
// Gives the table back. SmBiosInit may follow.
void SmBiosDeinit();
// All records of a type in table order, as one malloc()ed array of the type's structure that the caller
// frees. 0, or -1 when the table is not open, the type is not one of the three, there is no record or no
// memory; then `*records` is null and `*count` 0. `count` may be null. vokSmBiosRecords owns such an array.
int getSmbiosRecordsByType(unsigned char type, void** records, std::size_t* count = nullptr);
