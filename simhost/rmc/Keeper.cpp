#include "rmc/Keeper.h"

#include <unistd.h>
#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <stdexcept>

#include "common/Files.h"
#include "common/Text.h"

namespace fs = std::filesystem;

namespace simhost {

namespace {

const std::string inventoryName = "inventory-";
constexpr unsigned secondsPrecision = 6;

// "2026-11-22T10:14:17.042Z".
std::string machineTime() {
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    const auto milliseconds = std::chrono::duration_cast<std::chrono::milliseconds>(now).count();
    const auto seconds = static_cast<std::time_t>(milliseconds / 1000);
    std::tm parts{};
    ::gmtime_r(&seconds, &parts);
    char text[32];
    std::strftime(text, sizeof(text), "%Y-%m-%dT%H:%M:%S", &parts);
    return text + formatText(".%03dZ", static_cast<int>(milliseconds % 1000));
}

}  // namespace

Keeper::Keeper(const std::string& directory) {
    if (directory.empty()) throw std::runtime_error("--out: the name of the directory is empty");
    makeDirectories(directory);
    directory_ = fs::canonical(directory).string();
    if (::access(directory_.c_str(), W_OK | X_OK) != 0)
        throw std::runtime_error(directory_ + ": can't be written: " + std::strerror(errno));
    for (const auto& entry : fs::directory_iterator(directory_)) {
        const std::string name = entry.path().filename().string();
        if (name.compare(0, inventoryName.size(), inventoryName) != 0) continue;
        const char* const digits = name.c_str() + inventoryName.size();
        inventories_ = std::max(inventories_, std::strtoul(digits, nullptr, 10));
    }
}

std::string Keeper::keepInventory(const std::string& text) {
    std::string name = inventoryName + formatText("%04lu.json", inventories_ + 1);
    // Under its own name only when it is whole: somebody may be waiting for it.
    const std::string place = directory_ + "/" + name;
    try {
        writeFile(place + ".part", text);
        fs::rename(place + ".part", place);
    } catch (const std::runtime_error&) {
        std::error_code ignored;
        fs::remove(place + ".part", ignored);
        throw;
    }
    ++inventories_;
    return name;
}

void Keeper::keepEvent(const std::string& text) {
    appendLine(eventsFile, text);
}

void Keeper::keepShortPayload(const std::string& text) {
    appendLine(shortPayloadsFile, text);
}

void Keeper::keepViolation(const std::string& text) {
    appendLine(violationsFile, text);
}

void Keeper::keepTransfer(const KeptTransfer& transfer) {
    Json::Value line;
    line["at"] = machineTime();
    line["outcome"] = transfer.outcome;
    line["command"] = transfer.command;
    line["bytes"] = Json::UInt64(transfer.bytes);
    line["length"] = Json::UInt64(transfer.length);
    line["chunks"] = Json::UInt64(transfer.chunks);
    line["faults"] = Json::UInt64(transfer.faults);
    line["seconds"] = transfer.seconds;
    line["process"] = transfer.process;
    if (transfer.status != 0) line["status"] = transfer.status;
    if (!transfer.file.empty()) line["file"] = transfer.file;
    if (!transfer.reason.empty()) line["reason"] = transfer.reason;
    if (!transfer.event.isNull()) line["event"] = transfer.event;
    Json::StreamWriterBuilder builder;
    builder["indentation"] = "";
    builder["precision"] = secondsPrecision;
    appendLine(transfersFile, Json::writeString(builder, line));
}

void Keeper::appendLine(const char* name, const std::string& text) {
    std::string line = text;
    std::replace(line.begin(), line.end(), '\n', ' ');
    simhost::appendLine(directory_ + "/" + name, line);
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
