#include "daemon/vokdPlatformReport.h"

#include <algorithm>
#include <array>
#include <fstream>
#include <iomanip>
#include <iterator>
#include <map>
#include <ostream>
#include <string>
#include <vector>

#include "platform/access/vokHostAccess.h"
#include "platform/firmware/vokPlatformFamily.h"
#include "platform/pci/PCIeManufacturerResolver.h"
#include "platform/places/vokPhysLocFactory.h"
#include "platform/utils/platformCheck.h"
#include "platform/utils/vokUtils.h"
#include "platform/utils/vokVmwareOSInterface.h"

namespace {

constexpr char noValue[] = "-";

// A PCI function, and which sources list it.
struct Function {
    bool onHost = false;
    bool inFirmware = false;
    bool isNetworkAdapter = false;
    std::string name;         // the host's, "vmnic0"
    std::string subVendorId;  // as the host writes it, "0x1077"
};
using Functions = std::map<std::string, Function>;

// Reads the text after `key` in a line of the hardware list.
bool readValue(const std::string& line, const std::string& key, std::string& value) {
    const auto at = line.find_first_not_of(' ');
    if (at == std::string::npos || line.compare(at, key.size(), key) != 0) return false;
    const auto begin = line.find_first_not_of(' ', at + key.size());
    value = begin == std::string::npos ? "" : line.substr(begin);
    return true;
}

void addHardwareList(Functions& functions) {
    std::ifstream list(vokHostAccess().path(vokVmwareOSInterface::hardwareList));
    Function* current = nullptr;
    std::string value;
    for (std::string line; std::getline(list, line);) {
        if (readValue(line, "Address:", value)) {
            current = vokUtils::isPCIAddress(value) ? &functions[value] : nullptr;
            if (current) current->onHost = true;
        } else if (current && readValue(line, "VMkernel Name:", value)) {
            current->name = value;
        } else if (current && readValue(line, "SubVendor ID:", value)) {
            current->subVendorId = value;
        } else if (current && readValue(line, "Device Class:", value)) {
            constexpr char networkClass[] = "0x02";
            current->isNetworkAdapter = value.rfind(networkClass, 0) == 0;
        }
    }
}

// Replaces control characters, which must not reach a terminal.
std::string printable(std::string text) {
    for (char& each : text)
        if (static_cast<unsigned char>(each) < ' ' || each == '\x7f') each = '.';
    return text;
}

std::string orNoValue(const std::string& text) {
    return text.empty() ? noValue : printable(text);
}

std::string placeText(int onBoard) {
    return onBoard == 2 ? "on board" : onBoard == 3 ? "add-in" : noValue;
}

constexpr const char* headings[] = {"PCI ADDRESS", "NAME",  "KNOWN TO", "GEOID",       "SLOT",
                                    "CHASSIS",     "PLACE", "LOCATION", "MANUFACTURER"};
using Row = std::array<std::string, std::size(headings)>;

Row rowOf(const std::string& address, const Function& function) {
    vokPhysLocInterface& locations = *vokPhysLocFactory::getPhysLocInterface();
    std::string chassis;
    locations.getChassisLocationForIOSlot(address, chassis);
    const std::string slot = locations.getPCIeSlotForIOSlot(address);
    std::string manufacturer;
    PCIeManufacturerResolver::fetchManufacturer(address, function.subVendorId, manufacturer);
    return {
        address,
        orNoValue(function.name),
        !function.inFirmware ? "host"
        : function.onHost    ? "both"
                             : "firmware",
        function.inFirmware ? orNoValue(vokUtils::getGeoIDStr(address)) : noValue,
        slot == "0" ? noValue : slot,
        orNoValue(chassis),
        placeText(locations.checkIfPCICardIsOnBoard(address)),
        function.isNetworkAdapter ? locations.getPhysLocForNetworkAdapter(address)
                                  : locations.getPhysLocForIOSlot(address),
        orNoValue(manufacturer),
    };
}

void printTable(std::ostream& out, const std::vector<Row>& rows) {
    std::array<std::size_t, std::tuple_size_v<Row>> widths{};
    for (const auto& row : rows)
        for (std::size_t i = 0; i < row.size(); ++i) widths[i] = std::max(widths[i], row[i].size());
    for (const auto& row : rows) {
        for (std::size_t i = 0; i + 1 < row.size(); ++i)
            out << std::left << std::setw(static_cast<int>(widths[i] + 2)) << row[i];
        out << row.back() << "\n";
    }
}

std::string familyText(const std::string& family) {
    if (family.empty()) return "not known: the firmware's table has none";
    const char* const meaning = vokIsFirstPlatform(family)    ? " (first platform)"
                                : vokIsSecondPlatform(family) ? " (second platform)"
                                                              : " (no locations are known for it)";
    return printable(family) + meaning;
}

void printSummary(std::ostream& out, const Functions& functions) {
    const auto count = [&functions](auto&& fits) {
        return std::count_if(functions.begin(), functions.end(),
                             [&fits](const auto& each) { return fits(each.second); });
    };
    out << functions.size()
        << " PCI functions: " << count([](const Function& each) { return each.onHost && each.inFirmware; })
        << " known to both, " << count([](const Function& each) { return !each.inFirmware; })
        << " to the host alone, " << count([](const Function& each) { return !each.onHost; })
        << " to the firmware alone.\n";
}

}  // namespace

void vokdPrintPlatformReport(std::ostream& out) {
    Functions functions;
    addHardwareList(functions);
    for (const auto& entry : vokUtils::getGeoIDMap()) functions[entry.first].inFirmware = true;

    out << "Platform family   " << familyText(vokUtils::getPlatformFamily()) << "\n"
        << "Manufacturer      " << orNoValue(platformCheck::getCardManufacturer()) << "\n"
        << "Location library  " << vokPhysLocFactory::getPhysLocInterface()->getPhysLocLibraryName()
        << "\n\n";
    std::vector<Row> rows(1);
    std::copy(std::begin(headings), std::end(headings), rows[0].begin());
    for (const auto& [address, function] : functions) rows.push_back(rowOf(address, function));
    printTable(out, rows);
    out << "\n";
    printSummary(out, functions);
}
