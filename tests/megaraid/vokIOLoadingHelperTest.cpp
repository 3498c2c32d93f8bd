// The table of MegaRAID 9560 cards: which cards enter it, which rule a chassis follows, and what is said of a
// card.
#include "megaraid/vokIOLoadingHelper.h"

#include <gmock/gmock.h>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <thread>
#include <vector>

#include "megaraid/IOLoadingFixture.h"

namespace vokIOLoadingHelperTest {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

using Helper = TestIOLoadingHelper;

constexpr char disabled[] = "\"DisableMegaRAID9560LoadingInspection\": \"true\"";
constexpr char disabledWarning[] =
    "WARNING IO_LOADING: I/O loading rules compliance inspection for MegaRAID 9560 controllers has been "
    "disabled via VOK configuration settings. Physical drives and RAID volumes attached to MegaRAID 9560 "
    "controllers will not be reported/monitored.";

class IOLoading : public IOLoadingFixture {};

// Locations whose chassis and slot a test sets.
class SetPlaces : public vokPhysLocInterface {
public:
    std::string slot = "03";
    int result = 0;
    std::vector<std::string> asked;

    int getChassisLocationForIOSlot(std::string pciAddress, std::string& location) override {
        asked.push_back("chassis of " + pciAddress);
        if (result == 0) location = "r009u09";
        return result;
    }
    std::string getPCIeSlotForIOSlot(std::string pciAddress) override {
        asked.push_back("slot of " + pciAddress);
        return slot;
    }
    bool Initialize() override { return true; }
    void UnInitialize() override {}
    std::string getPhysLocForIOSlot(std::string) override { return vokUnknownPhysLoc; }
    std::string getPhysLocForNetworkAdapter(std::string) override { return vokUnknownPhysLoc; }
    std::string getPhysLocForChassisDriveSlot(std::string, int) override { return vokUnknownPhysLoc; }
    std::string getPhysLocForExternalDrive(std::string) override { return vokUnknownPhysLoc; }
    std::string getPhysLocForChassisStorageBackplane(std::string, int) override { return vokUnknownPhysLoc; }
    int checkPCIDevicesLocatedInSameChassis(std::string, std::string) override { return -3; }
    int checkIfPCICardIsOnBoard(std::string) override { return -4; }
    std::string getPhysLocLibraryName() override { return ""; }
};

// --- the condition ---

TEST_F(IOLoading, OnTheFirstPlatformThe9560IsSubjectToTheRules) {
    start("", "Another maker");
    EXPECT_TRUE(vokIOLoadingHelper::isSubjectToLoadingRules(0x10E21000, 0x40101000));
    EXPECT_TRUE(vokIOLoadingHelper::isSubjectToLoadingRules(0x10E21000, 0x40001000));
    EXPECT_FALSE(vokIOLoadingHelper::isSubjectToLoadingRules(0x10E21000, 0x40201000));
    EXPECT_FALSE(vokIOLoadingHelper::isSubjectToLoadingRules(0x10E21000, 0));
    EXPECT_FALSE(vokIOLoadingHelper::isSubjectToLoadingRules(0x005D1000, 0x40101000));
    EXPECT_FALSE(vokIOLoadingHelper::isSubjectToLoadingRules(0, 0));
}

TEST_F(IOLoading, OnOtherPlatformsNothingIsSubjectToTheRules) {
    start("", "MEV", secondFamily);
    EXPECT_FALSE(vokIOLoadingHelper::isSubjectToLoadingRules(0x10E21000, 0x40101000));
    EXPECT_FALSE(vokIOLoadingHelper::isSubjectToLoadingRules(0x10E21000, 0x40001000));
}

// --- whether a controller is monitored ---

TEST_F(IOLoading, A9560IsMonitoredIfItFollowsARuleOnASystemOfTheMaker) {
    start();
    EXPECT_EQ(vokIOLoadingHelper::verdictOn(chipset, narrow, slot03), vokLoadingVerdict::notCompliant);
    add(narrow, slot03);
    EXPECT_EQ(vokIOLoadingHelper::verdictOn(chipset, narrow, slot03), vokLoadingVerdict::notCompliant);
    Helper::applyRules();
    EXPECT_EQ(vokIOLoadingHelper::verdictOn(chipset, narrow, slot03), vokLoadingVerdict::monitored);
    EXPECT_EQ(vokIOLoadingHelper::verdictOn(chipset, narrow, slot05), vokLoadingVerdict::notCompliant);
}

TEST_F(IOLoading, OnASystemOfAnotherMakerNo9560IsMonitored) {
    start("", "Another maker");
    add(narrow, slot03);
    Helper::applyRules();
    EXPECT_TRUE(isCompliant(slot03));
    EXPECT_EQ(vokIOLoadingHelper::verdictOn(chipset, narrow, slot03), vokLoadingVerdict::foreignSystem);
}

// Required: the setting ends their monitoring, not their inspection alone.
TEST_F(IOLoading, WithTheInspectionDisabledNo9560IsMonitoredOnASystemOfWhicheverMaker) {
    start(disabled, "Another maker");
    EXPECT_EQ(vokIOLoadingHelper::verdictOn(chipset, wide, slot03), vokLoadingVerdict::inspectionDisabled);
}

TEST_F(IOLoading, OtherControllersAreMonitoredWithoutALookAtTheTable) {
    start(disabled, "Another maker");
    EXPECT_EQ(vokIOLoadingHelper::verdictOn(0x005D1000, 0x93631000, slot03), vokLoadingVerdict::monitored);
    EXPECT_EQ(vokIOLoadingHelper::verdictOn(chipset, 0x40201000, slot03), vokLoadingVerdict::monitored);
    EXPECT_THAT(lines(), IsEmpty());
}

TEST_F(IOLoading, OnAnotherPlatformA9560IsMonitoredWithoutALookAtTheTable) {
    start("", "Another maker", secondFamily);
    EXPECT_EQ(vokIOLoadingHelper::verdictOn(chipset, narrow, slot03), vokLoadingVerdict::monitored);
    EXPECT_THAT(lines(), IsEmpty());
}

// --- the cards ---

TEST_F(IOLoading, OtherControllersArePassedOver) {
    start();
    CTRL_INFO other = card(0x93631000, slot03);
    other.chipsetId = 0x005D1000;
    SetPlaces places;
    Helper::add(other, places);
    EXPECT_THAT(lines(), ElementsAre("DEBUG IO_LOADING: Ignoring storage controller [0x5D1000, 0x93631000] @ "
                                     "[0000:3b:00.0] during I/O loading table updation."));
    Helper::add(card(0x40201000, slot05), places);
    EXPECT_EQ(countDebug("Ignoring storage controller [0x10E21000, 0x40201000] @ [0000:5e:00.0] during I/O "
                         "loading table updation."),
              1);
    Helper::add({}, places);
    EXPECT_EQ(countDebug("Ignoring storage controller [0x0000, 0x0000] @ [] during I/O loading table "
                         "updation."),
              1);
    EXPECT_THAT(Helper::ioLoadingTable, IsEmpty());
    EXPECT_THAT(places.asked, IsEmpty());
}

TEST_F(IOLoading, ACardEntersTheTableUnderItsChassis) {
    start();
    add(wide, slot08);
    EXPECT_THAT(lines(), ElementsAre("DEBUG IO_LOADING: Found new chassis @ [r001u05]. Adding to server I/O "
                                     "loading table."));
    ASSERT_THAT(Helper::ioLoadingTable, SizeIs(1));
    const auto& cards = Helper::ioLoadingTable.at("r001u05");
    EXPECT_FALSE(cards.ruleApplied);
    ASSERT_THAT(cards.entries, SizeIs(1));
    const auto& entry = cards.entries.at("0000:86:00.0");
    EXPECT_EQ(entry.chipsetId, 0x10E21000u);
    EXPECT_EQ(entry.boardId, 0x40001000u);
    EXPECT_EQ(entry.pciLocation, "0000:86:00.0");
    EXPECT_EQ(entry.pcieSlot, "08");
    EXPECT_EQ(entry.subRule, nullptr);
}

TEST_F(IOLoading, AFurtherCardOfAChassisIsAdded) {
    start();
    add(wide, slot03);
    add(narrow, slot08);
    EXPECT_THAT(lines(1), ElementsAre("DEBUG IO_LOADING: Found existing chassis @ [r001u05] in server I/O "
                                      "loading table. ([0x10E21000, 0x40101000] @ [0000:86:00.0])"));
    EXPECT_THAT(Helper::ioLoadingTable.at("r001u05").entries, SizeIs(2));
}

// The GeoID is looked up under "PCI 0000:3b:00.0", where there is none.
TEST_F(IOLoading, ACardInTheTableStaysAsItIsAndItsGeoIdIsNotFound) {
    start();
    EXPECT_EQ(vokUtils::getGeoIDStr(slot03), "r001u05p2i03");
    add(wide, slot03);
    add(narrow, slot03);
    EXPECT_THAT(
        lines(1),
        ElementsAre("DEBUG IO_LOADING: Found existing chassis @ [r001u05] in server I/O loading table. "
                    "([0x10E21000, 0x40101000] @ [0000:3b:00.0])",
                    "DEBUG IO_LOADING: Found existing controller [0x10E21000, 0x40101000] @ "
                    "[0000:3b:00.0, NotAvailable] in I/O loading table."));
    ASSERT_EQ(cardCount(), 1u);
    EXPECT_EQ(Helper::ioLoadingTable.at("r001u05").entries.at(slot03).boardId, wide);
}

TEST_F(IOLoading, CardsOfOtherUnitsAndRacksAreInOtherChassis) {
    start();
    for (const char* location : {slot03, otherUnit03, otherRack03}) add(wide, location);
    EXPECT_THAT(Helper::ioLoadingTable, SizeIs(3));
    for (const char* where : {"r001u05", "r001u07", "r002u05"})
        EXPECT_EQ(Helper::ioLoadingTable.count(where), 1u) << where;
}

TEST_F(IOLoading, ACardWithoutALocationIsNotInTheTable) {
    start();
    add(wide, "");
    EXPECT_TRUE(hasWarned(
        "Unable to determine chassis for storage controller [0x10E21000, 0x40001000] @ [, NotAvailable]. "
        "(-1)"));
    EXPECT_THAT(Helper::ioLoadingTable, IsEmpty());
    Helper::applyRules();
    EXPECT_FALSE(isCompliant(""));
    EXPECT_EQ(boxAndOffset(""), "none");
}

TEST_F(IOLoading, ACardWithoutAGeoIdIsNotInTheTable) {
    start();
    add(wide, withoutGeoId);
    EXPECT_TRUE(
        hasWarned("Unable to determine chassis for storage controller [0x10E21000, 0x40001000] @ "
                  "[0000:af:00.0, NotAvailable]. (-2)"));
    EXPECT_THAT(Helper::ioLoadingTable, IsEmpty());
}

TEST_F(IOLoading, WithoutTheLibraryOfLocationsNoCardIsInTheTable) {
    start();
    host.part<FakeLibraries>().symbols.clear();
    add(wide, slot03);
    EXPECT_TRUE(
        hasWarned("Unable to determine chassis for storage controller [0x10E21000, 0x40001000] @ "
                  "[0000:3b:00.0, NotAvailable]. (-4)"));
    EXPECT_THAT(Helper::ioLoadingTable, IsEmpty());
}

TEST_F(IOLoading, TheChassisAndTheSlotAreThoseOfThePlainAddress) {
    start();
    SetPlaces places;
    Helper::add(card(wide, slot03), places);
    EXPECT_THAT(places.asked, ElementsAre("chassis of 0000:3b:00.0", "slot of 0000:3b:00.0"));
    Helper::add(card(wide, slot03), places);
    EXPECT_THAT(places.asked, SizeIs(3)) << "the slot of a card in the table is not asked again";
    places.result = -2;
    Helper::add(card(wide, slot05), places);
    EXPECT_THAT(places.asked, SizeIs(4)) << "nor that of a card without a chassis";
}

TEST_F(IOLoading, ACardWithoutASlotIsInTheTableButFollowsNoRule) {
    start();
    SetPlaces places;
    places.slot = "0";
    Helper::add(card(wide, slot03), places);
    EXPECT_THAT(lines(),
                ElementsAre("WARNING IO_LOADING: Unable to determine PCIe slot number for controller "
                            "[0x10E21000, 0x40001000] @ [0000:3b:00.0, NotAvailable]",
                            "DEBUG IO_LOADING: Found new chassis @ [r009u09]. Adding to server I/O "
                            "loading table."));
    Helper::applyRules();
    ASSERT_EQ(cardCount(), 1u);
    EXPECT_FALSE(isCompliant(slot03));
    // It also keeps the chassis from following a rule.
    places.slot = "03";
    Helper::add(card(wide, slot05), places);
    Helper::applyRules();
    EXPECT_EQ(appliedRule("r009u09"), "");
}

TEST_F(IOLoading, ACardOnTheBoardHasASlot) {
    start();
    SetPlaces places;
    places.slot = "00";
    Helper::add(card(wide, slot03), places);
    EXPECT_THAT(lines(), SizeIs(1)) << "no warning";
}

TEST_F(IOLoading, AThousandUpdatesKeepTheTableAsLargeAsThereAreCards) {
    start();
    for (int i = 0; i < 1000; ++i) {
        add(wide, slot03);
        add(narrow, slot08);
        add(wide, slot08);  // of the same location
        add(wide, "");
        add(wide, otherUnit03);
        Helper::applyRules();
    }
    EXPECT_THAT(Helper::ioLoadingTable, SizeIs(2));
    EXPECT_EQ(cardCount(), 3u);
}

// --- the rules ---

TEST_F(IOLoading, ANarrowCardInSlot03FollowsTheFirstRule) {
    start();
    add(narrow, slot03);
    Helper::applyRules();
    EXPECT_EQ(appliedRule(), "QRN 410 MegaRAID 9560 8SFF Low-Cost");
    EXPECT_TRUE(isCompliant(slot03));
    EXPECT_EQ(boxAndOffset(slot03), "1/0");
}

TEST_F(IOLoading, AWideCardInSlot03FollowsTheSecondRule) {
    start();
    add(wide, slot03);
    Helper::applyRules();
    EXPECT_EQ(appliedRule(), "QRN 410 MegaRAID 9560 8SFF Half-Width");
    EXPECT_EQ(boxAndOffset(slot03), "1/0");
}

TEST_F(IOLoading, TwoWideCardsFollowTheThirdRule) {
    start();
    add(wide, slot08);
    add(wide, slot03);
    Helper::applyRules();
    EXPECT_EQ(appliedRule(), "QRN 410 MegaRAID 9560 8SFF Full-Width");
    EXPECT_EQ(boxAndOffset(slot03), "1/0");
    EXPECT_EQ(boxAndOffset(slot08), "1/0");
}

TEST_F(IOLoading, AWideAndANarrowCardFollowTheFourthRule) {
    start();
    add(wide, slot03);
    add(narrow, slot08);
    Helper::applyRules();
    EXPECT_EQ(appliedRule(), "QRN 410 MegaRAID 9560 10SFF Mixed-Width");
    EXPECT_EQ(boxAndOffset(slot03), "1/0");
    EXPECT_EQ(boxAndOffset(slot08), "2/0");
}

TEST_F(IOLoading, TwoWideCardsAndANarrowOneFollowTheFifthRule) {
    start();
    add(narrow, slot05);
    add(wide, slot03);
    add(wide, slot08);
    Helper::applyRules();
    EXPECT_EQ(appliedRule(), "QRN 410 MegaRAID 9560 10SFF Full-Width");
    EXPECT_EQ(boxAndOffset(slot03), "1/0");
    EXPECT_EQ(boxAndOffset(slot08), "1/0");
    EXPECT_EQ(boxAndOffset(slot05), "2/0");
}

// Every other set of cards in the three slots follows no rule.
TEST_F(IOLoading, ASetOfCardsFollowsARuleOnlyIfItIsTheWholeRule) {
    start();
    const std::vector<std::uint32_t> boards = {0, narrow, wide};
    std::vector<std::string> followed;
    for (std::size_t number = 0; number < 27; ++number) {
        const std::uint32_t in03 = boards[number % 3];
        const std::uint32_t in05 = boards[number / 3 % 3];
        const std::uint32_t in08 = boards[number / 9];
        Helper::ioLoadingTable.clear();
        if (in03) add(in03, slot03);
        if (in05) add(in05, slot05);
        if (in08) add(in08, slot08);
        Helper::applyRules();
        const auto nameOf = [](std::uint32_t board) {
            return std::string(board == 0 ? "-" : board == narrow ? "n" : "w");
        };
        bool all = true;
        bool any = false;
        for (const auto& [location, board] :
             std::map<std::string, std::uint32_t>{{slot03, in03}, {slot05, in05}, {slot08, in08}}) {
            if (board == 0) continue;
            all = all && isCompliant(location);
            any = any || isCompliant(location);
        }
        EXPECT_TRUE(all || !any) << "one card is compliant without another: " << number;
        if (any) followed.push_back(nameOf(in03) + nameOf(in05) + nameOf(in08));
    }
    EXPECT_THAT(followed, ElementsAre("n--", "w--", "w-n", "w-w", "wnw"));
}

TEST_F(IOLoading, AWideCardAloneInSlot05FollowsNoRule) {
    start();
    add(wide, slot05);
    Helper::applyRules();
    EXPECT_EQ(appliedRule(), "");
    EXPECT_FALSE(isCompliant(slot05));
    EXPECT_EQ(boxAndOffset(slot05), "none");
}

TEST_F(IOLoading, ThreeWideCardsFollowNoRule) {
    start();
    for (const char* location : {slot03, slot05, slot08}) add(wide, location);
    Helper::applyRules();
    EXPECT_EQ(appliedRule(), "");
    for (const char* location : {slot03, slot05, slot08}) EXPECT_FALSE(isCompliant(location)) << location;
}

TEST_F(IOLoading, TwoCardsInOneSlotFollowNoRule) {
    start();
    SetPlaces places;
    Helper::add(card(narrow, slot03), places);
    Helper::add(card(narrow, slot05), places);
    Helper::applyRules();
    EXPECT_FALSE(isCompliant(slot03));
    EXPECT_FALSE(isCompliant(slot05));
}

TEST_F(IOLoading, TheTrialsOfAChassisAreLogged) {
    start();
    add(wide, slot03);
    add(narrow, slot08);
    const std::size_t before = lines().size();
    Helper::applyRules();
    const std::string d = "DEBUG IO_LOADING: ";
    EXPECT_THAT(
        lines(before),
        ElementsAre(
            d + "Checking for I/O loading rule [QRN 410 MegaRAID 9560 8SFF Low-Cost] compliance in chassis "
                "[r001u05]...",
            d + "Sub-rule [0x10E21000 0x40101000 03] not followed in chassis [r001u05].",
            d + "Chassis [r001u05] is not fully compliant with rule [QRN 410 MegaRAID 9560 8SFF Low-Cost].",
            d + "Checking for I/O loading rule [QRN 410 MegaRAID 9560 8SFF Half-Width] compliance in chassis "
                "[r001u05]...",
            d + "Sub-rule followed by [0x10E21000, 0x40001000] @ [0000:3b:00.0, 03].",
            d + "Found additional MegaRAID 9560 card [0x10E21000 0x40101000] @ [0000:86:00.0] in chassis "
                "[r001u05], beyond what is allowed by IO loading rule [QRN 410 MegaRAID 9560 8SFF "
                "Half-Width].",
            d + "Chassis [r001u05] is not fully compliant with rule [QRN 410 MegaRAID 9560 8SFF Half-Width].",
            d + "Checking for I/O loading rule [QRN 410 MegaRAID 9560 8SFF Full-Width] compliance in chassis "
                "[r001u05]...",
            d + "Sub-rule followed by [0x10E21000, 0x40001000] @ [0000:3b:00.0, 03].",
            d + "Sub-rule [0x10E21000 0x40001000 08] not followed in chassis [r001u05].",
            d + "Chassis [r001u05] is not fully compliant with rule [QRN 410 MegaRAID 9560 8SFF Full-Width].",
            d + "Checking for I/O loading rule [QRN 410 MegaRAID 9560 10SFF Mixed-Width] compliance in "
                "chassis [r001u05]...",
            d + "Sub-rule followed by [0x10E21000, 0x40001000] @ [0000:3b:00.0, 03].",
            d + "Sub-rule followed by [0x10E21000, 0x40101000] @ [0000:86:00.0, 08].",
            "INFO IO_LOADING: Successfully applied I/O loading rule [QRN 410 MegaRAID 9560 10SFF "
            "Mixed-Width] for chassis [r001u05]."));
}

TEST_F(IOLoading, AChassisThatFollowsARuleIsNotTestedAgain) {
    start();
    add(wide, slot03);
    Helper::applyRules();
    add(wide, slot05);
    const std::size_t before = lines().size();
    Helper::applyRules();
    EXPECT_THAT(lines(before), IsEmpty());
    EXPECT_TRUE(isCompliant(slot03)) << "although the cards follow no rule any more";
    EXPECT_EQ(boxAndOffset(slot03), "1/0");
    EXPECT_FALSE(isCompliant(slot05)) << "a card that came later follows none";
    EXPECT_EQ(boxAndOffset(slot05), "none");
}

TEST_F(IOLoading, AChassisThatFollowsNoRuleIsTestedAgain) {
    start();
    add(wide, slot08);
    Helper::applyRules();
    EXPECT_FALSE(isCompliant(slot08));
    add(wide, slot03);
    Helper::applyRules();
    EXPECT_EQ(appliedRule(), "QRN 410 MegaRAID 9560 8SFF Full-Width");
    EXPECT_TRUE(isCompliant(slot08));
    EXPECT_TRUE(isCompliant(slot03));
}

TEST_F(IOLoading, EachChassisFollowsItsOwnRule) {
    start();
    add(narrow, slot03);
    add(wide, otherUnit03);
    add(narrow, otherUnit08);
    add(narrow, otherRack03);
    add(wide, slot05);  // spoils the first chassis only
    Helper::applyRules();
    EXPECT_EQ(appliedRule("r001u05"), "");
    EXPECT_EQ(appliedRule("r001u07"), "QRN 410 MegaRAID 9560 10SFF Mixed-Width");
    EXPECT_EQ(appliedRule("r002u05"), "QRN 410 MegaRAID 9560 8SFF Low-Cost");
    EXPECT_FALSE(isCompliant(slot03));
    EXPECT_EQ(boxAndOffset(otherUnit03), "1/0");
    EXPECT_EQ(boxAndOffset(otherUnit08), "2/0");
    EXPECT_EQ(boxAndOffset(otherRack03), "1/0");
}

// --- the queries ---

TEST_F(IOLoading, TheAnswersOfACompliantCardAreLogged) {
    start();
    add(narrow, slot03);
    Helper::applyRules();
    const std::size_t before = lines().size();
    EXPECT_TRUE(isCompliant(slot03));
    EXPECT_EQ(boxAndOffset(slot03), "1/0");
    EXPECT_THAT(
        lines(before),
        ElementsAre("DEBUG IO_LOADING: I/O card @ [0000:3b:00.0] and its housing chassis [r001u05] are "
                    "compliant with I/O loading rules.",
                    "DEBUG IO_LOADING: I/O card @ [0000:3b:00.0] located in chassis [r001u05] "
                    "complying with I/O loading rules for TQ SEBN & DBO."));
}

TEST_F(IOLoading, TheAnswersOfAnyOtherCardAreLogged) {
    start();
    EXPECT_FALSE(isCompliant(slot03));
    EXPECT_EQ(boxAndOffset(slot03), "none");
    EXPECT_THAT(lines(),
                ElementsAre("DEBUG IO_LOADING: I/O card @ [0000:3b:00.0] or it housing chassis not compliant "
                            "with I/O loading rules.",
                            "DEBUG IO_LOADING: I/O card @ [0000:3b:00.0] in chassis not complaint with I/O "
                            "loading rules for TQ SEBN & DBO."));
}

TEST_F(IOLoading, OnlyAChassisThatFollowsARuleHasCompliantCards) {
    start();
    add(narrow, slot03);
    Helper::applyRules();
    EXPECT_TRUE(isCompliant(slot03));
    Helper::ioLoadingTable.at(chassis).ruleApplied = false;
    EXPECT_FALSE(isCompliant(slot03));
}

// --- the settings ---

TEST_F(IOLoading, AnInspectionThatIsDisabledIsWarnedOfOnce) {
    start(disabled);
    for (int i = 0; i < 3; ++i) vokIOLoadingHelper::updateServerIOLoadingTable();
    EXPECT_THAT(lines(), ElementsAre(disabledWarning));
}

TEST_F(IOLoading, AnInspectionThatIsDisabledIsNotWarnedOfOnOtherMakersMachines) {
    start(disabled, "Another maker");
    vokIOLoadingHelper::updateServerIOLoadingTable();
    EXPECT_THAT(lines(), IsEmpty());
}

TEST_F(IOLoading, AnInspectionThatIsDisabledIsWarnedOfOnAnyPlatform) {
    start(disabled, "MEV", secondFamily);
    vokIOLoadingHelper::updateServerIOLoadingTable();
    EXPECT_THAT(lines(), ElementsAre(disabledWarning));
}

TEST_F(IOLoading, WithoutTheSettingNothingIsWarnedOf) {
    start();
    vokIOLoadingHelper::updateServerIOLoadingTable();
    EXPECT_THAT(lines(), IsEmpty());
}

TEST_F(IOLoading, WithTheInspectionDisabledNoRuleIsApplied) {
    start(disabled);
    add(narrow, slot03);
    const std::size_t before = lines().size();
    Helper::applyRules();
    EXPECT_THAT(lines(before), IsEmpty());
    EXPECT_FALSE(isCompliant(slot03));
    EXPECT_EQ(boxAndOffset(slot03), "none");
}

// --- several threads ---

TEST_F(IOLoading, TheQueriesMayRunDuringAnUpdate) {
    start();
    std::atomic<bool> isDone{false};
    std::atomic<int> answers{0};
    std::thread queries([&] {
        while (!isDone) {
            // Either before the rule is applied, or after.
            const std::string answer = boxAndOffset(slot08);
            if (answer != "none" && answer != "2/0") ADD_FAILURE() << answer;
            isCompliant(slot03);
            ++answers;
        }
    });
    while (answers == 0) std::this_thread::yield();
    add(wide, slot03);
    add(narrow, slot08);
    for (int i = 0; i < 50; ++i) vokIOLoadingHelper::updateServerIOLoadingTable();
    isDone = true;
    queries.join();
    EXPECT_TRUE(isCompliant(slot03));
}

}  // namespace
}  // namespace vokIOLoadingHelperTest
