// Reads single values from the parsed configuration file. Reading a value of any type returns a text or
// nothing and never throws; findings are recorded for a report.
#pragma once

#include <json/value.h>
#include <cstdint>
#include <string>
#include <vector>

struct vokConfigFinding;

class vokConfigReader {
public:
    // `object` holds the values; if it is not a JSON object, there are none. `prefix` precedes the keys in
    // findings.
    vokConfigReader(const Json::Value& object, std::string prefix, std::vector<vokConfigFinding>& findings);

    // The value as text; empty if it is absent or has no text form. `used` is the replacement that a
    // finding names.
    std::string text(const char* key, const std::string& used);
    // The three kinds of setting. `rule` is the key of the setting's rule.
    bool boolean(const char* key);
    std::string choice(const char* key);
    std::int32_t number(const char* key, const char* rule);
    // The path of a log, `used` if there is none.
    std::string logLocation(const char* key, const std::string& used);
    // The names of EnableResources: {"All"} when the first is "All" or empty.
    std::vector<std::string> resources(const char* key);
    // The value itself, null when it is absent.
    const Json::Value& value(const char* key) const;
    bool has(const char* key) const;

    void report(const std::string& key, const Json::Value& written, const std::string& reason,
                const std::string& used);
    // For a finding on the key alone.
    void report(const std::string& key, const std::string& reason, const std::string& used);

private:
    const Json::Value& object_;
    std::string prefix_;
    std::vector<vokConfigFinding>& findings_;
};
