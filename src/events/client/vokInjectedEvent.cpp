#include "events/client/vokInjectedEvent.h"

#include <json/reader.h>
#include <exception>
#include <sstream>

#include "core/base/vokJsonText.h"
#include "core/base/vokLog.h"
#include "events/vokDelivery.h"
#include "events/vokEventAccount.h"
#include "events/vokEventDocument.h"
#include "events/vokEventHandler.h"

namespace {

constexpr char module[] = "VOK_SERVER";

bool parseOrLog(const char* text, Json::Value& event) {
    if (vokParseInjectedEvent(text, event)) return true;
    VOK_LOG_ERROR(module, "Json packets are invalid");
    return false;
}

// As an event that the agent raises is accounted for; the outcome is noted for the client as well.
int sendAndAccount(const Json::Value& event, const std::string& line) {
    const int number = event["ID"].isInt() ? event["ID"].asInt() : 0;
    const Json::Value& location = event["PhysicalLocation"];
    const vokEventAccount account(
        number, vokEventSubject("", event["VariableData"], location.isString() ? location.asString() : ""));
    int result = 0;
    vokDelivery delivery;
    {
        const vokDeliveryRecord record;
        result = vokEventHandler::sendEventToRMC(line);
        delivery = record.last();
    }
    account.end(delivery);
    vokDeliveryRecord::note(std::move(delivery));
    return result;
}

}  // namespace

bool vokParseInjectedEvent(const std::string& text, Json::Value& event, std::string* errors) {
    std::istringstream stream(text);
    const Json::CharReaderBuilder builder;
    std::string ignored;
    return Json::parseFromStream(builder, stream, &event, errors ? errors : &ignored) && !event.empty();
}

bool jsonValidate(char* text) {
    try {
        Json::Value event;
        return parseOrLog(text, event);
    } catch (const std::exception& failure) {
        VOK_LOG_ERROR(module, "Error: %s", failure.what());
        return false;
    }
}

int sendToRMC(char* text) {
    VOK_LOG_INFO(module, "%s", text);
    try {
        Json::Value event;
        vokDeliveryRecord::note({vokDeliveryKind::invalid, "the text is not an event"});
        if (!parseOrLog(text, event)) return 0;
        event["Source"] = "VOK-CLI";  // throws unless it is an object
        const std::string line = vokJsonText(event);
        VOK_LOG_INFO(module, "%s", line.c_str());
        return sendAndAccount(event, line);
    } catch (const std::exception& failure) {
        VOK_LOG_ERROR(module, "Error: %s", failure.what());
        return 0;
    }
}
