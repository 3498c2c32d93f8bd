#include "rmc/report/Page.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "rmc/JsonMembers.h"
#include "rmc/report/Device.h"
#include "rmc/report/Transfers.h"

namespace ReportPageTest {

using namespace simhost;
using testing::HasSubstr;
using testing::Not;

namespace {

ReceivedFolder folderWith(const std::string& sections) {
    ReceivedFolder folder;
    folder.path = "/tmp/x";
    ReceivedInventory inventory;
    inventory.number = 1;
    inventory.file = "inventory-0001.json";
    inventory.document = parsedJson("{\"HostDataCollection\":{" + sections + "}}");
    folder.inventories.push_back(inventory);
    return folder;
}

std::string pageWith(const std::string& sections) {
    return reportPage(folderWith(sections), "2026-11-22 10:00:00 UTC");
}

std::size_t countIn(const std::string& text, const std::string& what) {
    std::size_t count = 0;
    for (std::size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + 1)) ++count;
    return count;
}

TEST(ReportPage, EverySectionIsThereInTheOrderThatAnOperatorNeeds) {
    const std::string page = pageWith(R"("Oem":{"HostOSInfo":{"HostName":"n7"}})");
    std::size_t before = 0;
    for (const char* heading : {"<h1>n7</h1>", ">Summary</h2>", ">Picture</h2>", ">Time line</h2>",
                                ">Inventory</h2>", ">Transfers</h2>"}) {
        const std::size_t at = page.find(heading);
        ASSERT_NE(at, std::string::npos) << heading;
        EXPECT_GT(at, before) << heading;
        before = at;
    }
}

TEST(ReportPage, ThePolicyAllowsNothingButItsOwnStyleAndScript) {
    const std::string page = pageWith("");
    EXPECT_THAT(page,
                testing::ContainsRegex("content=\"default-src 'none'; style-src 'sha256-[A-Za-z0-9+/]{43}='; "
                                       "script-src 'sha256-[A-Za-z0-9+/]{43}='; base-uri 'none'; "
                                       "form-action 'none'\""));
}

TEST(ReportPage, NothingInItLeadsElsewhere) {
    const std::string page = pageWith(R"("Drives":[{"SerialNumber":"A"}])");
    EXPECT_THAT(page, Not(HasSubstr("src=")));
    EXPECT_THAT(page, Not(HasSubstr("url(")));
    EXPECT_THAT(page, Not(HasSubstr("@import")));
    EXPECT_EQ(countIn(page, "href=\""), countIn(page, "href=\"#"));
}

TEST(ReportPage, MarkupInAnyTextIsShownAsText) {
    const std::string hostile = R"(</script><img src=x onerror=alert(1)>\"'><!--{{style}})";
    const std::string pure = pageWith(R"("Drives":[{"SerialNumber":"A"}],"Volumes":[{"Drives":["A"]}])");
    std::string item;
    for (const char* key : {"Model", "Manufacturer", "SerialNumber", "PartNumber", "VolumeType", "OddMember"})
        item += std::string("\"") + key + "\":\"" + hostile + "\",";
    item += "\"" + hostile + "\":\"x\",\"Oem\":{\"Description\":\"" + hostile + "\",\"DeviceName\":\"" +
            hostile + "\",\"PhysicalLocation\":\"" + hostile + "\",\"Slot\":\"" + hostile +
            "\"},\"Status\":{\"Health\":\"" + hostile + "\",\"State\":\"" + hostile + "\"}";
    ReceivedFolder folder =
        folderWith("\"Drives\":[{" + item + "}],\"EthernetDevices\":[{" + item + "}],\"" + hostile + "\":[{" +
                   item + "}],\"Oem\":{\"HostOSInfo\":{\"HostName\":\"" + hostile + "\",\"OSName\":\"" +
                   hostile + "\",\"IPv4Addresses\":[{\"Address\":\"" + hostile + "\"}]}}");
    ASSERT_TRUE(folder.inventories[0].document.isObject());
    folder.path = "/tmp/</title><b>";
    folder.inventories[0].file = "<b>.json";
    folder.violations = {"<b>violation</b>"};
    folder.problems = {"<b>problem</b>"};
    folder.events = {parsedJson("{\"EventTime\":\"" + hostile +
                                "\",\"HostName\":\"h\",\"ID\":538,\"PhysicalLocation\":\"" + hostile +
                                "\",\"VariableData\":{\"Data\":{" + item + "},\"EventInfo\":\"" + hostile +
                                "\",\"Type\":\"Drive\"}}")};
    ASSERT_TRUE(folder.events[0].isObject());
    folder.transfers = {parsedJson("{\"at\":\"" + hostile + "\",\"command\":\"" + hostile +
                                   "\",\"outcome\":\"" + hostile + "\",\"reason\":\"" + hostile +
                                   "\",\"bytes\":\"" + hostile + "\"}")};
    const std::string page = reportPage(folder, "<b>now</b>");
    EXPECT_THAT(page, Not(HasSubstr("<img")));
    EXPECT_THAT(page, Not(HasSubstr("<b>")));
    EXPECT_THAT(page, Not(HasSubstr("<!--")));
    EXPECT_EQ(countIn(page, "</script>"), countIn(pure, "</script>"));
    EXPECT_THAT(
        page, HasSubstr("&lt;/script&gt;&lt;img src=x onerror=alert(1)&gt;&quot;&#39;&gt;&lt;!--{{style}}"));
}

TEST(ReportPage, AUnitThatIsCriticalIsInTheVerdict) {
    const std::string page =
        pageWith(R"("Drives":[{"SerialNumber":"A","Status":{"Health":"Critical","State":"Failed"}}])");
    EXPECT_THAT(page, HasSubstr("This needs attention:"));
    EXPECT_THAT(page, HasSubstr("<a href=\"#u1\">A</a> drive: Failed/Critical"));
    EXPECT_THAT(page, Not(HasSubstr("Nothing is reported to be wrong.")));
}

TEST(ReportPage, ALongNameDoesNotHideWhatIsWrong) {
    const std::string page =
        pageWith("\"Drives\":[{\"SerialNumber\":\"" + std::string(3000, 'x') +
                 "\",\"Status\":{\"Health\":\"Critical\",\"State\":\"Failed\"}}]," +
                 R"("Oem":{"HostOSInfo":{"HostName":")" + std::string(3000, 'y') + "\"}}");
    EXPECT_THAT(page, HasSubstr("<h1>" + std::string(300, 'y') + " [cut: 2700 more bytes]</h1>"));
    EXPECT_THAT(
        page, HasSubstr(">" + std::string(300, 'x') + " [cut: 2700 more bytes]</a> drive: Failed/Critical"));
}

TEST(ReportPage, AWarningAloneIsAWarning) {
    const std::string page = pageWith(
        R"("Drives":[{"SerialNumber":"A","Status":{"Health":"Warning","State":"Predictive failure"}}])");
    EXPECT_THAT(page, HasSubstr("<p class=\"verdict warning\">"));
    EXPECT_THAT(page, HasSubstr("<a href=\"#u1\">A</a> drive: Predictive failure/Warning"));
}

TEST(ReportPage, AHealthyHostHasNothingWrong) {
    const std::string page =
        pageWith(R"("Drives":[{"SerialNumber":"A","Status":{"Health":"OK","State":"Online"}}])");
    EXPECT_THAT(page, HasSubstr("Nothing is reported to be wrong."));
    EXPECT_THAT(page, Not(HasSubstr("This needs attention:")));
}

TEST(ReportPage, AViolationIsInTheVerdictAndInItsList) {
    ReceivedFolder folder = folderWith("");
    folder.violations = {"byte 2 is 0x15"};
    const std::string page = reportPage(folder, "now");
    EXPECT_THAT(page, HasSubstr("1 violation of the protocol"));
    EXPECT_THAT(page, HasSubstr("<li>byte 2 is 0x15</li>"));
}

TEST(ReportPage, EachUnitOfThePictureLeadsToItsRow) {
    const std::string page = pageWith(
        R"("EthernetDevices":[{"Oem":{"Description":"PCI 0000:86:00.0 r001u05p2i01","DeviceName":"vmnic2",)"
        R"("PhysicalLocation":"203A001B05C20100"},"Status":{"Health":"OK","State":"Linkdown"}}])");
    EXPECT_THAT(
        page,
        HasSubstr("<a href=\"#u1\" class=\"unit down\" aria-label=\"vmnic2, Ethernet port, Linkdown/OK, "
                  "Slot 01, GeoID r001u05p2i01, location code 203A001B05C20100\">"));
    EXPECT_THAT(page, HasSubstr("<tr id=\"u1\" tabindex=\"-1\">"));
}

TEST(ReportPage, AMemberThatNoColumnKnowsHasAColumnOfItsOwn) {
    const std::string page = pageWith(R"("Drives":[{"SerialNumber":"A","WearPercent":7}])");
    EXPECT_THAT(page, HasSubstr("<th scope=\"col\">WearPercent</th>"));
    EXPECT_THAT(page, HasSubstr("<td>7</td>"));
}

TEST(ReportPage, ASectionThatIsNotKnownHasATable) {
    EXPECT_THAT(pageWith(R"("Processors":[{"Model":"P1"}])"), HasSubstr(">Processors (1)</caption>"));
    EXPECT_THAT(pageWith(R"("":[{"Model":"P1"}])"),
                testing::AllOf(HasSubstr(">Section without a name (1)</caption>"),
                               HasSubstr("<a href=\"#table-1\">Section without a name</a>")));
}

TEST(ReportPage, ACapacityIsSortedByItsBytes) {
    EXPECT_THAT(pageWith(R"("Drives":[{"CapacityBytes":900185481216}])"),
                HasSubstr("<td class=\"number\" data-sort=\"900185481216\">900.2 GB</td>"));
}

// --- transfers ---

ReceivedFolder folderWithTransfers() {
    ReceivedFolder folder = folderWith("");
    folder.transfers = {
        parsedJson(
            R"({"bytes":100,"chunks":2,"command":"MPEventGen","faults":1,"outcome":"complete","seconds":0.001})"),
        parsedJson(
            R"({"bytes":9900,"chunks":174,"command":"WriteInventory","outcome":"complete","seconds":0.02})"),
        parsedJson(R"({"chunks":2,"command":"WriteInventory","outcome":"refused","seconds":0.5,"status":8})"),
        parsedJson(
            R"({"chunks":3,"command":"WriteInventory","outcome":"abandoned","reason":"the host is gone"})")};
    return folder;
}

TEST(ReportTransfers, AreCountedByOutcomeAndTheTimesAreThoseOfCompleteOnes) {
    const TransferCounts counts = countTransfers(folderWithTransfers());
    EXPECT_EQ(counts.complete, 2u);
    EXPECT_EQ(counts.refused, 1u);
    EXPECT_EQ(counts.abandoned, 1u);
    EXPECT_EQ(counts.faults, 1u);
    EXPECT_EQ(counts.chunks, 176u);
    EXPECT_DOUBLE_EQ(counts.bytes, 10000);
    EXPECT_DOUBLE_EQ(counts.longest, 0.02);
    EXPECT_DOUBLE_EQ(counts.seconds, 0.021);
}

TEST(ReportTransfers, EachHasARowWithItsOutcome) {
    const std::string html = transfersHtml(folderWithTransfers());
    EXPECT_THAT(html, HasSubstr("The last 4 transfers, newest first"));
    EXPECT_THAT(html, HasSubstr("<td>status 8</td>"));
    EXPECT_THAT(html, HasSubstr("<td>the host is gone</td>"));
    EXPECT_THAT(html, HasSubstr("<td class=\"number\">174</td>"));
    EXPECT_THAT(html, HasSubstr("<dt>longest time</dt><dd>20.0 ms</dd>"));
}

TEST(ReportTransfers, WithoutARecordThePageSaysSo) {
    EXPECT_THAT(transfersHtml(folderWith("")), HasSubstr("No transfer is recorded in transfers.jsonl."));
}

}  // namespace

}  // namespace ReportPageTest
