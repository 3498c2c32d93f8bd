#include "rmc/Keeper.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>

#include "common/Text.h"

namespace fs = std::filesystem;

namespace simhost {

namespace {

const std::string inventoryName = "inventory-";

}  // namespace

Keeper::Keeper(const std::string& directory) {
    fs::create_directories(directory);
    directory_ = fs::canonical(directory).string();
    for (const auto& entry : fs::directory_iterator(directory_)) {
        const std::string name = entry.path().filename().string();
        if (name.compare(0, inventoryName.size(), inventoryName) != 0) continue;
        const char* const digits = name.c_str() + inventoryName.size();
        inventories_ = std::max(inventories_, std::strtoul(digits, nullptr, 10));
    }
}

std::string Keeper::keepInventory(const std::string& text) {
    std::string name = inventoryName + formatText("%04lu.json", ++inventories_);
    // Under its own name only when it is whole: somebody may be waiting for it.
    const std::string place = directory_ + "/" + name;
    std::ofstream stream(place + ".part", std::ios::binary | std::ios::trunc);
    stream << text;
    stream.close();
    if (!stream) throw std::runtime_error(place + ": can't be written");
    fs::rename(place + ".part", place);
    return name;
}

void Keeper::keepEvent(const std::string& text) {
    appendLine("events.jsonl", text);
}

void Keeper::keepShortPayload(const std::string& text) {
    appendLine("short-payloads.txt", text);
}

void Keeper::keepViolation(const std::string& text) {
    appendLine("violations.log", text);
}

void Keeper::appendLine(const char* name, const std::string& text) {
    std::string line = text;
    std::replace(line.begin(), line.end(), '\n', ' ');
    std::ofstream stream(directory_ + "/" + name, std::ios::binary | std::ios::app);
    stream << line << '\n';
    stream.close();
    if (!stream) throw std::runtime_error(directory_ + "/" + name + ": can't be written");
}

std::string printable(const std::string& text) {
    std::string result;
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte >= 0x20 && byte < 0x7F) {
            result += c;
            continue;
        }
        char escaped[8];
        std::snprintf(escaped, sizeof(escaped), "\\x%02x", byte);
        result += escaped;
    }
    return result;
}

}  // namespace simhost
