// A device node that can't be opened: a symbolic link whose target names the error number with which open(2)
// fails.
#pragma once

#include <string>

namespace simhost {

// Instead of what is at `path`. Throws std::system_error.
void makeOpenFault(const std::string& path, int error);
// 0 for any other file.
int openFaultAt(const std::string& path);

}  // namespace simhost
