// The files and links of the logs. Failures are reported to the system log, since the agent log is not
// usable yet.
#pragma once

#include <fstream>
#include <string>

namespace vokLogFiles {

// Creates every parent directory of the file `path` with mode 0700. Returns 0, or -1 with errno.
int createDirectoryPath(const std::string& path);

// Creates a link to the file `path` in `directory`, replacing an existing one. Does nothing if `path` can't
// be read or is the path of the link itself.
void createSymbolicLink(const std::string& path, const std::string& directory);

// Opens a log for appending; creates it with mode 0600 if it is missing. False with errno when it can't be
// opened or is neither a regular file nor a character device.
bool openForAppending(const std::string& path, std::ofstream& stream);

// Appends the bytes of `source` from `offset` to the end to `target`, and advances `offset`. False with
// errno.
bool appendRest(const std::string& source, const std::string& target, long long& offset);

}  // namespace vokLogFiles
