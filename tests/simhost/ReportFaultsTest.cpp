#include "rmc/report/Faults.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "rmc/JsonMembers.h"
#include "rmc/report/Page.h"

namespace ReportFaultsTest {

using namespace simhost;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

namespace {

constexpr char diskA[] = R"({"SerialNumber":"A"})";
constexpr char diskB[] = R"({"SerialNumber":"B"})";
constexpr char bay[] = "256A001B05C20100";

// A folder whose documents arrive in the order in which they are added.
class Arrivals {
public:
    Arrivals& event(int id, const std::string& data, const std::string& code = "",
                    const std::string& host = "n7", const std::string& source = "VOK") {
        Json::Value event;
        event["ID"] = id;
        event["EventTime"] = "time " + std::to_string(folder.transfers.size());
        event["HostName"] = host;
        event["Source"] = source;
        if (!code.empty()) event["PhysicalLocation"] = code;
        event["VariableData"]["Data"] = parsedJson(data);
        folder.events.push_back(event);
        addTransfer("event", event);
        return *this;
    }

    Arrivals& inventory(const std::string& sections, const std::string& host = "n7") {
        ReceivedInventory inventory;
        inventory.number = folder.inventories.size() + 1;
        inventory.file = "inventory-000" + std::to_string(inventory.number) + ".json";
        inventory.document =
            parsedJson("{\"HostDataCollection\":{" + sections + (sections.empty() ? "" : ",") +
                       "\"Oem\":{\"HostOSInfo\":{\"HostName\":\"" + host + "\"}}}}");
        folder.inventories.push_back(inventory);
        addTransfer("file", inventory.file);
        return *this;
    }

    std::vector<std::string> open() const {
        const auto timeline = timelineOf(folder);
        std::vector<std::string> open;
        for (const OpenFault& fault : faultsOf(timeline).open)
            open.push_back(textOf(*fault.event->document, {"ID"}) +
                           (fault.inventory.empty() ? "" : ", in order in " + fault.inventory));
        return open;
    }

    std::string page() const { return reportPage(folder, "now"); }

private:
    void addTransfer(const char* key, const Json::Value& value) {
        Json::Value transfer;
        transfer["outcome"] = "complete";
        transfer[key] = value;
        folder.transfers.push_back(transfer);
    }

    ReceivedFolder folder;
};

std::string unit(const std::string& members, const std::string& state, const std::string& health) {
    return "{" + members + ",\"Status\":{\"Health\":\"" + health + "\",\"State\":\"" + state + "\"}}";
}

std::string drive(const std::string& serial, const std::string& code, const std::string& state,
                  const std::string& health) {
    return "\"Drives\":[" +
           unit("\"SerialNumber\":\"" + serial + "\",\"Oem\":{\"PhysicalLocation\":\"" + code + "\"}", state,
                health) +
           "]";
}

std::string port(const std::string& state, const std::string& health = "OK") {
    return "\"EthernetDevices\":[" +
           unit(R"("MACAddress":"02:00","Oem":{"DeviceName":"vmnic3"})", state, health) + "]";
}
constexpr char portData[] = R"({"MACAddress":"02:00","Oem":{"DeviceName":"vmnic3"}})";

// --- events ---

TEST(ReportOpenFaults, AFaultIsOpenUntilTheRecoveryOfItsUnit) {
    EXPECT_THAT(Arrivals().event(538, diskA).event(540, diskB).open(), ElementsAre("538"));
    EXPECT_THAT(Arrivals().event(538, diskA).event(540, diskA).open(), IsEmpty());
    EXPECT_THAT(Arrivals().event(540, diskA).event(538, diskA).open(), ElementsAre("538"));
}

TEST(ReportOpenFaults, OnlyTheLastFaultOfAUnitIsShown) {
    EXPECT_THAT(Arrivals().event(539, diskA).event(538, diskA).open(), ElementsAre("538"));
}

TEST(ReportOpenFaults, AreInTheOrderOfTheirArrival) {
    EXPECT_THAT(Arrivals().event(678, portData).event(538, diskB).event(539, diskA).open(),
                ElementsAre("678", "538", "539"));
}

TEST(ReportOpenFaults, ARecoveryOfAnotherMatterClosesNothing) {
    const std::string volume = R"({"DurableName":"V"})";
    EXPECT_THAT(Arrivals().event(681, volume).event(1388, volume).open(), ElementsAre("681"));
    EXPECT_THAT(Arrivals().event(681, volume).event(683, volume).open(), IsEmpty());
}

TEST(ReportOpenFaults, ABatteryIsAMatterOfItsOwnThatNothingCloses) {
    const std::string controller = R"({"SerialNumber":"C"})";
    EXPECT_THAT(Arrivals().event(398, controller).event(1182, controller).open(), ElementsAre("398", "1182"));
    EXPECT_THAT(Arrivals().event(398, controller).event(1182, controller).event(397, controller).open(),
                ElementsAre("1182"));
    EXPECT_THAT(Arrivals().event(1182, controller).page(), HasSubstr("no event reports its end"));
}

TEST(ReportOpenFaults, AnotherDriveInTheSameBayClosesTheFault) {
    EXPECT_THAT(Arrivals().event(538, diskA, bay).event(540, diskB, bay).open(), IsEmpty());
}

TEST(ReportOpenFaults, ThePortsOfACardAreUnitsOfTheirOwn) {
    const std::string one = R"({"MACAddress":"02:00:01"})";
    const std::string other = R"({"MACAddress":"02:00:02"})";
    EXPECT_THAT(Arrivals().event(1384, one, "203A001B05C20600").event(1390, other, "203A001B05C20600").open(),
                ElementsAre("1384"));
}

TEST(ReportOpenFaults, AnEventOfAClientOfTheAgentIsNone) {
    EXPECT_THAT(Arrivals().event(538, diskA, "", "n7", "VOK-CLI").open(), IsEmpty());
    EXPECT_THAT(Arrivals().event(538, diskA).event(540, diskA, "", "n7", "VOK-CLI").open(),
                ElementsAre("538"));
}

TEST(ReportOpenFaults, ABayOfAnotherHostIsAnotherBay) {
    EXPECT_THAT(Arrivals().event(538, diskA, bay, "n7").event(540, diskB, bay, "n8").open(),
                ElementsAre("538"));
}

// --- later inventories ---

TEST(ReportOpenFaults, APortThatALaterInventoryHasInOrderIsNone) {
    EXPECT_THAT(Arrivals().event(1384, portData).inventory(port("Online")).open(), IsEmpty());
    EXPECT_THAT(Arrivals().event(1384, portData).inventory(port("Linkdown")).open(), ElementsAre("1384"));
    EXPECT_THAT(Arrivals().event(1384, portData).inventory("").open(), ElementsAre("1384"));
}

TEST(ReportOpenFaults, AnEarlierInventoryClosesNothing) {
    EXPECT_THAT(Arrivals().inventory(port("Online")).event(1384, portData).open(), ElementsAre("1384"));
}

TEST(ReportOpenFaults, TheInventoryOfAnotherHostClosesNothing) {
    EXPECT_THAT(Arrivals().event(1384, portData).inventory(port("Online"), "n8").open(), ElementsAre("1384"));
}

TEST(ReportOpenFaults, AnotherDriveInTheBayInALaterInventoryClosesTheFault) {
    EXPECT_THAT(Arrivals().event(538, diskA, bay).inventory(drive("B", bay, "Online", "OK")).open(),
                IsEmpty());
    EXPECT_THAT(Arrivals().event(538, diskA, bay).inventory(drive("B", bay, "Failed", "Critical")).open(),
                ElementsAre("538"));
}

TEST(ReportOpenFaults, ADriveThatALaterInventoryHasInOrderIsAWarning) {
    Arrivals arrivals;
    arrivals.event(538, diskA, bay).inventory(drive("A", bay, "Online", "OK"));
    EXPECT_THAT(arrivals.open(), ElementsAre("538, in order in inventory-0001.json"));
    EXPECT_THAT(arrivals.page(), HasSubstr("<p class=\"verdict warning\">"));
    EXPECT_THAT(arrivals.page(), HasSubstr("no recovery reported, but in order in inventory-0001.json"));
    EXPECT_THAT(arrivals.inventory(drive("A", bay, "Failed", "Critical")).open(), ElementsAre("538"));
}

TEST(ReportOpenFaults, AUnitThatIsListedTwiceIsInOrderIfBothAre) {
    const std::string good = unit(R"("WWPN":"10:00")", "Online", "OK");
    const std::string bad = unit(R"("WWPN":"10:00")", "Error", "Critical");
    const std::string data = R"({"WWPN":"10:00"})";
    EXPECT_THAT(
        Arrivals().event(388, data).inventory("\"FibreChannelDevices\":[" + bad + "," + good + "]").open(),
        ElementsAre("388"));
    EXPECT_THAT(
        Arrivals().event(388, data).inventory("\"FibreChannelDevices\":[" + good + "," + good + "]").open(),
        IsEmpty());
}

// --- the verdict ---

TEST(ReportVerdict, AFaultAndItsUnitAreOneFinding) {
    const std::string page =
        Arrivals().event(538, diskA, bay).inventory(drive("A", bay, "Failed", "Critical")).page();
    EXPECT_THAT(page,
                HasSubstr("<a href=\"#u1\">A</a> drive: Failed/Critical, r001u05, partition 2, Bay 1 <span "
                          "class=\"fine\">event 538 drive has failed or is gone, since time 0</span>"));
    EXPECT_THAT(page, Not(HasSubstr("no recovery reported")));
}

TEST(ReportVerdict, AFaultAfterTheInventoryIsCriticalAlthoughTheInventoryHasAWarning) {
    const std::string page =
        Arrivals().inventory(drive("A", bay, "Predictive failure", "Warning")).event(538, diskA, bay).page();
    EXPECT_THAT(page, HasSubstr("<p class=\"verdict critical\">"));
    EXPECT_THAT(page, HasSubstr("since time 1, no recovery reported"));
}

TEST(ReportVerdict, ALinkThatIsLostIsAWarning) {
    EXPECT_THAT(Arrivals().inventory(port("Online")).event(1384, portData).page(),
                HasSubstr("<p class=\"verdict warning\">"));
}

TEST(ReportVerdict, AUnitThatHasRecoveredSinceTheInventoryIsNotWrong) {
    const std::string page = Arrivals()
                                 .event(538, diskA, bay)
                                 .inventory(drive("A", bay, "Failed", "Critical"))
                                 .event(540, diskA, bay)
                                 .page();
    EXPECT_THAT(page, HasSubstr("Nothing is reported to be wrong."));
    EXPECT_THAT(page, HasSubstr("drive: Failed/Critical, r001u05, partition 2, Bay 1 in the last inventory; "
                                "since then event 540 drive is in service again, time 2"));
}

TEST(ReportVerdict, ARecoveryBeforeTheInventoryExcusesNothing) {
    const std::string page =
        Arrivals().event(540, diskA, bay).inventory(drive("A", bay, "Failed", "Critical")).page();
    EXPECT_THAT(page, HasSubstr("This needs attention:"));
    EXPECT_THAT(page, Not(HasSubstr("since then")));
}

TEST(ReportVerdict, DocumentsOfTwoHostsAreReported) {
    const std::string page =
        Arrivals().event(538, diskA, bay, "n9").inventory("", "n8").inventory("", "n7").page();
    EXPECT_THAT(page, HasSubstr("Documents of 3 hosts: n7, n8, n9. Picture and inventory are those of n7"));
    EXPECT_THAT(page, HasSubstr("Event 538 drive has failed or is gone: A on n9"));
}

}  // namespace

}  // namespace ReportFaultsTest
