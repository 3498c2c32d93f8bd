// The directories that the agent makes for itself.
#pragma once

#include <string>

// Makes the directory and its missing parents, each with mode 0700. Returns true if hostPath is then a
// directory or a link to one. Otherwise returns false and sets errno: ENOTDIR if it is something else.
bool vokMakeOwnDirectory(const std::string& hostPath);
