// The rules for what lies at the paths of a recording, so that a playback below a directory stays there.
#pragma once

#include <cstddef>
#include <map>
#include <string>

#include "recording/Recording.h"

namespace recording {

// True if
// - each path is absolute, without "." and "..", empty parts and NUL, no longer than `longest` bytes, and has
//   at most 100 parts, which bounds the time of a hostile archive;
// - what has a list of names is a directory, each name is one part, and what has a target is a link;
// - only what is absent lies below what isn't a directory;
// - no link leads above "/" or needs more than 40 links (as Linux limits it). A link to an absolute path
//   leads to the path below the recorded root.
// False with a sentence in `error` otherwise.
bool checkPaths(const std::map<std::string, FileEntry>& files, std::size_t longest, std::string& error);

}  // namespace recording
