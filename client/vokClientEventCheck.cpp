#include "vokClientEventCheck.h"

#include <json/reader.h>
#include <memory>

#include "core/base/vokJsonText.h"
#include "events/vokEventTable.h"

namespace {

// Empty if the text is accepted with this further rule of the JSON library, otherwise the library's reason.
std::string refusalUnder(const char* rule, const std::string& text) {
    Json::CharReaderBuilder builder;
    builder[rule] = true;
    const std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
    Json::Value ignored;
    std::string reason;
    if (reader->parse(text.data(), text.data() + text.size(), &ignored, &reason)) return "";
    while (!reason.empty() && reason.back() == '\n') reason.pop_back();
    return reason;
}

std::string numberFinding(const Json::Value& event) {
    if (!event.isMember("ID")) return "the event has no ID, which tells the controller what happened";
    const Json::Value& id = event["ID"];
    if (id.type() != Json::intValue && id.type() != Json::uintValue)
        return "the event's ID is not an integer";
    if (id.isInt() && vokFindEventNumber(id.asInt())) return "";
    return "the event's ID " + id.asString() + " is not an event number; \"vokcli events\" lists them";
}

}  // namespace

std::vector<std::string> vokCheckEvent(const std::string& text, const Json::Value& event) {
    std::vector<std::string> findings;
    if (std::string finding = numberFinding(event); !finding.empty()) findings.push_back(std::move(finding));
    if (const std::string reason = refusalUnder("rejectDupKeys", text); !reason.empty())
        findings.push_back("the event has a key more than once; the last one counts\n" + reason);
    if (const std::size_t at = vokFirstInvalidByte(text); at != std::string::npos)
        findings.push_back("byte " + std::to_string(at + 1) +
                           " of the event is not UTF-8; each such byte is sent as U+FFFD");
    if (const std::string reason = refusalUnder("failIfExtra", text); !reason.empty())
        findings.push_back("the text after the JSON object is not sent\n" + reason);
    return findings;
}
