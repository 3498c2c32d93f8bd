// What a value in the configuration file may be, and what stands in its place when it is not that.
#pragma once

#include <cstdint>
#include <string>

namespace vokSettingRules {

// Equal length and equal bytes, whatever their case.
bool isEquals(const std::string& a, const std::string& b);

// The value to keep of a text setting: an accepted one as it is written, otherwise the default. Empty for
// a key that has no accepted texts.
std::string validateString(const std::string& value, const std::string& key);

// True only for a boolean key with "true" in any case.
bool validateBool(const std::string& value, const std::string& key);

// The leading decimal number of `value` when it is from 1 to 2147483647, otherwise the key's default (-1
// for a key that has none).
std::int32_t validateNumerical(const std::string& value, const std::string& key);

// Why the three above don't take a value, as a sentence; empty when they take it.
std::string refusalOfString(const std::string& value, const std::string& key);
std::string refusalOfBool(const std::string& value);
std::string refusalOfNumber(const std::string& value, const std::string& key);

}  // namespace vokSettingRules
