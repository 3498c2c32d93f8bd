#include "core/base/vokConfigFile.h"

#include <fcntl.h>
#include <json/reader.h>
#include <sys/stat.h>
#include <cerrno>
#include <cstring>
#include <memory>

#include "core/base/vokConfigText.h"
#include "platform/access/vokOwnedDescriptor.h"

namespace vokConfigFile {
namespace {

// A larger file can't be a configuration of this agent.
constexpr std::size_t largestFile = 16 * 1024 * 1024;

bool readDescriptor(int descriptor, std::string& text) {
    char buffer[16384];
    while (text.size() <= largestFile) {
        const ssize_t count = ::read(descriptor, buffer, sizeof(buffer));
        if (count < 0 && errno == EINTR) continue;
        if (count <= 0) return count == 0;
        text.append(buffer, static_cast<std::size_t>(count));
    }
    return true;
}

// Making one costs more than parsing a short text.
const Json::CharReaderBuilder& readers() {
    static const Json::CharReaderBuilder builder = [] {
        Json::CharReaderBuilder made;
        made["collectComments"] = false;  // nothing reads them
        return made;
    }();
    return builder;
}

bool parseText(const std::string& text, Json::Value& root, std::string& reason) {
    const std::unique_ptr<Json::CharReader> reader(readers().newCharReader());
    std::string errors;
    try {
        if (reader->parse(text.data(), text.data() + text.size(), &root, &errors)) return true;
    } catch (const std::exception& error) {  // nested deeper than the parser allows
        errors = error.what();
    }
    // The first error: its location and text.
    reason = "not JSON: ";
    for (const char c : errors.substr(0, errors.find('\n', errors.find('\n') + 1)))
        reason += c == '\n' ? ' ' : c;
    return false;
}

// A key as the parser reads it: `raw` may hold escapes.
std::string keyOf(const std::string& raw) {
    Json::Value key;
    std::string ignored;
    return raw.find('\\') != std::string::npos && parseText('"' + raw + '"', key, ignored) && key.isString()
               ? key.asString()
               : raw;
}

}  // namespace

bool read(const std::string& hostPath, std::string& text, std::string& reason) {
    // Opening a pipe must not wait for its writer.
    const vokOwnedDescriptor file(::open(hostPath.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
    struct stat status {};
    if (!file || ::fstat(file.get(), &status) != 0) {
        reason = std::string("can't be opened: ") + std::strerror(errno);
        return false;
    }
    if (!S_ISREG(status.st_mode)) {
        reason = "not a regular file";
        return false;
    }
    text.clear();
    if (!readDescriptor(file.get(), text)) {
        reason = std::string("can't be read: ") + std::strerror(errno);
        return false;
    }
    if (text.size() > largestFile) reason = "larger than 16 MiB";
    return text.size() <= largestFile;
}

bool parse(const std::string& text, Json::Value& root, std::vector<std::string>& repeated,
           std::string& reason) {
    if (!parseText(text, root, reason)) {
        const std::string limited = vokConfigText::withinParserLimits(text);
        std::string ignored;
        if (limited == text || !parseText(limited, root, ignored)) return false;
    }
    if (!root.isObject()) {
        reason = "not a JSON object";
        return false;
    }
    if (root.size() < 2) {
        reason = "fewer than two settings";
        return false;
    }
    repeated = vokConfigText::repeatedKeys(text, keyOf);
    return true;
}

}  // namespace vokConfigFile
