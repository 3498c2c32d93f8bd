// Files in world-writable directories, where a link, a pipe or another user's file may have been planted
// under a name that the agent uses.
#pragma once

#include <string>

// Reads at most the first MiB of a regular file that root or this process's user owns. Never follows a link
// and never waits. False with errno if it can't be read; EPERM if it is not such a file.
bool vokReadSharedFile(const std::string& hostPath, std::string& content);
