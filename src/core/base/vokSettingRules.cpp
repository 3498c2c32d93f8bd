#include "core/base/vokSettingRules.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdlib>
#include <limits>
#include <optional>
#include <string_view>

namespace vokSettingRules {
namespace {

struct TextRule {
    const char* key;
    const char* accepted[3];
    const char* fallback;
};

constexpr TextRule textRules[] = {
    {"LoggingLevel", {"Info", "Error", "Warning"}, "Warning"},
    {"CliMode", {"test", "inject", nullptr}, "test"},
};

constexpr const char* booleanKeys[] = {
    "EnableDebugLog",
    "CaptureUnhandledExceptionStack",
    "ForwardAllMegaRAIDCriticalOrHigherEvents",
    "ForwardAllSmartRAIDDegradedOrHigherEvents",
    "DisableMegaRAID9560LoadingInspection",
    "LogResourceManagerStatistics",
    // Known, but not used:
    "EnableTelemetryLogging",
    "EnableTelemetryDataCollection",
    "EnableTelemetryDoorBell",
    "EnableUtilizationDataCollection",
};

struct NumberRule {
    const char* key;
    std::int32_t fallback;
};

constexpr NumberRule numberRules[] = {
    {"CacheRefreshInterval", 3600},
    {"RMCCacheSendInterval", 1440},
    {"IPMIDBSleepInterval", 10},
    {"InventoryQueryIntervalInSeconds", 10},
    {"MicrochipEventQueueIndex", 0},
    {"HealthMonitorFlags", 0},
    {"SimulateUnhandledException", -1},
    // Known, but not used:
    {"ProcessorSamplingRateInSeconds", -1},
    {"MemorySamplingRateInSeconds", -1},
    {"NetworkSamplingRateInSeconds", -1},
    {"StorageSamplingRateInSeconds", -1},
    {"NumastatSamplingRateInSeconds", -1},
    {"TelemetrySendIntervalInSeconds", -1},
    {"UtilizationPushFrequencyInMinutes", -1},
    {"TelemetrySchemaOption", -1},
    {"TelemetryDBIntervalInMinutes", -1},
    {"FileServiceSendIntervalInSeconds", -1},
};

// Table texts are compared in place: copying each of them would cost more than everything else.
bool isSame(std::string_view a, std::string_view b) {
    return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(), [](char x, char y) {
               return std::tolower(static_cast<unsigned char>(x)) ==
                      std::tolower(static_cast<unsigned char>(y));
           });
}

const TextRule* textRule(const std::string& key) {
    for (const auto& rule : textRules)
        if (isSame(key, rule.key)) return &rule;
    return nullptr;
}

bool isAccepted(const TextRule& rule, const std::string& value) {
    return std::any_of(std::begin(rule.accepted), std::end(rule.accepted),
                       [&](const char* accepted) { return accepted && isSame(value, accepted); });
}

// The leading number as std::stol reads it, if a setting can hold it; without the exceptions, since most
// files leave most numbers out. The limit is the same on every ABI, although long is wider on some.
std::optional<std::int32_t> positiveNumber(const std::string& value) {
    if (value.empty()) return std::nullopt;
    errno = 0;
    const long number = std::strtol(value.c_str(), nullptr, 10);
    if (errno == ERANGE || number <= 0 || number > std::numeric_limits<std::int32_t>::max())
        return std::nullopt;
    return static_cast<std::int32_t>(number);
}

}  // namespace

bool isEquals(const std::string& a, const std::string& b) {
    return isSame(a, b);
}

std::string validateString(const std::string& value, const std::string& key) {
    const TextRule* const rule = textRule(key);
    if (!rule) return "";
    return isAccepted(*rule, value) ? value : rule->fallback;
}

bool validateBool(const std::string& value, const std::string& key) {
    return isSame(value, "true") && std::any_of(std::begin(booleanKeys), std::end(booleanKeys),
                                                [&](const char* known) { return isSame(key, known); });
}

std::int32_t validateNumerical(const std::string& value, const std::string& key) {
    for (const auto& rule : numberRules)
        if (isSame(key, rule.key)) return positiveNumber(value).value_or(rule.fallback);
    return -1;
}

std::string refusalOfString(const std::string& value, const std::string& key) {
    const TextRule* const rule = textRule(key);
    if (!rule || isAccepted(*rule, value)) return "";
    std::string accepted;
    for (const char* each : rule->accepted)
        if (each) accepted += (accepted.empty() ? "" : ", ") + std::string(each);
    return "not one of " + accepted;
}

std::string refusalOfBool(const std::string& value) {
    return isSame(value, "true") || isSame(value, "false") ? "" : "neither true nor false";
}

std::string refusalOfNumber(const std::string& value, const std::string& key) {
    // "0" is no error for a setting whose default means off: the effect is the same.
    if (positiveNumber(value) || (value == "0" && validateNumerical(value, key) <= 0)) return "";
    return "not a whole number from 1 to 2147483647";
}

std::string ignoredPartOfNumber(const std::string& value) {
    constexpr char blanks[] = " \t\n\v\f\r";  // std::stol skips those before the number
    const std::size_t begin = value.find_first_not_of(blanks);
    if (begin == std::string::npos) return "";
    const std::string written = value.substr(begin, value.find_last_not_of(blanks) + 1 - begin);
    std::size_t at = written.find_first_not_of("0123456789", written[0] == '+' || written[0] == '-' ? 1 : 0);
    if (at != std::string::npos && written[at] == '.') at = written.find_first_not_of('0', at + 1);
    if (at != std::string::npos) return "only the digits at its start count";
    return written == value ? "" : "there are blanks around the number";
}

}  // namespace vokSettingRules
