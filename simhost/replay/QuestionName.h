// A recorded question in words: "command \"localcli network nic list\"".
#pragma once

#include <string>

#include "recording/Recording.h"

namespace simhost {

// One line of printable characters. `kind` and `question` are those of recording/Forms.h.
std::string questionName(const std::string& kind, const recording::Fields& question);
std::string pathName(const std::string& path);

}  // namespace simhost
