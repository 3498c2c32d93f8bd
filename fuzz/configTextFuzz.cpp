// What is done to the text of the configuration file before it is parsed again ends where it should: a second
// pass changes nothing, what lies too deep is gone, and a text without deep values or large numbers stays.
#include <algorithm>

#include "FuzzInput.h"
#include "core/base/vokConfigText.h"

namespace {

constexpr std::ptrdiff_t deepest = 101;  // the outermost of what goes stays, empty

std::ptrdiff_t countOf(const std::string& text, const char* characters) {
    return std::count_if(text.begin(), text.end(), [characters](char c) {
        return c != '\0' && std::string(characters).find(c) != std::string::npos;
    });
}

bool isPlain(const std::string& text) {
    // A number below 1e300 fits a double.
    constexpr std::size_t longestNumber = 300;
    return countOf(text, "[{") <= deepest - 1 &&
           (text.size() < longestNumber && text.find_first_of("eE") == std::string::npos);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text = textOf(data, size);
    const std::string once = vokConfigText::withinParserLimits(text);
    require(vokConfigText::withinParserLimits(once) == once);
    if (isPlain(text)) require(once == text);
    // A number grows by the words before it and two quotation marks, nothing else grows.
    const std::size_t grown = std::string(vokConfigText::outOfRangePrefix).size() + 2;
    require(once.size() <= text.size() + grown * (text.size() / 2 + 1));
    // An input of nothing but brackets is the deepest of its size.
    const std::string nested(size, '[');
    require(vokConfigText::withinParserLimits(nested).size() ==
            std::min<std::size_t>(size, static_cast<std::size_t>(deepest)));
    return 0;
}
