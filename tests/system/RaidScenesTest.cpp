// RAID controllers behind the vendor's library under the real daemon: what the controller receives of their
// events, their inventories, which commands the library gets, and the agent when the library fails.
#include <gmock/gmock.h>
#include <algorithm>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <map>
#include <string>
#include <vector>

#include "system/SetClock.h"
#include "system/StorageSystem.h"

namespace RaidScenesTest {
namespace {

using testing::Contains;
using testing::Not;

// Of rack-node: a 9361 with a RAID 5 of three SAS disks, and a 9560 in slot 03 with three volumes; the first
// one is a RAID 1 of two SATA disks.
constexpr char controller9361[] = "0";
constexpr char controller9560[] = "1";
constexpr char serial9560[] = "SPB1305412";
constexpr char place9560[] = "203A001B05C10300";
constexpr char member[] = "251:1";
constexpr char memberSerial[] = "R1MEV000006";
constexpr char memberPlace[] = "256A001B05C10103";
constexpr char buildEnd[] = "vokStoreLibInterface::cacheBuild() complete";

using Counts = std::map<std::string, int>;

Counts countsOf(const Json::Value& shown) {
    Counts counts;
    for (const std::string& name : shown.getMemberNames()) counts[name] = shown[name].asInt();
    return counts;
}

Counts operator-(Counts counts, const Counts& before) {
    for (const auto& [name, count] : before) {
        counts[name] -= count;
        if (counts[name] == 0) counts.erase(name);
    }
    return counts;
}

// The text of an event of the firmware.
std::string told(const std::string& code, const std::string& text) {
    return "[Msg # " + code + "] " + text +
           ". Please refer to MegaRAID Software User Guide for further details.";
}

class RaidScenes : public StorageSystem {
protected:
    void start(const Json::Value& settings = storageSettings(), const std::string& host = "rack-node") {
        ASSERT_NO_FATAL_FAILURE(startHostOfStorage(settings, host));
        ASSERT_NO_FATAL_FAILURE(startAgentOfStorage());
    }
    static Json::Value settingsWithManyBuilds() {
        Json::Value settings = storageSettings();
        Json::Value& seconds = settings["CacheRefreshInSeconds"] = Json::objectValue;
        seconds["HostOSInfo"] = seconds["EthernetDevices"] = "36000";
        seconds["StorageControllers"] = "20";
        return settings;
    }
    // rack-node with a change of its description.
    std::string changedHost(const std::function<void(Json::Value& host)>& change) const {
        Json::Value host;
        std::ifstream(VOK_SOURCE_DIRECTORY "/simhost/hosts/rack-node.json") >> host;
        change(host);
        directory.writeFile("host.json", host.toStyledString());
        return directory.path() + "/host.json";
    }
    void raid(std::vector<std::string> words) {
        words.insert(words.begin(), "raid");
        hostControl(words);
    }
    void ringForInventory(int more) {
        controllerControl({"ring"});
        ASSERT_EQ(waitForInventory(more), 0);
    }
    // The one that the agent requests by itself holds a disk with this serial number, or does not.
    bool waitForDisk(const std::string& serial, bool isThere) {
        return waitUntil([&] {
            last = controllerCount("inventories") - first;
            bool found = false;
            for (const Json::Value& drive : elements(last, "Drives"))
                found = found || drive["SerialNumber"] == serial;
            return found == isThere;
        });
    }
    Counts libraryCounts() { return countsOf(hostState()["raidLibrary"]["commands"]); }
    Counts counts(unsigned id) { return countsOf(hostState()["raidControllers"][id]["commands"]); }
    int registrations() { return static_cast<int>(hostState()["raidLibrary"]["registrations"].size()); }
    // Sends an event that raises nothing, and waits until the agent has dealt with it.
    void pass(const std::string& category, const std::vector<std::string>& event) {
        const std::string line = "Locale received: " + category;
        const int before = timesLogged(line);
        std::vector<std::string> words{"event", controller9560};
        words.insert(words.end(), event.begin(), event.end());
        raid(words);
        ASSERT_TRUE(waitForLog(line, before + 1));
    }
    void expectNoWrongBlock() { EXPECT_EQ(hostState()["raidLibrary"]["violations"].asInt(), 0); }
    // The other controllers are there, and no RAID controller is.
    void expectTheOthersAlone() {
        EXPECT_EQ(listed(0, "StorageControllers"), (Texts{" Running/OK", "RN20A00731-T4 Running/OK"}));
        EXPECT_THAT(listed(0, "Drives"), testing::SizeIs(7));
        EXPECT_EQ(listed(0, "Volumes"), Texts());
    }

    int last = 0;  // the inventory that waitForDisk() saw
};

// --- what the firmware reports ---

TEST_F(RaidScenes, ADiskThatIsAboutToFailFailsAndIsRebuiltRaisesEachEventOnce) {
    start();
    raid({"disk", controller9560, member, "predict"});
    raid({"disk", controller9560, member, "predict"});
    ASSERT_EQ(waitFor("event", 1), 0);
    raid({"disk", controller9560, member, "fail"});
    ASSERT_EQ(waitFor("event", 3), 0);
    ringForInventory(1);
    raid({"disk", controller9560, member, "rebuild"});
    ASSERT_EQ(waitFor("event", 4), 0);
    raid({"disk", controller9560, member, "online"});
    ASSERT_EQ(waitFor("event", 5), 0);
    EXPECT_EQ(eventsInShort(),
              (Texts{inShort("539", memberPlace, memberSerial,
                             told("0x60", "A failure of PD 02(e0xfb/s1) is predicted")),
                     inShort("538", memberPlace, memberSerial,
                             told("0x72", "State change on PD 02(e0xfb/s1) from ONLINE(18) to FAILED(11)")),
                     inShort("681", "", "", told("0xfb", "VD 00/0 is now DEGRADED")),
                     inShort("540", memberPlace, memberSerial, ""),
                     inShort("683", "", "", told("0xf9", "VD 00/0 is now OPTIMAL"))}));
    EXPECT_EQ(timesLogged("Ignoring WARNING event as device is already in BAD state"), 1);
    // An inventory between two builds is that of the build.
    EXPECT_EQ(listed(1, "Drives"), listed(0, "Drives"));
    expectNoWrongBlock();
    expectAGracefulEndWithoutAViolation();
}

TEST_F(RaidScenes, TheNextBuildHasTheStateThatTheFirmwareReportsThen) {
    start(settingsWithManyBuilds());
    raid({"battery", controller9560, "0x91"});
    raid({"disk", controller9560, member, "predict"});
    raid({"disk", controller9560, "251:2", "fail"});
    ASSERT_EQ(waitFor("event", 4), 0);
    EXPECT_EQ(events(), (std::vector<int>{1182, 539, 538, 681}));
    ASSERT_TRUE(waitUntil([&] {
        controllerControl({"ring"});
        last = controllerCount("inventories") - first;
        const Texts drives = listed(last, "Drives");
        return std::count(drives.begin(), drives.end(), "R1MEV000007 Failed/Critical") == 1;
    }));
    EXPECT_THAT(listed(last, "StorageControllers"), Contains(std::string(serial9560) + " Degraded/Warning"));
    EXPECT_EQ(listed(last, "Volumes"),
              (Texts{" Optimal/OK", " Optimal/OK", " Degraded/Warning", " Optimal/OK"}));
    // The firmware's records don't have the prediction.
    EXPECT_THAT(listed(last, "Drives"), Contains(std::string(memberSerial) + " Online/OK"));
    expectAGracefulEndWithoutAViolation();
}

TEST_F(RaidScenes, TheEventOfAVolumeHasItsMembersInFull) {
    start();
    raid({"disk", controller9560, member, "fail"});
    ASSERT_EQ(waitFor("event", 2), 0);
    const Json::Value variable = eventObjects().at(1)["VariableData"];
    EXPECT_EQ(variable["Type"], "Volume");
    const Json::Value volume = variable["Data"];
    EXPECT_EQ(volume["VolumeType"], "RAID1");
    EXPECT_EQ(volume["DurableName"], "30303030303030313030303030303030");
    EXPECT_EQ(volume["CapacityBytes"].asString(), "900184670208");
    EXPECT_EQ(volume["Oem"]["DeviceName"], "");
    EXPECT_EQ(volume["Oem"]["HostControllerPhysicalLocation"], place9560);
    ASSERT_EQ(volume["Drives"].size(), 2U);
    const Json::Value failed = volume["Drives"][1];
    EXPECT_EQ(volume["Drives"][0]["SerialNumber"], "R1MEV000005");
    EXPECT_EQ(failed["SerialNumber"], memberSerial);
    EXPECT_EQ(failed["Oem"]["Slot"], member);
    EXPECT_EQ(failed["Oem"]["PhysicalLocation"], memberPlace);
    EXPECT_EQ(failed["Protocol"], "SATA");
    expectAGracefulEndWithoutAViolation();
}

TEST_F(RaidScenes, APulledDiskIsMissingFromThePushThatFollowsAndAnInsertedOneIsInTheNext) {
    start();
    ASSERT_THAT(listed(0, "Drives"), Contains(std::string(memberSerial) + " Online/OK"));
    raid({"disk", controller9560, member, "pull"});
    ASSERT_EQ(waitFor("event", 2), 0);
    ASSERT_TRUE(waitForDisk(memberSerial, false));
    raid({"disk", controller9560, member, "insert", "NEWDISK1"});
    ASSERT_EQ(waitFor("event", 3), 0);
    ASSERT_TRUE(waitForDisk("NEWDISK1", true));
    EXPECT_THAT(listed(last, "Drives"), Contains("NEWDISK1 Online/OK"));
    raid({"disk", controller9560, member, "rebuild"});
    raid({"disk", controller9560, member, "online"});
    ASSERT_EQ(waitFor("event", 4), 0);
    EXPECT_EQ(eventsInShort(),
              (Texts{inShort("538", memberPlace, memberSerial, told("0x70", "PD 02(e0xfb/s1) was removed")),
                     inShort("681", "", "", told("0xfb", "VD 00/0 is now DEGRADED")),
                     inShort("540", memberPlace, "NEWDISK1", ""),
                     inShort("683", "", "", told("0xf9", "VD 00/0 is now OPTIMAL"))}));
    expectNoWrongBlock();
    expectAGracefulEndWithoutAViolation();
}

TEST_F(RaidScenes, AVolumeIsInTheInventoryAfterItWasCreatedAndMissingAfterItWasDeleted) {
    start();
    const Texts volumes{" Optimal/OK", " Optimal/OK", " Optimal/OK", " Optimal/OK"};
    ASSERT_EQ(listed(0, "Volumes"), volumes);
    raid({"volume", controller9560, "9", "create", "RAID0", "251:7"});
    ASSERT_TRUE(waitUntil([&] {
        last = controllerCount("inventories") - first;
        return listed(last, "Volumes").size() == 5;
    }));
    raid({"volume", controller9560, "9", "delete"});
    ASSERT_TRUE(waitForLog("Invalidate cache as LD has been deleted"));
    ASSERT_TRUE(waitUntil([&] {
        controllerControl({"ring"});
        last = controllerCount("inventories") - first;
        return listed(last, "Volumes").size() == 4;
    }));
    EXPECT_EQ(events(), std::vector<int>());
    expectAGracefulEndWithoutAViolation();
}

TEST_F(RaidScenes, ABatteryAndTwoConsistencyChecksRaiseTheirEvents) {
    start();
    raid({"battery", controller9560, "0x91"});
    raid({"check", controller9560, "0", "started"});
    raid({"check", controller9560, "0", "corrected", "2"});
    raid({"check", controller9560, "0", "inconsistent"});
    raid({"check", controller9560, "0", "done"});
    raid({"check", controller9560, "0", "started"});
    raid({"check", controller9560, "0", "done"});
    ASSERT_EQ(waitFor("event", 3), 0);
    EXPECT_EQ(eventsInShort(),
              (Texts{inShort("1182", place9560, serial9560, told("0x91", "The battery is too hot")),
                     inShort("1387", "", "",
                             told("0x3a",
                                  "The consistency check has ended on VD 00/0, (# Corrected medium "
                                  "errors = 2; # Inconsistent parity = 1)")),
                     inShort("1388", "", "", told("0x3a", "The consistency check has ended on VD 00/0"))}));
    const Json::Value card = eventObjects().at(0)["VariableData"];
    EXPECT_EQ(card["Type"], "Controller");
    EXPECT_EQ(card["Data"]["Model"], "Broadcom / LSI MegaRAID 9560-8i Tri-Mode Internal RAID");
    expectAGracefulEndWithoutAViolation();
}

TEST_F(RaidScenes, EventsBeforeTheFirstPushAreDropped) {
    Json::Value settings = storageSettings();
    settings["InventoryQueryIntervalInSeconds"] = "1000000";
    startHostOfStorage(settings);
    startAgent();
    ASSERT_TRUE(waitForLog("AEN Registration successful for [2] LSI MR controllers. (Unique ID: [0x1])"));
    raid({"disk", controller9560, member, "fail"});
    raid({"battery", controller9560, "0x91"});
    ASSERT_TRUE(waitForLog("Locale received: BBU_EVENT, eventClass= 3"));
    EXPECT_EQ(stopAgent(), 0);
    EXPECT_EQ(events(), std::vector<int>());
    EXPECT_EQ(controllerCount("violations"), 0);
}

// --- loading rules ---

TEST_F(RaidScenes, ACardInASlotThatNoRuleHasIsListedWithoutItsDisksAndOneWarningSaysWhy) {
    startHostOfStorage(settingsWithManyBuilds());
    raid({"controller", controller9560, "move", "0000:5e:00.0"});
    raid({"controller", controller9361, "move", "0000:a1:00.0"});
    startAgentOfStorage();
    ASSERT_TRUE(waitForLog(buildEnd, 12));  // three of each build of the inventory
    EXPECT_THAT(listed(0, "StorageControllers"), Contains(std::string(serial9560) + " Running/OK"));
    EXPECT_THAT(listed(0, "Drives"), testing::SizeIs(11));
    EXPECT_THAT(listed(0, "Drives"), Not(Contains(std::string(memberSerial) + " Online/OK")));
    EXPECT_EQ(listed(0, "Volumes"), Texts{" Optimal/OK"});
    EXPECT_EQ(
        timesLogged("MegaRAID 9560 [0x10E21000, 0x40101000] @ [0000:5e:00.0] or its server chassis not "
                    "compliant with I/O loading rules. Physical drives and RAID volumes attached to this "
                    "controller may not be reported/monitored."),
        1);
    raid({"disk", controller9560, member, "fail"});
    ASSERT_TRUE(
        waitForLog("Ignoring event [251] on LD [0] due to MegaRAID 9560 [0000:5e:00.0] or its hosting "
                   "chassis not following I/O loading rules."));
    EXPECT_EQ(events(), std::vector<int>());
    expectAGracefulEndWithoutAViolation();
}

// --- the library is missing or fails ---

TEST_F(RaidScenes, WithoutTheLibraryOneErrorIsLoggedAndTheOthersAreListed) {
    startHostOfStorage(settingsWithManyBuilds());
    hostControl({"library", "libstorelib.so", "absent"});
    startAgentOfStorage();
    ASSERT_TRUE(waitForLog("Issue occurred in discovering LSI MR inventory.", 3));
    EXPECT_EQ(
        timesLogged("LSI_INTERF: Failed to load library for monitoring MegaRAID devices. If you need VOK "
                    "to monitor this class of devices, then kindly remove and install storelib package "
                    "and restart vok.service."),
        1);
    EXPECT_EQ(timesLogged("Error occurred while loading MegaRAID lib dlerror = "), 1);
    expectTheOthersAlone();
    expectAGracefulEndWithoutAViolation();
}

TEST_F(RaidScenes, ALibraryWithoutItsEntryPointIsLoadedAgainByEachBuild) {
    startHostOfStorage(settingsWithManyBuilds());
    hostControl({"library", "libstorelib.so", "without-entry-point"});
    startAgentOfStorage();
    ASSERT_TRUE(waitForLog("Unable to get Entry Point function address Exiting.", 3));
    expectTheOthersAlone();
    EXPECT_EQ(libraryCounts(), Counts());
    expectAGracefulEndWithoutAViolation();
}

TEST_F(RaidScenes, ALibraryThatFailsToInitialiseIsAnErrorAndTheOthersAreListed) {
    startHostOfStorage(settingsWithManyBuilds());
    raid({"command", "all", "initialize", "fail", "0x8002"});
    startAgentOfStorage();
    ASSERT_TRUE(waitForLog("vokMegaRAIDControllerFactory::discoverControllers", 3));
    EXPECT_EQ(timesLogged("InitLib failed for MegaRAID SAS Controller!!"), 1);
    EXPECT_EQ(timesLogged("InitializeLibraryMR failed _FAILED"), 1);
    expectTheOthersAlone();
    EXPECT_EQ(libraryCounts(), (Counts{{"initialize", 1}}));
    expectAGracefulEndWithoutAViolation();
}

TEST_F(RaidScenes, ALibraryWithoutControllersIsAWarningAndTheOthersAreListed) {
    startHostOfStorage(settingsWithManyBuilds(),
                       changedHost([](Json::Value& host) { host["raidControllers"] = Json::arrayValue; }));
    startAgentOfStorage();
    ASSERT_TRUE(waitForLog("First inventory build", 2));
    EXPECT_EQ(timesLogged("No LSI MR controllers found"), 1);
    expectTheOthersAlone();
    EXPECT_EQ(registrations(), 0);
    expectAGracefulEndWithoutAViolation();
}

TEST_F(RaidScenes, AControllerThatGoesIsMissedAndTheLastOneEndsTheEvents) {
    start(settingsWithManyBuilds());
    raid({"controller", controller9361, "gone"});
    ASSERT_TRUE(waitForLog("Total controllers found: 1"));
    ASSERT_TRUE(waitUntil([&] {
        controllerControl({"ring"});
        last = controllerCount("inventories") - first;
        return listed(last, "StorageControllers") ==
               Texts{std::string(serial9560) + " Running/OK", " Running/OK", "RN20A00731-T4 Running/OK"};
    })) << testing::PrintToString(listed(last, "StorageControllers"));
    EXPECT_THAT(listed(last, "Drives"), testing::SizeIs(15));
    EXPECT_EQ(registrations(), 1) << "the other one has events";
    raid({"battery", controller9560, "0x91"});
    ASSERT_EQ(waitFor("event", 1), 0);
    raid({"controller", controller9560, "gone"});
    ASSERT_TRUE(waitForLog("No RAID controller is left."));
    ASSERT_TRUE(waitUntil([&] { return registrations() == 0; }));
    ASSERT_TRUE(waitUntil([&] {
        controllerControl({"ring"});
        last = controllerCount("inventories") - first;
        return listed(last, "Drives").size() == 7;
    }));
    raid({"controller", controller9560, "back"});
    ASSERT_TRUE(waitForLog("First inventory build", timesLogged("First inventory build") + 2));
    EXPECT_EQ(timesLogged("No RAID controller is left. Neither new RAID controllers nor their events are "
                          "noticed until the agent starts again."),
              1);
    EXPECT_EQ(libraryCounts()["unregister"], 1);
    EXPECT_EQ(libraryCounts()["register"], 1);
    EXPECT_EQ(events(), std::vector<int>{1182});
    expectAGracefulEndWithoutAViolation();
}

// --- the library hangs or is lost ---

// The watch over long operations has the machine's clock, which the test sets.
class HangingRaid : public RaidScenes {
protected:
    std::vector<std::string> agentCommand() const override {
        return clock.commandWithClocks(RaidScenes::agentCommand());
    }
    void hangInABuild() {
        raid({"command", "all", "disks", "hang"});
        ASSERT_TRUE(waitUntil([&] { return hostState()["raidLibrary"]["hanging"].asInt() == 1; }));
    }
    void letItBeNamed() {
        clock.pass(40);
        // A command of another manager that runs in this moment is named too.
        ASSERT_TRUE(waitForLog(" s: library call physical disk list"));
        EXPECT_EQ(timesLogged(" s: library call "), 1) << agentLog();
    }

    SetClock clock{directory.path()};
};

TEST_F(HangingRaid, LeavesTheOtherManagersAtWorkAndPushesThePreviousCopyAndIsNamed) {
    Json::Value settings = settingsWithManyBuilds();
    settings["EnableResources"].append("EthernetDevices");
    settings["CacheRefreshInSeconds"]["EthernetDevices"] = "20";
    start(settings);
    ASSERT_TRUE(waitUntil([&] {
        controllerControl({"ring"});
        first = controllerCount("inventories");
        return !listed(0, "Volumes").empty() && !listed(0, "EthernetDevices").empty();
    }));
    const Texts drives = listed(0, "Drives");
    ASSERT_THAT(drives, Contains(std::string(memberSerial) + " Online/OK"));
    hangInABuild();
    hostControl({"nic", "vmnic0", "link", "down"});
    ASSERT_EQ(waitFor("event", 1), 0);
    EXPECT_EQ(events(), std::vector<int>{1384});
    controllerControl({"ring"});
    const int before = timesLogged("Cache build is in progress. Returning previously saved inventory.");
    first = controllerCount("inventories");
    ASSERT_EQ(waitForInventory(1), 0);
    ASSERT_TRUE(waitForLog("Cache build is in progress. Returning previously saved inventory.", before + 1));
    EXPECT_EQ(listed(1, "Drives"), drives);
    letItBeNamed();
    EXPECT_EQ(hostState()["raidLibrary"]["hanging"].asInt(), 1) << "one call at a time";
    raid({"command", "all", "disks", "normal"});
    ASSERT_TRUE(waitForLog("WATCH: Ended after "));
    expectAGracefulEndWithoutAViolation();
}

TEST_F(HangingRaid, IsWaitedForByAStopWhichIsGracefulWhenTheCallReturns) {
    start(settingsWithManyBuilds());
    hangInABuild();
    ASSERT_EQ(::kill(agent.process(), SIGTERM), 0);
    ASSERT_TRUE(waitForLog("JOB_MGR: stopping all the RM"));
    letItBeNamed();
    EXPECT_EQ(timesLogged("JOB_MGR: VOK Exiting Gracefully!"), 0);
    raid({"command", "all", "disks", "normal"});
    ASSERT_TRUE(waitForLog("JOB_MGR: VOK Exiting Gracefully!"));
    EXPECT_EQ(agent.end(0), 0) << "without a second signal, which would end it at once";
    EXPECT_EQ(timesLogged("SAS_RM: The stop has cut the build short; the previous inventory stays."), 1);
    EXPECT_EQ(events(), std::vector<int>());
    EXPECT_EQ(controllerCount("violations"), 0);
}

TEST_F(RaidScenes, TheAgentOutlivesTheHostOfTheLibrary) {
    start(settingsWithManyBuilds());
    hostProgram.end(SIGKILL);
    ASSERT_TRUE(waitForLog("Total controllers found: 0"));
    ASSERT_TRUE(waitForLog("No RAID controller is left."));
    EXPECT_EQ(stopAgent(), 0);
    EXPECT_EQ(timesLogged("JOB_MGR: VOK Exiting Gracefully!"), 1);
}

// --- commands of the library ---

TEST_F(RaidScenes, ABuildSendsEachCommandOnce) {
    start();
    ASSERT_TRUE(waitForLog("AEN Registration successful"));
    // One by the factory, and one for each controller.
    ASSERT_EQ(timesLogged(buildEnd), 3);
    EXPECT_EQ(libraryCounts(), (Counts{{"initialize", 1}, {"controllers", 3}, {"register", 1}}));
    // Of each volume, the members are asked for its block size and for its serial numbers; and the first
    // member's record is asked for that block size.
    EXPECT_EQ(counts(0), (Counts{{"sequence", 1},
                                 {"safe-id", 3},
                                 {"manufacturing", 3},
                                 {"controller", 3},
                                 {"pci-location", 3},
                                 {"disks", 3},
                                 {"disk", 3 * (4 + 1)},
                                 {"volumes", 3},
                                 {"volume", 3},
                                 {"members", 3 * 2}}));
    EXPECT_EQ(counts(1), (Counts{{"sequence", 1},
                                 {"safe-id", 3},
                                 {"manufacturing", 3},
                                 {"controller", 3},
                                 {"pci-location", 3},
                                 {"disks", 3},
                                 {"disk", 3 * (8 + 3)},
                                 {"ata-log", 3 * 2},
                                 {"volumes", 3},
                                 {"volume", 3 * 3},
                                 {"members", 3 * 3 * 2}}));
    expectAGracefulEndWithoutAViolation();
}

TEST_F(RaidScenes, AnEventSendsTheCommandsOfItsOwnKindAlone) {
    start();
    ASSERT_TRUE(waitForLog("AEN Registration successful"));
    const struct {
        const char* category;
        std::vector<std::string> event;
        Counts library;
        Counts controller;
    } rows[] = {
        {"PD_EVENT",
         {"0x99", "0", "disk", "--type", "10", "--disk", member},
         {},
         {{"disks", 1}, {"disk", 8}, {"ata-log", 2}}},
        {"LD_EVENT",
         {"0x99", "0", "volume", "--type", "2", "--volume", "0"},
         {},
         {{"volumes", 1}, {"volume", 3}, {"members", 6}, {"disk", 3}}},
        {"CTRL_EVENT",
         {"0x99", "0", "controller"},
         {{"controllers", 1}},
         {{"safe-id", 1}, {"manufacturing", 1}, {"controller", 1}, {"pci-location", 1}}},
        {"BBU_EVENT", {"0x99", "0", "battery"}, {}, {}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.category);
        const Counts libraryBefore = libraryCounts();
        const Counts before = counts(1);
        pass(row.category, row.event);
        EXPECT_EQ(libraryCounts() - libraryBefore, row.library);
        EXPECT_EQ(counts(1) - before, row.controller);
    }
    // Of a category that means nothing to the agent.
    const Counts before = counts(1);
    raid({"event", controller9560, "0x99", "0", "enclosure"});
    pass("BBU_EVENT", {"0x99", "0", "battery"});
    EXPECT_EQ(counts(1), before);
    EXPECT_EQ(events(), std::vector<int>());
    expectAGracefulEndWithoutAViolation();
}

TEST_F(RaidScenes, ADiskIsAskedThreeTimesForWhatItDoesNotTell) {
    startHostOfStorage(storageSettings(), changedHost([](Json::Value& host) {
                           Json::Value& disks = host["raidControllers"][0]["disks"];
                           disks[0]["inquirySerial"] = "";
                       }));
    raid({"command", "all", "inquiry", "fail", "0x8009"});
    raid({"command", "all", "ata-log", "fail", "0x8009"});
    startAgentOfStorage();
    ASSERT_TRUE(waitForLog("AEN Registration successful"));
    for (int i = 0; i < 3; ++i) pass("PD_EVENT", {"0x99", "0", "disk", "--type", "10", "--disk", member});
    ASSERT_EQ(timesLogged(buildEnd), 6);
    int disks = 0;
    const Json::Value shown = hostState();
    for (const Json::Value& disk : shown["raidDisks"]) {
        const bool isNamed = disk["controller"].asInt() != 0 || disk["disk"] == "252:3";
        const bool isSata = disk["interface"] == "SATA";
        EXPECT_EQ(disk["commands"]["inquiry"].asInt(), isNamed ? 0 : 3) << disk;
        EXPECT_EQ(disk["commands"]["ata-log"].asInt(), isSata ? 3 : 0) << disk;
        disks += !isNamed + isSata;
    }
    EXPECT_EQ(disks, 5);
    expectAGracefulEndWithoutAViolation();
}

// --- many events ---

class ManyRaidEvents : public RaidScenes {
protected:
    // Resident memory in KiB.
    long residentMemory() const {
        std::ifstream status("/proc/" + std::to_string(agent.process()) + "/status");
        for (std::string line; std::getline(status, line);)
            if (line.rfind("VmRSS:", 0) == 0) return std::stol(line.substr(6));
        return -1;
    }
    long descriptors() const {
        const std::filesystem::directory_iterator entries("/proc/" + std::to_string(agent.process()) + "/fd");
        return std::distance(begin(entries), end(entries));
    }
    // So many events of the firmware, each of which causes a build of the disks and none of the agent's.
    void send(int count) {
        const int before = counts(0)["disks"];
        raid({"event", "0", "0x99", "0", "disk", "--type", "10", "--disk", "252:0", "--count",
              std::to_string(count)});
        ASSERT_TRUE(waitUntil([&] { return counts(0)["disks"] == before + count; }));
    }
};

TEST_F(ManyRaidEvents, LeaveMemoryAndDescriptorsWhereTheyWere) {
    Json::Value settings = storageSettings();
    settings["EnableDebugLog"] = "false";
    startHostOfStorage(settings, changedHost([](Json::Value& host) {
                           Json::Value& controllers = host["raidControllers"];
                           controllers.resize(1);
                           controllers[0]["disks"][0]["count"] = 2;
                           controllers[0]["disks"].resize(1);
                           controllers[0]["volumes"] = Json::arrayValue;
                           host["storageControllers"] = Json::arrayValue;
                       }));
    startAgent();
    ASSERT_EQ(waitFor("inventory", 1), 0);
    ASSERT_TRUE(waitUntil([&] { return registrations() == 1; }));
    send(1000);
    const long memory = residentMemory();
    const long open = descriptors();
    send(10000);
    EXPECT_LT(residentMemory() - memory, 1024);
    EXPECT_EQ(descriptors(), open);
    EXPECT_EQ(events(), std::vector<int>());
    expectAGracefulEndWithoutAViolation();
}

}  // namespace
}  // namespace RaidScenesTest
