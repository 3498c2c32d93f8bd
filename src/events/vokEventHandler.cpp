#include "events/vokEventHandler.h"

#include <json/value.h>
#include <pthread.h>
#include <algorithm>
#include <iterator>
#include <utility>

#include "core/vokLog.h"
#include "events/vokEventText.h"
#include "platform/vokUtils.h"
#include "rmc/vokJsonAggregator.h"
#include "rmc/vokipmi.h"

namespace {

constexpr char module[] = "EVT_HANDLER";

// OS boot and shutdown arise before the first push. 1337 and 1338 have no raiser in this agent.
constexpr int passBeforeFirstPush[] = {356, 359, 360, 434, 435, 1337, 1338};

// The texts of "no such place". Only these, letter by letter: any other text is a place.
constexpr const char* noLocation[] = {"Not Applicable", "Not Available", "NotApplicable", "NotAvailable"};

template <typename Row, std::size_t count, typename Value>
bool isOneOf(const Row (&rows)[count], const Value& value) {
    return std::find(std::begin(rows), std::end(rows), value) != std::end(rows);
}

Json::Value eventDocument(const vokEvent& event) {
    Json::Value document(Json::objectValue);
    document["HostName"] = vokUtils::readHostName();
    document["OSVersion"] = vokUtils::readHostOSVersion();
    document["OSType"] = vokUtils::getOSType();
    const std::string address = vokUtils::getPrimaryIPAddress();
    if (!address.empty()) document["IPv4Addresses"][0]["Address"] = address;
    document["ID"] = event.getEventID();
    document["Source"] = event.getSource();
    document["EventTime"] = event.getEventTime();
    const std::string& location = event.getPhyLoc();
    if (!location.empty() && !isOneOf(noLocation, location)) document["PhysicalLocation"] = location;
    if (!event.getVariableData().isNull()) document["VariableData"] = event.getVariableData();
    return document;
}

}  // namespace

void vokEventHandler::generateEvent(vokEvent event) {
    if (!vokJsonAggregator::getInstance()->isInventorySent() &&
        !isOneOf(passBeforeFirstPush, event.getEventID()))
        return;
    pthread_t thread{};
    if (::pthread_create(&thread, nullptr, startEventGeneration, &event) != 0) {
        VOK_LOG_ERROR(module, "Unable to spawn a thread to handle event.");
        return;
    }
    ::pthread_join(thread, nullptr);
}

void* startEventGeneration(void* event) {
    const std::string text = vokEventText(eventDocument(*static_cast<const vokEvent*>(event)));
    VOK_LOG_INFO(module, "%s", text.c_str());
    vokEventHandler::sendEventToRMC(text);
    return nullptr;
}

int vokEventHandler::sendEventToRMC(std::string json) {
    ipmi::IPMIUtils controller;
    const int result = controller.RMC_CLI_Cmd_Execution("MPEventGen", std::move(json));
    if (result == 1)
        VOK_LOG_ERROR(module, "FAILURE in logging event to RMC");
    else
        VOK_LOG_DEBUG(module, "SUCCESS in delivering event to RMC");
    return result;
}
