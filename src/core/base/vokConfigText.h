// What the JSON parser can't do with the text of the configuration file. It fails on a number out of the
// range of a double and on deep nesting, and one bad value would then discard all settings; and of a key that
// is written twice it keeps the last value silently.
#pragma once

#include <string>
#include <vector>

namespace vokConfigText {

// A number out of range becomes a text with this prefix, which no setting accepts.
inline constexpr char outOfRangePrefix[] = "number out of range: ";

// Returns `text` with each number out of range replaced by such a text, and without the content of
// containers that are nested deeper than any setting. Invalid JSON stays invalid.
std::string withinParserLimits(const std::string& text);

// The keys that occur more than once in the outermost object or in an object that is a value of it, each
// once: "LoggingLevel", "CacheRefreshInSeconds.Global". `text`: a JSON object that the parser accepts.
// `keyOf`: the key of the characters between its quotes, in which there may be escapes.
std::vector<std::string> repeatedKeys(const std::string& text, std::string (*keyOf)(const std::string& raw));

// True if more than blanks and comments follows the outermost object, which the parser does not read. `text`
// as above.
bool hasTextAfterObject(const std::string& text);

}  // namespace vokConfigText
