// Reads one object of a host's description: takes its members by name, with their types checked, and at the
// end refuses what nobody took. Every refusal is a std::runtime_error with a sentence that names the place.
#pragma once

#include <json/json.h>
#include <cstdint>
#include <limits>
#include <set>
#include <stdexcept>
#include <string>

namespace simhost {

class Section {
public:
    Section(const Json::Value& value, std::string name) : value_(value), name_(std::move(name)) {
        if (!value.isObject()) fail("is not an object");
    }

    bool has(const char* key) const { return value_.isMember(key); }
    void text(const char* key, std::string& into) {
        if (const Json::Value* found = take(key)) {
            if (!found->isString()) fail(std::string(key) + " is not a text");
            into = found->asString();
        }
    }
    template <class Number>
    void number(const char* key, Number& into,
                std::int64_t most = static_cast<std::int64_t>(std::numeric_limits<std::int64_t>::max())) {
        if (const Json::Value* found = take(key)) {
            if (!found->isInt64() || found->asInt64() < 0)
                fail(std::string(key) + " is not a whole number of 0 or more");
            if (found->asInt64() > most) fail(std::string(key) + " is more than " + std::to_string(most));
            into = static_cast<Number>(found->asInt64());
        }
    }
    void truth(const char* key, bool& into) {
        if (const Json::Value* found = take(key)) {
            if (!found->isBool()) fail(std::string(key) + " is not true or false");
            into = found->asBool();
        }
    }
    template <class Use>
    void section(const char* key, Use use) {
        if (const Json::Value* found = take(key)) {
            Section inner(*found, name_ + "." + key);
            use(inner);
            inner.end();
        }
    }
    // `use` gets each element, and the element's name for a complaint.
    template <class Use>
    void list(const char* key, Use use) {
        if (const Json::Value* found = take(key)) {
            if (!found->isArray()) fail(std::string(key) + " is not an array");
            for (Json::ArrayIndex i = 0; i < found->size(); ++i)
                use((*found)[i], name_ + "." + key + "[" + std::to_string(i) + "]");
        }
    }
    const Json::Value& whole() const { return value_; }
    const Json::Value* take(const char* key) {
        taken_.insert(key);
        return value_.isMember(key) ? &value_[key] : nullptr;
    }
    void end() const {
        for (const auto& key : value_.getMemberNames())
            if (taken_.count(key) == 0) fail("has a key \"" + key + "\" that is not known");
    }
    [[noreturn]] void fail(const std::string& what) const { throw std::runtime_error(name_ + " " + what); }

private:
    const Json::Value& value_;
    std::string name_;
    std::set<std::string> taken_;
};

inline std::string textElement(const Json::Value& value, const std::string& name) {
    if (!value.isString()) throw std::runtime_error(name + " is not a text");
    return value.asString();
}

}  // namespace simhost
