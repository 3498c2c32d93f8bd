#include "replay/QuestionName.h"

#include "common/Text.h"
#include "recording/Forms.h"

namespace simhost {

namespace {

using recording::Fields;
using recording::textOf;

constexpr std::size_t mostCharacters = 400;
constexpr std::size_t mostBytes = 16;

// What is not printable as "\x1b", cut.
std::string printable(const std::string& text) {
    std::string shown;
    for (const char each : text) {
        if (shown.size() >= mostCharacters) return shown + "...";
        const auto code = static_cast<unsigned char>(each);
        const bool isPlain = code >= 0x20 && code != 0x7F && each != '\\';
        shown += isPlain ? std::string(1, each) : formatText("\\x%02x", code);
    }
    return shown;
}

std::string hexadecimal(const std::string& bytes) {
    std::string shown;
    for (std::size_t i = 0; i < bytes.size() && i < mostBytes; ++i)
        shown += formatText(i == 0 ? "%02x" : " %02x", static_cast<unsigned char>(bytes[i]));
    return bytes.size() > mostBytes ? shown + "..." : shown;
}

bool isText(const std::string& value) {
    for (const char each : value)
        if (static_cast<unsigned char>(each) < 0x20 || static_cast<unsigned char>(each) >= 0x7F) return false;
    return true;
}

// "entry(name=value, name=value)" of a call, without what names the function.
std::string callName(const Fields& question) {
    std::string parameters;
    for (const auto& [name, value] : question) {
        if (name == "library" || name == "entry") continue;
        if (!parameters.empty()) parameters += ", ";
        parameters += name + "=" + (isText(value) ? value : hexadecimal(value));
    }
    return textOf(question, "entry") + "(" + parameters + ") of " + textOf(question, "library");
}

std::string requestName(const Fields& question) {
    const std::string block = hexadecimal(textOf(question, "block"));
    return formatText("0x%llx", static_cast<unsigned long long>(recording::unsignedOf(question, "request"))) +
           (block.empty() ? "" : " [" + block + "]") + " to " + textOf(question, "device");
}

std::string wordsOf(const std::string& kind, const Fields& question) {
    namespace kinds = recording::kinds;
    if (kind == kinds::commandRead || kind == kinds::commandRun)
        return "command \"" + textOf(question, "text") + "\"";
    if (kind == kinds::open) return "opening of device " + textOf(question, "device");
    if (kind == kinds::scsi)
        return "SCSI command [" + hexadecimal(textOf(question, "command")) + "] to " +
               textOf(question, "device");
    if (kind == kinds::csmi) return "CSMI request " + requestName(question);
    if (kind == kinds::ioctl) return "request " + requestName(question);
    if (kind == kinds::ipmi)
        return "IPMI request " + textOf(question, "function") + "/" + textOf(question, "command") + " [" +
               hexadecimal(textOf(question, "data")) + "]";
    if (kind == kinds::library) return "library " + textOf(question, "library");
    if (kind == kinds::symbol)
        return "symbol " + textOf(question, "symbol") + " of " + textOf(question, "library");
    if (kind == kinds::call) return "call " + callName(question);
    return kind;
}

}  // namespace

std::string questionName(const std::string& kind, const Fields& question) {
    return printable(wordsOf(kind, question));
}

std::string pathName(const std::string& path) {
    return printable("path " + path);
}

}  // namespace simhost
