#include "common/Files.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <stdexcept>
#include <system_error>

#include "common/FileDescriptor.h"
#include "common/Text.h"

namespace fs = std::filesystem;

namespace simhost {

namespace {

[[noreturn]] void fail(const std::string& file, const char* what, int reason) {
    throw std::runtime_error(file + ": " + what + ": " + std::generic_category().message(reason));
}

// False with errno if not all could be written.
bool writeAll(int descriptor, const std::string& text) {
    for (std::size_t at = 0; at < text.size();) {
        const ssize_t written = ::write(descriptor, text.data() + at, text.size() - at);
        if (written < 0 && errno != EINTR) return false;
        if (written > 0) at += static_cast<std::size_t>(written);
    }
    return true;
}

}  // namespace

std::string readFile(const std::string& file) {
    const FileDescriptor opened(::open(file.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY));
    if (!opened) fail(file, "can't be opened", errno);
    std::string content;
    char buffer[1 << 16];
    for (;;) {
        const ssize_t count = ::read(opened.get(), buffer, sizeof(buffer));
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) fail(file, "can't be read", errno);
        if (count == 0) return content;
        content.append(buffer, static_cast<std::size_t>(count));
    }
}

void writeFile(const std::string& file, const std::string& content, mode_t mode) {
    const FileDescriptor opened(
        ::open(file.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC | O_NOFOLLOW | O_NOCTTY, mode));
    if (!opened || !writeAll(opened.get(), content) || ::fchmod(opened.get(), mode) != 0)
        fail(file, "can't be written", errno);
}

void appendLine(const std::string& file, const std::string& line) {
    const FileDescriptor opened(
        ::open(file.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC | O_NOFOLLOW | O_NOCTTY, 0600));
    struct stat before {};
    if (!opened || ::fstat(opened.get(), &before) != 0) fail(file, "can't be written", errno);
    if (writeAll(opened.get(), line + "\n")) return;
    const int reason = errno;
    if (::ftruncate(opened.get(), before.st_size) != 0) fail(file, "can't be written", errno);
    fail(file, "can't be written", reason);
}

void makeDirectories(const std::string& directory) {
    std::error_code reason;
    fs::create_directories(directory, reason);
    if (reason) fail(directory, "the directory can't be made", reason.value());
}

std::vector<std::string> jsonNamesIn(const std::string& directory) {
    std::vector<std::string> names;
    std::error_code unreadable;
    for (const auto& entry : fs::directory_iterator(directory, unreadable))
        if (entry.is_directory() || entry.path().extension() == ".json")
            names.push_back(entry.path().stem().string());
    std::sort(names.begin(), names.end());
    return names;
}

void printOut(const std::string& text) {
    if (!writeAll(STDOUT_FILENO, text))
        throw std::system_error(errno, std::generic_category(), "standard output can't be written");
}

std::string reasonOf(const std::exception& error) {
    if (const auto* const files = dynamic_cast<const fs::filesystem_error*>(&error))
        return files->path1().string() + ": " + files->code().message();
    return oneLine(error.what());
}

}  // namespace simhost
