#include "scenario/OutputTable.h"

#include <algorithm>
#include <sstream>

namespace simhost {

namespace {

std::string trimmed(const std::string& text) {
    const std::size_t begin = text.find_first_not_of(" \t");
    if (begin == std::string::npos) return "";
    return text.substr(begin, text.find_last_not_of(" \t") - begin + 1);
}

// The columns of a heading, with the place at which each begins.
std::map<std::size_t, std::string> columnsOf(const std::string& heading) {
    std::map<std::size_t, std::string> columns;
    for (std::size_t at = heading.find_first_not_of(' '); at != std::string::npos;) {
        const std::size_t end = heading.find("  ", at);
        columns[at] = trimmed(heading.substr(at, end - at));
        at = end == std::string::npos ? end : heading.find_first_not_of(' ', end);
    }
    return columns;
}

bool hasAll(const std::map<std::size_t, std::string>& columns, const std::vector<std::string>& wanted) {
    return std::all_of(wanted.begin(), wanted.end(), [&columns](const std::string& name) {
        return std::any_of(columns.begin(), columns.end(),
                           [&name](const auto& column) { return column.second == name; });
    });
}

OutputTable::Row rowOf(const std::string& line, const std::map<std::size_t, std::string>& columns) {
    OutputTable::Row row{line, {}};
    for (auto each = columns.begin(); each != columns.end(); ++each) {
        const auto next = std::next(each);
        const std::size_t length = next == columns.end() ? std::string::npos : next->first - each->first;
        row.cells[each->second] = each->first < line.size() ? trimmed(line.substr(each->first, length)) : "";
    }
    return row;
}

}  // namespace

std::optional<OutputTable> readTable(const std::string& text, const std::vector<std::string>& columns) {
    OutputTable table;
    std::map<std::size_t, std::string> found;
    for (const auto& line : linesOf(text)) {
        const bool empty = trimmed(line).empty();
        if (found.empty()) {
            auto here = columnsOf(line);
            if (!here.empty() && hasAll(here, columns)) {
                found = std::move(here);
                table.heading = line;
            } else if (!empty) {
                table.before.push_back(line);
            }
            continue;
        }
        if (empty) break;
        if (line.find_first_not_of("- ") != std::string::npos) table.rows.push_back(rowOf(line, found));
    }
    if (found.empty()) return std::nullopt;
    return table;
}

bool fits(const OutputTable::Row& row, const RowFilter& filter) {
    return std::all_of(filter.begin(), filter.end(), [&row](const auto& wanted) {
        const auto cell = row.cells.find(wanted.first);
        return cell != row.cells.end() &&
               std::find(wanted.second.begin(), wanted.second.end(), cell->second) != wanted.second.end();
    });
}

std::optional<std::string> readField(const std::string& text, const std::string& key) {
    for (const auto& each : linesOf(text)) {
        const std::string line = trimmed(each);
        if (line.compare(0, key.size(), key) != 0) continue;
        std::string rest = line.substr(key.size());
        if (!rest.empty() && rest[0] == ':')
            rest.erase(0, 1);
        else if (!rest.empty() && rest[0] != ' ' && rest[0] != '\t')
            continue;  // the beginning of a longer key
        return trimmed(rest);
    }
    return std::nullopt;
}

std::vector<std::string> linesOf(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) lines.push_back(line);
    return lines;
}

}  // namespace simhost
