#include "core/base/vokJsonText.h"

#include <json/writer.h>
#include <cstdint>

namespace {

constexpr char replacement[] = "\xEF\xBF\xBD";  // U+FFFD

// The well-formed sequences of UTF-8 (RFC 3629, section 4) beyond ASCII. Only the second byte has limits
// that depend on the first; all further ones are from 0x80 to 0xBF.
struct Sequence {
    unsigned char first;
    unsigned char last;
    unsigned char length;
    unsigned char secondFrom;
    unsigned char secondTo;
};

constexpr Sequence sequences[] = {
    {0xC2, 0xDF, 2, 0x80, 0xBF}, {0xE0, 0xE0, 3, 0xA0, 0xBF}, {0xE1, 0xEC, 3, 0x80, 0xBF},
    {0xED, 0xED, 3, 0x80, 0x9F}, {0xEE, 0xEF, 3, 0x80, 0xBF}, {0xF0, 0xF0, 4, 0x90, 0xBF},
    {0xF1, 0xF3, 4, 0x80, 0xBF}, {0xF4, 0xF4, 4, 0x80, 0x8F},
};

// A character, or a single byte that belongs to none.
struct Character {
    std::uint32_t code;
    int length;
};

// The character at `at`, whose first byte is not ASCII.
Character characterAt(const std::string& text, std::size_t at) {
    const auto byte = [&](int offset) {
        const std::size_t index = at + static_cast<std::size_t>(offset);
        return index < text.size() ? static_cast<unsigned char>(text[index]) : static_cast<unsigned char>(0);
    };
    for (const Sequence& row : sequences) {
        if (byte(0) < row.first || byte(0) > row.last) continue;
        if (byte(1) < row.secondFrom || byte(1) > row.secondTo) break;
        // The first byte has as many leading ones as there are bytes, and a zero.
        std::uint32_t code = byte(0) & (0x7FU >> row.length);
        for (int i = 1; i < row.length; ++i) {
            if ((byte(i) & 0xC0) != 0x80) return {0, 1};
            code = code << 6 | (byte(i) & 0x3FU);
        }
        return {code, row.length};
    }
    return {0, 1};
}

bool isAscii(char byte) {
    return static_cast<unsigned char>(byte) < 0x80;
}

// `text` with the replacement character in place of each byte that belongs to no character.
std::string repaired(const std::string& text) {
    std::string out;
    out.reserve(text.size());
    for (std::size_t at = 0; at < text.size();) {
        const int length = isAscii(text[at]) ? 1 : characterAt(text, at).length;
        if (length == 1 && !isAscii(text[at]))
            out += replacement;
        else
            out.append(text, at, static_cast<std::size_t>(length));
        at += static_cast<std::size_t>(length);
    }
    return out;
}

// The same for all texts of a value, including its keys, which must be sorted in their written form.
Json::Value repaired(const Json::Value& value) {
    if (value.isString()) return repaired(value.asString());
    if (!value.isObject() && !value.isArray()) return value;
    Json::Value out(value.type());
    for (auto member = value.begin(); member != value.end(); ++member)
        if (value.isObject())
            out[repaired(member.name())] = repaired(*member);
        else
            out.append(repaired(*member));
    return out;
}

void appendEscape(std::string& out, std::uint32_t unit) {
    constexpr char digits[] = "0123456789abcdef";
    out += "\\u";
    for (int shift = 12; shift >= 0; shift -= 4) out += digits[unit >> shift & 0xF];
}

// Well-formed text with its characters beyond ASCII as escapes.
std::string escaped(const std::string& text) {
    std::string out;
    out.reserve(text.size());
    for (std::size_t at = 0; at < text.size();) {
        if (isAscii(text[at])) {
            out += text[at++];
            continue;
        }
        const Character character = characterAt(text, at);
        at += static_cast<std::size_t>(character.length);
        if (character.code < 0x10000) {
            appendEscape(out, character.code);
        } else {  // as a surrogate pair
            appendEscape(out, 0xD800 + ((character.code - 0x10000) >> 10));
            appendEscape(out, 0xDC00 + ((character.code - 0x10000) & 0x3FF));
        }
    }
    return out;
}

// Created once and never deleted: a thread may still write while the process ends.
const Json::StreamWriterBuilder& oneLineWriter() {
    static const auto& writer = *[] {
        auto* const builder = new Json::StreamWriterBuilder;
        (*builder)["indentation"] = "";
        (*builder)["commentStyle"] = "None";
        // The library's own escaping treats the bytes after an incomplete character as part of it.
        (*builder)["emitUTF8"] = true;
        return builder;
    }();
    return writer;
}

std::string written(const Json::Value& value) {
    std::string text = Json::writeString(oneLineWriter(), value);
    if (!text.empty() && text.back() == '\n') text.pop_back();
    return text;
}

}  // namespace

std::size_t vokFirstInvalidByte(const std::string& text) {
    for (std::size_t at = 0; at < text.size();) {
        const int length = isAscii(text[at]) ? 1 : characterAt(text, at).length;
        if (length == 1 && !isAscii(text[at])) return at;
        at += static_cast<std::size_t>(length);
    }
    return std::string::npos;
}

std::string vokJsonText(const Json::Value& value) {
    std::string text = written(value);
    if (vokFirstInvalidByte(text) != std::string::npos) text = written(repaired(value));
    return escaped(text);
}
