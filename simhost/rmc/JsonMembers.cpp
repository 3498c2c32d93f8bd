#include "rmc/JsonMembers.h"

#include <memory>

namespace simhost {

const Json::Value& member(const Json::Value& from, std::initializer_list<const char*> path) {
    const Json::Value* at = &from;
    for (const char* key : path) {
        if (!at->isObject()) return Json::Value::nullSingleton();
        at = &(*at)[key];
    }
    return *at;
}

std::string textOf(const Json::Value& value) {
    if (value.isNull() || value.isObject() || value.isArray()) return "";
    return value.asString();
}

std::string textOf(const Json::Value& from, std::initializer_list<const char*> path) {
    return textOf(member(from, path));
}

Json::Value parsedJson(const std::string& text) {
    Json::CharReaderBuilder builder;
    Json::CharReaderBuilder::strictMode(&builder.settings_);
    const std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
    Json::Value value;
    std::string ignored;
    try {
        if (!reader->parse(text.data(), text.data() + text.size(), &value, &ignored)) return {};
    } catch (const Json::Exception&) {  // beyond the reader's limit of nesting, or two equal keys
        return {};
    }
    return value;
}

}  // namespace simhost
