// Writing the files of a host's root.
#pragma once

#include <sys/stat.h>
#include <string>

namespace simhost {

// Like writeFile(), with the directories above the file.
void layOutFile(const std::string& hostPath, const std::string& content, mode_t mode = 0600);
// A symbolic link, instead of what was there.
void writeLink(const std::string& target, const std::string& hostPath);

// Where a root links to the host-access module.
std::string moduleLink(const std::string& root);
// Puts a stand-in of a library into the root's lib as `name`. It is the file `standIn` beside the host-access
// module, so that all are of one ABI. Throws std::runtime_error when that is not there.
void linkLibrary(const std::string& root, const std::string& standIn, const std::string& name);

}  // namespace simhost
