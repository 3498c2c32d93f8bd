// What the synchronisation of the SATA RAID class has of its own: the SCSI link as a third key, and the
// comparison of attributes.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <functional>

#include "storage/DriveCycles.h"

namespace vokLewisburgSATARAIDControllerSyncTest {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr char changed[] =
    "1:0:0:0 - 0000000000003811: Detected change in inventory attributes. Updated inventory will be pushed "
    "to RMC.";

class SataRaidSync : public DriveCycles<vokLewisburgSATARAIDController> {
protected:
    static vokDiskInfo onLink(const std::string& link, const std::string& serial) {
        vokDiskInfo disk;
        disk.setOSSCSILink(link);
        disk.setSerialNumber(serial);
        return disk;
    }
};
class BaseSync : public DriveCycles<vokStorageController> {};

// --- the third key ---

TEST_F(SataRaidSync, ADiskWithoutLocationAndSlotIsFoundAgainByItsScsiLink) {
    cycle({onLink("1:0:0:0", "A"), onLink("2:0:0:0", "B")});
    EXPECT_EQ(newPushes(), 2);
    cycle({onLink("2:0:0:0", "B"), onLink("1:0:0:0", "C")});
    EXPECT_EQ(newPushes(), 3) << "one was replaced";
    EXPECT_THAT(serials(), ElementsAre("B", "C"));
}

TEST_F(SataRaidSync, AnAgreeingScsiLinkIsTheSamePlaceEvenIfLocationAndSlotDiffer) {
    vokDiskInfo moved = diskIn(1, "A");
    cycle({moved});
    startCounting();
    moved.setPhysicalLocation("0000000000003899");
    moved.setSlot("9");
    cycle({moved});
    EXPECT_THAT(serials(), ElementsAre("A"));
    EXPECT_EQ(newPushes(), 0);
}

TEST_F(BaseSync, TheScsiLinkIsNoKeyOfTheBaseClass) {
    vokDiskInfo disk = diskAt("FFFFFFFFFFFFFFFF", "-1", "A");
    cycle({disk});
    cycle({disk});
    EXPECT_THAT(asked, IsEmpty());
    vokDiskInfo moved = diskIn(1, "A");
    cycle({moved});
    startCounting();
    moved.setPhysicalLocation("0000000000003899");
    moved.setSlot("9");
    cycle({moved});
    EXPECT_EQ(newPushes(), 2) << "one removed, one new";
}

// --- attributes ---

vokDiskInfo filled() {
    vokDiskInfo disk;
    disk.setPhysicalLocation("0000000000003811");
    disk.setSlot("1");
    disk.setOSSCSILink("1:0:0:0");
    disk.setSerialNumber("A");
    disk.setPartNumber("P1");
    disk.setModel("M1");
    disk.setCapacityBytes(1000);
    disk.setProtocol("SATA");
    disk.setMediaType("HDD");
    disk.setRevision("R1");
    disk.setOSDeviceName("/dev/sg1");
    return disk;
}

struct Attribute {
    const char* name;
    void (*set)(vokDiskInfo& disk, bool second);  // one of two values
    void (*clear)(vokDiskInfo& disk);
    std::string (*text)(const vokDiskInfo& disk);
};

#define TEXT_ATTRIBUTE(field, first, other)                                                    \
    {                                                                                          \
#field, [](vokDiskInfo& disk, bool second) { disk.set##field(second ? (other) : (first)); }, \
            [](vokDiskInfo& disk) { disk.set##field(""); },                                   \
            [](const vokDiskInfo& disk) { return disk.get##field(); } \
    }

const Attribute attributes[] = {
    TEXT_ATTRIBUTE(PartNumber, "P1", "P2"),
    TEXT_ATTRIBUTE(Model, "M1", "M2"),
    {"CapacityBytes", [](vokDiskInfo& disk, bool second) { disk.setCapacityBytes(second ? 2000 : 1000); },
     [](vokDiskInfo& disk) { disk.setCapacityBytes(0); },
     [](const vokDiskInfo& disk) { return std::to_string(disk.getCapacityBytes()); }},
    TEXT_ATTRIBUTE(Protocol, "SATA", "SAS"),
    TEXT_ATTRIBUTE(MediaType, "HDD", "SSD"),
    TEXT_ATTRIBUTE(Revision, "R1", "R2"),
    TEXT_ATTRIBUTE(OSDeviceName, "/dev/sg1", "/dev/sg2"),
};
#undef TEXT_ATTRIBUTE

TEST_F(SataRaidSync, AnAttributeThatIsEmptyIsFilledFromThePreviousRecordWithoutAPush) {
    for (const Attribute& each : attributes) {
        SCOPED_TRACE(each.name);
        renew();
        cycle({filled()});
        startCounting();
        vokDiskInfo now = filled();
        each.clear(now);
        cycle({now});
        EXPECT_EQ(each.text(drive(0)), each.text(filled()));
        ASSERT_EQ(asked.size(), 1u);
        EXPECT_EQ(each.text(asked[0]), each.text(filled())) << "before the disk is asked for its health";
        EXPECT_EQ(newPushes(), 0);
    }
    EXPECT_EQ(timesLoggedAt("INFO", changed), 0);
}

TEST_F(SataRaidSync, AnAttributeThatHasChangedIsLoggedAndPushed) {
    long logged = 0;
    for (const Attribute& each : attributes) {
        SCOPED_TRACE(each.name);
        renew();
        cycle({filled()});
        startCounting();
        vokDiskInfo now = filled();
        each.set(now, true);
        const std::string value = each.text(now);
        cycle({now});
        EXPECT_EQ(each.text(drive(0)), value);
        EXPECT_EQ(newPushes(), 1);
        EXPECT_EQ(timesLoggedAt("INFO", changed), ++logged);
        EXPECT_THAT(newEventIds(), IsEmpty());
    }
}

TEST_F(SataRaidSync, AnAttributeThatWasEmptyIsNoChange) {
    for (const Attribute& each : attributes) {
        SCOPED_TRACE(each.name);
        renew();
        vokDiskInfo before = filled();
        each.clear(before);
        cycle({before});
        startCounting();
        cycle({filled()});
        EXPECT_EQ(each.text(drive(0)), each.text(filled()));
        EXPECT_EQ(newPushes(), 0);
    }
    EXPECT_EQ(timesLoggedAt("INFO", changed), 0);
}

TEST_F(SataRaidSync, SeveralChangedAttributesOfADiskAreOneChange) {
    cycle({filled()});
    startCounting();
    vokDiskInfo now = filled();
    for (const Attribute& each : attributes) each.set(now, true);
    cycle({now});
    EXPECT_EQ(newPushes(), 1);
    EXPECT_EQ(timesLoggedAt("INFO", changed), 1);
}

TEST_F(SataRaidSync, ADiskThatHasFailedItsIdentificationKeepsItsProtocol) {
    struct Case {
        const char* before;
        const char* now;
        const char* kept;
        bool isChange;
    };
    for (const Case& each :
         {Case{"SATA", "ATA", "SATA", false}, Case{"SATA", "0xf", "SATA", false},
          Case{"SAS", "ATA", "SAS", false}, Case{"ATA", "0xf", "ATA", false},
          Case{"ATA", "SATA", "SATA", true}, Case{"0xf", "SATA", "SATA", true}, Case{"", "ATA", "ATA", false},
          Case{"ATA", "ATA", "ATA", false}, Case{"SATA", "0xF", "0xF", true}}) {
        SCOPED_TRACE(std::string(each.before) + " then " + each.now);
        renew();
        vokDiskInfo disk = filled();
        disk.setProtocol(each.before);
        cycle({disk});
        startCounting();
        disk.setProtocol(each.now);
        cycle({disk});
        EXPECT_EQ(drive(0).getProtocol(), each.kept);
        EXPECT_EQ(newPushes(), each.isChange ? 1 : 0);
    }
}

TEST_F(SataRaidSync, AReplacementTakesNoAttributesOver) {
    cycle({filled()});
    startCounting();
    vokDiskInfo other = diskIn(1, "B");
    other.setRevision("R2");
    cycle({other});
    EXPECT_EQ(drive(0).getModel(), "");
    EXPECT_EQ(drive(0).getCapacityBytes(), 0u);
    EXPECT_EQ(newPushes(), 1) << "for the replacement";
    EXPECT_EQ(timesLoggedAt("INFO", changed), 0);
}

TEST_F(BaseSync, TheBaseClassNeitherFillsNorComparesAttributes) {
    cycle({filled()});
    startCounting();
    vokDiskInfo now = filled();
    now.setModel("");
    now.setRevision("R2");
    cycle({now});
    EXPECT_EQ(drive(0).getModel(), "");
    EXPECT_EQ(newPushes(), 0);
}

// --- the text of a disk that has gone ---

TEST_F(SataRaidSync, TheEventOfAMissingDiskNamesItsScsiLink) {
    constexpr char text[] =
        "Disk (SCSI link: 1:0:0:0) detected to be offline in the current discovery cycle.";
    cycle({diskIn(1, "A")});
    cycle({});
    ASSERT_EQ(newEvents().size(), 1u);
    EXPECT_EQ(newEvents()[0]["ID"], 538);
    EXPECT_EQ(newEvents()[0]["VariableData"]["EventInfo"], text);
    EXPECT_EQ(drive(0).getEventInfoString(), text);
}

TEST_F(BaseSync, TheEventOfAMissingDiskHasTheTextThatTheDiskHad) {
    healths["A"] = {VOK_STATE_PREDICTIVE_FAILURE, "The disk says why."};
    cycle({diskIn(1, "A")});
    cycle({});
    ASSERT_EQ(newEvents().size(), 2u);
    EXPECT_EQ(newEvents()[1]["ID"], 538);
    EXPECT_EQ(newEvents()[1]["VariableData"]["EventInfo"], "The disk says why.");
}

}  // namespace
}  // namespace vokLewisburgSATARAIDControllerSyncTest
