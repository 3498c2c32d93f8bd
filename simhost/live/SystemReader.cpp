#include "live/SystemReader.h"

#include <algorithm>
#include <sstream>

namespace simhost {

namespace {

constexpr std::uint64_t mostKilobytes = std::uint64_t{1} << 50;

// A value as a shell takes it: in quotes of either kind or in none (os-release(5)).
std::string unquoted(const std::string& text) {
    std::string value;
    char quote = '\0';
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char each = text[i];
        if (each == '\\' && quote != '\'' && i + 1 < text.size())
            value += text[++i];
        else if (quote == '\0' && (each == '"' || each == '\''))
            quote = each;
        else if (each == quote && quote != '\0')
            quote = '\0';
        else
            value += each;
    }
    return value;
}

std::string releaseValue(const std::string& release, const std::string& key) {
    std::istringstream lines(release);
    std::string value;
    for (std::string line; std::getline(lines, line);)
        if (line.compare(0, key.size() + 1, key + "=") == 0) value = unquoted(line.substr(key.size() + 1));
    return asLine(value);
}

std::string orElse(const std::string& text, const std::string& otherwise) {
    return text.empty() ? otherwise : text;
}

std::string kernelName(const MachineFiles& files, const char* name, const char* otherwise) {
    return orElse(files.line(std::string("/proc/sys/kernel/") + name), otherwise);
}

// "MemTotal:       24684092 kB" of the whole.
std::uint64_t kilobytes(const std::string& memory, const std::string& key) {
    std::istringstream lines(memory);
    for (std::string line; std::getline(lines, line);) {
        if (line.compare(0, key.size() + 1, key + ":") != 0) continue;
        std::istringstream value(line.substr(key.size() + 1));
        std::uint64_t number = 0;
        return value >> number ? std::min(number, mostKilobytes) : 0;
    }
    return 0;
}

}  // namespace

void readProduct(const MachineFiles& files, HostDescription& into) {
    std::string release = files.read("/etc/os-release").value_or("");
    if (release.empty()) release = files.read("/usr/lib/os-release").value_or("");
    const std::string kernel = kernelName(files, "osrelease", "0");
    into.productName = orElse(releaseValue(release, "NAME"), kernelName(files, "ostype", "Linux"));
    into.productVersion = orElse(releaseValue(release, "VERSION_ID"), kernel);
    into.productBuild = kernel;
    into.productUpdate = "0";
    into.productPatch = "0";
}

void readMemory(const MachineFiles& files, Memory& into) {
    const std::string memory = files.read("/proc/meminfo").value_or("");
    into.totalMBytes = kilobytes(memory, "MemTotal") / 1024;
    into.freeMBytes = std::min(kilobytes(memory, "MemFree") / 1024, into.totalMBytes);
}

void readNames(const MachineFiles& files, HostDescription& into) {
    into.nodeName = asWord(kernelName(files, "hostname", "localhost"));
    into.systemName = kernelName(files, "ostype", "Linux");
    into.release = kernelName(files, "osrelease", "0");
    into.version = kernelName(files, "version", "");
    into.machine = kernelName(files, "arch", "");
}

}  // namespace simhost
