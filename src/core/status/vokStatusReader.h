// Turns the bytes of a status record into a snapshot. The record may be written meanwhile, cut off by a kill,
// or anything else that a file can contain.
#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <string>

#include "core/status/vokStatusSnapshot.h"

// Copies the first `size` bytes of the record as they are now. False if it has fewer.
using vokReadRecord = std::function<bool(void* bytes, std::size_t size)>;

// Reads until each group of values is whole, with a pause of a millisecond between two attempts; after twenty
// of them a group counts as it is, as its writer was killed within it. Everything but isRunning is filled in.
// Nothing with a clause in `reason` if the bytes are no record of this version.
std::optional<vokStatusSnapshot> vokAssembleStatus(const vokReadRecord& read, std::string& reason);
