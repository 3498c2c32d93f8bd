#include "common/Text.h"

#include <cstdarg>
#include <cstdio>

namespace simhost {

std::string formatText(const char* format, ...) {
    char buffer[512];
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(buffer, sizeof(buffer), format, arguments);
    va_end(arguments);
    return buffer;
}

std::string oneLine(const std::string& text) {
    std::string line;
    bool blank = false;
    for (const char c : text) {
        if (c == ' ' || c == '\n') {
            blank = !line.empty();
            continue;
        }
        if (blank) line += ' ';
        blank = false;
        line += c;
    }
    return line;
}

std::string listed(const std::vector<std::string>& texts) {
    std::string list;
    for (const auto& text : texts) list += (list.empty() ? "" : ", ") + text;
    return list;
}

std::string butHas(std::vector<std::string> names) {
    constexpr std::size_t most = 12;
    if (names.empty()) return ", and no other";
    const std::size_t all = names.size();
    if (all > most) names.resize(most);
    return "; it has " + listed(names) +
           (all > most ? " and " + std::to_string(all - most) + " more, see \"show\"" : "");
}

}  // namespace simhost
