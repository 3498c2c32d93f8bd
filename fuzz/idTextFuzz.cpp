// The ids of a PCI function out of the text of the host's command are the first ones of their form. The input
// is that text.
#include <cctype>

#include "FuzzInput.h"
#include "platform/utils/vokUtils.h"
#include "vokFuzzHost.h"

namespace {

// What follows the first "\tVendor ID: " with "0x" and four letters or digits.
std::string restated(const std::string& text, const std::string& label) {
    for (std::size_t at = text.find(label); at != std::string::npos; at = text.find(label, at + 1)) {
        const std::string id = text.substr(at + label.size(), 6);
        if (id.size() != 6 || id.compare(0, 2, "0x") != 0) continue;
        bool fits = true;
        for (std::size_t i = 2; i < id.size(); ++i)
            fits = fits && std::isalnum(static_cast<unsigned char>(id[i]));
        if (fits) return id;
    }
    return "";
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    vokFuzzHost::installQuiet();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text = textOf(data, size).c_str();
    require(vokUtils::getValueByRegexFromLocalcli(text, "\tVendor ID: 0x[A-Za-z0-9]{4}") ==
            restated(text, "\tVendor ID: "));
    return 0;
}
