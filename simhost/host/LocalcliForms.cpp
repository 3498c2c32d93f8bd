#include "host/LocalcliForms.h"

#include <algorithm>

namespace simhost {

std::string formatTable(const std::vector<ColumnForm>& columns, const std::vector<TableRow>& rows) {
    TableRow headings, ruler;
    std::vector<std::size_t> widths;
    for (std::size_t i = 0; i < columns.size(); ++i) {
        std::size_t width = columns[i].width;
        if (width == asWideAsItsTexts) {
            width = std::string(columns[i].heading).size();
            for (const auto& row : rows) width = std::max(width, row[i].size());
        }
        headings.emplace_back(columns[i].heading);
        ruler.emplace_back(width, '-');
        widths.push_back(width);
    }
    std::string text;
    const auto put = [&](const TableRow& row) {
        for (std::size_t i = 0; i < columns.size(); ++i) {
            const std::string padding(widths[i] - std::min(widths[i], row[i].size()), ' ');
            const bool last = i + 1 == columns.size();
            text += columns[i].align == Align::right ? padding + row[i] : row[i] + (last ? "" : padding);
            text += last ? "\n" : "  ";
        }
    };
    put(headings);
    put(ruler);
    std::for_each(rows.begin(), rows.end(), put);
    return text;
}

std::string formatLine(const std::string& key, const std::string& value) {
    return "   " + key + ": " + value + "\n";
}

}  // namespace simhost
