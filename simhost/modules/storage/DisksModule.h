// SCSI hosts and their disks: /sys, the generic nodes, mdadm.
#pragma once

#include "host/HostModule.h"

namespace simhost {

// After the PCI module, below whose directories it lays out its own.
const HostModule& disksModule();

}  // namespace simhost
