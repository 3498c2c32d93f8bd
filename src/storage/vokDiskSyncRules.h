// What the classes of controllers differ in when they find out what became of their disks since the pass
// before: see vokStorageController::synchronizeDrives(). The defaults are those of the base class.
#pragma once

#include <string>

#include "storage/vokDiskInfo.h"

struct vokDiskSyncRules {
    const char* logTag = "STOR_CTLR";
    // A place is known by its location and by its slot, and if set by the SCSI link as well.
    bool matchesByLink = false;
    // In the log line of a previous disk without a known place.
    const char* skippedDisk = "prev disk";
    const char* missingKeys = "location info";
    // Called for a disk that is still there: completes its record from the previous one. True if the
    // inventory has changed. Null: leaves the record as it is.
    bool (*updateAttributes)(const vokDiskInfo& previous, vokDiskInfo& current) = nullptr;
    // The event text of a disk that has gone. Null: the text that it had.
    std::string (*textOfMissing)(const vokDiskInfo& missing) = nullptr;
};
