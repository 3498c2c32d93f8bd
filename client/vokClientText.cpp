#include "vokClientText.h"

#include <algorithm>
#include <cstdio>
#include <ctime>
#include <sstream>

#include "platform/access/vokTimeStamp.h"

namespace {

// Columns of UTF-8: its continuation bytes take none.
std::size_t columnsOf(const std::string& text) {
    return static_cast<std::size_t>(
        std::count_if(text.begin(), text.end(), [](char each) { return (each & 0xC0) != 0x80; }));
}

// The number of bytes that `columns` columns of the text take.
std::size_t bytesOf(const std::string& text, std::size_t columns) {
    std::size_t bytes = 0;
    for (; bytes < text.size(); ++bytes)
        if ((text[bytes] & 0xC0) != 0x80 && columns-- == 0) break;
    return bytes;
}

}  // namespace

std::string vokLocalTimeWords(std::int64_t seconds) {
    if (seconds == 0) return "never";
    const tm time = vokLocalTime(static_cast<time_t>(seconds));
    char text[40];
    return std::string(text, std::strftime(text, sizeof(text), "%Y-%m-%d %H:%M:%S", &time));
}

std::string vokIsoTime(std::int64_t seconds) {
    const auto instant = static_cast<time_t>(seconds);
    tm time{};
    ::gmtime_r(&instant, &time);
    char text[40];
    return std::string(text, std::strftime(text, sizeof(text), "%Y-%m-%dT%H:%M:%SZ", &time));
}

std::string vokSpanWords(std::int64_t seconds) {
    const std::int64_t span = std::max<std::int64_t>(seconds, 0);
    if (span < 60) return std::to_string(span) + " s";
    if (span < 3600) return std::to_string(span / 60) + " min";
    if (span < 48 * 3600) return std::to_string(span / 3600) + " h";
    return std::to_string(span / 86400) + " d";
}

std::string vokAgoWords(std::int64_t seconds, std::int64_t now) {
    return seconds > now ? "in " + vokSpanWords(seconds - now) : vokSpanWords(now - seconds) + " ago";
}

std::string vokTimeAndAge(std::int64_t seconds, std::int64_t now) {
    if (seconds == 0) return "never";
    return vokLocalTimeWords(seconds) + " (" + vokAgoWords(seconds, now) + ")";
}

std::string vokDurationWords(std::uint64_t milliseconds) {
    const int digits = milliseconds < 1000 ? 2 : milliseconds < 100000 ? 1 : 0;
    char text[40];
    std::snprintf(text, sizeof(text), "%.*f s", digits, static_cast<double>(milliseconds) / 1000);
    return text;
}

std::string vokCountOf(std::uint64_t count, const std::string& one, const std::string& several) {
    return std::to_string(count) + " " + (count == 1 ? one : several);
}

std::string vokPrintable(const std::string& text) {
    std::string printable = text;
    for (char& each : printable)
        if (static_cast<unsigned char>(each) < 0x20 || each == 0x7F) each = '?';
    return printable;
}

std::string vokWrapped(const std::string& first, const std::string& text) {
    const std::size_t indent = columnsOf(first);
    const std::size_t room = vokClientWidth - indent;
    std::string lines;
    std::string line;
    const auto endLine = [&] {
        lines += (lines.empty() ? first : std::string(indent, ' ')) + line + "\n";
        line.clear();
    };
    std::istringstream words(vokPrintable(text));
    for (std::string word; words >> word;) {
        if (!line.empty() && columnsOf(line) + 1 + columnsOf(word) > room) endLine();
        while (columnsOf(word) > room) {
            line = word.substr(0, bytesOf(word, room));
            word.erase(0, line.size());
            endLine();
        }
        line += (line.empty() ? "" : " ") + word;
    }
    if (!line.empty() || lines.empty()) endLine();
    return lines;
}
