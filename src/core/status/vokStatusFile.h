// The file of the status record: made new at each start under a temporary name, and held by a lock as long as
// the process lives.
#pragma once

#include <string>

#include "core/status/vokStatusLayout.h"
#include "platform/access/vokOwnedDescriptor.h"

// The record in the file, mapped for the rest of the process. A SIGKILL leaves it to readers.
struct vokMappedStatus {
    vokStatusLayout::Shared* record = nullptr;
    vokOwnedDescriptor file;  // has the lock
};

// Makes the file with the content of `initial`, all of its blocks allocated, then gives it its name. A null
// record with a clause in `reason` if that fails; the file of an earlier run is then removed.
vokMappedStatus vokMakeStatusFile(const vokStatusLayout::Shared& initial, std::string& reason);

// Opens the file of the record for reading; without a descriptor, a clause in `reason`.
vokOwnedDescriptor vokOpenStatusFile(std::string& reason);

// True if a process has the lock of the file.
bool vokIsStatusHeld(int descriptor);
