// The GeoID within a designation is the first word of its form, whatever else the text holds.
#include <cctype>

#include "FuzzInput.h"
#include "platform/utils/vokUtils.h"
#include "vokFuzzHost.h"

namespace {

bool isOfWord(char c) {
    return std::isalnum(static_cast<unsigned char>(c)) || c == '_';
}

// "d" stands for a digit.
bool hasFormAt(const std::string& text, std::size_t at, const std::string& form) {
    if (at + form.size() > text.size()) return false;
    for (std::size_t i = 0; i < form.size(); ++i) {
        const char c = text[at + i];
        if (form[i] == 'd' ? !std::isdigit(static_cast<unsigned char>(c)) : c != form[i]) return false;
    }
    return true;
}

std::string restated(const std::string& text) {
    const std::string form = "rddduddpdidd";
    for (std::size_t at = 0; at < text.size(); ++at) {
        const std::size_t end = at + form.size();
        if (hasFormAt(text, at, form) && (at == 0 || !isOfWord(text[at - 1])) &&
            (end == text.size() || !isOfWord(text[end])))
            return text.substr(at, form.size());
    }
    return "";
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    vokFuzzHost::installQuiet();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text = textOf(data, size).c_str();  // a designation ends at its NUL
    require(vokUtils::getGeoIDFromDesignation(text) == restated(text));
    return 0;
}
