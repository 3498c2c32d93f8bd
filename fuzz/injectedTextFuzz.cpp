// The text of an injected event is refused, or becomes one line of JSON in ASCII that is read as
// the same event. The same as injectedEventFuzz, without the sending.
#include <algorithm>
#include <exception>

#include "FuzzInput.h"
#include "core/base/vokJsonText.h"
#include "events/client/vokInjectedEvent.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    try {
        Json::Value event;
        std::string errors;
        if (!vokParseInjectedEvent(textOf(data, size), event, &errors)) return 0;
        require(event.isObject() && !event.empty() && errors.empty());
        const std::string line = vokJsonText(event);
        require(
            std::all_of(line.begin(), line.end(), [](unsigned char c) { return c >= 0x20 && c <= 0x7F; }));
        Json::Value again;
        require(vokParseInjectedEvent(line, again));
        require(vokJsonText(again) == line);
    } catch (const std::exception&) {  // nested too deeply
    }
    return 0;
}
