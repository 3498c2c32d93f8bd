// The files and links of the logs. Failures are reported to the system log, since the agent log is not
// usable yet.
#pragma once

#include <cstddef>
#include <string>

#include "platform/access/vokOwnedDescriptor.h"

namespace vokLogFiles {

// Creates every parent directory of the file `path` with mode 0700. Returns 0, or -1 with errno.
int createDirectoryPath(const std::string& path);

// Creates a link to the file `path` in `directory`, replacing an existing one. Does nothing if `path` can't
// be read or is the path of the link itself.
void createSymbolicLink(const std::string& path, const std::string& directory);

// Opens a log for appending; creates it with mode 0600 if it is missing. The descriptor is closed in the
// agent's commands. None with errno when the log can't be opened or is neither a regular file nor a character
// device.
vokOwnedDescriptor openForAppending(const std::string& path);

// Returns the number of bytes written; fewer than `size` with errno.
std::size_t writeAll(int descriptor, const char* data, std::size_t size);

// Appends the bytes of `source` from `offset` to the end to `target`, and advances `offset`. False with
// errno.
bool appendRest(const std::string& source, const std::string& target, long long& offset);

}  // namespace vokLogFiles
