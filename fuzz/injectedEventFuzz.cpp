// The text of an injected event, whatever it is, is refused or becomes one line of JSON that says the same.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <exception>
#include <string>

#include "core/base/vokJsonText.h"
#include "events/client/vokInjectedEvent.h"
#include "vokFuzzHost.h"

namespace {

// Reading the text again must give it once more.
void requireFaithful(const std::string& text) {
    const auto isPlain = [](char each) { return each >= ' ' && static_cast<signed char>(each) > 0; };
    if (!std::all_of(text.begin(), text.end(), isPlain)) std::abort();
    Json::Value again;
    if (!vokParseInjectedEvent(text, again) || vokJsonText(again) != text) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    vokFuzzHost::install();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    bool taken = false;
    try {
        Json::Value event;
        taken = vokParseInjectedEvent(text, event);
        if (taken) requireFaithful(vokJsonText(event));
    } catch (const std::exception&) {  // nested too deeply
    }
    if (sendToRMC(std::string(text.c_str()).data()) != 0) std::abort();
    return 0;
}
