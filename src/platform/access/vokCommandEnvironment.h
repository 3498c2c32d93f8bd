// What a command of the agent finds in its environment.
#pragma once

#include <string>
#include <vector>

// The elements of `searchPath`, the value of PATH or null, in which only a command that its administrator has
// put there can be found: absolute paths of existing directories that are not writable for everybody.
// "/usr/sbin:/usr/bin:/sbin:/bin" if none is left.
std::string vokSafeSearchPath(const char* searchPath);

// The environment of this process with PATH replaced by `searchPath` and with LC_ALL=C, so that the tools
// print the texts that the agent reads.
std::vector<std::string> vokCommandEnvironment(const std::string& searchPath);
