// Reads what commands print for people: tables whose columns are two or more blanks apart, and lines of a key
// and its value.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

namespace simhost {

struct OutputTable {
    struct Row {
        std::string line;
        std::map<std::string, std::string> cells;  // by the column's name
    };
    std::vector<std::string> before;  // the lines before the heading, without empty ones
    std::string heading;
    std::vector<Row> rows;  // to the next empty line
};

// For each column named, the texts that its cell may have.
using RowFilter = std::map<std::string, std::vector<std::string>>;

// The first table that has all these columns; nothing when there is none. A ruler of dashes is no row.
std::optional<OutputTable> readTable(const std::string& text, const std::vector<std::string>& columns);
bool fits(const OutputTable::Row& row, const RowFilter& filter);

// The value of the first line "KEY: VALUE", or "KEY VALUE", without blanks around it.
std::optional<std::string> readField(const std::string& text, const std::string& key);

std::vector<std::string> linesOf(const std::string& text);

}  // namespace simhost
