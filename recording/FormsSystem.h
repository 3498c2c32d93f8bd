// Facts that the system itself tells.
//
// kind system-name              uname(2)
//   answer    error, system, node, release, version, machine
//
// kind system-information       sysinfo(2)
//   answer    error, uptime, load1, load5, load15, total-ram, free-ram, shared-ram, buffer-ram, total-swap,
//             free-swap, processes, total-high, free-high, unit (of the memory sizes, in bytes)
//
// kind interface-addresses      getifaddrs(3)
//   answer    error, count
//             N.name, N.flags   of each element N, from 0; flags as a number
//             N.family          inet, inet6, packet, or a number; missing without an address
//             N.address         inet, inet6: as text ("192.0.2.1", "fe80::1"). packet: pairs of hexadecimal
//                               digits with colons ("02:00:00:00:00:01"), empty without one
//             N.mask            inet, inet6: as text, missing without one
//             N.scope           inet6: the scope's number
//             N.index, N.type   packet: of the interface; the type as ARPHRD_... numbers it
//
// The questions have no fields.
#pragma once

#include <ifaddrs.h>
#include <sys/sysinfo.h>
#include <sys/utsname.h>

#include "recording/Forms.h"

namespace recording {

// `error`: 0 if the call succeeded; otherwise the record isn't looked at.
Fields systemNameAnswer(const struct utsname& name, int error);
Fields systemInformationAnswer(const struct sysinfo& information, int error);
Fields interfaceAddressesAnswer(const struct ifaddrs* addresses, int error);

// Each stores a recorded answer and returns what the call did: 0, or -1 with errno.
int playSystemName(const Fields& answer, struct utsname& name);
// Sizes that this ABI can't hold are stored in larger units.
int playSystemInformation(const Fields& answer, struct sysinfo& information);
// Null for an empty list. The caller frees it with freePlayedAddresses().
int playInterfaceAddresses(const Fields& answer, struct ifaddrs*& addresses);
void freePlayedAddresses(struct ifaddrs* addresses);

}  // namespace recording
