// The inventory as tables, one for each section of the document.
#pragma once

#include <string>
#include <vector>

#include "rmc/report/Device.h"

namespace simhost {

// A column heading. Numbers are aligned to the right.
struct Heading {
    std::string text;
    bool isNumber = false;
};

// A table in a region of its own that scrolls if it is wider than the page. `rows` is HTML.
std::string tableHtml(const std::string& id, const std::string& caption, const std::vector<Heading>& headings,
                      const std::string& rows);
// A cell; `sortBy` if its text is not what it sorts by.
std::string cellOf(const std::string& html, const std::string& sortBy = "");

std::string inventoryTablesHtml(const std::vector<Device>& devices);

}  // namespace simhost
