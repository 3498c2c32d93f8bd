#include "core/base/vokConfigReader.h"

#include <json/writer.h>

#include "core/base/vokConfigRefusal.h"
#include "core/base/vokConfigText.h"
#include "core/base/vokSettingRules.h"

namespace {

const Json::Value& absent() {
    static const Json::Value null;
    return null;
}

// The text form of a plain value. A number whose text has an exponent has none: only the digits before the
// exponent would be read.
bool textOf(const Json::Value& value, std::string& text) {
    if (value.isObject() || value.isArray()) return false;
    const std::string form = value.asString();
    if (value.isString() ? form.rfind(vokConfigText::outOfRangePrefix, 0) == 0
                         : value.type() == Json::realValue && form.find('e') != std::string::npos)
        return false;
    text = form;
    return true;
}

std::string shortForm(const Json::Value& value) {
    constexpr std::size_t readable = 60;
    std::string text;
    if (value.isArray()) {
        text = "an array of " + std::to_string(value.size());
    } else if (value.isObject()) {
        text = "an object of " + std::to_string(value.size());
    } else {
        Json::StreamWriterBuilder builder;
        builder["indentation"] = "";
        text = Json::writeString(builder, value);
    }
    return text.size() <= readable ? text : text.substr(0, readable) + "...";
}

}  // namespace

vokConfigReader::vokConfigReader(const Json::Value& object, std::string prefix,
                                 std::vector<vokConfigRefusal>* refusals)
    : object_(object.isObject() ? object : absent()), prefix_(std::move(prefix)), refusals_(refusals) {}

const Json::Value& vokConfigReader::value(const char* key) const {
    return has(key) ? object_[key] : absent();
}

bool vokConfigReader::has(const char* key) const {
    return object_.isObject() && object_.isMember(key);
}

void vokConfigReader::refuse(const std::string& key, const Json::Value& written, const std::string& reason,
                             const std::string& used) {
    if (refusals_) refusals_->push_back({prefix_ + key, shortForm(written), reason, used});
}

std::string vokConfigReader::text(const char* key, const std::string& used) {
    std::string text;
    if (!textOf(value(key), text)) refuse(key, value(key), "not a plain value", used);
    return text;
}

bool vokConfigReader::boolean(const char* key) {
    const std::string written = text(key, "false");
    const bool result = vokSettingRules::validateBool(written, key);
    if (!written.empty()) {
        const std::string reason = vokSettingRules::refusalOfBool(written);
        if (!reason.empty()) refuse(key, value(key), reason, "false");
    }
    return result;
}

std::string vokConfigReader::choice(const char* key) {
    const std::string otherwise = vokSettingRules::validateString("", key);
    const std::string written = text(key, otherwise);
    if (!written.empty()) {
        const std::string reason = vokSettingRules::refusalOfString(written, key);
        if (!reason.empty()) refuse(key, value(key), reason, otherwise);
    }
    return vokSettingRules::validateString(written, key);
}

std::int32_t vokConfigReader::number(const char* key, const char* rule) {
    const std::string otherwise = std::to_string(vokSettingRules::validateNumerical("", rule));
    const std::string written = text(key, otherwise);
    if (!written.empty()) {
        const std::string reason = vokSettingRules::refusalOfNumber(written, rule);
        if (!reason.empty()) refuse(key, value(key), reason, otherwise);
    }
    return vokSettingRules::validateNumerical(written, rule);
}

std::vector<std::string> vokConfigReader::resources(const char* key) {
    const Json::Value& list = value(key);
    std::vector<std::string> names;
    if (!list.isArray()) {
        if (!list.isNull()) refuse(key, list, "not an array", "All");
        return {"All"};
    }
    for (const auto& element : list) {
        std::string name;
        if (!textOf(element, name)) refuse(key, element, "not a name", "the names before it");
        if (name.empty()) break;
        if (names.empty() && vokSettingRules::isEquals(name, "All")) return {"All"};
        names.push_back(name);
    }
    return names.empty() ? std::vector<std::string>{"All"} : names;
}
