// Files in directories that everybody may write to, where a link, a pipe or somebody else's file may have
// been planted under the agent's name.
#pragma once

#include <string>

// The content of a regular file of root's or of this process's user, at most its first MiB. Never follows a
// link and never waits. False with errno when it can't be read; EPERM when it is not what it should be.
bool vokReadSharedFile(const std::string& place, std::string& content);
