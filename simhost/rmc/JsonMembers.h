// Reads JSON values whose form nobody has checked: what is missing or has another type is null or an empty
// text.
#pragma once

#include <json/json.h>
#include <initializer_list>
#include <string>

namespace simhost {

// The member at the end of a path of keys, null if a step is missing or not an object.
const Json::Value& member(const Json::Value& from, std::initializer_list<const char*> path);
// The text of a string, number or boolean; empty for null, an array and an object.
std::string textOf(const Json::Value& value);
std::string textOf(const Json::Value& from, std::initializer_list<const char*> path);
// Parses one strict JSON text; null if it is not JSON or nested too deeply.
Json::Value parsedJson(const std::string& text);

}  // namespace simhost
