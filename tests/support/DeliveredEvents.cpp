#include "support/DeliveredEvents.h"

#include <gtest/gtest.h>
#include <json/reader.h>
#include <memory>
#include <string>

#include "rmc/vokJsonAggregator.h"

void letEventsPass(FakeIpmi& ipmi) {
    vokJsonAggregator::getInstance()->createInventoryJsonString();
    ASSERT_TRUE(vokJsonAggregator::getInstance()->isInventorySent());
    ipmi.clearRequests();
}

std::vector<Json::Value> deliveredEvents(const FakeIpmi& ipmi) {
    std::vector<Json::Value> events;
    for (const std::string& text : ipmi.remoteCommandPayloads()) {
        const std::unique_ptr<Json::CharReader> reader(Json::CharReaderBuilder().newCharReader());
        std::string error;
        Json::Value event;
        EXPECT_TRUE(reader->parse(text.data(), text.data() + text.size(), &event, &error)) << error << text;
        EXPECT_TRUE(event.isObject() && event.isMember("ID")) << "no event: " << text;
        events.push_back(event);
    }
    return events;
}

std::vector<int> deliveredEventIds(const FakeIpmi& ipmi) {
    std::vector<int> ids;
    for (const Json::Value& event : deliveredEvents(ipmi)) ids.push_back(event["ID"].asInt());
    return ids;
}
