#include "fc/hbaapi/hbaapilist.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>

#include "core/base/vokLog.h"
#include "platform/access/vokHostAccess.h"
#include "platform/access/vokOwnedDescriptor.h"

namespace {

constexpr char tag[] = "HBA_API";
constexpr char pathCharacters[] =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789"
    "_-./";

template <std::size_t size>
void copyCut(char (&field)[size], const std::string& text) {
    field[text.copy(field, size - 1)] = '\0';
}

bool isCommentOrBlank(const std::string& line) {
    return line.find_first_not_of(" \t\r") == std::string::npos || line.front() == '#';
}

// Returns why the line names no library; null if it names one.
const char* parseLine(const std::string& line, HBAListEntry& entry) {
    std::size_t separator = line.find('\t');
    if (separator == std::string::npos) separator = line.find(' ');
    if (separator == std::string::npos) return "it has no tab or blank between name and path";
    if (separator == 0) return "it has no name";
    const std::size_t path = line.find_first_not_of(" \t", separator);
    if (path == std::string::npos) return "it has no path";

    copyCut(entry.name, line.substr(0, separator));
    copyCut(entry.path, line.substr(path));
    entry.path[std::strspn(entry.path, pathCharacters)] = '\0';
    return entry.path[0] == '\0' ? "its path begins with a character that a path can't have" : nullptr;
}

}  // namespace

bool HBALibraryList::open() {
    lineNumber_ = 0;
    file_.reset();
    // A FIFO must not make the agent wait for a writer.
    vokOwnedDescriptor file(
        ::open(vokHostAccess().path(hbaListFile).c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
    struct stat status {};
    if (!file || ::fstat(file.get(), &status) != 0) return false;
    if (!S_ISREG(status.st_mode)) {
        errno = S_ISDIR(status.st_mode) ? EISDIR : EINVAL;
        return false;
    }
    file_.reset(::fdopen(file.get(), "r"));
    if (!file_) return false;
    file.release();
    return true;
}

bool HBALibraryList::next(HBAListEntry& entry) {
    for (std::string line; readLine(line);) {
        if (isCommentOrBlank(line)) continue;
        const char* const fault = parseLine(line, entry);
        if (!fault) return true;
        VOK_LOG_WARNING(tag, "Line %d of %s names no library: %s.", lineNumber_, hbaListFile, fault);
    }
    return false;
}

// The next line without its newline, up to its first NUL.
bool HBALibraryList::readLine(std::string& line) {
    // The last NUL in the buffer is the one that fgets appended, also if the file holds NULs.
    std::array<char, 512> buffer;
    buffer.fill('\n');
    if (!std::fgets(buffer.data(), static_cast<int>(buffer.size()), file_.get())) return false;
    const auto end = std::find(buffer.rbegin(), buffer.rend(), '\0').base() - 1;
    ++lineNumber_;

    const bool isWhole = end != buffer.begin() && *(end - 1) == '\n';
    line = buffer.data();
    if (isWhole) {
        if (!line.empty() && line.back() == '\n') line.pop_back();
        return true;
    }
    bool isCut = false;
    for (int next = std::getc(file_.get()); next != EOF && next != '\n'; next = std::getc(file_.get()))
        isCut = true;
    if (isCut)
        VOK_LOG_WARNING(tag, "Line %d of %s is longer than %zu characters; the rest of it is dropped.",
                        lineNumber_, hbaListFile, buffer.size() - 1);
    return true;
}
