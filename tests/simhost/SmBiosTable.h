// A walk through the firmware's table of a device file, for tests: as simple as a table that is in order
// allows.
#pragma once

#include <string>
#include <vector>

struct SmBiosEntry {
    unsigned type = 0;
    std::string formatted;  // head included
    std::vector<std::string> strings;

    unsigned byte(std::size_t at) const { return static_cast<unsigned char>(formatted.at(at)); }
    // The string that the byte refers to; empty for none.
    std::string text(std::size_t at) const { return byte(at) == 0 ? "" : strings.at(byte(at) - 1); }
};

inline std::vector<SmBiosEntry> smBiosEntries(const std::string& file) {
    std::vector<SmBiosEntry> entries;
    for (std::size_t at = 31; at + 4 <= file.size();) {
        SmBiosEntry entry;
        entry.type = static_cast<unsigned char>(file[at]);
        entry.formatted = file.substr(at, static_cast<unsigned char>(file[at + 1]));
        at += entry.formatted.size();
        if (file.at(at) == '\0') ++at;
        while (file.at(at) != '\0') {
            entry.strings.push_back(file.substr(at, file.find('\0', at) - at));
            at += entry.strings.back().size() + 1;
        }
        ++at;
        entries.push_back(entry);
        if (entry.type == 127) break;
    }
    return entries;
}
