#include "rmc/report/Tables.h"

#include <algorithm>
#include <map>
#include <set>

#include "common/Text.h"
#include "rmc/JsonMembers.h"
#include "rmc/report/Html.h"
#include "rmc/report/Picture.h"

namespace simhost {

namespace {

struct Column {
    const char* heading;
    std::initializer_list<const char*> path;
    enum class Form { text, code, number, capacity } form = Form::text;
};

// After the columns that all tables have: state and name. Members that no column shows get one of their own.
const Column columns[] = {
    {"Model", {"Model"}},
    {"Type", {"VolumeType"}},
    {"Manufacturer", {"Manufacturer"}},
    {"Serial number", {"SerialNumber"}, Column::Form::code},
    {"Part number", {"PartNumber"}, Column::Form::code},
    {"Firmware", {"FirmwareVersion"}, Column::Form::code},
    {"Revision", {"Revision"}, Column::Form::code},
    {"Capacity", {"CapacityBytes"}, Column::Form::capacity},
    {"Medium", {"MediaType"}},
    {"Protocol", {"Protocol"}},
    {"MAC address", {"MACAddress"}, Column::Form::code},
    {"Speed, Mbit/s", {"SpeedMbps"}, Column::Form::number},
    {"WWPN", {"WWPN"}, Column::Form::code},
    {"WWNN", {"WWNN"}, Column::Form::code},
    {"Drives", {"Drives"}},
    {"Slot", {"Oem", "Slot"}, Column::Form::code},
    {"PCI address and GeoID", {"Oem", "Description"}, Column::Form::code},
    {"Location code", {"Oem", "PhysicalLocation"}, Column::Form::code},
    {"Controller's location code", {"Oem", "HostControllerPhysicalLocation"}, Column::Form::code},
};
constexpr std::size_t mostOtherColumns = 12;
constexpr std::ptrdiff_t tallTable = 40;  // more rows than this scroll below a heading that stays

bool isShown(const std::string& key) {
    return key == "Status" || key == "Oem" ||
           std::any_of(std::begin(columns), std::end(columns),
                       [&key](const Column& column) { return key == *column.path.begin(); });
}

std::string joined(const Json::Value& value) {
    if (!value.isArray()) return textOf(value);
    std::vector<std::string> texts;
    for (const Json::Value& each : value) texts.push_back(textOf(each));
    return listed(texts);
}

std::string cellHtml(const Json::Value& value, Column::Form form) {
    const bool isNumber = form == Column::Form::number || form == Column::Form::capacity;
    if (isNumber && value.isNumeric()) {
        const double number = value.asDouble();
        return "<td class=\"number\"" + attribute("data-sort", fixed(number, 0)) + ">" +
               escaped(form == Column::Form::capacity ? capacityText(number) : textOf(value)) + "</td>";
    }
    if (form == Column::Form::code) return "<td class=\"code\">" + escaped(joined(value)) + "</td>";
    return cellOf(escaped(joined(value)));
}

// A column of one table: of the list above, or of a member that the list lacks.
struct ShownColumn {
    Heading heading;
    std::vector<std::string> path;
    Column::Form form = Column::Form::text;
};

const Json::Value& valueAt(const Json::Value& item, const std::vector<std::string>& path) {
    const Json::Value* at = &item;
    for (const auto& key : path) at = &member(*at, {key.c_str()});
    return *at;
}

std::vector<ShownColumn> columnsOf(const std::vector<const Device*>& devices) {
    std::vector<ShownColumn> shown;
    for (const Column& column : columns) {
        const std::vector<std::string> path(column.path.begin(), column.path.end());
        if (std::none_of(devices.begin(), devices.end(),
                         [&path](const Device* device) { return !valueAt(*device->item, path).isNull(); }))
            continue;
        const bool isNumber = column.form == Column::Form::number || column.form == Column::Form::capacity;
        shown.push_back({{column.heading, isNumber}, path, column.form});
    }
    std::set<std::string> others;
    for (const Device* device : devices)
        for (const auto& key :
             device->item->isObject() ? device->item->getMemberNames() : std::vector<std::string>())
            if (!isShown(key) && others.size() < mostOtherColumns) others.insert(key);
    for (const auto& key : others) shown.push_back({{key, false}, {key}, Column::Form::text});
    return shown;
}

std::string rowHtml(const Device& device, const std::vector<ShownColumn>& shown) {
    std::string cells = "<td data-sort=\"" + std::to_string(static_cast<int>(device.condition)) + "\">" +
                        stateHtml(device) + "</td><th scope=\"row\">" + escaped(device.name) + "</th>";
    for (const ShownColumn& column : shown)
        cells += cellHtml(valueAt(*device.item, column.path), column.form);
    return "<tr id=\"" + device.anchor + "\" tabindex=\"-1\">" + cells + "</tr>\n";
}

}  // namespace

std::string cellOf(const std::string& html, const std::string& sortBy) {
    return (sortBy.empty() ? "<td>" : "<td" + attribute("data-sort", sortBy) + ">") + html + "</td>";
}

std::string tableHtml(const std::string& id, const std::string& caption, const std::vector<Heading>& headings,
                      const std::string& rows) {
    std::string head;
    for (const Heading& heading : headings)
        head += std::string("<th scope=\"col\"") + (heading.isNumber ? " class=\"number\"" : "") + ">" +
                escaped(heading.text) + "</th>";
    const bool isTall = std::count(rows.begin(), rows.end(), '\n') > tallTable;
    return std::string("<div class=\"scroll") + (isTall ? " tall" : "") +
           "\" role=\"region\" tabindex=\"0\"" + attribute("aria-labelledby", id + "-caption") + "><table" +
           attribute("id", id) + "><caption" + attribute("id", id + "-caption") + ">" + escaped(caption) +
           "</caption>\n<thead><tr>" + head + "</tr></thead>\n<tbody>\n" + rows + "</tbody></table></div>\n";
}

std::string inventoryTablesHtml(const std::vector<Device>& devices) {
    std::vector<std::string> order;
    std::map<std::string, std::vector<const Device*>> byKey;
    for (const Device& device : devices) {
        if (byKey.count(device.key) == 0) order.push_back(device.key);
        byKey[device.key].push_back(&device);
    }
    std::string html;
    for (std::size_t i = 0; i < order.size(); ++i) {
        const auto& section = byKey[order[i]];
        const std::vector<ShownColumn> shown = columnsOf(section);
        std::vector<Heading> headings{{"State", false}, {"Name", false}};
        for (const ShownColumn& column : shown) headings.push_back(column.heading);
        std::string rows;
        for (const Device* device : section) rows += rowHtml(*device, shown);
        html += tableHtml("table-" + std::to_string(i + 1),
                          headingOf(order[i]) + " (" + std::to_string(section.size()) + ")", headings, rows);
    }
    return html.empty() ? "<p>The inventory has no units.</p>\n" : html;
}

}  // namespace simhost
