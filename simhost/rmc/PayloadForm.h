// Holds the texts of inventories and events against their form: one line of JSON in UTF-8, members sorted by
// key, and the members that each of the two has.
#pragma once

#include <json/json.h>
#include <string>
#include <vector>

namespace simhost {

struct FormFindings {
    Json::Value value;  // null when the text is no JSON
    std::vector<std::string> violations;
};

FormFindings checkInventory(const std::string& text);
FormFindings checkEvent(const std::string& text);

// True for well-formed UTF-8 (no overlong forms, no surrogates, nothing beyond U+10FFFF).
bool isUtf8(const std::string& text);

}  // namespace simhost
