#include "rmc/report/Timeline.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "rmc/JsonMembers.h"

namespace ReportTimelineTest {

using namespace simhost;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

namespace {

Json::Value eventOf(int id, const std::string& time, const std::string& data = "{}",
                    const std::string& code = "") {
    return parsedJson("{\"EventTime\":\"" + time + "\",\"ID\":" + std::to_string(id) +
                      ",\"PhysicalLocation\":\"" + code +
                      "\",\"Source\":\"VOK\",\"VariableData\":{\"Data\":" + data +
                      ",\"EventInfo\":\"text\",\"Type\":\"x\"}}");
}

ReceivedInventory inventoryOf(unsigned long number, const std::string& time, const std::string& drives = "") {
    ReceivedInventory inventory;
    inventory.number = number;
    inventory.file = "inventory-000" + std::to_string(number) + ".json";
    inventory.document = parsedJson("{\"HostDataCollection\":{\"Drives\":[" + drives +
                                    "],\"Oem\":{\"CollectionInfo\":{\"LastCollection\":\"" + time + "\"}}}}");
    return inventory;
}

std::vector<std::string> headingsOf(const ReceivedFolder& folder) {
    std::vector<std::string> headings;
    for (const Entry& entry : timelineOf(folder))
        headings.push_back(entry.heading.substr(0, entry.heading.find(' ')));
    return headings;
}

TEST(ReportTimeline, WithoutARecordOfTransfersTheTimeOfTheHostDecides) {
    ReceivedFolder folder;
    folder.inventories = {inventoryOf(1, "Nov 22 10:14:17"), inventoryOf(2, "Dec  1 00:00:00")};
    folder.events = {eventOf(356, "2026-11-22 10:10:00"), eventOf(708, "2026-11-22 10:23:54"),
                     eventOf(359, "2026-12-02 10:00:00")};
    EXPECT_THAT(headingsOf(folder), ElementsAre("356", "Inventory,", "708", "Inventory,", "359"));
}

TEST(ReportTimeline, TheOrderOfTransfersDecidesAlsoWhenTheClockOfTheHostJumpsBack) {
    ReceivedFolder folder;
    folder.inventories = {inventoryOf(1, "Nov 22 10:00:00")};
    folder.events = {eventOf(356, "2026-11-22 12:00:00")};
    folder.transfers = {
        parsedJson(R"({"event":{"EventTime":"2026-11-22 12:00:00","ID":"356"},"outcome":"complete"})"),
        parsedJson(R"({"file":"inventory-0001.json","outcome":"complete"})")};
    EXPECT_THAT(headingsOf(folder), ElementsAre("356", "Inventory,"));
}

TEST(ReportTimeline, ARefusedTransferIsAnEntryAtItsPlace) {
    ReceivedFolder folder;
    folder.inventories = {inventoryOf(1, "Nov 22 10:00:00")};
    folder.transfers = {parsedJson(R"({"command":"WriteInventory","outcome":"refused","status":8})"),
                        parsedJson(R"({"file":"inventory-0001.json","outcome":"complete"})")};
    const auto timeline = timelineOf(folder);
    ASSERT_EQ(timeline.size(), 2u);
    EXPECT_EQ(timeline[0].kind, EntryKind::trouble);
    EXPECT_EQ(timeline[0].heading, "WriteInventory was refused");
    EXPECT_EQ(timeline[0].text, "Status 8");
}

TEST(ReportTimeline, ThePushesShowWhatHasChanged) {
    const std::string good = R"("Status":{"Health":"OK","State":"Online"})";
    ReceivedFolder folder;
    folder.inventories = {
        inventoryOf(1, "Nov 22 10:00:00",
                    "{\"SerialNumber\":\"A\"," + good + "},{\"SerialNumber\":\"B\"," + good + "}"),
        inventoryOf(
            2, "Nov 22 11:00:00",
            R"({"SerialNumber":"B","Status":{"Health":"Critical","State":"Failed"}},{"SerialNumber":"C",)" +
                good + "}"),
        inventoryOf(
            3, "Nov 22 12:00:00",
            R"({"SerialNumber":"B","Status":{"Health":"Critical","State":"Failed"}},{"SerialNumber":"C",)" +
                good + "}")};
    const auto timeline = timelineOf(folder);
    ASSERT_EQ(timeline.size(), 3u);
    EXPECT_THAT(timeline[0].changes, IsEmpty());
    EXPECT_THAT(timeline[1].changes, ElementsAre("drive A is gone", "drive B: Online/OK, now Failed/Critical",
                                                 "drive C is new: Online/OK"));
    EXPECT_EQ(timeline[2].text, "Nothing has changed.");
}

TEST(ReportTimeline, AnEntryHasTheTextsOfItsEvent) {
    ReceivedFolder folder;
    folder.events = {eventOf(
        1384, "2026-11-22 11:28:30",
        R"({"MACAddress":"02:00","Model":"X550","Oem":{"Description":"PCI 1","DeviceName":"vmnic3"}})",
        "203A001B05C20600")};
    const auto timeline = timelineOf(folder);
    ASSERT_EQ(timeline.size(), 1u);
    EXPECT_EQ(timeline[0].kind, EntryKind::fault);
    EXPECT_EQ(timeline[0].heading, "1384 Ethernet link is lost");
    EXPECT_EQ(timeline[0].text, "text");
    EXPECT_EQ(timeline[0].subject, "vmnic3, X550, PCI 1");
    EXPECT_EQ(timeline[0].code, "203A001B05C20600");
    EXPECT_THAT(timelineHtml(timeline), HasSubstr("Location code 203A001B05C20600"));
}

TEST(ReportTimeline, TheNewestEntryIsShownFirst) {
    ReceivedFolder folder;
    folder.events = {eventOf(356, "2026-11-22 10:00:00"), eventOf(359, "2026-11-22 11:00:00")};
    const std::string html = timelineHtml(timelineOf(folder));
    EXPECT_LT(html.find("359 "), html.find("356 "));
}

TEST(ReportTimeline, OfManyEntriesTheLastAreShown) {
    ReceivedFolder folder;
    for (int i = 0; i < 501; ++i) folder.events.push_back(eventOf(1000 + i, "2026-11-22 10:00:00"));
    const std::string html = timelineHtml(timelineOf(folder));
    EXPECT_THAT(html, HasSubstr("The last 500 of 501 are shown."));
    EXPECT_THAT(html, HasSubstr("<h3>1500 "));
    EXPECT_EQ(html.find("<h3>1000 "), std::string::npos);
}

TEST(ReportTimeline, TheWholeEventIsShownInLines) {
    ReceivedFolder folder;
    folder.events = {parsedJson("{\"EventTime\":\"a\\nb\",\"ID\":356}")};
    EXPECT_THAT(
        timelineHtml(timelineOf(folder)),
        HasSubstr("{\n  &quot;EventTime&quot; : &quot;a\\nb&quot;,\n  &quot;ID&quot; : 356\n}</pre>"));
}

ReceivedInventory ofHost(ReceivedInventory inventory, const std::string& host) {
    inventory.document["HostDataCollection"]["Oem"]["HostOSInfo"]["HostName"] = host;
    return inventory;
}

TEST(ReportTimeline, APushIsComparedWithTheOneOfItsOwnHost) {
    const std::string drive = R"({"SerialNumber":"A"})";
    ReceivedFolder folder;
    folder.inventories = {ofHost(inventoryOf(1, "Nov 22 10:00:00", drive), "n7"),
                          ofHost(inventoryOf(2, "Nov 22 11:00:00"), "n8"),
                          ofHost(inventoryOf(3, "Nov 22 12:00:00"), "n7")};
    const auto timeline = timelineOf(folder);
    ASSERT_EQ(timeline.size(), 3u);
    EXPECT_THAT(timeline[1].changes, IsEmpty());
    EXPECT_EQ(timeline[1].text, "");
    EXPECT_THAT(timeline[2].changes, ElementsAre("drive A is gone"));
    EXPECT_THAT(hostsOf(timeline), ElementsAre("n7", "n8"));
    EXPECT_THAT(timelineHtml(timeline), HasSubstr("<p class=\"host\">Host n8</p>"));
}

TEST(ReportTimeline, OfOneHostTheEntriesDoNotRepeatItsName) {
    ReceivedFolder folder;
    folder.inventories = {ofHost(inventoryOf(1, "Nov 22 10:00:00"), "n7")};
    EXPECT_THAT(timelineHtml(timelineOf(folder)), Not(HasSubstr("Host n7")));
}

}  // namespace

}  // namespace ReportTimelineTest
