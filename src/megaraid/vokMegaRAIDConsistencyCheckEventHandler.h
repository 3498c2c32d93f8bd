// The events of consistency checks: counts what a check of a RAID volume reports, and raises one event when
// it ends.
#pragma once

#include "megaraid/storelib/vokSASEventDetail.h"
#include "storage/vokLogicalDiskInfo.h"

class vokMegaRAIDController;

class vokMegaRAIDConsistencyCheckEventHandler {
public:
    // True if the event is one of a consistency check. `volume` is a live record of `controller`, whose lock
    // is held.
    static bool processConsistencyCheckEvents(vokMegaRAIDController& controller, vokLogicalDiskInfo& volume,
                                              const VOK_SAS_EVENT_DETAIL& detail);
};
