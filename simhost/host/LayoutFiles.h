// Writing the files of a host's root.
#pragma once

#include <sys/stat.h>
#include <string>

namespace simhost {

// Makes the directories above it too. Throws std::runtime_error or std::filesystem::filesystem_error.
void writeFile(const std::string& place, const std::string& content, mode_t mode = 0600);
// A symbolic link, in place of what was there.
void writeLink(const std::string& target, const std::string& place);

}  // namespace simhost
