// The cutting and checking of text that a host's commands print, beside plain restatements of it. The input's
// first line is a mark to look for, the rest the text.
#include <algorithm>
#include <cctype>

#include "FuzzInput.h"
#include "common/Hexadecimal.h"
#include "platform/utils/vokUtils.h"

namespace {

void requireTrimmed(const std::string& text) {
    std::string in = text;
    std::string out = "left over";
    vokUtils::trimLeadingTrailingSpaces(in, out);
    // White space goes from the end of the text itself, down to its last character.
    require(text.compare(0, in.size(), in) == 0);
    for (std::size_t at = in.size(); at < text.size(); ++at)
        require(std::isspace(static_cast<unsigned char>(text[at])));
    require(in.size() == std::min<std::size_t>(text.size(), 1) ||
            !std::isspace(static_cast<unsigned char>(in.back())));
    // The result is that without its leading blanks.
    const std::size_t first = in.find_first_not_of(' ');
    require(out == (first == std::string::npos ? "" : in.substr(first)));
    std::string again = out;
    std::string same;
    vokUtils::trimLeadingTrailingSpaces(again, same);
    require(same == out);
}

void requireCut(const std::string& start, const std::string& text) {
    const std::string between = vokUtils::getSubStr(start, "\n", text);
    const std::size_t at = text.find(start);
    if (at == std::string::npos) {
        require(between.empty());
        return;
    }
    require(text.compare(at + start.size(), between.size(), between) == 0);
    require(between.find('\n') == std::string::npos);
    const std::size_t end = at + start.size() + between.size();
    require(end == text.size() || text[end] == '\n');
}

std::string lowered(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return text;
}

// An address that may enter a command is one that the simulated host reads as the same function.
void requireAddress(const std::string& text) {
    const auto address = simhost::parsePciAddress(text);
    if (vokUtils::isPCIAddress(text)) {
        require(text.size() >= 12 && text.size() <= 16);
        if (address) require(simhost::formatPciAddress(*address) == lowered(text));
    } else if (address) {
        // What is read beyond that has leading zeros in a long segment.
        require(simhost::formatPciAddress(*address) != lowered(text));
    }
}

void requireName(const std::string& text) {
    if (!vokUtils::isInterfaceName(text)) return;
    require(!text.empty() && text[0] != '-');
    require(text.find_first_of(" \t\n\"'`$;&|<>()\\*?[]#~=%!{}/") == std::string::npos);
}

bool isIPv4(const std::string& text) {
    std::size_t at = 0;
    for (int part = 0; part < 4; ++part) {
        if (part > 0 && (at >= text.size() || text[at++] != '.')) return false;
        const std::size_t from = at;
        while (at < text.size() && std::isdigit(static_cast<unsigned char>(text[at]))) ++at;
        const std::string digits = text.substr(from, at - from);
        if (digits.empty() || digits.size() > 3 || (digits.size() > 1 && digits[0] == '0')) return false;
        if (std::stoi(digits) > 255) return false;
    }
    return at == text.size() && text != "0.0.0.0";
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const auto [mark, text] = firstLineAndRest(textOf(data, size));
    requireTrimmed(text);
    requireCut(mark, text);
    for (const std::string& each : {mark, text}) {
        requireAddress(each);
        requireName(each);
        const std::string word = each.c_str();  // a word of a command's output has no NUL
        require(vokUtils::is_ipv4_address(word) == isIPv4(word));
    }
    return 0;
}
