// What becomes of the disks of a controller from one discovery cycle to the next, for the base class and for
// the SATA RAID class.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <optional>
#include <thread>

#include "storage/DriveCycles.h"

namespace vokStorageControllerSyncTest {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr auto unknown = VOK_STATE_UNKNOWN;
constexpr auto failed = VOK_STATE_FAILED;
constexpr auto offline = VOK_STATE_OFFLINE;
constexpr auto predictive = VOK_STATE_PREDICTIVE_FAILURE;
constexpr auto running = VOK_STATE_RUNNING;

template <typename Class>
class DriveSync : public DriveCycles<Class> {};
using Classes = testing::Types<vokStorageController, vokLewisburgSATARAIDController>;
TYPED_TEST_SUITE(DriveSync, Classes);

// --- which event follows from which finding ---

struct Finding {
    const char* name;
    std::optional<VOK_RESOURCE_STATE> before;  // none: the place was empty
    std::optional<VOK_RESOURCE_STATE> now;     // none: it is empty
    bool isSameDisk;
    std::vector<int> events;
};

const Finding findings[] = {
    // Unchanged: by the change of status only.
    {"unchanged", running, running, true, {}},
    {"wears out", running, predictive, true, {539}},
    {"fails", running, failed, true, {538}},
    {"goes offline", running, offline, true, {538}},
    {"becomes unknown", running, unknown, true, {}},
    {"still wears out", predictive, predictive, true, {}},
    {"wears out no more", predictive, running, true, {540}},
    {"wears out, fails", predictive, failed, true, {538}},
    {"wears out, goes offline", predictive, offline, true, {538}},
    {"failed, runs", failed, running, true, {540}},
    {"failed, wears out", failed, predictive, true, {539}},
    {"failed, goes offline", failed, offline, true, {}},
    {"offline, runs", offline, running, true, {540}},
    {"offline, fails", offline, failed, true, {538}},
    {"unknown, runs", unknown, running, true, {540}},
    {"unknown, goes offline", unknown, offline, true, {}},
    // Replaced: first the old disk as Offline, then the new one against the old one.
    {"replaced", running, running, false, {538}},
    {"replaced by a worn one", running, predictive, false, {538, 539}},
    {"replaced by a failed one", running, failed, false, {538, 538}},
    {"replaced by one that is offline", running, offline, false, {538, 538}},
    {"worn, replaced", predictive, running, false, {538, 540}},
    {"worn, replaced by a worn one", predictive, predictive, false, {538}},
    {"failed, replaced", failed, running, false, {540}},
    {"failed, replaced by a failed one", failed, failed, false, {}},
    {"offline, replaced", offline, running, false, {540}},
    {"offline, replaced by one that is offline", offline, offline, false, {}},
    {"unknown, replaced", unknown, running, false, {540}},
    // Removed.
    {"removed", running, {}, true, {538}},
    {"worn, removed", predictive, {}, true, {538}},
    {"failed, removed", failed, {}, true, {}},
    {"offline, removed", offline, {}, true, {}},
    {"unknown, removed", unknown, {}, true, {}},
    // New: against a copy of itself that is Offline.
    {"new", {}, running, true, {}},
    {"new and worn", {}, predictive, true, {539}},
    {"new and failed", {}, failed, true, {538}},
    {"new and offline", {}, offline, true, {}},
    {"new and unknown", {}, unknown, true, {}},
};

TYPED_TEST(DriveSync, EachFindingRaisesItsEventsUnlessTheyAreOffOrLeftToTheSubclass) {
    for (const std::uint32_t flags : {0U, 1U, 2U, 3U, 4U, 5U, 6U, 7U}) {
        const bool raises = flags == 4 || flags == 5;
        for (const Finding& each : findings) {
            SCOPED_TRACE(std::string(each.name) + ", event flags " + std::to_string(flags));
            this->renew(flags);
            const std::string next = each.isSameDisk ? "OLD" : "NEW";
            if (each.before) {
                this->healths["OLD"] = {*each.before, ""};
                this->cycle({this->diskIn(1, "OLD")});
            }
            this->startCounting();
            if (each.now) this->healths[next] = {*each.now, ""};
            this->cycle(each.now ? std::vector<vokDiskInfo>{this->diskIn(1, next)}
                                 : std::vector<vokDiskInfo>{});
            EXPECT_EQ(this->newEventIds(), raises ? each.events : std::vector<int>{});
        }
    }
}

TYPED_TEST(DriveSync, AReplacedARemovedAndANewDiskPushTheInventoryAndAnUnchangedOneDoesNot) {
    for (const std::uint32_t flags : {0U, 4U, 6U}) {
        this->renew(flags);
        this->cycle({this->diskIn(1, "A"), this->diskIn(2, "B"), this->diskIn(3, "C")});
        this->startCounting();
        this->cycle({this->diskIn(1, "A"), this->diskIn(2, "B"), this->diskIn(3, "C")});
        EXPECT_EQ(this->newPushes(), 0);
        this->cycle({this->diskIn(1, "A"), this->diskIn(2, "B2"), this->diskIn(3, "C")});
        EXPECT_EQ(this->newPushes(), 1) << "replaced";
        this->cycle({this->diskIn(1, "A"), this->diskIn(2, "B2")});
        EXPECT_EQ(this->newPushes(), 2) << "removed";
        this->cycle({this->diskIn(1, "A"), this->diskIn(2, "B2"), this->diskIn(4, "D")});
        EXPECT_EQ(this->newPushes(), 3) << "new; the removed one does not push again";
    }
}

// --- the edges of the rules ---

TYPED_TEST(DriveSync, AFirstPassWithThreeHealthyDisksRequestsThreePushesAndRaisesNoEvent) {
    this->cycle({this->diskIn(1, "A"), this->diskIn(2, "B"), this->diskIn(3, "C")});
    EXPECT_EQ(this->newPushes(), 3);
    EXPECT_THAT(this->newEventIds(), IsEmpty());
    EXPECT_EQ(this->drive(2).getState(), running);
}

TYPED_TEST(DriveSync, ADiskThatIsPulledAndPutBackRaises538AndThen540) {
    vokDiskInfo disk = this->diskIn(1, "A");
    disk.setIfSSDWearPageSupported(false);
    this->cycle({disk});
    this->cycle({});
    EXPECT_THAT(this->newEventIds(), ElementsAre(538));
    ASSERT_THAT(this->serials(), ElementsAre("A"));
    EXPECT_TRUE(this->drive(0).getDeviceMissing());
    EXPECT_EQ(this->drive(0).getState(), offline);
    EXPECT_EQ(this->drive(0).getHealth(), VOK_HEALTH_CRITICAL);
    this->cycle({this->diskIn(1, "A")});
    EXPECT_THAT(this->newEventIds(), ElementsAre(538, 540));
    ASSERT_THAT(this->serials(), ElementsAre("A"));
    EXPECT_FALSE(this->drive(0).getDeviceMissing());
    EXPECT_FALSE(this->drive(0).getIfSSDWearPageSupported());
}

TYPED_TEST(DriveSync, ADiskThatStaysAwayIsKeptAndNeitherPushesNorRaisesAgain) {
    this->cycle({this->diskIn(1, "A")});
    this->cycle({});
    this->startCounting();
    for (int i = 0; i < 3; ++i) this->cycle({});
    EXPECT_THAT(this->serials(), ElementsAre("A"));
    EXPECT_EQ(this->newPushes(), 0);
    EXPECT_THAT(this->newEventIds(), IsEmpty());
    EXPECT_EQ(
        this->timesLoggedAt(
            "INFO", "1:0:0:0 - 0000000000003811: Disk detected as offline in the current discovery cycle."),
        4);
}

TYPED_TEST(DriveSync, AnotherDiskInThePlaceOfAPulledOneRaises540Only) {
    this->cycle({this->diskIn(1, "A")});
    this->cycle({});
    this->startCounting();
    this->cycle({this->diskIn(1, "B")});
    EXPECT_THAT(this->newEventIds(), ElementsAre(540));
    EXPECT_THAT(this->serials(), ElementsAre("B"));
}

TYPED_TEST(DriveSync, AHealthyReplacementRaises538ForTheOldDiskAndNo540) {
    this->cycle({this->diskIn(1, "A")});
    this->cycle({this->diskIn(1, "B")});
    const std::vector<Json::Value> events = this->newEvents();
    ASSERT_EQ(events.size(), 1u);
    EXPECT_EQ(events[0]["ID"], 538);
    EXPECT_EQ(events[0]["PhysicalLocation"], "0000000000003811");
    EXPECT_EQ(events[0]["VariableData"]["Data"]["SerialNumber"], "A");
    EXPECT_EQ(
        events[0]["VariableData"]["EventInfo"],
        "Detected change in disk serial number (Current serial number: B; Last known serial number: A).");
}

TYPED_TEST(DriveSync, ADiskWithoutAKnownPlaceIsNeverSynchronisedAndIsStillReported) {
    vokDiskInfo nowhere = this->diskAt("FFFFFFFFFFFFFFFF", "-1", "A");
    nowhere.setOSSCSILink("");
    for (int i = 0; i < 2; ++i) this->cycle({nowhere});
    this->cycle({});
    EXPECT_THAT(this->serials(), IsEmpty()) << "and is not kept when it has gone";
    this->cycle({nowhere});
    EXPECT_THAT(this->serials(), ElementsAre("A"));
    EXPECT_THAT(this->asked, IsEmpty());
    EXPECT_EQ(this->drive(0).getState(), unknown);
    EXPECT_EQ(this->newPushes(), 0);
    EXPECT_THAT(this->newEventIds(), IsEmpty());
    EXPECT_EQ(this->timesLoggedAt(
                  "DEBUG", "Skipping disk @ index 0 due to invalid location info. [FFFFFFFFFFFFFFFF, -1]"),
              3);
    EXPECT_EQ(this->timesLoggedAt(
                  "DEBUG", this->isSataRaid ? "Skipping disk @ index 0 due to invalid location info and SCSI "
                                              "link. [FFFFFFFFFFFFFFFF, -1]"
                                            : "Skipping prev disk @ index 0 due to invalid location info. "
                                              "[FFFFFFFFFFFFFFFF, -1]"),
              2);
}

// --- the place ---

TYPED_TEST(DriveSync, ADiskRecordIsMovedByPlaceAndNotBySerialAsIsRequired) {
    vokDiskInfo first = this->diskIn(1, "A");
    first.setIfSSDWearPageSupported(false);
    first.setIfTempPageSupported(false);
    this->cycle({first, this->diskIn(2, "B")});
    this->startCounting();
    this->cycle({this->diskIn(1, "B"), this->diskIn(2, "A")});
    EXPECT_THAT(this->newEventIds(), ElementsAre(538, 538)) << "both were replaced, none has moved";
    EXPECT_EQ(this->newPushes(), 2);
    for (std::size_t i : {0U, 1U}) {
        EXPECT_TRUE(this->drive(i).getIfSSDWearPageSupported());
        EXPECT_TRUE(this->drive(i).getIfTempPageSupported());
    }
}

TYPED_TEST(DriveSync, AnAgreeingLocationOrAnAgreeingSlotIsTheSamePlace) {
    this->cycle({this->diskAt("0000000000003811", "1", "A"), this->diskAt("0000000000003812", "-1", "B"),
                 this->diskAt("", "3", "C"), this->diskAt("FFFFFFFFFFFFFFFF", "4", "D")});
    this->startCounting();
    this->cycle({this->diskAt("", "4", "D"), this->diskAt("", "3", "C"),
                 this->diskAt("0000000000003812", "2", "B"), this->diskAt("0000000000003819", "1", "A")});
    EXPECT_THAT(this->serials(), ElementsAre("D", "C", "B", "A"));
    EXPECT_EQ(this->newPushes(), 0);
}

TYPED_TEST(DriveSync, ALocationDoesNotAgreeWithASlot) {
    this->cycle({this->diskAt("5", "-1", "A")});
    this->startCounting();
    this->cycle({this->diskAt("", "5", "A")});
    EXPECT_THAT(this->serials(), ElementsAre("A", "A"));
    EXPECT_EQ(this->newPushes(), 2) << "one removed, one new";
}

TYPED_TEST(DriveSync, UnknownLocationsAndUnknownSlotsAgreeWithNothing) {
    this->cycle({this->diskAt("", "1", "A"), this->diskAt("FFFFFFFFFFFFFFFF", "2", "B"),
                 this->diskAt("0000000000003813", "-1", "C")});
    this->startCounting();
    this->cycle({this->diskAt("", "11", "A"), this->diskAt("FFFFFFFFFFFFFFFF", "12", "B"),
                 this->diskAt("0000000000003823", "-1", "C")});
    EXPECT_THAT(this->serials(), ElementsAre("A", "B", "C", "A", "B", "C"));
    EXPECT_EQ(this->newPushes(), 6);
}

TYPED_TEST(DriveSync, AnEmptySlotIsAPlaceAsIsRequired) {
    this->cycle({this->diskAt("", "", "A")});
    this->startCounting();
    this->cycle({this->diskAt("", "", "A")});
    EXPECT_THAT(this->serials(), ElementsAre("A"));
    EXPECT_EQ(this->asked.size(), 1u);
    EXPECT_EQ(this->newPushes(), 0);
}

TYPED_TEST(DriveSync, OfSeveralDisksThatAgreeTheFirstOneCountsWhicheverKeyItIs) {
    const vokDiskInfo bySlot = this->diskAt("0000000000003819", "1", "A");
    const vokDiskInfo byLocation = this->diskAt("0000000000003811", "9", "A");
    for (const bool slotFirst : {true, false}) {
        this->renew();
        this->cycle({this->diskAt("0000000000003811", "1", "A")});
        this->startCounting();
        std::vector<vokDiskInfo> found = {slotFirst ? bySlot : byLocation, slotFirst ? byLocation : bySlot};
        found[1].setSerialNumber("B");
        this->cycle(found);
        EXPECT_EQ(this->newPushes(), 0) << "the first has the same serial number, and the second is not new";
        EXPECT_THAT(this->newEventIds(), IsEmpty());
        ASSERT_EQ(this->asked.size(), 1u);
        EXPECT_EQ(this->asked[0].getSerialNumber(), "A");
    }
}

TYPED_TEST(DriveSync, TheRecordKeptForAMissingDiskIsFoundForALaterDiskOfThatPlace) {
    this->controller->currentDrives = {this->diskIn(1, "A"), this->diskIn(1, "A")};
    this->cycle({});
    EXPECT_THAT(this->serials(), ElementsAre("A"));
    EXPECT_EQ(this->newPushes(), 1);
    EXPECT_EQ(this->asked.size(), 1u);
}

TYPED_TEST(DriveSync, RecordsThatAreAddedDuringTheWalkAreLeftAloneByTheSearchForNewDisks) {
    std::vector<vokDiskInfo> many;
    for (int bay = 1; bay <= 40; ++bay) many.push_back(this->diskIn(bay, "S" + std::to_string(bay)));
    this->cycle(many);
    this->startCounting();
    this->cycle({many[0], this->diskIn(77, "NEW"), many[39]});
    EXPECT_EQ(this->controller->currentDrives.size(), 41u);
    EXPECT_EQ(this->newPushes(), 38 + 1);
    std::vector<std::string> askedSerials;
    for (const vokDiskInfo& disk : this->asked) askedSerials.push_back(disk.getSerialNumber());
    EXPECT_THAT(askedSerials, ElementsAre("S1", "S40", "NEW")) << "no missing disk is asked for its health";
    EXPECT_EQ(this->drive(3).getSerialNumber(), "S2");
    EXPECT_EQ(this->drive(40).getSerialNumber(), "S39");
    EXPECT_EQ(this->newEventIds(), std::vector<int>(38, 538));
}

// --- what a record takes over, and what is left ---

TYPED_TEST(DriveSync, TheTwoPageFlagsOfTheSameDiskAreTakenOverBeforeItIsAskedForItsHealth) {
    vokDiskInfo withoutWear = this->diskIn(1, "A");
    withoutWear.setIfSSDWearPageSupported(false);
    vokDiskInfo withoutTemperature = this->diskIn(2, "B");
    withoutTemperature.setIfTempPageSupported(false);
    this->cycle({withoutWear, withoutTemperature});
    this->cycle({this->diskIn(1, "A"), this->diskIn(2, "B")});
    ASSERT_EQ(this->asked.size(), 2u);
    EXPECT_FALSE(this->asked[0].getIfSSDWearPageSupported());
    EXPECT_TRUE(this->asked[0].getIfTempPageSupported());
    EXPECT_TRUE(this->asked[1].getIfSSDWearPageSupported());
    EXPECT_FALSE(this->asked[1].getIfTempPageSupported());
}

TYPED_TEST(DriveSync, TheLatestDisksBecomeThePreviousOnes) {
    vokDiskInfo open = this->diskIn(1, "A");
    open.setOSSGHandle(9);
    this->cycle({open});
    ASSERT_EQ(this->asked.size(), 1u);
    EXPECT_EQ(this->asked[0].getOSSGHandle(), 9) << "open while it is asked";
    EXPECT_EQ(this->drive(0).getOSSGHandle(), 9) << "the discovery closes it";
    ASSERT_EQ(this->controller->previousDrives.size(), 1u);
    EXPECT_EQ(this->controller->previousDrives[0].getSerialNumber(), "A");
    EXPECT_EQ(this->controller->previousDrives[0].getState(), running);
}

TYPED_TEST(DriveSync, NobodyElseHasTheLockWhileDisksAreSynchronised) {
    this->cycle({this->diskIn(1, "A"), this->diskIn(2, "B")});
    int count = 0;
    this->controller->onDiskStatus = [&](vokDiskInfo&) {
        ++count;
        std::thread([this] { EXPECT_FALSE(this->controller->lock.try_lock()); }).join();
    };
    this->cycle({this->diskIn(1, "A"), this->diskIn(2, "OTHER"), this->diskIn(3, "NEW")});
    EXPECT_EQ(count, 3);
}

// --- texts of events ---

TYPED_TEST(DriveSync, TheEventOfAChangedStatusHasNoTextOfItsOwnAsIsRequired) {
    this->cycle({this->diskIn(1, "A")});
    this->healths["A"] = {failed, "The disk says why."};
    this->cycle({this->diskIn(1, "A")});
    ASSERT_EQ(this->newEvents().size(), 1u);
    EXPECT_EQ(this->newEvents()[0]["ID"], 538);
    EXPECT_EQ(this->newEvents()[0]["VariableData"]["EventInfo"], "");
    EXPECT_EQ(this->drive(0).getEventInfoString(), "");
}

TYPED_TEST(DriveSync, TheTextOfADiskStaysIfItsEventsAreLeftToTheSubclass) {
    this->renew(vokEventsEnabled | vokDriveEventsBySubclass);
    this->cycle({this->diskIn(1, "A")});
    this->healths["A"] = {failed, "The disk says why."};
    this->cycle({this->diskIn(1, "A")});
    EXPECT_EQ(this->drive(0).getEventInfoString(), "The disk says why.");
}

TYPED_TEST(DriveSync, TheEventOfAReplacementThatHasFailedHasNoTextEither) {
    this->cycle({this->diskIn(1, "A")});
    this->healths["B"] = {failed, "The disk says why."};
    this->cycle({this->diskIn(1, "B")});
    const std::vector<Json::Value> events = this->newEvents();
    ASSERT_EQ(events.size(), 2u);
    EXPECT_EQ(events[1]["VariableData"]["Data"]["SerialNumber"], "B");
    EXPECT_EQ(events[1]["VariableData"]["EventInfo"], "");
}

TYPED_TEST(DriveSync, TheEventOfANewDiskHasTheTextOfItsStatus) {
    this->healths["A"] = {predictive, "The disk says why."};
    this->cycle({this->diskIn(1, "A")});
    ASSERT_EQ(this->newEvents().size(), 1u);
    EXPECT_EQ(this->newEvents()[0]["ID"], 539);
    EXPECT_EQ(this->newEvents()[0]["VariableData"]["EventInfo"], "The disk says why.");
    EXPECT_EQ(this->drive(0).getState(), predictive) << "only the copy for the comparison is Offline";
}

// --- log lines ---

TYPED_TEST(DriveSync, ANewDiskIsLoggedUnlessEventsOfDrivesAreOffOrLeftToTheSubclass) {
    constexpr char line[] =
        "1:0:0:0 - 0000000000003811: Detected new disk at previously-empty location in current discovery "
        "cycle.";
    this->renew(0);
    this->cycle({this->diskIn(1, "A")});
    this->renew(vokEventsEnabled | vokDriveEventsBySubclass);
    this->cycle({this->diskIn(1, "A")});
    EXPECT_EQ(this->timesLoggedAt("INFO", line), 0);
    this->renew(vokEventsEnabled);
    this->cycle({this->diskIn(1, "A")});
    EXPECT_EQ(this->timesLoggedAt("INFO", line), 1) << "also if it is healthy";
    this->cycle({this->diskIn(1, "A")});
    EXPECT_EQ(this->timesLoggedAt("INFO", line), 1);
}

TYPED_TEST(DriveSync, AMissingDiskIsLoggedWhoeverRaisesItsEvent) {
    this->renew(0);
    this->cycle({this->diskIn(1, "A")});
    this->cycle({});
    EXPECT_EQ(
        this->timesLoggedAt(
            "INFO", "1:0:0:0 - 0000000000003811: Disk detected as offline in the current discovery cycle."),
        1);
}

TYPED_TEST(DriveSync, TheWalkIsLoggedAtItsStartForEachPreviousDiskAndAtItsEnd) {
    this->cycle({this->diskIn(1, "A"), this->diskIn(2, "B")});
    EXPECT_EQ(
        this->timesLoggedAt("DEBUG", "0000:00:17.0: Synchronizing 2 disks with 0 of the previous cycle."), 1);
    EXPECT_EQ(this->timesLoggedAt("DEBUG", "0000:00:17.0: Synchronized 2 disks."), 1);
    this->cycle({this->diskIn(1, "A")});
    EXPECT_EQ(this->timesLoggedAt(
                  "DEBUG", "Walking the latest inventory and finding this pd discovered in previous cycle"),
              2);
    EXPECT_EQ(this->timesLoggedAt("DEBUG", "0000:00:17.0: Synchronized 2 disks."), 2);
}

}  // namespace
}  // namespace vokStorageControllerSyncTest
