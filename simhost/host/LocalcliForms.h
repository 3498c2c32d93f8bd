// The two forms in which localcli prints records, as data: a table of columns, and a block of "key: value"
// lines. A namespace of localcli is then an array of columns or lines over the records that it lists.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace simhost {

enum class Align { left, right };

// A column's width: that of its widest text, the heading included, or a fixed number of characters, which a
// longer text exceeds.
inline constexpr std::size_t asWideAsItsTexts = 0;

template <class Record>
struct Column {
    const char* heading;
    std::string (*value)(const Record& record);
    std::size_t width = asWideAsItsTexts;
    Align align = Align::left;
};

struct ColumnForm {
    const char* heading;
    std::size_t width;
    Align align;
};
using TableRow = std::vector<std::string>;

// Headings, a ruler of hyphens and the rows, with two blanks between columns and none at the end of a line
// whose last column is aligned to the left. A row has as many values as there are columns.
std::string formatTable(const std::vector<ColumnForm>& columns, const std::vector<TableRow>& rows);

template <class Record, std::size_t Count>
std::string formatTable(const Column<Record> (&columns)[Count], const std::vector<Record>& records) {
    std::vector<ColumnForm> forms;
    for (const auto& each : columns) forms.push_back({each.heading, each.width, each.align});
    std::vector<TableRow> rows;
    for (const auto& record : records) {
        rows.emplace_back();
        for (const auto& each : columns) rows.back().push_back(each.value(record));
    }
    return formatTable(forms, rows);
}

template <class Record>
struct Line {
    const char* key;
    std::string (*value)(const Record& record);
};

// "   Key: value".
std::string formatLine(const std::string& key, const std::string& value);

template <class Record, std::size_t Count>
std::string formatLines(const Line<Record> (&lines)[Count], const Record& record) {
    std::string text;
    for (const auto& each : lines) text += formatLine(each.key, each.value(record));
    return text;
}

}  // namespace simhost
