#include "live/MachineFiles.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <filesystem>
#include <stdexcept>

#include "common/FileDescriptor.h"

namespace fs = std::filesystem;

namespace simhost {

namespace {

constexpr std::size_t longestLine = 255;
constexpr std::size_t mostNames = 100000;  // a directory that fills itself ends here

std::string realPlace(const std::string& place) {
    char resolved[PATH_MAX];
    return ::realpath(place.c_str(), resolved) ? resolved : "";
}

std::string realRoot(const std::string& root) {
    if (root.empty()) return "";
    const std::string real = realPlace(root);
    if (real.empty() || !fs::is_directory(real))
        throw std::runtime_error(root + ": the directory of a machine's files is not there");
    return real == "/" ? "" : real;
}

}  // namespace

MachineFiles::MachineFiles(const std::string& root) : root_(realRoot(root)) {}

std::optional<std::string> MachineFiles::read(const std::string& path, std::size_t most) const {
    const FileDescriptor file(::open(place(path).c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    struct stat status {};
    if (!file || ::fstat(file.get(), &status) != 0 || !S_ISREG(status.st_mode)) return std::nullopt;
    std::string content;
    char block[4096];
    while (content.size() < most) {
        const ssize_t count =
            ::read(file.get(), block, std::min<std::size_t>(sizeof(block), most - content.size()));
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) return std::nullopt;  // an attribute that does not apply now refuses to be read
        if (count == 0) break;
        content.append(block, static_cast<std::size_t>(count));
    }
    return content;
}

std::string MachineFiles::line(const std::string& path) const {
    const std::string content = read(path).value_or("");
    return asLine(content.substr(0, content.find('\n')));
}

std::optional<std::int64_t> MachineFiles::number(const std::string& path) const {
    const std::string text = line(path);
    const bool hexadecimal = text.compare(0, 2, "0x") == 0;
    const std::size_t first = hexadecimal ? 2 : text.compare(0, 1, "-") == 0 ? 1 : 0;
    const std::string digits = hexadecimal ? "0123456789abcdefABCDEF" : "0123456789";
    if (text.size() == first || text.find_first_not_of(digits, first) != std::string::npos)
        return std::nullopt;
    errno = 0;
    const long long value = std::strtoll(text.c_str(), nullptr, hexadecimal ? 16 : 10);
    return errno == 0 ? std::optional<std::int64_t>(value) : std::nullopt;
}

bool MachineFiles::exists(const std::string& path) const {
    struct stat status {};
    return ::stat(place(path).c_str(), &status) == 0;
}

std::vector<std::string> MachineFiles::names(const std::string& directory) const {
    std::vector<std::string> found;
    std::error_code error;
    for (fs::directory_iterator entry(place(directory), error), end;
         !error && entry != end && found.size() < mostNames; entry.increment(error))
        found.push_back(entry->path().filename().string());
    std::sort(found.begin(), found.end());
    return found;
}

std::string MachineFiles::resolved(const std::string& path) const {
    const std::string real = realPlace(place(path));
    return real.compare(0, root_.size() + 1, root_ + "/") == 0 ? real.substr(root_.size()) : "";
}

std::string MachineFiles::resolvedName(const std::string& path) const {
    const std::string real = resolved(path);
    return real.substr(real.rfind('/') + 1);  // the whole when there is no "/" in it
}

std::string asLine(const std::string& text) {
    std::string line = text.substr(0, longestLine);
    for (char& each : line)
        if (static_cast<unsigned char>(each) < ' ' || each == '\x7f') each = '.';
    return line;
}

std::string asWord(const std::string& text, const std::string& otherwise) {
    std::string word = text.substr(0, longestLine);
    for (char& each : word)
        if (each <= ' ' || each >= '\x7f' || each == ',' || each == '"') each = '?';
    return word.empty() ? otherwise : word;
}

}  // namespace simhost
