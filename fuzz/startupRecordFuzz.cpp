// The text of the startup record, whatever a file of that name holds: what is written into it is read out of
// it again, and the other lines stay.
#include <limits>
#include <optional>
#include <vector>

#include "FuzzInput.h"
#include "platform/utils/vokStartupRecordText.h"

namespace text = vokStartupRecordText;

namespace {

// Without the newlines; the last line may lack its own.
std::vector<std::string> linesOf(const std::string& content) {
    std::vector<std::string> lines;
    bool isOpen = false;
    for (const char c : content) {
        if (!isOpen) lines.emplace_back();
        isOpen = c != '\n';
        if (isOpen) lines.back() += c;
    }
    return lines;
}

bool holds(const std::string& line, const char* key) {
    return line.find(key) != std::string::npos;
}

// Line by line: those with the key are the new line, the others are as they were.
void requireReplaced(const std::string& before, const std::string& after, const char* key,
                     const std::string& line) {
    const std::vector<std::string> old = linesOf(before);
    const std::vector<std::string> now = linesOf(after);
    require(now.size() == old.size());
    for (std::size_t i = 0; i < old.size(); ++i) require(now[i] == (holds(old[i], key) ? line : old[i]));
}

void requireValues(const std::string& content, long current, long start, long stop) {
    require(text::valueOf(content, "current_start") == current);
    require(text::valueOf(content, "last_start") == start);
    require(text::valueOf(content, "last_stop") == stop);
}

// A number out of the input, so that all of its lengths and signs come.
long numberFrom(const std::string& input) {
    std::uint64_t number = 1469598103934665603u;
    for (const char c : input) number = (number ^ static_cast<unsigned char>(c)) * 1099511628211u;
    return static_cast<long>(number >> (number & 63));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string content = textOf(data, size);
    const long number = numberFrom(content);

    std::string current = text::withCurrentStart(content, number);
    require(!current.empty() && current.back() == '\n');
    require(text::withCurrentStart(current, number) == current + '\n');
    if (content.empty() || content.back() == '\n') current.pop_back();
    requireReplaced(content, current, "current_start", "current_start " + std::to_string(number));

    require(text::withLastStart(content, 0) == content);
    const std::string last = text::withLastStart(content, number);
    if (number != 0) requireReplaced(content, last, "last_start", "last_start " + std::to_string(number));
    require(text::withLastStart(last, number) == last);

    for (const char* key : {"current_start", "last_start", "last_stop"})
        require(text::valueOf(content, key).has_value() == holds(content, key));
    requireValues(text::ofFirstStart(number), number, 0, 0);
    requireValues(text::ofGracefulStop(number, number / 2), 0, number, number / 2);
    return 0;
}
