#include "core/base/vokConfigReader.h"

#include "core/base/vokConfigFinding.h"
#include "core/base/vokConfigText.h"
#include "core/base/vokJsonText.h"
#include "core/base/vokModules.h"
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

std::string cut(const std::string& text) {
    constexpr std::size_t readable = 60;
    return text.size() <= readable ? text : text.substr(0, readable) + "...";
}

// On one line and in ASCII, whatever a plain value is.
std::string plainForm(const Json::Value& value) {
    if (value.isString()) return vokJsonText(value);
    return value.isNull() ? "null" : value.asString();
}

std::string shortForm(const Json::Value& value) {
    if (value.isArray()) return "an array of " + std::to_string(value.size());
    if (value.isObject()) return "an object of " + std::to_string(value.size());
    return cut(plainForm(value));
}

// A key of the file may hold any characters, and the finding goes to a terminal and to the log.
std::string printableKey(const std::string& key) {
    const std::string quoted = plainForm(key);
    return cut(quoted.substr(1, quoted.size() - 2));
}

bool isResource(const std::string& name) {
    for (const vokModule& module : vokModules)
        if (module.canBeEnabled && vokSettingRules::isEquals(name, module.name)) return true;
    return vokSettingRules::isEquals(name, "All");
}

}  // namespace

vokConfigReader::vokConfigReader(const Json::Value& object, std::string prefix,
                                 std::vector<vokConfigFinding>& findings)
    : object_(object.isObject() ? object : absent()), prefix_(std::move(prefix)), findings_(findings) {}

const Json::Value& vokConfigReader::value(const char* key) const {
    return has(key) ? object_[key] : absent();
}

bool vokConfigReader::has(const char* key) const {
    return object_.isObject() && object_.isMember(key);
}

void vokConfigReader::report(const std::string& key, const Json::Value& written, const std::string& reason,
                             const std::string& used) {
    findings_.push_back({prefix_ + printableKey(key), shortForm(written), reason, used});
}

void vokConfigReader::report(const std::string& key, const std::string& reason, const std::string& used) {
    findings_.push_back({prefix_ + printableKey(key), "", reason, used});
}

std::string vokConfigReader::text(const char* key, const std::string& used) {
    std::string text;
    if (!textOf(value(key), text)) report(key, value(key), "not a plain value", used);
    return text;
}

bool vokConfigReader::boolean(const char* key) {
    const std::string written = text(key, "false");
    const bool result = vokSettingRules::validateBool(written, key);
    if (!written.empty()) {
        const std::string reason = vokSettingRules::refusalOfBool(written);
        if (!reason.empty()) report(key, value(key), reason, "false");
    }
    return result;
}

std::string vokConfigReader::choice(const char* key) {
    const std::string otherwise = vokSettingRules::validateString("", key);
    const std::string written = text(key, otherwise);
    if (!written.empty()) {
        const std::string reason = vokSettingRules::refusalOfString(written, key);
        if (!reason.empty()) report(key, value(key), reason, otherwise);
    }
    return vokSettingRules::validateString(written, key);
}

std::int32_t vokConfigReader::number(const char* key, const char* rule) {
    const std::string otherwise = std::to_string(vokSettingRules::validateNumerical("", rule));
    const std::string written = text(key, otherwise);
    if (!written.empty()) {
        const std::string reason = vokSettingRules::refusalOfNumber(written, rule);
        const std::string ignored = vokSettingRules::ignoredPartOfNumber(written);
        if (!reason.empty())
            report(key, value(key), reason, otherwise);
        else if (!ignored.empty())
            report(key, value(key), ignored,
                   std::to_string(vokSettingRules::validateNumerical(written, rule)));
    }
    return vokSettingRules::validateNumerical(written, rule);
}

std::string vokConfigReader::logLocation(const char* key, const std::string& used) {
    std::string written = text(key, used);
    if (written.empty()) return used;
    if (!vokSettingRules::isEquals(written, "syslog")) {
        const std::string name = written.substr(written.rfind('/') + 1);  // all of it without a slash
        if (name.empty() || name == "." || name == "..")
            report(key, value(key), "the path of a directory, not of a file", "no file; the lines are lost");
        else if (written.front() != '/')
            report(key, value(key), "not an absolute path",
                   "a path from the working directory, or in the host root");
    }
    return written;
}

std::vector<std::string> vokConfigReader::resources(const char* key) {
    const Json::Value& list = value(key);
    std::vector<std::string> names;
    if (!list.isArray()) {
        if (!list.isNull()) report(key, list, "not an array", "All");
        return {"All"};
    }
    if (list.empty()) report(key, list, "an empty list", "All");
    std::string first;
    const bool startsWithAll =
        !list.empty() && textOf(list[0U], first) && vokSettingRules::isEquals(first, "All");
    for (const auto& element : list) {
        std::string name;
        const bool isText = textOf(element, name);
        if (name.empty() && !startsWithAll) {
            report(key, element, isText ? "an empty name ends the list" : "not a name, which ends the list",
                   names.empty() ? "All" : "the names before it");
            break;
        }
        if (!isResource(name)) report(key, element, "not a resource that can be enabled", "nothing");
        if (!startsWithAll) names.push_back(name);
    }
    return names.empty() ? std::vector<std::string>{"All"} : names;
}
