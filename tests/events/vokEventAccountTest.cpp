// What the status record and the history say of events.
#include "events/vokEventAccount.h"

#include "core/status/vokHistory.h"
#include "core/status/vokStatusRecord.h"
#include "events/EventsFixture.h"
#include "events/client/vokInjectedEvent.h"
#include "events/vokEventDocument.h"
#include "events/vokEventHandler.h"

namespace vokEventAccountTest {
namespace {

using ::testing::IsEmpty;
using ::testing::SizeIs;

class EventAccount : public EventsFixture {
protected:
    EventAccount() {
        vokOpenStatus({});
        vokOpenHistory();
    }
    static void raise(int id) {
        Json::Value data;
        data["Type"] = "Drive";
        data["Data"]["SerialNumber"] = "SH12K00731";
        vokEventHandler().generateEvent(
            vokEvent(id, "203A001B05C20300", "Storage", false, "2023-11-14 22:13:20", "P", data, "VOK"));
    }
    static vokEventCount countOf(int number) {
        std::string reason;
        for (const vokEventCount& count : vokReadStatus(reason).value_or(vokStatusSnapshot{}).events)
            if (count.number == number) return count;
        return {};
    }
    // Without those of the pushes.
    static std::vector<vokHistoryEntry> events() {
        std::vector<vokHistoryEntry> entries, found;
        std::string reason;
        vokReadHistory(100, entries, reason);
        for (const vokHistoryEntry& entry : entries)
            if (entry.kind == vokHistoryKind::event) found.push_back(entry);
        return found;
    }
};

TEST_F(EventAccount, ADeliveredEventIsCountedAndHasItsAnswerInTheHistory) {
    openGate();
    raise(538);
    const vokEventCount count = countOf(538);
    EXPECT_EQ(count.raised, 1u);
    EXPECT_EQ(count.delivered, 1u);
    EXPECT_EQ(count.refused + count.failed + count.dropped, 0u);
    EXPECT_EQ(count.lastRaised, 1700000000);
    ASSERT_THAT(events(), SizeIs(1));
    const vokHistoryEntry entry = events()[0];
    EXPECT_EQ(entry.event, 538);
    EXPECT_EQ(entry.time, 1700000000);
    EXPECT_EQ(entry.outcome, static_cast<std::uint32_t>(vokDeliveryKind::accepted));
    EXPECT_EQ(entry.subject, "Drive SH12K00731 at 203A001B05C20300");
    EXPECT_EQ(entry.answer, "the controller accepted it");
}

TEST_F(EventAccount, ARefusedAFailedAndADroppedEventAreCountedApart) {
    raise(538);
    openGate();
    refuseAll();
    raise(538);
    ipmi.answer(FakeIpmiReply::sendFails());
    raise(538);
    ipmi.answer({{0xC3}});
    raise(538);
    threads.failStarts();
    raise(538);
    const vokEventCount count = countOf(538);
    EXPECT_EQ(count.raised, 5u);
    EXPECT_EQ(count.dropped, 1u);
    EXPECT_EQ(count.refused, 1u);
    EXPECT_EQ(count.failed, 3u) << "without an answer, not confirmed, not sent";
    EXPECT_EQ(count.delivered, 0u);
    ASSERT_THAT(events(), SizeIs(5));
    EXPECT_EQ(events()[0].outcome, static_cast<std::uint32_t>(vokDeliveryKind::dropped));
    EXPECT_EQ(events()[0].answer, "the first inventory push is still to come");
    EXPECT_EQ(events()[4].outcome, static_cast<std::uint32_t>(vokDeliveryKind::notSent));
}

TEST_F(EventAccount, AnInjectedEventIsAccountedForByItsNumber) {
    std::string text = R"({"ID":539,"PhysicalLocation":"203A","VariableData":{"Type":"Drive"}})";
    sendToRMC(text.data());
    EXPECT_EQ(countOf(539).raised, 1u);
    EXPECT_EQ(countOf(539).delivered, 1u);
    ASSERT_THAT(events(), SizeIs(1));
    EXPECT_EQ(events()[0].subject, "Drive at 203A");
    EXPECT_EQ(events()[0].answer, "the controller accepted it");
}

TEST_F(EventAccount, AnInjectedEventOfAnyFormIsInTheHistoryWithoutANumber) {
    for (std::string text : {R"({"ID":"x"})", R"({"ID":99999999999})", R"({"VariableData":[1],"Pad":1})",
                             R"({"PhysicalLocation":{"a":1}})"})
        sendToRMC(text.data());
    ASSERT_THAT(events(), SizeIs(4));
    for (const vokHistoryEntry& entry : events()) EXPECT_EQ(entry.event, 0);
    EXPECT_THAT(delivered(), SizeIs(4));
}

TEST_F(EventAccount, ATextThatIsNoEventIsNotAccountedFor) {
    std::string text = "hello";
    sendToRMC(text.data());
    EXPECT_THAT(events(), IsEmpty());
}

TEST(EventSubject, NamesTypeDeviceAndLocationAsFarAsKnown) {
    Json::Value data;
    EXPECT_EQ(vokEventSubject("", data, ""), "");
    EXPECT_EQ(vokEventSubject("Host", data, "NotApplicable"), "Host");
    EXPECT_EQ(vokEventSubject("", data, "203A"), "at 203A");
    data["Data"]["SerialNumber"] = "S1";
    EXPECT_EQ(vokEventSubject("Storage", data, ""), "Storage S1");
    data["Type"] = "EthernetDevice";
    data["Data"]["DeviceName"] = "vmnic3";
    EXPECT_EQ(vokEventSubject("Nic", data, "259A"), "EthernetDevice vmnic3 at 259A");
    data["Data"] = "no object";
    EXPECT_EQ(vokEventSubject("Nic", data, "259A"), "EthernetDevice at 259A");
    EXPECT_EQ(vokEventSubject("Nic", Json::Value("no object"), ""), "Nic");
}

}  // namespace
}  // namespace vokEventAccountTest
