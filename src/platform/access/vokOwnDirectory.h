// The directories that the agent makes for itself.
#pragma once

#include <string>

// Makes the directory and its missing parents, each with mode 0700. Returns true if a directory with this
// host path exists afterwards, also behind a link; otherwise false with errno, ENOTDIR if it is something
// else.
bool vokMakeOwnDirectory(const std::string& hostPath);
