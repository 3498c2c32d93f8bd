#include "rmc/PayloadForm.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "events/vokEventTable.h"
#include "rmc/EventMeanings.h"
#include "rmc/FaultPlan.h"
#include "rmc/Report.h"

namespace PayloadFormTest {

using namespace simhost;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

namespace {

const std::string goodInventory =
    R"({"HostDataCollection":{"EthernetDevices":[{"Model":"X550","Status":{"Health":"OK","State":"Online"}}],)"
    R"("Oem":{"HostOSInfo":{"HostName":"n","OSMemorySummary":{"TotalSystemMemoryGiB":512.0}}}}})";

const std::string goodEvent =
    R"({"EventTime":"2026-11-15 08:38:22","HostName":"n","ID":356,"IPv4Addresses":[{"Address":"10.1.2.3"}],)"
    R"("OSType":104,"OSVersion":"7.0.3","Source":"VOK"})";

std::string with(std::string text, const std::string& from, const std::string& to) {
    const auto place = text.find(from);
    EXPECT_NE(place, std::string::npos) << from;
    return text.replace(place, from.size(), to);
}

TEST(InventoryForm, AGoodOneHasNoViolation) {
    EXPECT_THAT(checkInventory(goodInventory).violations, IsEmpty());
}

TEST(InventoryForm, IsOneLineOfSortedMembersWithoutBlanks) {
    EXPECT_THAT(checkInventory(goodInventory + "\n").violations, Contains(HasSubstr("more than one line")));
    EXPECT_THAT(checkInventory(with(goodInventory, "\"Model\":", "\"Model\" : ")).violations,
                ElementsAre(HasSubstr("sorted members")));
    EXPECT_THAT(checkInventory(with(goodInventory, R"({"Health":"OK","State":"Online"})",
                                    R"({"State":"Online","Health":"OK"})"))
                    .violations,
                ElementsAre(HasSubstr("sorted members")));
}

TEST(InventoryForm, IsJsonInUtf8) {
    EXPECT_THAT(checkInventory("").violations, Contains(HasSubstr("not JSON")));
    EXPECT_THAT(checkInventory("{\"HostDataCollection\":").violations, Contains(HasSubstr("not JSON")));
    EXPECT_THAT(checkInventory("[1]").violations, Contains(HasSubstr("not a JSON object")));
    EXPECT_THAT(checkInventory(with(goodInventory, "X550", "\xFF")).violations,
                Contains("the text is not UTF-8"));
    EXPECT_THAT(checkInventory(with(goodInventory, "X550", "\xC3\xA4")).violations, IsEmpty());
    EXPECT_THAT(checkInventory(with(goodInventory, "X550", "\\u00e4")).violations, IsEmpty());
    EXPECT_THAT(checkInventory(std::string(5000, '[')).violations, Contains(HasSubstr("not JSON")));
    EXPECT_THAT(checkInventory(with(goodInventory, "\"Oem\"", "\"EthernetDevices\"")).violations,
                Contains(HasSubstr("not JSON")));  // a key twice
}

TEST(InventoryForm, HasTheKnownSectionsOnly) {
    EXPECT_THAT(checkInventory(R"({"Other":1})").violations,
                ElementsAre("the inventory has no HostDataCollection",
                            "the inventory has a member Other that is not known"));
    EXPECT_THAT(checkInventory(R"({"HostDataCollection":{"Oem":[1]}})").violations,
                ElementsAre("HostDataCollection: Oem is of another type"));
    EXPECT_THAT(checkInventory(R"({"HostDataCollection":{"Processors":[1]}})").violations,
                ElementsAre("HostDataCollection has a member Processors that is not known"));
    EXPECT_THAT(checkInventory(R"({"HostDataCollection":{"Volumes":[]}})").violations,
                ElementsAre("the section Volumes is empty, and would be left out"));
}

TEST(EventForm, AGoodOneHasNoViolation) {
    EXPECT_THAT(checkEvent(goodEvent).violations, IsEmpty());
    EXPECT_THAT(checkEvent(with(goodEvent, R"("OSVersion":"7.0.3","Source":"VOK")",
                                R"("OSVersion":"7.0.3","PhysicalLocation":"FFFFFFFFFFFFFFFF","Source":"VOK",)"
                                R"("VariableData":{"Type":"Drive"})"))
                    .violations,
                IsEmpty());
}

TEST(EventForm, MembersHaveTheirTypes) {
    EXPECT_THAT(checkEvent(with(goodEvent, "356", "\"356\"")).violations,
                ElementsAre("the event: ID is of another type"));
    EXPECT_THAT(checkEvent(with(goodEvent, "104", "104.0")).violations,
                ElementsAre("the event: OSType is of another type"));
    EXPECT_THAT(checkEvent(with(goodEvent, "\"HostName\":\"n\",", "")).violations,
                ElementsAre("the event has no HostName"));
    EXPECT_THAT(checkEvent(with(goodEvent, "\"Source\":\"VOK\"", "\"Source\":\"VOK\",\"Zeal\":1")).violations,
                ElementsAre("the event has a member Zeal that is not known"));
}

TEST(EventForm, LocationsThatSayNothingAreLeftOut) {
    for (const char* none : {"", "Not Applicable", "Not Available", "NotApplicable", "NotAvailable"})
        EXPECT_THAT(checkEvent(with(goodEvent, "\"Source\"",
                                    std::string("\"PhysicalLocation\":\"") + none + "\",\"Source\""))
                        .violations,
                    ElementsAre(HasSubstr("PhysicalLocation")));
}

TEST(EventForm, HasOneAddressOrNoList) {
    EXPECT_THAT(checkEvent(with(goodEvent, "\"10.1.2.3\"", "\"\"")).violations,
                ElementsAre(HasSubstr("IPv4Addresses")));
    EXPECT_THAT(checkEvent(with(goodEvent, "[{\"Address\":\"10.1.2.3\"}]", "[]")).violations,
                ElementsAre(HasSubstr("IPv4Addresses")));
    EXPECT_THAT(checkEvent(with(goodEvent, "\"IPv4Addresses\":[{\"Address\":\"10.1.2.3\"}],", "")).violations,
                IsEmpty());
}

TEST(EventForm, AnInjectedEventMayHaveAnyMembersButNotAnyForm) {
    EXPECT_THAT(checkEvent(R"({"ID":708,"Source":"VOK-CLI","What":"ever"})").violations, IsEmpty());
    EXPECT_THAT(checkEvent(R"({"Source":"VOK-CLI","ID":708})").violations, ElementsAre(HasSubstr("sorted")));
}

TEST(Utf8, RefusesOverlongFormsSurrogatesAndWhatIsCut) {
    EXPECT_TRUE(isUtf8("a\xC3\xA4\xE2\x82\xAC\xF0\x9F\x98\x80"));
    for (const char* bad : {"\xC0\x80", "\xE0\x80\x80", "\xED\xA0\x80", "\xF4\x90\x80\x80", "\xC3", "\x80",
                            "\xE2\x82", "\xF5\x80\x80\x80"})
        EXPECT_FALSE(isUtf8(bad));
}

TEST(Accounts, AnInventoryTellsEachSection) {
    const std::string table = inventoryTable(checkInventory(goodInventory).value);
    EXPECT_THAT(table, HasSubstr("EthernetDevices      1\n"));
    EXPECT_THAT(table, HasSubstr("X550  Online/OK"));
    EXPECT_THAT(table, HasSubstr("memory 512.0 GiB"));
}

TEST(Accounts, AnItemOfAKindThatIsNotKnownShowsItsFirstMembers) {
    const std::string table = inventoryTable(
        checkInventory(
            R"({"HostDataCollection":{"Sensors":[{"A":[1],"Celsius":41,"Name":"inlet","Status":{}},{"B":1,"C":2,"D":3,)"
            R"("E":4,"F":5}]}})")
            .value);
    EXPECT_THAT(table, HasSubstr("Sensors              2\n"
                                 "                       Celsius 41  Name inlet  /\n"
                                 "                       B 1  C 2  D 3  E 4\n"));
}

TEST(Accounts, EachEventOfTheAgentHasAMeaning) {
    for (const vokEventNumber& number : vokEventTable) {
        EXPECT_STRNE(eventMeaning(number.id), "unknown event") << number.id;
        EXPECT_STRNE(eventMeaning(number.id), "") << number.id;
    }
    EXPECT_STREQ(eventMeaning(1384), "Ethernet link is lost");
    EXPECT_STREQ(eventMeaning(1337), "unknown event");
    EXPECT_STREQ(eventMeaning(356LL + (1LL << 32)), "unknown event");
}

TEST(Accounts, AnEventTellsMeaningPlaceAndText) {
    const std::string account = eventAccount(
        checkEvent(
            R"({"ID":538,"PhysicalLocation":"0102","VariableData":{"EventInfo":"gone","Type":"Drive"}})")
            .value);
    EXPECT_THAT(account, testing::StartsWith("538 drive has failed or is gone\n"));
    EXPECT_THAT(account, HasSubstr("place 0102"));
    EXPECT_THAT(account, HasSubstr("Drive: gone"));
}

TEST(Accounts, AnEventTellsOfWhichDeviceItIs) {
    const std::string account = eventAccount(
        checkEvent(R"({"ID":1384,"VariableData":{"Data":{"MACAddress":"02:00:5e:10:00:03","Model":"X550",)"
                   R"("Oem":{"Description":"PCI 0000:86:00.1 r001u05p2i06","DeviceName":"vmnic3"}},)"
                   R"("EventInfo":"","Type":"EthernetDevice"}})")
            .value);
    EXPECT_THAT(account,
                HasSubstr("\n   X550  02:00:5e:10:00:03  vmnic3\n   PCI 0000:86:00.1 r001u05p2i06\n"));
}

TEST(Accounts, NothingFromTheAgentReachesTheTerminalRaw) {
    const Json::Value event = checkEvent(R"({"ID":1,"HostName":"\u001b[2J","Source":"VOK-CLI"})").value;
    EXPECT_THAT(eventAccount(event), testing::Not(HasSubstr("\x1b")));
    EXPECT_THAT(eventAccount(Json::Value("no object")), testing::Not(IsEmpty()));
    EXPECT_THAT(inventoryTable(Json::Value("no object")), IsEmpty());
}

class Plan : public testing::Test {
protected:
    void add(std::vector<std::string> words) {
        Words taken(std::move(words));
        plan.add(taken);
    }
    FaultPlan plan;
};

TEST_F(Plan, AFaultIsUsedOnceUnlessMoreIsSaid) {
    add({"status", "4"});
    const auto fault = plan.take({false, "WriteInventory", 3});
    ASSERT_TRUE(fault);
    EXPECT_EQ(fault->kind, Fault::Kind::status);
    EXPECT_EQ(fault->value, 4u);
    EXPECT_FALSE(plan.take({false, "WriteInventory", 4}));
    add({"never", "--count", "2"});
    EXPECT_TRUE(plan.take({false, "", 1}));
    EXPECT_TRUE(plan.take({false, "", 1}));
    EXPECT_FALSE(plan.take({false, "", 1}));
    add({"never", "--count", "0"});
    for (int i = 0; i < 100; ++i) EXPECT_TRUE(plan.take({false, "", 1}));
    add({"normal"});
    EXPECT_FALSE(plan.take({false, "", 1}));
}

TEST_F(Plan, ChoosesTheChunkAndTheCommand) {
    add({"status", "3", "--at-chunk", "3", "--of", "inventory"});
    EXPECT_FALSE(plan.take({false, "WriteInventory", 2}));
    EXPECT_FALSE(plan.take({false, "MPEventGen", 3}));
    EXPECT_FALSE(plan.take({true, "", 0}));
    EXPECT_TRUE(plan.take({false, "WriteInventory", 3}));
}

TEST_F(Plan, ReachesPollsOnlyWhenToldTo) {
    add({"never"});
    EXPECT_FALSE(plan.take({true, "", 0}));
    add({"late", "50", "--of", "poll"});
    const auto fault = plan.take({true, "", 0});
    ASSERT_TRUE(fault);
    EXPECT_EQ(fault->kind, Fault::Kind::late);
    EXPECT_EQ(fault->value, 50u);
}

TEST_F(Plan, RefusesWhatItDoesNotUnderstand) {
    EXPECT_THROW(add({"status"}), UsageError);
    EXPECT_THROW(add({"status", "256"}), UsageError);
    EXPECT_THROW(add({"status", "x"}), UsageError);
    EXPECT_THROW(add({"sometimes"}), UsageError);
    EXPECT_THROW(add({"never", "5"}), UsageError);
    EXPECT_THROW(add({"never", "--of", "nothing"}), UsageError);
    EXPECT_THROW(add({"never", "--count"}), UsageError);
    EXPECT_EQ(plan.size(), 0u);
}

}  // namespace
}  // namespace PayloadFormTest
