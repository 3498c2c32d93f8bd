// Reads single values out of the parsed configuration file. Whatever type a value has, reading it gives a
// text or nothing and never throws; what was refused is noted for those who want to tell a person.
#pragma once

#include <json/value.h>
#include <cstdint>
#include <string>
#include <vector>

struct vokConfigRefusal;

class vokConfigReader {
public:
    // `object`: what holds the values; anything else than an object holds none. `prefix` stands before the
    // keys in refusals. `refusals` may be null.
    vokConfigReader(const Json::Value& object, std::string prefix, std::vector<vokConfigRefusal>* refusals);

    // The value as text; empty when it is absent or has no text form. `used`: told in the refusal.
    std::string text(const char* key, const std::string& used);
    // The three kinds of setting. `rule` is the key under which the setting's rule is kept.
    bool boolean(const char* key);
    std::string choice(const char* key);
    std::int32_t number(const char* key, const char* rule);
    // The names of EnableResources: {"All"} when the first is "All" or empty.
    std::vector<std::string> resources(const char* key);
    // The value itself, null when it is absent.
    const Json::Value& value(const char* key) const;
    bool has(const char* key) const;

    void refuse(const std::string& key, const Json::Value& written, const std::string& reason,
                const std::string& used);

private:
    const Json::Value& object_;
    std::string prefix_;
    std::vector<vokConfigRefusal>* refusals_;
};
