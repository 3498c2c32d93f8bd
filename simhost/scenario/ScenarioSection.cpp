#include "scenario/ScenarioSection.h"

#include "scenario/Values.h"

namespace simhost {

std::string ScenarioTexts::complaint(const std::string& text) const {
    try {
        for (const auto& name : valueNames(text))
            if (!knows(name)) return "uses ${" + name + "}, which nothing sets before";
    } catch (const std::runtime_error& error) {
        return error.what();
    }
    return "";
}

std::string ScenarioTexts::text(Section& section, const char* key) const {
    std::string text;
    section.text(key, text);
    const std::string wrong = complaint(text);
    if (!wrong.empty()) section.fail(std::string(key) + " " + wrong);
    return text;
}

std::vector<std::string> ScenarioTexts::list(Section& section, const char* key) const {
    std::vector<std::string> texts;
    section.list(key, [&](const Json::Value& value, const std::string& name) {
        texts.push_back(textElement(value, name));
        const std::string wrong = complaint(texts.back());
        if (!wrong.empty()) throw std::runtime_error(name + " " + wrong);
    });
    return texts;
}

std::vector<std::string> ScenarioTexts::names(Section& section, const char* key) const {
    std::vector<std::string> names;
    section.list(key, [&](const Json::Value& value, const std::string& name) {
        names.push_back(textElement(value, name));
        if (!knows(names.back()))
            throw std::runtime_error(name + " is \"" + names.back() + "\", a value that nothing sets before");
    });
    return names;
}

RowFilter ScenarioTexts::filter(Section& section, const char* key) const {
    RowFilter filter;
    section.section(key, [&](Section& columns) {
        for (const auto& column : columns.whole().getMemberNames())
            filter[column] = columns.whole()[column].isArray()
                                 ? list(columns, column.c_str())
                                 : std::vector<std::string>{text(columns, column.c_str())};
    });
    return filter;
}

std::map<std::string, std::string> ScenarioTexts::texts(Section& section, const char* key) const {
    std::map<std::string, std::string> texts;
    section.section(key, [&](Section& members) {
        for (const auto& member : members.whole().getMemberNames())
            texts[member] = text(members, member.c_str());
    });
    return texts;
}

double fraction(Section& section, const char* key) {
    const Json::Value* found = section.take(key);
    if (found == nullptr) return 0;
    if (!found->isNumeric() || found->asDouble() < 0)
        section.fail(std::string(key) + " is not a number of 0 or more");
    return found->asDouble();
}

}  // namespace simhost
