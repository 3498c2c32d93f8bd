#include "platform/utils/vokStartupRecordText.h"

#include <algorithm>
#include <cstdlib>
#include <vector>

namespace {

std::string line(const char* key, long long seconds) {
    return std::string(key) + " " + std::to_string(seconds) + "\n";
}

std::vector<std::string> splitIntoLines(const std::string& content) {
    std::vector<std::string> lines;
    for (std::size_t begin = 0; begin < content.size();) {
        const std::size_t end = std::min(content.find('\n', begin), content.size());
        lines.push_back(content.substr(begin, end - begin));
        begin = end + 1;
    }
    return lines;
}

// `content` with each line that holds the key replaced.
std::string withReplacedLines(const std::string& content, const char* key, const std::string& replacement) {
    std::string result;
    for (const std::string& each : splitIntoLines(content))
        result += each.find(key) == std::string::npos ? each + "\n" : replacement;
    return result;
}

}  // namespace

std::string vokStartupRecordText::ofFirstStart(time_t now) {
    return line("current_start", now) + line("last_start", 0) + line("last_stop", 0);
}

std::string vokStartupRecordText::ofGracefulStop(time_t start, time_t stop) {
    return line("last_start", start) + line("last_stop", stop) + line("current_start", 0);
}

std::string vokStartupRecordText::withCurrentStart(const std::string& content, time_t now) {
    std::string replaced = withReplacedLines(content, "current_start", line("current_start", now));
    // After a final newline the end of the text counts as one more line.
    if (content.empty() || content.back() == '\n') replaced += '\n';
    return replaced;
}

std::string vokStartupRecordText::withLastStart(const std::string& content, long start) {
    return start == 0 ? content : withReplacedLines(content, "last_start", line("last_start", start));
}

std::optional<long> vokStartupRecordText::valueOf(const std::string& content, const std::string& key) {
    for (const std::string& each : splitIntoLines(content)) {
        const std::size_t position = each.find(key);
        if (position != std::string::npos)
            return std::strtol(each.c_str() + position + key.size(), nullptr, 10);
    }
    return std::nullopt;
}
