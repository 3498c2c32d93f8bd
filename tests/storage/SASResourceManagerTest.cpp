// The storage manager: its build, documents, polls and requests. The controllers and their
// factory do what each test says.
#include "storage/SASResourceManager.h"

#include <gmock/gmock.h>
#include <future>
#include <thread>

#include "core/base/vokJsonText.h"
#include "core/inventory/vokFactory.h"
#include "nic/NICResourceManager.h"
#include "rmc/vokJsonAggregator.h"
#include "storage/StorageManagerFixture.h"

namespace SASResourceManagerTest {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

// --- the build ---

TEST_F(StorageManager, IsTheManagerOfId2) {
    EXPECT_EQ(vokFactory().createInstance(2), &manager);
}

TEST_F(StorageManager, ABuildAsksEachControllerInOrderAndEnablesItsEvents) {
    factory.add();
    manager.cacheBuild();
    EXPECT_THAT(calls.take(), ElementsAre("discoverControllers", "discoverInventory",
                                          "discoverPhysicalDiskInventory", "discoverLogicalDiskInventory",
                                          "discoverStorageEnclosureInventory", "enableEvents"));
    EXPECT_TRUE(managerLogged("Building storage cache."));
    EXPECT_TRUE(managerLogged("discoverControllers() completed with 1."));
    EXPECT_FALSE(managerLogged("Exiting CacheBuild"));
}

TEST_F(StorageManager, RecordsOfAllControllersOfAllFactoriesStandInTheirOrder) {
    ScriptedFactory second;
    const SASResourceManager::Factories secondRegistration(&second);
    factory.add().info.setModel("A");
    factory.add("0000:5e:00.0").info.setModel("B");
    second.add("0000:5f:00.0").info.setModel("C");
    for (ScriptedController* const each : {factory.controllers[0], factory.controllers[1]})
        each->drives.resize(2);
    factory.controllers[0]->drives[1].setModel("first");
    factory.controllers[1]->drives[0].setModel("second");
    second.controllers[0]->volumes.resize(1);
    second.controllers[0]->enclosures.resize(1);
    manager.cacheBuild();
    const auto controllers = documents(1);
    ASSERT_THAT(controllers, SizeIs(3));
    EXPECT_EQ(controllers[0]["Model"], "A");
    EXPECT_EQ(controllers[1]["Model"], "B");
    EXPECT_EQ(controllers[2]["Model"], "C");
    const auto drives = documents(2);
    ASSERT_THAT(drives, SizeIs(4));
    EXPECT_EQ(drives[1]["Model"], "first");
    EXPECT_EQ(drives[2]["Model"], "second");
    EXPECT_THAT(documents(3), SizeIs(1));
    EXPECT_THAT(documents(4), SizeIs(1));
    manager.cacheBuild();
    EXPECT_THAT(documents(2), SizeIs(4)) << "the records of the build before are gone";
}

TEST_F(StorageManager, ABuildDropsEachReferenceThatItGot) {
    bool deleted = false;
    factory.add().deleted = &deleted;
    manager.cacheBuild();
    manager.pollDevices();
    EXPECT_TRUE(manager.isRunning());
    EXPECT_FALSE(deleted);
    factory.shutdownFactory();
    EXPECT_TRUE(deleted);
}

TEST_F(StorageManager, TheTimeOfAControllerIsLoggedOnlyIfTheSettingsAskForIt) {
    factory.add();
    manager.cacheBuild();
    for (const std::string& line : loggedLines(host)) EXPECT_EQ(line.find("Time taken"), std::string::npos);
}

TEST_F(StorageManager, WithStatisticsTheTimeOfAControllerIsLoggedInHundredths) {
    logEverything(host, "\"LogResourceManagerStatistics\": \"true\"");
    ScriptedController& controller = factory.add();
    controller.info.setModel("Model M");
    controller.info.setSerialNumber("S1");
    controller.onCall = [this](const std::string& call) {
        if (call == "discoverPhysicalDiskInventory") clock.advanceSteady(12);
    };
    manager.cacheBuild();
    EXPECT_TRUE(hasLogged(host,
                          "INFO SAS_RM: Time taken to gather complete inventory from [Model M, SN S1] @ "
                          "[0000:3b:00.0]: [12.00] seconds"));
    controller.onCall = [this](const std::string& call) {
        if (call == "discoverPhysicalDiskInventory") clock.advanceSteady(1, 59999999);
    };
    manager.cacheBuild();
    EXPECT_TRUE(hasLogged(host,
                          "INFO SAS_RM: Time taken to gather complete inventory from [Model M, SN S1] @ "
                          "[0000:3b:00.0]: [1.05] seconds"));
}

// --- documents ---

TEST_F(StorageManager, TheDocumentOfAController) {
    auto& info = factory.add().info;
    info.setModel("M");
    info.setSerialNumber("S");
    info.setPartNumber("P");
    info.setFirmwareVersion("F");
    info.setProtocol("SAS/SATA");
    info.setManufacturer("Maker");
    info.setState(VOK_STATE_RUNNING);
    info.setHealth(VOK_HEALTH_OK);
    info.setDescription("PCI 0000:3b:00.0");
    info.setPhysicalLocation("0000000000000303");
    manager.cacheBuild();
    const std::string text =
        R"({"FirmwareVersion":"F","Manufacturer":"Maker","Model":"M",)"
        R"("Oem":{"Description":"PCI 0000:3b:00.0","PhysicalLocation":"0000000000000303"},)"
        R"("PartNumber":"P","Protocol":"SAS/SATA","SerialNumber":"S",)"
        R"("Status":{"Health":"OK","State":"Running"}})";
    EXPECT_EQ(vokJsonText(documents(1).at(0)), text);
    EXPECT_TRUE(managerLogged("Printing controller instance 0:    " + text));
}

TEST_F(StorageManager, TheDocumentOfADrive) {
    vokDiskInfo disk;
    disk.setSerialNumber("S");
    disk.setPartNumber("P");
    disk.setModel("M");
    disk.setCapacityBytes(18446744073709551615ull);
    disk.setProtocol("SATA");
    disk.setMediaType("SSD");
    disk.setRevision("R");
    disk.setManufacturer("Maker");
    disk.setState(VOK_STATE_PREDICTIVE_FAILURE);
    disk.setHealth(VOK_HEALTH_WARNING);
    disk.setSlot("3");
    disk.setPhysicalLocation("0000000000003802");
    factory.add().drives = {disk};
    manager.cacheBuild();
    const std::string text =
        R"({"CapacityBytes":18446744073709551615,"Manufacturer":"Maker","MediaType":"SSD","Model":"M",)"
        R"("Oem":{"PhysicalLocation":"0000000000003802","Slot":"3"},"PartNumber":"P","Protocol":"SATA",)"
        R"("Revision":"R","SerialNumber":"S","Status":{"Health":"Warning","State":"Predictive failure"}})";
    EXPECT_EQ(vokJsonText(documents(2).at(0)), text);
    EXPECT_TRUE(managerLogged("Printing disk instance 0:    " + text));
}

TEST_F(StorageManager, TheDocumentOfAVolume) {
    vokLogicalDiskInfo volume;
    volume.setDurableName("D");
    volume.setRAIDLevel("RAID1");
    volume.setCapacityBytes(5000000000ull);
    volume.addPhysicalDisk("S1");
    volume.addPhysicalDisk("S2");
    volume.setState(VOK_STATE_DEGRADED);
    volume.setHealth(VOK_HEALTH_CRITICAL);
    volume.setDeviceName("/dev/sdb");
    volume.setHostControllerPhysicalLocation("0000000000000303");
    factory.add().volumes = {volume, vokLogicalDiskInfo()};
    manager.cacheBuild();
    const std::string text =
        R"({"CapacityBytes":5000000000,"Drives":["S1","S2"],"DurableName":"D",)"
        R"("Oem":{"DeviceName":"/dev/sdb","HostControllerPhysicalLocation":"0000000000000303"},)"
        R"("Status":{"Health":"Critical","State":"Degraded"},"VolumeType":"RAID1"})";
    EXPECT_EQ(vokJsonText(documents(3).at(0)), text);
    EXPECT_TRUE(managerLogged("Printing logical disk instance 0:    " + text));
    EXPECT_EQ(vokJsonText(documents(3).at(1)["Drives"]), "[]");
}

TEST_F(StorageManager, TheDocumentOfAnEnclosureIsThatOfItsRecord) {
    vokStorageEnclosureInfo enclosure;
    enclosure.setModel("Backplane");
    enclosure.setState(VOK_STATE_RUNNING);
    enclosure.setHealth(VOK_HEALTH_OK);
    factory.add().enclosures = {enclosure};
    manager.cacheBuild();
    const std::string text = vokJsonText(enclosure.getInventoryData());
    EXPECT_EQ(vokJsonText(documents(4).at(0)), text);
    EXPECT_TRUE(managerLogged("Printing storage enclosure instance 0:    " + text));
}

TEST_F(StorageManager, TheFourSectionsOfTheInventoryAreFilled) {
    ScriptedController& controller = factory.add();
    controller.info.setModel("M");
    controller.drives.resize(2);
    controller.volumes.resize(1);
    controller.enclosures.resize(1);
    manager.cacheBuild();
    const std::string document = vokJsonAggregator::getInstance()->getInventoryDocument();
    for (const char* const section : {R"("StorageControllers":[{"FirmwareVersion")", R"("Drives":[{)",
                                      R"("Volumes":[{)", R"("StorageEnclosures":[{)"})
        EXPECT_NE(document.find(section), std::string::npos) << section << " in " << document;
}

// --- readers ---

TEST_F(StorageManager, AReaderGetsTheCurrentInventoryByType) {
    factory.add();
    manager.cacheBuild();
    std::vector<Json::Value> out;
    EXPECT_EQ(manager.getInventoryJsonObject2(0, out), 0);
    EXPECT_THAT(out, SizeIs(1)) << "type 0 is type 1";
    EXPECT_TRUE(managerLogged("returning Inventory size: 1"));
    EXPECT_FALSE(manager.getInventoryJsonObject(out));
    EXPECT_THAT(out, SizeIs(1));
    EXPECT_EQ(manager.getInventoryJsonObject2(5, out), 0);
    EXPECT_THAT(out, SizeIs(1)) << "left alone";
    EXPECT_TRUE(hasLogged(host, "WARNING SAS_RM: No inventory of type 5."));
}

// A disk that hangs until its time-out keeps its controller, and with it the build, waiting.
TEST_F(StorageManager, ADiskThatHangsDelaysNoReaderPushOrOtherManager) {
    ScriptedController& controller = factory.add();
    controller.info.setModel("as before");
    manager.cacheBuild();

    std::promise<void> hangs;
    std::promise<void> answers;
    controller.onCall = [&](const std::string& call) {
        if (call != "discoverPhysicalDiskInventory") return;
        const vokMutexLocker locker(controller.lock);
        hangs.set_value();
        answers.get_future().wait();
    };
    std::thread builder([&] { manager.cacheBuild(); });
    hangs.get_future().wait();

    std::vector<Json::Value> out;
    EXPECT_EQ(manager.getInventoryJsonObject2(1, out), 1) << "the previous inventory";
    ASSERT_THAT(out, SizeIs(1));
    EXPECT_EQ(out[0]["Model"], "as before");
    EXPECT_TRUE(managerLogged("Cache build is in progress. Returning previously saved inventory."));
    const std::string document = vokJsonAggregator::getInstance()->getInventoryDocument();
    EXPECT_NE(document.find("as before"), std::string::npos);
    letEventsPass();
    NICResourceManager::getInstance()->generateTestEvent(678, "0000000000000303");
    EXPECT_THAT(eventIds(), ElementsAre(678));
    NICResourceManager::getInstance()->cacheBuild();
    EXPECT_TRUE(NICResourceManager::getInstance()->isInventoryReady(0));

    answers.set_value();
    builder.join();
    EXPECT_EQ(manager.getInventoryJsonObject2(1, out), 0);
}

// --- the loop ---

TEST_F(StorageManager, StartsWithABuildAndLogsItsIntervals) {
    logEverything(host, "\"CacheRefreshInSeconds\": {\"StorageControllers\": \"300\"}");
    run([this](int) {
        EXPECT_EQ(builds(), 1);
        return true;
    });
    EXPECT_TRUE(managerLogged("Entered init"));
    EXPECT_TRUE(managerLogged("reached startInventory"));
    EXPECT_TRUE(managerLogged("SAS refresh interval: 300"));
    EXPECT_TRUE(managerLogged("SAS poll interval: 10"));
    EXPECT_THAT(clock.waitedSeconds(), ElementsAre(10));
    EXPECT_EQ(waits, 1);
}

TEST_F(StorageManager, WakesByTheGreatestCommonDivisorOfBothIntervals) {
    logEverything(host, "\"CacheRefreshInSeconds\": {\"StorageControllers\": \"25\"}");
    run([](int) { return true; });
    EXPECT_THAT(clock.waitedSeconds(), ElementsAre(5));
}

TEST_F(StorageManager, RebuildsAfterTheRefreshIntervalAndPollsBetweenBuilds) {
    logEverything(host, "\"CacheRefreshInSeconds\": {\"StorageControllers\": \"30\"}");
    std::vector<std::pair<long, long>> seen;
    run([&](int wait) {
        seen.emplace_back(builds(), polls());
        return wait == 5;
    });
    using P = std::pair<long, long>;
    EXPECT_THAT(seen, ElementsAre(P(1, 0), P(1, 1), P(1, 2), P(2, 3), P(2, 4)))
        << "no poll before the first build has ended";
}

TEST_F(StorageManager, PollsWhenMoreThanNineSecondsHavePassed) {
    logEverything(host, "\"CacheRefreshInSeconds\": {\"StorageControllers\": \"27\"}");
    std::vector<long> seen;
    run([&](int wait) {
        seen.push_back(polls());
        return wait == 13;
    });
    EXPECT_THAT(clock.waitedSeconds(), testing::Each(1));
    EXPECT_THAT(seen, ElementsAre(0, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 2, 2));
}

// Otherwise a poll that disks delay beyond the interval would be followed by the next at once.
TEST_F(StorageManager, TheTimeToTheNextPollCountsFromTheEndOfAPoll) {
    logEverything(host, "\"CacheRefreshInSeconds\": {\"StorageControllers\": \"3601\"}");
    factory.onCall = [this](const std::string& call) {
        if (call == "factory poll") clock.advance(60);
    };
    std::vector<long> seen;
    run([&](int wait) {
        seen.push_back(polls());
        return wait == 12;
    });
    EXPECT_THAT(clock.waitedSeconds(), testing::Each(1));
    EXPECT_THAT(seen, ElementsAre(0, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 2));
}

TEST_F(StorageManager, APollComesAlsoAfterASignalledWait) {
    clock.onTimedWait = [this](const timespec&) {
        if (++waits == 2) {
            clock.failReads(endlessly);
            return false;
        }
        // As requestWork() would wake it; nothing is due by the timer.
        return true;
    };
    manager.init();
    EXPECT_EQ(polls(), 1);
}

TEST_F(StorageManager, APollComesBeforeTheBuildThatFallsDueWithIt) {
    logEverything(host, "\"CacheRefreshInSeconds\": {\"StorageControllers\": \"10\"}");
    factory.add();
    run([this](int wait) {
        if (wait == 1) calls.take();
        return wait == 2;
    });
    EXPECT_THAT(calls.take(), ElementsAre("factory poll", "getControllers 255", "poll", "discoverControllers",
                                          "discoverInventory", "discoverPhysicalDiskInventory",
                                          "discoverLogicalDiskInventory", "discoverStorageEnclosureInventory",
                                          "enableEvents"));
}

TEST_F(StorageManager, AChangeThatThePollFindsIsBuiltOnceTogetherWithABuildThatIsDue) {
    logEverything(host, "\"CacheRefreshInSeconds\": {\"StorageControllers\": \"10\"}");
    factory.onCall = [](const std::string& call) {
        if (call == "factory poll") SASResourceManager::invalidateInventoryCache();
    };
    std::vector<long> seen;
    run([&](int wait) {
        seen.push_back(builds());
        return wait == 3;
    });
    EXPECT_THAT(seen, ElementsAre(1, 2, 3));
}

TEST_F(StorageManager, AChangeThatThePollFindsIsBuiltWithoutAnotherWait) {
    logEverything(host, "\"CacheRefreshInSeconds\": {\"StorageControllers\": \"3600\"}");
    bool once = true;
    factory.onCall = [&once](const std::string& call) {
        if (call == "factory poll" && std::exchange(once, false))
            SASResourceManager::invalidateInventoryCache();
    };
    std::vector<long> seen;
    run([&](int wait) {
        seen.push_back(builds());
        return wait == 4;
    });
    EXPECT_THAT(seen, ElementsAre(1, 2, 2, 2));
}

TEST_F(StorageManager, APollDoesNoDiscovery) {
    factory.add();
    manager.pollDevices();
    EXPECT_THAT(calls.take(), ElementsAre("factory poll", "getControllers 255", "poll"));
}

TEST_F(StorageManager, AClockThatWasSetBackMakesAPollDue) {
    logEverything(host, "\"CacheRefreshInSeconds\": {\"StorageControllers\": \"3600\"}");
    std::vector<long> seen;
    run([&](int wait) {
        seen.push_back(polls());
        if (wait == 2) clock.set(1600000000);
        return wait == 4;
    });
    EXPECT_THAT(seen, ElementsAre(0, 1, 2, 3));
}

TEST_F(StorageManager, ASecondEntryDoesNothing) {
    run([](int) { return true; });
    calls.take();
    manager.init();
    EXPECT_THAT(calls.take(), IsEmpty());
    EXPECT_EQ(timesManagerLogged("Entered init"), 2);
    EXPECT_EQ(timesManagerLogged("reached startInventory"), 1);
}

TEST_F(StorageManager, ABuildBeforeTheStartDoesNotKeepItFromStarting) {
    factory.add();
    manager.cacheBuild();
    clock.advance(100);
    run([](int) { return true; });
    EXPECT_EQ(timesManagerLogged("reached startInventory"), 1);
}

// --- requests ---

TEST_F(StorageManager, ARequestForABuildIsServedAtOnce) {
    std::thread requester;
    run([&](int) {
        // The waiter's mutex is held, so the request comes from another thread while this one waits.
        if (!requester.joinable()) {
            requester = std::thread([] { SASResourceManager::invalidateInventoryCache(); });
            return false;
        }
        return builds() == 2;
    });
    requester.join();
    EXPECT_EQ(builds(), 2);
    EXPECT_TRUE(managerLogged("Invalidating inventory cache."));
    EXPECT_TRUE(managerLogged("Inventory cache invalidated."));
}

TEST_F(StorageManager, ARequestFromTheBuildItselfIsVoid) {
    logEverything(host, "\"CacheRefreshInSeconds\": {\"StorageControllers\": \"3600\"}");
    factory.onCall = [](const std::string& call) {
        if (call == "discoverControllers") SASResourceManager::invalidateInventoryCache();
    };
    run([](int wait) { return wait == 3; });
    EXPECT_EQ(builds(), 1);
    EXPECT_EQ(timesManagerLogged("Inventory cache invalidated."), 1);
}

TEST_F(StorageManager, ARequestFromAnotherThreadDuringABuildIsKept) {
    logEverything(host, "\"CacheRefreshInSeconds\": {\"StorageControllers\": \"3600\"}");
    bool once = true;
    factory.onCall = [&once](const std::string& call) {
        if (call == "discoverControllers" && std::exchange(once, false))
            std::thread([] { SASResourceManager::invalidateInventoryCache(); }).join();
    };
    run([](int wait) { return wait == 3; });
    EXPECT_EQ(builds(), 2);
}

TEST_F(StorageManager, ARequestForAPushIsServedOnceAtTheEndOfTheBuild) {
    const std::string push = "SASRM requesting cache push";
    SASResourceManager::sendInventorytToRMCOnCacheBuild();
    EXPECT_FALSE(managerLogged(push));
    manager.cacheBuild();
    EXPECT_EQ(timesManagerLogged(push), 1);
    EXPECT_TRUE(managerLogged("Signalling for inventory push to RMC on cache build."));
    EXPECT_TRUE(managerLogged("Signalled inventory push"));
    manager.cacheBuild();
    EXPECT_EQ(timesManagerLogged(push), 1);
    factory.onCall = [](const std::string& call) {
        if (call == "discoverControllers") SASResourceManager::sendInventorytToRMCOnCacheBuild();
    };
    manager.cacheBuild();
    EXPECT_EQ(timesManagerLogged(push), 2) << "at the end of the build that runs";
    factory.onCall = nullptr;
    manager.cacheBuild();
    EXPECT_EQ(timesManagerLogged(push), 2) << "once";
}

// The event of a RAID controller, on a thread of its library.
TEST_F(StorageManager, ARequestOfAnotherThreadDuringABuildIsServedByTheNextBuildToo) {
    const std::string push = "SASRM requesting cache push";
    factory.onCall = [](const std::string& call) {
        if (call == "discoverControllers")
            std::thread(&SASResourceManager::sendInventorytToRMCOnCacheBuild).join();
    };
    manager.cacheBuild();
    EXPECT_EQ(timesManagerLogged(push), 1);
    factory.onCall = nullptr;
    manager.cacheBuild();
    EXPECT_EQ(timesManagerLogged(push), 2) << "the first may have gathered before";
    manager.cacheBuild();
    EXPECT_EQ(timesManagerLogged(push), 2);
}

TEST_F(StorageManager, BothKindsOfPushRequestAreServedByOnePush) {
    EXPECT_FALSE(manager.isInventoryReady(8));
    SASResourceManager::sendInventorytToRMCOnCacheBuild();
    manager.cacheBuild();
    EXPECT_EQ(timesManagerLogged("SASRM requesting cache push"), 1);
    manager.cacheBuild();
    EXPECT_EQ(timesManagerLogged("SASRM requesting cache push"), 1);
}

TEST_F(StorageManager, AFactorysModelsAreThoseOfItsChipsetAndBoardWith0ForAny) {
    factory.models = {{0x005D1000, 0x93631000}, {0x10E21000, 0}};
    EXPECT_TRUE(SASResourceManager::isControllerModelSupported(0x005D1000, 0x93631000));
    EXPECT_FALSE(SASResourceManager::isControllerModelSupported(0x005D1000, 0x93631001));
    EXPECT_FALSE(SASResourceManager::isControllerModelSupported(0x005D1000, 0));
    EXPECT_TRUE(SASResourceManager::isControllerModelSupported(0x10E21000, 0x12345678));
    EXPECT_FALSE(SASResourceManager::isControllerModelSupported(0x28268086, 0));
}

}  // namespace
}  // namespace SASResourceManagerTest
