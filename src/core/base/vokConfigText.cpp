#include "core/base/vokConfigText.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdlib>
#include <map>

namespace vokConfigText {
namespace {

// Settings are nested at most two levels deep; the parser allows a thousand.
constexpr int deepestKept = 100;

// The end of the string that begins at `from`; endOfComment() does the same for a comment.
std::size_t endOfString(const std::string& text, std::size_t from) {
    std::size_t i = from + 1;
    while (i < text.size() && text[i] != '"') i += text[i] == '\\' ? 2 : 1;
    return std::min(i + 1, text.size());
}

std::size_t endOfComment(const std::string& text, std::size_t from) {
    std::size_t end = from + 1;  // a single slash
    if (text.compare(from, 2, "/*") == 0)
        end = std::min(text.find("*/", from + 2), text.size()) + 2;
    else if (text.compare(from, 2, "//") == 0)
        end = text.find_first_of("\r\n", from);
    return std::min(end, text.size());
}

std::string keptNumber(const std::string& number) {
    char* end = nullptr;
    const double value = std::strtod(number.c_str(), &end);
    // Text that is only partly a number is not JSON and stays as it is.
    return std::isinf(value) && *end == '\0' ? '"' + (outOfRangePrefix + number) + '"' : number;
}

}  // namespace

std::string withinParserLimits(const std::string& text) {
    std::string result;
    int depth = 0;
    for (std::size_t i = 0; i < text.size();) {
        const char c = text[i];
        std::size_t end = i + 1;
        bool kept = depth <= deepestKept;
        if (c == '"') {
            end = endOfString(text, i);
        } else if (c == '/') {
            end = endOfComment(text, i);
        } else if (c == '-' || std::isdigit(static_cast<unsigned char>(c))) {
            end = std::min(text.find_first_not_of("0123456789+-.eE", i), text.size());
            if (kept) result += keptNumber(text.substr(i, end - i));
            kept = false;
        } else if (c == '[' || c == '{') {
            ++depth;
            kept = depth <= deepestKept + 1;  // the outermost removed container stays, empty
        } else if (c == ']' || c == '}') {
            kept = depth <= deepestKept + 1;
            --depth;
        }
        if (kept) result.append(text, i, end - i);
        i = end;
    }
    return result;
}

std::vector<std::string> repeatedKeys(const std::string& text, std::string (*keyOf)(const std::string& raw)) {
    constexpr int deepest = 2;  // no setting is nested deeper
    struct Level {
        bool atKey = false;
        std::string key;  // the last one
        std::map<std::string, int> counts;
    };
    Level levels[deepest + 1];
    std::vector<std::string> repeated;
    int depth = 0;
    for (std::size_t i = 0; i < text.size();) {
        const char c = text[i];
        std::size_t end = i + 1;
        Level* const level = depth <= deepest ? &levels[depth] : nullptr;
        if (c == '"') {
            end = endOfString(text, i);
            if (level && level->atKey) {
                level->key = keyOf(text.substr(i + 1, end - i - 2));
                if (++level->counts[level->key] == 2)
                    repeated.push_back(depth == 1 ? level->key : levels[1].key + "." + level->key);
                level->atKey = false;
            }
        } else if (c == '/') {
            end = endOfComment(text, i);
        } else if (c == '[' || c == '{') {
            if (++depth <= deepest) levels[depth] = {c == '{', "", {}};
        } else if (c == ']' || c == '}') {
            if (--depth <= 0) break;  // the parser ignores what comes after the object
        } else if (c == ',' && level) {
            level->atKey = !level->counts.empty();  // an array has no keys
        }
        i = end;
    }
    return repeated;
}

bool hasTextAfterObject(const std::string& text) {
    bool ended = false;
    int depth = 0;
    for (std::size_t i = 0; i < text.size();) {
        const char c = text[i];
        if (c == '/') {
            i = endOfComment(text, i);
            continue;
        }
        if (ended && !std::isspace(static_cast<unsigned char>(c))) return true;
        if (c == '[' || c == '{') ++depth;
        if (c == ']' || c == '}') ended = --depth <= 0;
        i = c == '"' ? endOfString(text, i) : i + 1;
    }
    return false;
}

}  // namespace vokConfigText
