#include "platform/vokJsonText.h"

#include <json/writer.h>
#include <cstdint>

namespace {

constexpr std::uint32_t replacement = 0xFFFD;

// The well-formed sequences of UTF-8 (RFC 3629, section 4) beyond ASCII. Only the second byte has limits
// that depend on the first; all further ones are from 0x80 to 0xBF.
struct Sequence {
    unsigned char first;
    unsigned char last;
    int length;
    unsigned char secondFrom;
    unsigned char secondTo;
};

constexpr Sequence sequences[] = {
    {0xC2, 0xDF, 2, 0x80, 0xBF}, {0xE0, 0xE0, 3, 0xA0, 0xBF}, {0xE1, 0xEC, 3, 0x80, 0xBF},
    {0xED, 0xED, 3, 0x80, 0x9F}, {0xEE, 0xEF, 3, 0x80, 0xBF}, {0xF0, 0xF0, 4, 0x90, 0xBF},
    {0xF1, 0xF3, 4, 0x80, 0xBF}, {0xF4, 0xF4, 4, 0x80, 0x8F},
};

struct Character {
    std::uint32_t code;
    int length;
};

// The character that starts at `at`, which is not ASCII.
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
            if ((byte(i) & 0xC0) != 0x80) return {replacement, 1};
            code = code << 6 | (byte(i) & 0x3FU);
        }
        return {code, row.length};
    }
    return {replacement, 1};
}

void appendEscape(std::string& out, std::uint32_t unit) {
    constexpr char digits[] = "0123456789abcdef";
    out += "\\u";
    for (int shift = 12; shift >= 0; shift -= 4) out += digits[unit >> shift & 0xF];
}

std::string asciiOnly(const std::string& text) {
    std::string out;
    out.reserve(text.size());
    for (std::size_t at = 0; at < text.size();) {
        if (static_cast<unsigned char>(text[at]) < 0x80) {
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

}  // namespace

std::string vokJsonText(const Json::Value& value) {
    Json::StreamWriterBuilder builder;
    builder["indentation"] = "";
    builder["commentStyle"] = "None";
    // The library's own escaping takes whatever follows a broken character for a part of it.
    builder["emitUTF8"] = true;
    std::string text = Json::writeString(builder, value);
    if (!text.empty() && text.back() == '\n') text.pop_back();
    return asciiOnly(text);
}
