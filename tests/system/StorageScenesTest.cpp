// Disks and controllers that wear out, fail, go and come under the real daemon: the events that the
// controller receives, and the inventories before and after.
#include <csignal>
#include <string>
#include <vector>

#include "system/StorageSystem.h"

namespace StorageScenesTest {
namespace {

using Texts = std::vector<std::string>;

// The disks of the SATA RAID and their locations; the first one is an SSD.
constexpr const char* raidDisks[] = {"NS09M07310", "NS09M07311", "NH40K07312", "NH40K07313"};
constexpr const char* bays[] = {"256A001B05C20100", "256A001B05C20200", "256A001B05C20300",
                                "256A001B05C20400"};
constexpr const char* disk = raidDisks[0];
constexpr const char* firstBay = bays[0];

class StorageScenes : public StorageSystem {
protected:
    // The controllers behind the vendor's library are left out.
    void start(const Json::Value& settings = storageSettings(), const std::string& host = "rack-node") {
        startHostOfStorage(settings, host);
        hostControl({"library", "libstorelib.so", "absent"});
        if (settings["EnableResources"][0] == "StorageControllers")
            startAgentOfStorage();
        else
            startAgentAndWaitForItsPush();
    }
    // A poll that has begun comes after the build that the poll before it has caused.
    void waitForTheNextPoll() const { ASSERT_TRUE(waitForLog(poll, timesLogged(poll) + 1)); }
    // Makes the change while the agent is suspended between two polls, so that it sees no part of it.
    void change(const std::vector<std::string>& words) {
        ASSERT_NO_FATAL_FAILURE(waitForTheNextPoll());
        ASSERT_TRUE(waitUntil([&] {
            if (::kill(agent.process(), SIGSTOP) != 0) return false;
            if (timesLogged(poll) == timesLogged(endOfPoll) && timesLogged(build) == timesLogged(endOfBuild))
                return true;
            ::kill(agent.process(), SIGCONT);
            return false;
        }));
        hostControl(words);
        ASSERT_EQ(::kill(agent.process(), SIGCONT), 0);
    }
    // The next one, requested after a build that sends none.
    void ringForInventory(int more) {
        ASSERT_NO_FATAL_FAILURE(waitForTheNextPoll());
        controllerControl({"ring"});
        ASSERT_EQ(waitForInventory(more), 0);
    }

    static constexpr char endOfPoll[] = "ATA Disk Status: /dev/sg6 ";  // a build does not judge this disk
    static constexpr char build[] = "SAS_RM: Building storage cache.";
    static constexpr char endOfBuild[] = "SAS_RM: Printing controller instance 0: ";
};

TEST_F(StorageScenes, ADiskThatWearsOutFailsAndRecoversRaisesItsThreeEvents) {
    start();
    ASSERT_EQ(listed(0, "StorageControllers"), (Texts{" Running/OK", "RN20A00731-T4 Running/OK"}));
    ASSERT_EQ(listed(0, "Drives"),
              (Texts{"NS09M07310 Running/OK", "NS09M07311 Running/OK", "NH40K07312 Running/OK",
                     "NH40K07313 Running/OK", "SH18K00731 Unknown/Unknown", "SS09M00731 Unknown/Unknown",
                     "NH40L00731 Unknown/Unknown"}));
    change({"disk", disk, "wear", "97"});
    ASSERT_EQ(waitFor("event", 1), 0);
    ringForInventory(1);
    EXPECT_EQ(listed(1, "Drives").at(0), "NS09M07310 Predictive failure/Warning");
    change({"disk", disk, "page", "ata:03", "unsupported"});
    ASSERT_EQ(waitFor("event", 2), 0);
    ringForInventory(2);
    EXPECT_EQ(listed(2, "Drives").at(0), "NS09M07310 Failed/Critical");
    hostControl({"disk", disk, "wear", "4"});
    change({"disk", disk, "page", "ata:03", "supported"});
    ASSERT_EQ(waitFor("event", 3), 0);
    ringForInventory(3);
    EXPECT_EQ(listed(3, "Drives").at(0), "NS09M07310 Running/OK");
    EXPECT_EQ(
        eventsInShort(),
        (Texts{inShort("539", firstBay, disk,
                       "[SSD Wear percentage (97); Threshold (95)], [Current Temp (31 C); Max Operating "
                       "Temperature (70 C)], [0 errors reported in Summary SMART error log / "
                       "Informational Exceptions log page.]"),
               inShort("538", firstBay, disk, "Failed to read Summary SMART Error Log from disk drive."),
               inShort("540", firstBay, disk, "")}));
    expectAGracefulEndWithoutAViolation();
}

TEST_F(StorageScenes, APulledDiskIsMissingFromThePushThatFollowsAndRaises540WhenItReturns) {
    start();
    change({"disk", disk, "pull"});
    ASSERT_EQ(waitFor("event", 1), 0);
    ASSERT_EQ(waitForInventory(1), 0);
    EXPECT_EQ(listed(1, "Drives"), (Texts{"NS09M07311 Running/OK", "NH40K07312 Running/OK",
                                          "NH40K07313 Running/OK", "SH18K00731 Unknown/Unknown",
                                          "SS09M00731 Unknown/Unknown", "NH40L00731 Unknown/Unknown"}));
    change({"disk", disk, "return"});
    ASSERT_EQ(waitFor("event", 2), 0);
    ringForInventory(2);
    EXPECT_EQ(listed(2, "Drives"), listed(0, "Drives"));
    EXPECT_EQ(
        eventsInShort(),
        (Texts{inShort("538", firstBay, disk, "SCSI generic device for SCSI link 0:0:0:0 not available."),
               inShort("540", firstBay, disk, "")}));
    expectAGracefulEndWithoutAViolation();
}

TEST_F(StorageScenes, AReplacedDiskRaises538ForTheOldAnd540ForTheNewThatRuns) {
    start();
    change({"disk", disk, "replace", "NEWDISK1"});
    ASSERT_EQ(waitFor("event", 2), 0);
    ASSERT_EQ(waitForInventory(1), 0);
    EXPECT_EQ(listed(1, "Drives").at(0), "NEWDISK1 Running/OK");
    EXPECT_EQ(eventsInShort(), (Texts{inShort("538", firstBay, disk,
                                              "Detected change in disk serial number (Current serial number: "
                                              "NEWDISK1; Last known serial number: NS09M07310)."),
                                      inShort("540", firstBay, "NEWDISK1", "")}));
    expectAGracefulEndWithoutAViolation();
}

TEST_F(StorageScenes, ADiskThatReplacesAPulledOneRaises540Alone) {
    start();
    change({"disk", disk, "pull"});
    ASSERT_EQ(waitForInventory(1), 0);
    change({"disk", disk, "replace", "NEWDISK1"});
    ASSERT_EQ(waitForInventory(2), 0);
    EXPECT_EQ(listed(2, "Drives").at(0), "NEWDISK1 Running/OK");
    EXPECT_EQ(
        eventsInShort(),
        (Texts{inShort("538", firstBay, disk, "SCSI generic device for SCSI link 0:0:0:0 not available."),
               inShort("540", firstBay, "NEWDISK1", "")}));
    expectAGracefulEndWithoutAViolation();
}

TEST_F(StorageScenes, AControllerThatGoesAndReturnsRaisesItsEventBeforeThoseOfItsDisks) {
    start();
    change({"storage-controller", "0000:00:17.0", "remove"});
    ASSERT_EQ(waitFor("event", 5), 0);
    ASSERT_EQ(waitForInventory(1), 0);
    EXPECT_EQ(listed(1, "StorageControllers"), Texts{"RN20A00731-T4 Running/OK"});
    EXPECT_EQ(listed(1, "Drives"), (Texts{"SH18K00731 Unknown/Unknown", "SS09M00731 Unknown/Unknown",
                                          "NH40L00731 Unknown/Unknown"}));
    change({"storage-controller", "0000:00:17.0", "return"});
    ASSERT_EQ(waitFor("event", 10), 0);
    ASSERT_EQ(waitForInventory(2), 0);
    // A new controller is behind those that were there all the time.
    EXPECT_EQ(listed(2, "StorageControllers"), (Texts{"RN20A00731-T4 Running/OK", " Running/OK"}));
    EXPECT_EQ(listed(2, "Drives"),
              (Texts{"SH18K00731 Unknown/Unknown", "SS09M00731 Unknown/Unknown", "NH40L00731 Unknown/Unknown",
                     "NS09M07310 Running/OK", "NS09M07311 Running/OK", "NH40K07312 Running/OK",
                     "NH40K07313 Running/OK"}));
    Texts wanted{
        inShort("398", "", "",
                "At least 7 of 8 ports of the Intel SATA RAID controller have gone offline or will be "
                "removed from the system, or have been in recovery state for >= 60 seconds.")};
    for (int bay = 0; bay < 4; ++bay)
        wanted.push_back(
            inShort("538", bays[bay], raidDisks[bay],
                    "SCSI generic device for SCSI link " + std::to_string(bay) + ":0:0:0 not available."));
    wanted.push_back(inShort("397", "", "", "All ports of the Intel SATA RAID controller are now online."));
    for (int bay = 0; bay < 4; ++bay) wanted.push_back(inShort("540", bays[bay], raidDisks[bay], ""));
    EXPECT_EQ(eventsInShort(), wanted);
    for (const std::size_t number : {0, 5}) {
        const Json::Value data = eventObjects().at(number)["VariableData"]["Data"];
        EXPECT_EQ(data["Model"], "Intel C600/X79 series chipset SATA RAID Controller");
        EXPECT_EQ(data["Oem"]["PhysicalLocation"], "203A001B05C20000");
    }
    expectAGracefulEndWithoutAViolation();
}

TEST_F(StorageScenes, ADiskWithoutAPlaceStaysUnknownAndRaisesNothing) {
    start();
    hostControl({"disk", "SS09M00731", "wear", "99"});
    ringForInventory(1);
    EXPECT_EQ(listed(1, "Drives"), listed(0, "Drives"));
    const int builds = timesLogged(endOfBuild);
    hostControl({"disk", "SH18K00731", "pull"});
    ASSERT_TRUE(waitForLog(endOfBuild, builds + 1));
    ringForInventory(2);
    EXPECT_EQ(listed(2, "Drives"),
              (Texts{"NS09M07310 Running/OK", "NS09M07311 Running/OK", "NH40K07312 Running/OK",
                     "NH40K07313 Running/OK", "SS09M00731 Unknown/Unknown", "NH40L00731 Unknown/Unknown"}));
    EXPECT_EQ(events(), std::vector<int>());
    expectAGracefulEndWithoutAViolation();
}

TEST_F(StorageScenes, WhileADiskHangsALinkEventGoesOutAndAPushHasThePreviousCopy) {
    Json::Value settings = storageSettings();
    settings["EnableResources"].append("EthernetDevices");
    settings["CacheRefreshInSeconds"] = Json::objectValue;
    settings["CacheRefreshInSeconds"]["HostOSInfo"] = "36000";
    settings["CacheRefreshInSeconds"]["StorageControllers"] = "36000";
    settings["CacheRefreshInSeconds"]["EthernetDevices"] = "20";
    start(settings);
    const Texts controllers = listed(0, "StorageControllers");
    const Texts drives = listed(0, "Drives");
    EXPECT_THAT(drives, testing::Contains("NS09M07310 Running/OK"));
    for (const char* serial : {"NS09M07310", "NS09M07311"}) hostControl({"disk", serial, "hang"});
    const int builds = timesLogged(build);
    ASSERT_EQ(waitFor("event", 2), 0);
    ASSERT_TRUE(waitForLog(build, builds + 1));
    first = controllerCount("inventories");
    hostControl({"nic", "vmnic0", "link", "down"});
    controllerControl({"ring"});
    ASSERT_EQ(waitFor("event", 3), 0);
    ASSERT_EQ(waitForInventory(1), 0);
    EXPECT_EQ(timesLogged(endOfBuild), builds) << "the build has ended, so nothing is shown";
    EXPECT_GE(timesLogged("Cache build is in progress. Returning previously saved inventory."), 1);
    EXPECT_EQ(listed(1, "StorageControllers"), controllers);
    EXPECT_EQ(listed(1, "Drives"), drives);
    for (const char* serial : {"NS09M07310", "NS09M07311"}) hostControl({"disk", serial, "answer"});
    ASSERT_EQ(waitFor("event", 5), 0);
    EXPECT_EQ(events(), (std::vector<int>{538, 538, 1384, 540, 540}));
    expectAGracefulEndWithoutAViolation();
}

// --- test events ---

// A host of a platform family, with the location of the sample in its test events.
struct Sampled {
    const char* host;
    const char* location;
};

void PrintTo(const Sampled& sampled, std::ostream* out) {
    *out << sampled.host;
}

class StorageTestEvents : public StorageScenes, public testing::WithParamInterface<Sampled> {};

TEST_P(StorageTestEvents, EachNumberHasItsSampleAtTheLocationThatIsGiven) {
    start(usualSettings(), GetParam().host);
    int number = 0;
    for (const char* id : {"397", "398", "538", "539", "540", "681", "683", "1385"}) {
        const Ran ran = runClient({"test", id, "0123456789ABCDEF"});
        EXPECT_EQ(ran.output, std::string("Delivered: the controller accepted test event ") + id + ".\n");
        ASSERT_EQ(waitFor("event", ++number), 0) << id;
        const Json::Value event = eventObjects().back();
        EXPECT_EQ(event["ID"].asString(), id);
        EXPECT_EQ(event["PhysicalLocation"], "0123456789ABCDEF");
        EXPECT_EQ(event["Source"], "VOK-CLI");
        EXPECT_EQ(event["VariableData"]["EventInfo"], "Injected Event");
    }
    const std::vector<Json::Value> all = eventObjects();
    const auto subject = [&all](std::size_t at) { return all.at(at)["VariableData"]; };
    for (const std::size_t at : {0, 1}) {
        const Json::Value data = subject(at)["Data"];
        EXPECT_EQ(subject(at)["Type"], "Controller");
        EXPECT_EQ(data["Model"], "Intel C600/X79 series chipset SATA RAID Controller");
        EXPECT_NE(data["FirmwareVersion"], "");
        EXPECT_EQ(data["Protocol"], "SAS/SATA");
        EXPECT_EQ(data["Manufacturer"], "Intel Corporation");
        EXPECT_EQ(data["Oem"]["Description"], "PCI 0000:00:17.0 r001i01s00");
        EXPECT_EQ(data["Oem"]["PhysicalLocation"], GetParam().location);
    }
    for (const std::size_t at : {2, 3, 4}) {
        const Json::Value data = subject(at)["Data"];
        EXPECT_EQ(subject(at)["Type"], "Drive");
        EXPECT_EQ(data["MediaType"], "HDD");
        EXPECT_EQ(data["Protocol"], "SAS/SATA");
        EXPECT_EQ(data["Manufacturer"], "MEV");
        EXPECT_NE(data["SerialNumber"], "");
        EXPECT_NE(data["PartNumber"], "");
        EXPECT_NE(data["Oem"]["Slot"], "");
        EXPECT_EQ(data["Oem"]["PhysicalLocation"], GetParam().location);
    }
    for (const std::size_t at : {5, 6}) {
        const Json::Value data = subject(at)["Data"];
        EXPECT_EQ(subject(at)["Type"], "Volume");
        EXPECT_EQ(data["DurableName"].asString().size(), 32U);
        EXPECT_EQ(data["VolumeType"], "RAID1");
        EXPECT_EQ(data["Oem"]["DeviceName"], "/dev/sde");
    }
    EXPECT_EQ(subject(7)["Type"], "Controller");
    EXPECT_EQ(subject(7)["Data"]["Model"].asString().find("Adaptec SmartRAID"), 0U);
    EXPECT_NE(subject(7)["Data"]["SerialNumber"], "");
    EXPECT_EQ(subject(7)["Data"]["Oem"]["Description"], "PCI 0000:24:00.0 r001i01s03");
    EXPECT_NE(runClient({"test", "1180"}).status, 0) << "it has no sample";
    EXPECT_EQ(controllerCount("events"), number);
    expectAGracefulEndWithoutAViolation();
}

INSTANTIATE_TEST_SUITE_P(Hosts, StorageTestEvents,
                         testing::Values(Sampled{"rack-node", "0001000100000301"},
                                         Sampled{"blade-node", "0001000100030001"},
                                         Sampled{"blade-node-b", "0001000100030001"}));

}  // namespace
}  // namespace StorageScenesTest
