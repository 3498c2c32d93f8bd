// Texts of any bytes become JSON in ASCII that reads as the same texts, with U+FFFD in place of
// each byte that belongs to no character. The input's first line is one text, the rest another.
#include <json/reader.h>
#include <algorithm>
#include <memory>

#include "FuzzInput.h"
#include "core/base/vokJsonText.h"

namespace {

// The length of the character at `at`; 0 when the byte there belongs to none (RFC 3629, section 3).
std::size_t characterLength(const std::string& text, std::size_t at) {
    const auto byte = [&](std::size_t offset) -> std::uint32_t {
        return at + offset < text.size() ? static_cast<unsigned char>(text[at + offset]) : 0u;
    };
    const std::uint32_t lead = byte(0);
    if (lead < 0x80) return 1;
    const std::size_t length = (lead & 0xE0) == 0xC0   ? 2
                               : (lead & 0xF0) == 0xE0 ? 3
                               : (lead & 0xF8) == 0xF0 ? 4
                                                       : 0;
    if (length == 0) return 0;
    std::uint32_t code = lead & (0xFFu >> (length + 1));
    for (std::size_t i = 1; i < length; ++i) {
        if ((byte(i) & 0xC0) != 0x80) return 0;
        code = code << 6 | (byte(i) & 0x3F);
    }
    constexpr std::uint32_t least[] = {0, 0, 0x80, 0x800, 0x10000};
    const bool isSurrogate = code >= 0xD800 && code <= 0xDFFF;
    return code < least[length] || code > 0x10FFFF || isSurrogate ? 0 : length;
}

std::string restatedRepair(const std::string& text) {
    std::string repaired;
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t length = characterLength(text, at);
        repaired += length == 0 ? "\xEF\xBF\xBD" : text.substr(at, length);
        at += std::max<std::size_t>(length, 1);
    }
    return repaired;
}

Json::Value parsed(const std::string& text) {
    static const std::unique_ptr<Json::CharReader> reader = [] {
        Json::CharReaderBuilder builder;
        Json::CharReaderBuilder::strictMode(&builder.settings_);
        return std::unique_ptr<Json::CharReader>(builder.newCharReader());
    }();
    Json::Value value;
    std::string errors;
    require(reader->parse(text.data(), text.data() + text.size(), &value, &errors));
    return value;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const auto [first, second] = firstLineAndRest(textOf(data, size));
    Json::Value value(Json::objectValue);
    value[first] = second;

    const std::string text = vokJsonText(value);
    require(std::all_of(text.begin(), text.end(), [](unsigned char c) { return c >= 0x20 && c <= 0x7F; }));
    const Json::Value again = parsed(text);
    require(again.size() == 1 && again.begin().name() == restatedRepair(first));
    require(again.begin()->asString() == restatedRepair(second));
    require(vokJsonText(again) == text);
    return 0;
}
