// The files and links of the logs. What goes wrong here goes to the system log, since the agent log is not
// usable yet.
#pragma once

#include <fstream>
#include <string>

namespace vokLogFiles {

// Makes every directory above the file `path` with mode 0700. 0, or -1 with errno.
int createDirectoryPath(const std::string& path);

// Makes a link to the file `path` in `directory`, replacing one that is there. Nothing when `path` can't
// be read or is the link's own place.
void createSymbolicLink(const std::string& path, const std::string& directory);

// Opens a log for appending, making it for root alone. False with errno when it can't be opened or is
// neither a regular file nor a character device.
bool openForAppending(const std::string& path, std::ofstream& stream);

// Copies the bytes of `source` from `offset` to its end behind what `target` holds; `offset` moves along.
// False with errno.
bool appendRest(const std::string& source, const std::string& target, long long& offset);

}  // namespace vokLogFiles
