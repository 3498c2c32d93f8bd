// Small helpers for texts.
#pragma once

#include <string>
#include <vector>

namespace simhost {

// printf(3) into a string, cut at 511 bytes.
__attribute__((format(printf, 1, 2))) std::string formatText(const char* format, ...);

// The text with each run of blanks and newlines as one blank, and none at its ends.
std::string oneLine(const std::string& text);
// The texts with ", " between them.
std::string listed(const std::vector<std::string>& texts);

// The end of a message about a wrong name: the right names, or the first of them.
std::string butHas(std::vector<std::string> names);

}  // namespace simhost
