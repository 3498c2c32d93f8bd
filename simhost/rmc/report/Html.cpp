#include "rmc/report/Html.h"

#include <stdexcept>

#include "common/Text.h"
#include "rmc/PayloadForm.h"

namespace simhost {

namespace {

struct Range {
    std::uint32_t first;
    std::uint32_t last;
};

// Characters that are invisible, break lines or reorder their neighbours (Unicode 15: categories Cc, Cf, Zl,
// Zp, noncharacters, private use, and blanks that look like none).
constexpr Range unshown[] = {
    {0x0000, 0x001F},    {0x007F, 0x009F},   {0x00AD, 0x00AD},   {0x034F, 0x034F},   {0x0600, 0x0605},
    {0x061C, 0x061C},    {0x06DD, 0x06DD},   {0x070F, 0x070F},   {0x0890, 0x0891},   {0x08E2, 0x08E2},
    {0x115F, 0x1160},    {0x17B4, 0x17B5},   {0x180B, 0x180F},   {0x2000, 0x200F},   {0x2028, 0x202F},
    {0x205F, 0x206F},    {0x2800, 0x2800},   {0x3164, 0x3164},   {0xE000, 0xF8FF},   {0xFDD0, 0xFDEF},
    {0xFE00, 0xFE0F},    {0xFEFF, 0xFEFF},   {0xFFA0, 0xFFA0},   {0xFFF0, 0xFFFB},   {0xFFFE, 0xFFFF},
    {0x110BD, 0x110BD},  {0x110CD, 0x110CD}, {0x13430, 0x1343F}, {0x1BCA0, 0x1BCA3}, {0x1D173, 0x1D17A},
    {0xE0000, 0x10FFFF},
};

bool isShown(std::uint32_t character) {
    if ((character & 0xFFFE) == 0xFFFE) return false;
    for (const Range& range : unshown)
        if (character >= range.first && character <= range.last) return false;
    return true;
}

std::size_t lengthOf(unsigned char lead) {
    return lead < 0x80 ? 1 : lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
}

// The bytes of the character at `at`, or an empty text if they are not well-formed.
std::string characterAt(const std::string& text, std::size_t at) {
    const std::string bytes = text.substr(at, lengthOf(static_cast<unsigned char>(text[at])));
    return isUtf8(bytes) ? bytes : "";
}

std::uint32_t codePointOf(const std::string& bytes) {
    const auto lead = static_cast<unsigned char>(bytes[0]);
    std::uint32_t value = bytes.size() == 1 ? lead : lead & (0xFFu >> (bytes.size() + 1));
    for (std::size_t i = 1; i < bytes.size(); ++i)
        value = value << 6 | (static_cast<unsigned char>(bytes[i]) & 0x3Fu);
    return value;
}

const char* referenceFor(char character) {
    switch (character) {
        case '&':
            return "&amp;";
        case '<':
            return "&lt;";
        case '>':
            return "&gt;";
        case '"':
            return "&quot;";
        case '\'':
            return "&#39;";
        case '`':
            return "&#96;";
        default:
            return nullptr;
    }
}

void appendCharacter(std::string& html, const std::string& bytes) {
    const std::uint32_t character = codePointOf(bytes);
    if (!isShown(character))
        html += formatText("[U+%04X]", static_cast<unsigned>(character));
    else if (const char* reference = bytes.size() == 1 ? referenceFor(bytes[0]) : nullptr)
        html += reference;
    else
        html += bytes;
}

// `kept` are the control characters that stay.
std::string escapedBut(const std::string& kept, const std::string& text, std::size_t most) {
    std::string html;
    html.reserve(text.size());
    std::size_t at = 0;
    while (at < text.size() && at < most) {
        const std::string bytes = characterAt(text, at);
        if (bytes.empty()) {
            html += formatText("[0x%02X]", static_cast<unsigned char>(text[at++]));
            continue;
        }
        if (kept.find(bytes) != std::string::npos)
            html += bytes;
        else
            appendCharacter(html, bytes);
        at += bytes.size();
    }
    if (at < text.size()) html += formatText(" [cut: %zu more bytes]", text.size() - at);
    return html;
}

}  // namespace

std::string escaped(const std::string& text, std::size_t most) {
    return escapedBut("", text, most);
}

std::string escapedLines(const std::string& text) {
    return escapedBut("\n", text, longestHtmlText);
}

std::string attribute(const char* name, const std::string& value) {
    return std::string(" ") + name + "=\"" + escaped(value) + "\"";
}

std::string element(const char* name, const std::string& attributes, const std::string& content) {
    return std::string("<") + name + attributes + ">" + content + "</" + name + ">";
}

std::string filled(const std::string& page,
                   std::initializer_list<std::pair<const char*, std::string>> values) {
    const auto valueOf = [&values](const std::string& name) -> const std::string& {
        for (const auto& value : values)
            if (name == value.first) return value.second;
        throw std::logic_error("the page has no value for {{" + name + "}}");
    };
    std::string result;
    for (std::size_t at = 0;;) {
        const std::size_t begin = page.find("{{", at);
        const std::size_t end = begin == std::string::npos ? begin : page.find("}}", begin);
        if (end == std::string::npos) return result + page.substr(at);
        result += page.substr(at, begin - at) + valueOf(page.substr(begin + 2, end - begin - 2));
        at = end + 2;
    }
}

std::string capacityText(double bytes) {
    constexpr const char* units[] = {"B", "kB", "MB", "GB", "TB", "PB"};
    std::size_t unit = 0;
    while (bytes >= 1000 && unit + 1 < std::size(units)) {
        bytes /= 1000;
        ++unit;
    }
    return formatText(unit == 0 ? "%.0f %s" : "%.1f %s", bytes, units[unit]);
}

std::string counted(std::size_t count, const std::string& one, const std::string& many) {
    return std::to_string(count) + " " + (count == 1 ? one : many);
}

std::string fixed(double value, int digits) {
    return formatText("%.*f", digits, value);
}

}  // namespace simhost
