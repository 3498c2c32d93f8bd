// The controller's check of what arrives takes any text, has no complaint only of JSON objects in one line of
// UTF-8, and gives the value that the agent would write as this text.
#include <string>

#include "FuzzInput.h"
#include "core/base/vokJsonText.h"
#include "rmc/PayloadForm.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text = textOf(data, size);
    const simhost::FormFindings event = simhost::checkEvent(text);
    require(event.value.isNull() || event.value.isObject());
    for (const std::string& violation : event.violations) require(!violation.empty());
    if (event.value.isNull()) require(!event.violations.empty());
    if (!event.violations.empty()) return 0;
    require(simhost::isUtf8(text) && text.find('\n') == std::string::npos);
    // What the agent makes of it has no complaint either.
    require(simhost::checkEvent(vokJsonText(event.value)).violations.empty());
    return 0;
}
