// The configuration file: reading it, and parsing its text. Neither logs; a failure is returned as a reason.
#pragma once

#include <json/value.h>
#include <string>
#include <vector>

namespace vokConfigFile {

// Reads the regular file `hostPath` of at most 16 MiB. Otherwise returns false with a phrase in `reason`.
bool read(const std::string& hostPath, std::string& text, std::string& reason);

// Parses `text` into `root`, a JSON object with at least two members; otherwise returns false with a phrase
// in `reason`. `repeated`: the keys that occur more than once, as vokConfigText::repeatedKeys() returns them.
bool parse(const std::string& text, Json::Value& root, std::vector<std::string>& repeated,
           std::string& reason);

}  // namespace vokConfigFile
