#include "live/PciNames.h"

#include <sys/stat.h>
#include <sstream>

#include "common/Hexadecimal.h"
#include "common/Text.h"

namespace simhost {

namespace {

constexpr const char* places[] = {"/usr/share/misc/pci.ids", "/usr/share/hwdata/pci.ids",
                                  "/usr/share/pci.ids"};
constexpr std::size_t longestList = 16 << 20;

// "8086  Intel Corporation": the number of `digits` digits, and in `name` what stands two blanks behind it.
std::optional<std::uint32_t> takeEntry(const std::string& text, std::size_t digits, std::string& name) {
    if (text.size() < digits + 2 || text.compare(digits, 2, "  ") != 0) return std::nullopt;
    name = asLine(text.substr(digits + 2));
    return parseHexadecimal(text.substr(0, digits));
}

std::string nameIn(const std::unordered_map<std::uint32_t, std::string>& names, std::uint32_t number,
                   const std::string& otherwise) {
    const auto found = names.find(number);
    return found == names.end() ? otherwise : found->second;
}

}  // namespace

std::string PciNames::vendor(std::uint32_t vendor) {
    load();
    return nameIn(vendors_, vendor, formatText("Vendor %04x", vendor));
}

std::string PciNames::device(std::uint32_t vendor, std::uint32_t device) {
    load();
    return nameIn(devices_, vendor << 16 | device, formatText("Device %04x", device));
}

std::string PciNames::deviceClass(std::uint32_t classAndSubclass) {
    load();
    return nameIn(classes_, classAndSubclass, formatText("Class %04x", classAndSubclass));
}

void PciNames::load() {
    std::string found;
    const char* list = nullptr;
    for (const char* place : places) {
        struct stat status {};
        if (::stat(files_.place(place).c_str(), &status) != 0) continue;
        list = place;
        found = std::string(place) + formatText(" %lld %lld", static_cast<long long>(status.st_size),
                                                static_cast<long long>(status.st_mtime));
        break;
    }
    if (found == loaded_) return;
    loaded_ = found;
    vendors_.clear();
    devices_.clear();
    classes_.clear();
    if (list) parse(files_.read(list, longestList).value_or(""));
}

// Vendors and classes stand at the front of a line, what belongs to them one tab in; two tabs in stand
// subsystems and programming interfaces.
void PciNames::parse(const std::string& text) {
    std::istringstream lines(text);
    std::unordered_map<std::uint32_t, std::string>* below = nullptr;  // where what is one tab in belongs
    std::uint32_t above = 0;
    std::size_t digits = 0;
    std::string name;
    for (std::string line; std::getline(lines, line);) {
        if (line.empty() || line[0] == '#' || line.compare(0, 2, "\t\t") == 0) continue;
        if (line[0] == '\t') {
            const auto number = takeEntry(line.substr(1), digits, name);
            if (below && number) (*below)[above << (4 * digits) | *number] = name;
            continue;
        }
        const bool isClass = line.compare(0, 2, "C ") == 0;
        digits = isClass ? 2 : 4;
        const auto number = takeEntry(isClass ? line.substr(2) : line, digits, name);
        below = !number ? nullptr : isClass ? &classes_ : &devices_;
        above = number.value_or(0);
        if (number && !isClass) vendors_[above] = name;
    }
}

}  // namespace simhost
