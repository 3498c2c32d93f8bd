// Files of the agent's own state: opened and written so that a planted link, a pipe or another user's file is
// neither read nor followed, and no call waits.
#pragma once

#include <cstddef>
#include <string>

#include "platform/access/vokOwnedDescriptor.h"

// True if something has the name that is not a regular file of root or of this process's user.
bool vokIsForeign(const std::string& hostPath);

// Opens a regular file of root or of this process's user; without a descriptor, a clause in `reason`.
vokOwnedDescriptor vokOpenOwnFile(const std::string& hostPath, std::string& reason);

// pwrite(2) and pread(2) of all bytes. False with errno; ENOSPC if fewer were written, ENODATA if the file
// has fewer.
bool vokWriteAll(int descriptor, const void* data, std::size_t size, std::size_t offset);
bool vokReadAll(int descriptor, void* data, std::size_t size, std::size_t offset);

// Copies the text up to its NUL, and at most `size` bytes. What is not printable ASCII becomes "?".
std::string vokPrintable(const char* text, std::size_t size);
