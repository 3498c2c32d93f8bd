#include "scenario/Values.h"

#include <algorithm>
#include <functional>
#include <stdexcept>

namespace simhost {

namespace {

// The text with each ${name} replaced by what `replacement` returns for the name.
std::string replaced(const std::string& text,
                     const std::function<std::string(const std::string& name)>& replacement) {
    std::string result;
    std::size_t at = 0;
    for (std::size_t begin; (begin = text.find("${", at)) != std::string::npos;) {
        const std::size_t end = text.find('}', begin);
        if (end == std::string::npos) throw std::runtime_error("has a ${ without a }");
        result += text.substr(at, begin - at) + replacement(text.substr(begin + 2, end - begin - 2));
        at = end + 1;
    }
    return result + text.substr(at);
}

}  // namespace

const std::vector<std::string>& Values::list(const std::string& name) const {
    static const std::vector<std::string> none;
    const auto found = texts_.find(name);
    return found == texts_.end() ? none : found->second;
}

std::string Values::reason(const std::string& name) const {
    const auto found = reasons_.find(name);
    return found == reasons_.end() ? "" : found->second;
}

bool Values::isEmpty(const std::string& name) const {
    const auto& texts = list(name);
    return std::all_of(texts.begin(), texts.end(), [](const std::string& text) { return text.empty(); });
}

std::string Values::filled(const std::string& text) const {
    return replaced(text, [this](const std::string& name) {
        std::string joined;
        for (const auto& each : list(name)) joined += (joined.empty() ? "" : " ") + each;
        return joined;
    });
}

std::vector<std::string> Values::filledList(const std::vector<std::string>& texts) const {
    std::vector<std::string> result;
    for (const auto& text : texts) {
        const auto names = valueNames(text);
        if (names.size() == 1 && text == "${" + names[0] + "}") {
            const auto& elements = list(names[0]);
            result.insert(result.end(), elements.begin(), elements.end());
        } else {
            result.push_back(filled(text));
        }
    }
    return result;
}

std::vector<std::string> valueNames(const std::string& text) {
    std::vector<std::string> names;
    replaced(text, [&names](const std::string& name) {
        names.push_back(name);
        return "";
    });
    return names;
}

}  // namespace simhost
