// The accepted values of the settings in the configuration file, and the defaults that replace any other
// value.
#pragma once

#include <cstdint>
#include <string>

namespace vokSettingRules {

// True if the texts are equal, ignoring case.
bool isEquals(const std::string& a, const std::string& b);

// The effective value of a text setting: an accepted value as it is written, otherwise the default. Empty
// for a key without accepted texts.
std::string validateString(const std::string& value, const std::string& key);

// True only for a boolean key with "true" in any case.
bool validateBool(const std::string& value, const std::string& key);

// The leading decimal number of `value` if it is from 1 to 2147483647, otherwise the key's default (-1 for
// a key that has none).
std::int32_t validateNumerical(const std::string& value, const std::string& key);

// The reason why the corresponding function above rejects a value; empty if it accepts it.
std::string refusalOfString(const std::string& value, const std::string& key);
std::string refusalOfBool(const std::string& value);
std::string refusalOfNumber(const std::string& value, const std::string& key);

// Why a number that is accepted is not used as it is written; empty if it is. Its tail may change its
// meaning, as in "60s", "1.5" and "1e3" but not in "60.0"; or there are blanks around it.
std::string ignoredPartOfNumber(const std::string& value);

}  // namespace vokSettingRules
