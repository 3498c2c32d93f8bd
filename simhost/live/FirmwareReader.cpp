#include "live/FirmwareReader.h"

#include <optional>
#include <utility>

#include "modules/smbios/SmBiosFile.h"

namespace simhost {

namespace {

constexpr char tables[] = "/sys/firmware/dmi/tables/";
constexpr std::size_t longestTable = 1 << 20;
constexpr std::size_t roomForStructures = 65536 - 31;
constexpr std::size_t headLength = 4;

// Where each form of the entry point has its version (DSP0134, 5.2.1 and 5.2.2).
constexpr struct {
    const char* anchor;
    std::size_t major;
} forms[] = {{"_SM_", 6}, {"_SM3_", 7}};

std::optional<std::pair<std::uint8_t, std::uint8_t>> versionIn(const std::string& entryPoint) {
    for (const auto& form : forms)
        if (entryPoint.rfind(form.anchor, 0) == 0 && entryPoint.size() > form.major + 1)
            return std::make_pair(static_cast<std::uint8_t>(entryPoint[form.major]),
                                  static_cast<std::uint8_t>(entryPoint[form.major + 1]));
    return std::nullopt;
}

// The structure at `at` with its strings; 0 when none is whole there.
std::size_t structureLength(const std::string& table, std::size_t at) {
    if (table.size() - at < headLength) return 0;
    const auto length = static_cast<unsigned char>(table[at + 1]);
    if (length < headLength || length > table.size() - at) return 0;
    const std::size_t end = table.find(std::string(2, '\0'), at + length);
    return end == std::string::npos ? 0 : end + 2 - at;
}

}  // namespace

std::string firmwareDeviceFile(const MachineFiles& files) {
    const auto entryPoint = files.read(std::string(tables) + "smbios_entry_point");
    const auto table = files.read(std::string(tables) + "DMI", longestTable);
    if (!entryPoint || !table || table->empty()) return "";
    const auto version = versionIn(*entryPoint);
    if (!version) return "";

    SmBiosFile file;
    file.setVersion(version->first, version->second);
    std::size_t at = 0;
    while (at < table->size()) {
        const std::size_t length = structureLength(*table, at);
        if (length == 0 || at + length > roomForStructures) break;
        file.addRaw(table->substr(at, length));
        at += length;
    }
    return at == 0 ? "" : file.content();
}

}  // namespace simhost
