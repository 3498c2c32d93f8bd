// Small helpers for texts.
#pragma once

#include <string>

namespace simhost {

// printf(3) into a string, cut at 511 bytes.
__attribute__((format(printf, 1, 2))) std::string formatText(const char* format, ...);

}  // namespace simhost
