// The drawing of a layout: chassis frames with an inline SVG for each slot or bay. Each unit is a link to its
// row.
#pragma once

#include <string>

#include "rmc/report/Layout.h"

namespace simhost {

std::string pictureHtml(const Layout& layout);
// The symbol of a condition, which differs from the others in shape too; hidden from screen readers.
std::string symbolHtml(const char* condition);
// Symbol and text of a unit's state.
std::string stateHtml(const Device& device);

}  // namespace simhost
