#include "events/vokEvent.h"

#include <gtest/gtest.h>

namespace vokEventTest {

TEST(vokEvent, ThePlainConstructorHasNoVariableData) {
    const vokEvent event(359, "NotApplicable", "Host", true, "2026-11-15 08:38:22", "Not-Available", "VOK");
    EXPECT_EQ(event.getEventID(), 359);
    EXPECT_EQ(event.getPhyLoc(), "NotApplicable");
    EXPECT_EQ(event.getModuleName(), "Host");
    EXPECT_TRUE(event.getisServiceEvent());
    EXPECT_EQ(event.getEventTime(), "2026-11-15 08:38:22");
    EXPECT_EQ(event.getPartNum(), "Not-Available");
    EXPECT_EQ(event.getSource(), "VOK");
    EXPECT_TRUE(event.getVariableData().isNull());
}

TEST(vokEvent, TheConstructorWithoutALocationLeavesLocationAndPartNumberEmpty) {
    Json::Value data;
    data["Type"] = "Test Event";
    const vokEvent event(708, "TESTEVENT", false, "2026-11-15 08:38:22", data, "VOK-CLI");
    EXPECT_EQ(event.getEventID(), 708);
    EXPECT_EQ(event.getPhyLoc(), "");
    EXPECT_EQ(event.getModuleName(), "TESTEVENT");
    EXPECT_FALSE(event.getisServiceEvent());
    EXPECT_EQ(event.getEventTime(), "2026-11-15 08:38:22");
    EXPECT_EQ(event.getPartNum(), "");
    EXPECT_EQ(event.getSource(), "VOK-CLI");
    EXPECT_EQ(event.getVariableData()["Type"].asString(), "Test Event");
}

TEST(vokEvent, TheFullConstructorSetsEveryField) {
    Json::Value data;
    data["Type"] = "Drive";
    const vokEvent event(538, "0123456789ABCDEF", "SASHBA", true, "2026-11-15 08:38:22", "P1", data, "VOK");
    EXPECT_EQ(event.getEventID(), 538);
    EXPECT_EQ(event.getPhyLoc(), "0123456789ABCDEF");
    EXPECT_EQ(event.getModuleName(), "SASHBA");
    EXPECT_TRUE(event.getisServiceEvent());
    EXPECT_EQ(event.getEventTime(), "2026-11-15 08:38:22");
    EXPECT_EQ(event.getPartNum(), "P1");
    EXPECT_EQ(event.getSource(), "VOK");
    EXPECT_EQ(event.getVariableData()["Type"].asString(), "Drive");
}

TEST(vokEvent, ACopyIsIndependent) {
    Json::Value data;
    data["Type"] = "Drive";
    const vokEvent first(538, "L", "SASHBA", true, "T", "P1", data, "VOK");
    vokEvent second = first;
    second = vokEvent(540, "M", "SASHBA", false, "U", "P2", "VOK");
    EXPECT_EQ(first.getEventID(), 538);
    EXPECT_EQ(first.getVariableData()["Type"].asString(), "Drive");
    EXPECT_TRUE(second.getVariableData().isNull());
}

TEST(vokEvent, ConstructedFromNamedFieldsItHasDefaultsForTheRest) {
    vokEventFields fields;
    fields.id = 1384;
    fields.module = "NICEVENT";
    const vokEvent plain(fields);
    EXPECT_EQ(plain.getEventID(), 1384);
    EXPECT_EQ(plain.getModuleName(), "NICEVENT");
    EXPECT_EQ(plain.getPhyLoc(), "");
    EXPECT_FALSE(plain.getisServiceEvent());
    EXPECT_EQ(plain.getEventTime(), "");
    EXPECT_EQ(plain.getPartNum(), "");
    EXPECT_EQ(plain.getSource(), "VOK");
    EXPECT_TRUE(plain.getVariableData().isNull());

    fields.physicalLocation = "L";
    fields.isService = true;
    fields.time = "2026-11-15 08:38:22";
    fields.partNumber = "P1";
    fields.variableData["Type"] = "EthernetDevice";
    fields.source = "VOK-CLI";
    const vokEvent whole(fields);
    EXPECT_EQ(whole.getPhyLoc(), "L");
    EXPECT_TRUE(whole.getisServiceEvent());
    EXPECT_EQ(whole.getEventTime(), "2026-11-15 08:38:22");
    EXPECT_EQ(whole.getPartNum(), "P1");
    EXPECT_EQ(whole.getVariableData()["Type"].asString(), "EthernetDevice");
    EXPECT_EQ(whole.getSource(), "VOK-CLI");
}

}  // namespace vokEventTest
