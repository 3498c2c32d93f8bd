// Output of a host's commands, of any length and content, does no harm, and what is cut out of it is part
// of it. The input's first line is the expression, the rest the text.
#include <algorithm>
#include <cctype>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "platform/utils/vokUtils.h"
#include "vokFuzzHost.h"

namespace {

void check(bool holds) {
    if (!holds) std::abort();
}

// The C library expands counts and searches back references without a bound of its own, and the expressions
// are the agent's, not the host's: so the input's has no counts, repetitions or escapes.
bool isBounded(const std::string& pattern) {
    return pattern.size() <= 64 && pattern.find_first_of("\\*+{") == std::string::npos;
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    vokFuzzHost::install();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string input(reinterpret_cast<const char*>(data), size);
    const auto line = std::min(input.find('\n'), input.size());
    const std::string pattern = input.substr(0, line);
    const std::string text = line < input.size() ? input.substr(line + 1) : "";

    for (const char* own : {"\tVendor ID: 0x[A-Za-z0-9]{4}", "\tSubDevice ID: 0x[A-Za-z0-9]{4}"}) {
        const std::string id = vokUtils::getValueByRegexFromLocalcli(text, own);
        check(id.empty() || (id.size() == 6 && id.compare(0, 2, "0x") == 0));
    }
    if (isBounded(pattern)) {
        const std::string value = vokUtils::getValueByRegexFromLocalcli(text, pattern);
        check(text.find(value) != std::string::npos);
    }

    std::string in = text;
    std::string out = "left over";
    vokUtils::trimLeadingTrailingSpaces(in, out);
    check(text.compare(0, in.size(), in) == 0);
    check(out.empty() || out.front() != ' ');
    check(out.size() < 2 || !std::isspace(static_cast<unsigned char>(out.back())));

    const std::string between = vokUtils::getSubStr(pattern, "\n", text);
    check(text.find(between) != std::string::npos);
    check(between.find('\n') == std::string::npos);

    const long seconds = vokUtils::toEpoc(text);
    check(text.size() > 19 || seconds == 0);

    check(!vokUtils::isPCIAddress(text) || text.size() >= 12);
    vokUtils::is_ipv4_address(text);
    return 0;
}
