#include "recording/ArchiveText.h"

#include <algorithm>
#include <charconv>
#include <optional>

namespace recording {
namespace {

constexpr std::string_view hexMark = "hex:";
constexpr char hexDigits[] = "0123456789abcdef";
constexpr std::size_t longestShown = 200;

// Length of the UTF-8 character that starts `text`, 0 if there is none (RFC 3629).
std::size_t characterLength(std::string_view text) {
    const auto byte = [&](std::size_t index) {
        return index < text.size() ? static_cast<unsigned char>(text[index]) : 0u;
    };
    const auto continues = [&](std::size_t index) { return (byte(index) & 0xC0) == 0x80; };
    const unsigned first = byte(0);
    if (first < 0x80) return 1;
    if (first >= 0xC2 && first <= 0xDF) return continues(1) ? 2 : 0;
    if (first >= 0xE0 && first <= 0xEF) {
        const bool overlong = first == 0xE0 && byte(1) < 0xA0;
        const bool surrogate = first == 0xED && byte(1) >= 0xA0;
        return continues(1) && continues(2) && !overlong && !surrogate ? 3 : 0;
    }
    if (first >= 0xF0 && first <= 0xF4) {
        const bool outside = (first == 0xF0 && byte(1) < 0x90) || (first == 0xF4 && byte(1) >= 0x90);
        return continues(1) && continues(2) && continues(3) && !outside ? 4 : 0;
    }
    return 0;
}

bool isControl(std::string_view character) {
    const auto first = static_cast<unsigned char>(character[0]);
    if (character.size() == 2)  // U+0080 to U+009F
        return first == 0xC2 && static_cast<unsigned char>(character[1]) < 0xA0;
    return character.size() == 1 && (first < 0x20 || first == 0x7F) && first != '\n' && first != '\t' &&
           first != '\r';
}

bool isPrintable(std::string_view text) {
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t length = characterLength(text.substr(at));
        if (length == 0 || isControl(text.substr(at, length))) return false;
        at += length;
    }
    return true;
}

bool isWrittenAsText(std::string_view value) {
    return value.substr(0, hexMark.size()) != hexMark && isPrintable(value);
}

void appendEscaped(std::string& out, std::string_view text) {
    for (const char each : text) {
        switch (each) {
            case '"':
                out += "\\\"";
                break;
            case '\\':
                out += "\\\\";
                break;
            case '\n':
                out += "\\n";
                break;
            case '\t':
                out += "\\t";
                break;
            case '\r':
                out += "\\r";
                break;
            default:
                out += each;
        }
    }
}

std::optional<char> unescaped(char escape) {
    switch (escape) {
        case '"':
        case '\\':
            return escape;
        case 'n':
            return '\n';
        case 't':
            return '\t';
        case 'r':
            return '\r';
        default:
            return std::nullopt;
    }
}

std::optional<unsigned> hexValue(char digit) {
    if (digit >= '0' && digit <= '9') return static_cast<unsigned>(digit - '0');
    if (digit >= 'a' && digit <= 'f') return static_cast<unsigned>(digit - 'a' + 10);
    return std::nullopt;
}

std::optional<std::string> fromHex(std::string_view digits) {
    if (digits.size() % 2 != 0) return std::nullopt;
    std::string bytes;
    bytes.reserve(digits.size() / 2);
    for (std::size_t at = 0; at < digits.size(); at += 2) {
        const auto high = hexValue(digits[at]);
        const auto low = hexValue(digits[at + 1]);
        if (!high || !low) return std::nullopt;
        bytes += static_cast<char>(*high << 4 | *low);
    }
    return bytes;
}

}  // namespace

void appendText(std::string& out, std::string_view value) {
    out += '"';
    if (isWrittenAsText(value)) {
        appendEscaped(out, value);
    } else {
        out += hexMark;
        for (const char each : value) {
            const auto byte = static_cast<unsigned char>(each);
            out += hexDigits[byte >> 4];
            out += hexDigits[byte & 0xF];
        }
    }
    out += '"';
}

std::string shownText(std::string_view value) {
    std::string shown;
    appendText(shown, value.substr(0, longestShown));
    if (value.size() > longestShown) shown += "...";
    return shown;
}

bool TextReader::next(std::string_view expected) {
    if (failed() || rest().substr(0, expected.size()) != expected) return false;
    position_ += expected.size();
    return true;
}

bool TextReader::take(std::string_view expected) {
    if (next(expected)) return true;
    fail(shownText(expected));
    return false;
}

std::string TextReader::value() {
    if (!take("\"")) return {};
    std::string text;
    while (true) {
        // What the writer escapes; a line end, for instance, is never there as itself.
        const std::size_t plain = std::min(rest().find_first_of("\"\\\n\t\r"), rest().size());
        text.append(rest().substr(0, plain));
        position_ += plain;
        if (next("\"")) break;
        if (!take("\\")) return {};
        const auto escape = rest().empty() ? std::nullopt : unescaped(rest()[0]);
        if (!escape) {
            fail("one of the escapes \\\" \\\\ \\n \\t \\r");
            return {};
        }
        text += *escape;
        ++position_;
    }
    if (isWrittenAsText(text)) return text;
    const bool marked = text.compare(0, hexMark.size(), hexMark) == 0;
    auto bytes = marked ? fromHex(std::string_view(text).substr(hexMark.size())) : std::nullopt;
    if (!bytes || isWrittenAsText(*bytes)) {
        fail("a printable text, or \"hex:\" and the digits of one that is not");
        return {};
    }
    return *std::move(bytes);
}

std::int64_t TextReader::number(std::int64_t least, std::int64_t most) {
    if (failed()) return least;
    std::int64_t number = 0;
    const char* const first = text_.data() + position_;
    const auto [end, failure] = std::from_chars(first, text_.data() + text_.size(), number);
    if (failure != std::errc() || number < least || number > most ||
        std::string_view(first, static_cast<std::size_t>(end - first)) != std::to_string(number)) {
        fail("a number from " + std::to_string(least) + " to " + std::to_string(most));
        return least;
    }
    position_ += static_cast<std::size_t>(end - first);
    return number;
}

void TextReader::fail(const std::string& expected) {
    if (failed()) return;
    const std::string_view before = text_.substr(0, position_);
    const auto line = std::count(before.begin(), before.end(), '\n') + 1;
    const std::size_t start = before.rfind('\n') + 1;  // npos + 1 is 0
    failure_ = "line " + std::to_string(line) + ", byte " + std::to_string(position_ - start + 1) +
               ": expected " + expected;
}

}  // namespace recording
