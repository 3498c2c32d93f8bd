// Prepares the text of the configuration file for the JSON parser. The parser fails on a number out of the
// range of a double and on deep nesting, and one bad value would then discard all settings.
#pragma once

#include <string>

namespace vokConfigText {

// A number out of range becomes a text with this prefix, which no setting accepts.
inline constexpr char outOfRangePrefix[] = "number out of range: ";

// Returns `text` with each number out of range replaced by such a text, and without the content of
// containers that are nested deeper than any setting. Invalid JSON stays invalid.
std::string withinParserLimits(const std::string& text);

}  // namespace vokConfigText
