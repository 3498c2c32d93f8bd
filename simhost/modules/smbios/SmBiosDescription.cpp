#include "modules/smbios/SmBiosDescription.h"

#include <algorithm>
#include <filesystem>

#include "common/Files.h"
#include "host/DescriptionSection.h"
#include "modules/smbios/SmBiosFile.h"

namespace simhost {

namespace {

// The whole of what a device file may show is read at once.
constexpr std::int64_t mostZeros = 1 << 20;

SmBiosShape parseShape(Section& section) {
    SmBiosShape shape;
    if (section.has("handle")) section.number("handle", shape.handle.emplace(), 0xffff);
    if (section.has("length")) section.number("length", shape.length.emplace(), 0xff);
    if (section.has("statedLength")) section.number("statedLength", shape.statedLength.emplace(), 0xff);
    return shape;
}

void parseAddress(Section& section, std::optional<PciAddress>& into) {
    std::string address;
    section.text("address", address);
    if (address.empty()) return;
    into = parsePciAddress(address);
    if (!into || into->segment > 0xffff)
        section.fail("has the address \"" + address + "\", which is not of the form 0000:3b:00.0");
}

void parseUuid(Section& section, std::array<std::uint8_t, 16>& into) {
    std::string text;
    section.text("uuid", text);
    if (text.empty()) return;
    std::string digits;
    std::remove_copy(text.begin(), text.end(), std::back_inserter(digits), '-');
    const auto bytes = parseHexadecimalBytes(digits);
    if (!bytes || bytes->size() != into.size()) section.fail("has a uuid that is none");
    std::copy(bytes->begin(), bytes->end(), into.begin());
}

std::string parseBytes(Section& section, const char* key) {
    std::string text;
    section.text(key, text);
    const auto bytes = parseHexadecimalBytes(text);
    if (!bytes) section.fail(std::string(key) + " is not made of pairs of hexadecimal digits");
    return *bytes;
}

void addBios(Section& section, SmBiosFile& file) {
    SmBiosBios bios;
    section.text("vendor", bios.vendor);
    section.text("version", bios.version);
    section.text("date", bios.date);
    file.add(bios, parseShape(section));
}

void addSystem(Section& section, SmBiosFile& file) {
    SmBiosSystem system;
    section.text("manufacturer", system.manufacturer);
    section.text("product", system.product);
    section.text("version", system.version);
    section.text("serial", system.serial);
    section.text("sku", system.sku);
    section.text("family", system.family);
    section.number("wakeUp", system.wakeUp, 0xff);
    parseUuid(section, system.uuid);
    file.add(system, parseShape(section));
}

void addSlot(Section& section, SmBiosFile& file) {
    SmBiosSlot slot;
    section.text("designation", slot.designation);
    section.number("slotType", slot.slotType, 0xff);
    section.number("dataBusWidth", slot.dataBusWidth, 0xff);
    section.number("usage", slot.usage, 0xff);
    section.number("slotLength", slot.slotLength, 0xff);
    section.number("id", slot.id, 0xffff);
    parseAddress(section, slot.address);
    file.add(slot, parseShape(section));
}

void addOnboardDevice(Section& section, SmBiosFile& file) {
    SmBiosOnboardDevice device;
    section.text("designation", device.designation);
    section.number("deviceType", device.deviceType, 0x7f);
    section.truth("enabled", device.enabled);
    section.number("instance", device.instance, 0xff);
    parseAddress(section, device.address);
    file.add(device, parseShape(section));
}

void addOther(Section& section, SmBiosFile& file) {
    std::uint8_t type = 0;
    section.number("type", type, 0xff);
    std::vector<std::string> strings;
    section.list("strings", [&strings](const Json::Value& each, const std::string& where) {
        strings.push_back(textElement(each, where));
    });
    file.add(type, parseBytes(section, "data"), strings, parseShape(section));
}

void addRaw(Section& section, SmBiosFile& file) {
    file.addRaw(parseBytes(section, "bytes"));
}

struct Kind {
    const char* name;
    void (*add)(Section& section, SmBiosFile& file);
};

constexpr Kind kinds[] = {
    {"bios", addBios},   {"system", addSystem}, {"slot", addSlot}, {"onboardDevice", addOnboardDevice},
    {"other", addOther}, {"raw", addRaw},
};

void addStructure(const Json::Value& value, const std::string& name, SmBiosFile& file) {
    Section section(value, name);
    std::string kind;
    section.text("kind", kind);
    const auto* found = std::find_if(std::begin(kinds), std::end(kinds),
                                     [&kind](const Kind& each) { return kind == each.name; });
    if (found == std::end(kinds)) section.fail("has the kind \"" + kind + "\", which is not known");
    found->add(section, file);
    section.end();
}

void parseVersion(Section& smbios, SmBiosFile& file) {
    std::string version;
    smbios.text("version", version);
    if (version.empty()) return;
    const auto isDigit = [](char c) { return c >= '0' && c <= '9'; };
    if (version.size() != 3 || version[1] != '.' || !isDigit(version[0]) || !isDigit(version[2]))
        smbios.fail("has the version \"" + version + "\", which is not of the form 2.8");
    file.setVersion(static_cast<std::uint8_t>(version[0] - '0'), static_cast<std::uint8_t>(version[2] - '0'));
}

std::string readRaw(const std::string& name, const std::string& directory) {
    const std::filesystem::path place = std::filesystem::path(directory) / name;
    std::string content = readFile(place.string());
    if (content.empty())
        throw std::runtime_error(place.string() + ": the file of the firmware's table is empty");
    return content;
}

}  // namespace

std::string parseSmBios(Section& smbios, const std::string& directory) {
    std::string raw;
    smbios.text("file", raw);
    if (!raw.empty()) return readRaw(raw, directory);  // anything beside it is then not known

    SmBiosFile file;
    parseVersion(smbios, file);
    smbios.list("structures", [&file](const Json::Value& each, const std::string& name) {
        addStructure(each, name, file);
    });
    bool endOfTable = true;
    smbios.truth("endOfTable", endOfTable);
    if (endOfTable) file.addEndOfTable();
    std::int64_t zeros = 0;
    smbios.number("zerosBehind", zeros, mostZeros);
    if (zeros > 0) file.addZeros(static_cast<std::size_t>(zeros));
    if (smbios.has("tableLength")) {
        std::uint16_t length = 0;
        smbios.number("tableLength", length, 0xffff);
        file.setStatedTableLength(length);
    }
    return file.content();
}

}  // namespace simhost
