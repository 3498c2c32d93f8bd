// How the classes of controllers differ in vokStorageController::synchronizeDrives(). The defaults are those
// of the base class.
#pragma once

#include <string>

#include "storage/vokDiskInfo.h"

struct vokDiskSyncRules {
    const char* logTag = "STOR_CTLR";
    // Whether the SCSI link is a key of a disk, like its location and its slot.
    bool matchesByLink = false;
    // In the log line of a previous disk without a valid key.
    const char* skippedDisk = "prev disk";
    const char* missingKeys = "location info";
    // Completes the record of a disk that is still there from the previous one. True if an attribute has
    // changed. Null: leaves the record as it is.
    bool (*updateAttributes)(const vokDiskInfo& previous, vokDiskInfo& current) = nullptr;
    // The event text of a disk that has gone. Null: the text that it had.
    std::string (*textOfMissing)(const vokDiskInfo& missing) = nullptr;
};
