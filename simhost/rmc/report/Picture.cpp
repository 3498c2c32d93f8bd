#include "rmc/report/Picture.h"

#include <algorithm>

#include "common/Text.h"
#include "rmc/JsonMembers.h"
#include "rmc/report/Html.h"

namespace simhost {

namespace {

// Pixels. A drawing is not scaled: its texts stay as large as those of the page, and its cells flow into
// further rows.
constexpr unsigned slotWidth = 140;
constexpr unsigned emptyWidth = 40;
constexpr unsigned slotHead = 52;
constexpr unsigned rowHeight = 30;
constexpr unsigned bayWidth = 76;
constexpr unsigned bayHeight = 104;
constexpr unsigned margin = 6;
constexpr std::size_t fittingInSlot = 13;  // characters of a unit's name
constexpr std::size_t codeLength = 16;     // of a location code
constexpr std::size_t fittingInBay = 9;

// The end of a name distinguishes it from its neighbours.
std::string shortened(const std::string& name, std::size_t most) {
    if (name.size() <= most) return name;
    const bool isAscii = std::all_of(name.begin(), name.end(), [](char c) { return c >= ' ' && c <= '~'; });
    return isAscii ? "\xE2\x80\xA6" + name.substr(name.size() - most + 1) : "\xE2\x80\xA6";
}

std::string svgText(unsigned x, unsigned y, const char* style, const std::string& text) {
    return formatText("<text x=\"%u\" y=\"%u\" class=\"%s\">", x, y, style) + escaped(text) + "</text>";
}

std::string svgRect(unsigned x, unsigned y, unsigned width, unsigned height, unsigned radius,
                    const char* style) {
    return formatText("<rect x=\"%u\" y=\"%u\" width=\"%u\" height=\"%u\" rx=\"%u\" class=\"%s\"/>", x, y,
                      width, height, radius, style);
}

std::string svgUse(const char* condition, unsigned x, unsigned y) {
    return formatText("<use href=\"#s-%s\" x=\"%u\" y=\"%u\" width=\"16\" height=\"16\"/>", condition, x, y);
}

// A link with a name, around `drawing`.
std::string unitLink(const Device& device, const std::string& drawing) {
    return "<a href=\"#" + device.anchor + "\" class=\"unit " + nameOf(device.condition) + "\"" +
           attribute("aria-label", device.inWords()) + "><title>" + escaped(device.inWords()) + "</title>" +
           drawing + "</a>";
}

std::string svgOf(unsigned width, unsigned height, const Cell& cell, const std::string& drawing) {
    const std::string contents = cell.devices.empty()
                                     ? "no unit reported"
                                     : counted(cell.devices.size(), cell.devices[0]->section->word, "units");
    std::string places = cell.geoId.empty() ? "" : ", GeoID " + cell.geoId;
    if (!cell.code.empty() && cell.code != unknownCode) places += ", location code " + cell.code;
    return formatText("<svg role=\"group\" width=\"%u\" height=\"%u\" viewBox=\"0 0 %u %u\"", width, height,
                      width, height) +
           attribute("aria-label", cell.name + ": " + contents) + "><title>" + escaped(cell.name) +
           "</title><desc>" + escaped(contents + places) + "</desc>" + drawing + "</svg>";
}

std::string nameInSlot(const Device& device) {
    if (device.is("StorageControllers")) return "controller";
    if (device.is("FibreChannelDevices")) return "FC " + shortened(device.name, 8);
    return shortened(device.name, fittingInSlot);
}

// A card seen from its bracket: head, and one box for each unit below it.
std::string slotDrawing(const Cell& cell, unsigned height) {
    std::string drawing = svgRect(1, 1, slotWidth - 2, height - 2, 6, "card");
    drawing += svgText(10, 18, "head", cell.name);
    drawing +=
        svgText(10, 33, "code", cell.geoId) + svgText(10, 46, "code", shortened(cell.code, codeLength));
    unsigned y = slotHead;
    for (const Device* device : cell.devices) {
        drawing += unitLink(*device, svgRect(margin, y, slotWidth - 2 * margin, rowHeight - 4, 4, "box") +
                                         svgUse(nameOf(device->condition), margin + 5, y + 5) +
                                         svgText(margin + 26, y + 17, "name", nameInSlot(*device)));
        y += rowHeight;
    }
    return drawing;
}

std::string nameInBay(const Device& device) {
    const Json::Value& capacity = member(*device.item, {"CapacityBytes"});
    return capacity.isNumeric() ? capacityText(capacity.asDouble()) : shortened(device.name, fittingInBay);
}

// A slot or bay that no unit names: only its number.
std::string emptyDrawing(const Cell& cell, unsigned height) {
    const std::string number = cell.name.substr(cell.name.rfind(' ') + 1);
    return svgRect(1, 1, emptyWidth - 2, height - 2, 5, "card none") + svgText(10, 20, "fine", number);
}

// A drive in its carrier, with the handle below.
std::string bayDrawing(const Cell& cell) {
    const Device& drive = *cell.devices[0];
    const std::string drawing =
        svgRect(1, 1, bayWidth - 2, bayHeight - 2, 5, "box") + svgText(9, 20, "head", cell.name) +
        svgUse(nameOf(drive.condition), bayWidth / 2 - 8, 28) +
        svgText(9, 62, "name", meaningful(textOf(*drive.item, {"MediaType"}))) +
        svgText(9, 78, "fine", nameInBay(drive)) +
        svgRect(margin + 2, bayHeight - 17, bayWidth - 2 * margin - 4, 9, 3, "handle");
    return unitLink(drive, drawing);
}

std::string volumeDrawing(const Device& volume) {
    const Json::Value& drives = member(*volume.item, {"Drives"});
    const std::size_t members = drives.isArray() ? drives.size() : 0;
    return unitLink(
        volume, svgRect(1, 1, slotWidth - 2, 46, 6, "box") + svgUse(nameOf(volume.condition), 10, 8) +
                    svgText(32, 21, "name", shortened(volume.name, 11)) +
                    svgText(10, 38, "fine", nameInBay(volume) + ", " + counted(members, "drive", "drives")));
}

std::string cellHtml(const Cell& cell, const Bank& bank, std::size_t mostDevices) {
    const auto item = [](const std::string& svg) { return element("li", "", svg); };
    const auto slotHeight =
        static_cast<unsigned>(slotHead + std::max<std::size_t>(1, mostDevices) * rowHeight + 4);
    const unsigned height = bank.shape == Bank::Shape::slots ? slotHeight : bayHeight;
    if (cell.devices.empty()) return item(svgOf(emptyWidth, height, cell, emptyDrawing(cell, height)));
    if (bank.shape == Bank::Shape::slots)
        return item(svgOf(slotWidth, height, cell, slotDrawing(cell, height)));
    if (bank.shape == Bank::Shape::bays) {
        std::string items = item(svgOf(bayWidth, bayHeight, cell, bayDrawing(cell)));
        for (std::size_t i = 1; i < cell.devices.size(); ++i) {
            Cell further = cell;
            further.devices = {cell.devices[i]};
            items += item(svgOf(bayWidth, bayHeight, further, bayDrawing(further)));
        }
        return items;
    }
    std::string items;
    for (const Device* volume : cell.devices) {
        Cell one = cell;
        one.devices = {volume};
        items += item(svgOf(slotWidth, 48, one, volumeDrawing(*volume)));
    }
    return element("li", " class=\"behind\"",
                   element("span", " class=\"fine\"", escaped(cell.name)) + element("ul", "", items));
}

std::string bankHtml(const Bank& bank) {
    std::size_t most = 0;
    for (const Cell& cell : bank.cells) most = std::max(most, cell.devices.size());
    std::string items;
    for (const Cell& cell : bank.cells) items += cellHtml(cell, bank, most) + "\n";
    return "<div class=\"bank\"" + attribute("data-group", bank.name) + ">" +
           element("h4", "", escaped(bank.name)) + element("ul", " class=\"cells\"", "\n" + items) +
           "</div>\n";
}

std::string banksHtml(const std::vector<Bank>& banks) {
    std::string html;
    for (const Bank& bank : banks) html += bankHtml(bank);
    return html;
}

std::string frameHtml(const std::string& name, const std::string& words, const std::vector<Bank>& banks) {
    return "<section class=\"chassis\"" + attribute("aria-label", name) + "><h3>" + escaped(name) +
           " <span class=\"fine\">" + escaped(words) + "</span></h3>\n" + banksHtml(banks) + "</section>\n";
}

std::string unplacedHtml(const std::vector<const Device*>& devices) {
    std::string items;
    for (const Device* device : devices)
        items += "<li><a href=\"#" + device->anchor + "\" class=\"unit " + nameOf(device->condition) + "\">" +
                 symbolHtml(nameOf(device->condition)) + "<span>" + escaped(device->name) +
                 "</span> <span class=\"fine\">" + escaped(device->section->word) + ", " +
                 escaped(device->state) + "</span></a></li>\n";
    return "<section class=\"chassis unplaced\" aria-label=\"Without a place\"><h3>Without a place <span "
           "class=\"fine\">" +
           counted(devices.size(), "unit", "units") +
           " with neither a GeoID nor a location code that can be read</span></h3>\n"
           "<div class=\"bank\" data-group=\"Without a place\"><ul class=\"chips\">\n" +
           items + "</ul></div></section>\n";
}

}  // namespace

std::string symbolHtml(const char* condition) {
    return std::string("<svg class=\"symbol ") + condition +
           "\" width=\"16\" height=\"16\" aria-hidden=\"true\"><use href=\"#s-" + condition + "\"/></svg>";
}

std::string stateHtml(const Device& device) {
    return std::string("<span class=\"state ") + nameOf(device.condition) + "\">" +
           symbolHtml(nameOf(device.condition)) + escaped(device.state) + "</span>";
}

std::string pictureHtml(const Layout& layout) {
    std::string html;
    for (const Chassis& chassis : layout.chassis)
        html += frameHtml("Chassis " + chassis.name, chassis.words, chassis.banks);
    if (!layout.enclosures.empty())
        html += frameHtml("RAID enclosures", "drives by enclosure and slot", layout.enclosures);
    if (!layout.unplaced.empty()) html += unplacedHtml(layout.unplaced);
    if (html.empty()) html = "<p>The inventory has no unit to draw.</p>\n";
    return html;
}

}  // namespace simhost
