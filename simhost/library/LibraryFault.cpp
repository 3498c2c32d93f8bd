#include "library/LibraryFault.h"

#include <sstream>

namespace simhost {

namespace {

struct Word {
    const char* text;
    LibraryEnd how;
};
constexpr Word words[] = {{"hang", LibraryEnd::hang},
                          {"crash", LibraryEnd::crash},
                          {"abort", LibraryEnd::abort},
                          {"exit", LibraryEnd::exit}};

}  // namespace

std::optional<LibraryEnd> toLibraryEnd(const std::string& word) {
    for (const Word& each : words)
        if (word == each.text) return each.how;
    return std::nullopt;
}

std::string LibraryFault::line() const {
    for (const Word& each : words)
        if (how == each.how) return entry + " " + each.text + " " + std::to_string(after);
    return "";
}

std::optional<LibraryFault> LibraryFault::parse(const std::string& line) {
    std::istringstream stream(line);
    LibraryFault fault;
    std::string how;
    if (!(stream >> fault.entry >> how >> fault.after)) return std::nullopt;
    const auto end = toLibraryEnd(how);
    if (!end) return std::nullopt;
    fault.how = *end;
    return fault;
}

}  // namespace simhost
