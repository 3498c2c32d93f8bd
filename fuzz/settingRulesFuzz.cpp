// Whatever a setting's text is, the rules choose a value that the setting may have, and name a reason exactly
// when they did not take the text. The input's first line is the key, the rest the text.
#include <algorithm>
#include <cctype>
#include <limits>

#include "FuzzInput.h"
#include "core/base/vokSettingRules.h"

namespace {

std::string lowered(std::string text) {
    for (char& c : text) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return text;
}

// The leading number from 1 to 2147483647, otherwise 0.
long long leadingNumber(const std::string& text) {
    std::size_t at = 0;
    while (at < text.size() && std::isspace(static_cast<unsigned char>(text[at]))) ++at;
    if (at < text.size() && text[at] == '-') return 0;
    if (at < text.size() && text[at] == '+') ++at;
    long long number = 0;
    for (; at < text.size() && text[at] >= '0' && text[at] <= '9'; ++at) {
        number = number * 10 + (text[at] - '0');
        if (number > std::numeric_limits<std::int32_t>::max()) return 0;
    }
    return number;
}

void requireChoice(const std::string& value, const std::string& key) {
    const std::string kept = vokSettingRules::validateString(value, key);
    const std::string otherwise = vokSettingRules::validateString("", key);
    const bool isTaken = vokSettingRules::refusalOfString(value, key).empty();
    require(kept == (isTaken && !otherwise.empty() ? value : otherwise));
    require(vokSettingRules::validateString(kept, key) == kept);
    if (otherwise.empty()) return;
    const std::string low = lowered(value);
    require(isTaken == (lowered(key) == "climode" ? low == "test" || low == "inject"
                                                  : low == "info" || low == "error" || low == "warning"));
}

void requireNumber(const std::string& value, const std::string& key) {
    const std::int32_t kept = vokSettingRules::validateNumerical(value, key);
    const std::int32_t otherwise = vokSettingRules::validateNumerical("", key);
    require(otherwise >= -1);
    // A key without a rule has no number.
    const bool hasRule = vokSettingRules::validateNumerical("7", key) == 7;
    const long long number = leadingNumber(value);
    require(kept == (hasRule && number > 0 ? number : otherwise));
    const bool isTaken = vokSettingRules::refusalOfNumber(value, key).empty();
    require(isTaken == (number > 0 || (value == "0" && otherwise <= 0)));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const auto [key, value] = firstLineAndRest(textOf(data, size));
    requireChoice(value, key);
    for (const char* known : {"LoggingLevel", "CliMode"}) requireChoice(value, known);
    requireNumber(value, key);
    for (const char* known : {"CacheRefreshInterval", "HealthMonitorFlags"}) requireNumber(value, known);

    const std::string low = lowered(value);
    require(vokSettingRules::validateBool(value, "EnableDebugLog") == (low == "true"));
    require(!vokSettingRules::validateBool(value, key) || low == "true");
    require(vokSettingRules::refusalOfBool(value).empty() == (low == "true" || low == "false"));
    require(vokSettingRules::isEquals(key, value) == (lowered(key) == low));
    return 0;
}
