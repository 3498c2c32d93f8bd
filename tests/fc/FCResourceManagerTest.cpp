#include "fc/FCResourceManager.h"

#include <gmock/gmock.h>
#include <algorithm>
#include <filesystem>
#include <memory>

#include "core/inventory/vokFactory.h"
#include "fc/FCFixture.h"
#include "rmc/vokJsonAggregator.h"
#include "support/FakeSystemLog.h"

namespace FCResourceManagerTest {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class FCManager : public FCFixture {
protected:
    void build() { manager.cacheBuild(); }
    // The values of this member of all adapters in the inventory.
    std::vector<std::string> all(const char* member) {
        std::vector<std::string> values;
        for (const Json::Value& element : inventory()) values.push_back(element[member].asString());
        return values;
    }
};

TEST_F(FCManager, IsTheFactorysManagerForId0) {
    EXPECT_EQ(vokFactory().createInstance(0), FCResourceManager::getInstance());
}

// --- a build ---

TEST_F(FCManager, ABuildOpensReadsAndClosesEachAdapterInTurn) {
    library.adapters.push_back({"fake-1", 2, 2});
    build();
    EXPECT_THAT(library.takeCalls(), ElementsAre("load", "open fake-0", "attributes 1", "port 1 0", "close 1",
                                                 "open fake-1", "attributes 2", "port 2 0", "close 2"));
    EXPECT_THAT(all("WWNN"), ElementsAre("20:00:00:00:c9:00:00:01", "20:00:00:00:c9:00:00:02"));
    EXPECT_TRUE(hasLogged(host, "INFO FC_RM: FC HBA vendor library loaded successfully"));
    EXPECT_TRUE(managerLogged("2 FC instances found!!"));
    EXPECT_TRUE(managerLogged("Adapter name is fake-1"));
    EXPECT_TRUE(managerLogged("Building FC Cache"));
}

TEST_F(FCManager, TheLibraryIsLoadedBeforeTheFirstBuildOnly) {
    build();
    build();
    const std::vector<std::string> calls = library.takeCalls();
    EXPECT_EQ(std::count(calls.begin(), calls.end(), "load"), 1);
}

TEST_F(FCManager, AnElementHasTheseMembersAndNoOthers) {
    build();
    const Json::Value element = inventory().at(0);
    EXPECT_THAT(element.getMemberNames(),
                ElementsAre("FirmwareVersion", "Manufacturer", "Model", "Oem", "PartNumber", "RomVersion",
                            "SerialNumber", "Status", "WWNN", "WWPN"));
    EXPECT_THAT(element["Oem"].getMemberNames(), ElementsAre("Description", "PhysicalLocation"));
    EXPECT_THAT(element["Status"].getMemberNames(), ElementsAre("Health", "State"));
    EXPECT_EQ(element["FirmwareVersion"], "12.8.340.8");
    EXPECT_EQ(element["Manufacturer"], "Not Available");
    EXPECT_EQ(element["Model"], "MEV 2-port 32Gb Fibre Channel adapter, SFP28") << "of the product table";
    EXPECT_EQ(element["PartNumber"], "Not Available") << "on a machine of no known family";
    EXPECT_EQ(element["RomVersion"], "12.8.340.7");
    EXPECT_EQ(element["SerialNumber"], "FC00000001");
    EXPECT_EQ(element["WWNN"], "20:00:00:00:c9:00:00:01");
    EXPECT_EQ(element["WWPN"], "10:00:00:00:c9:00:00:00");
    EXPECT_EQ(element["Oem"]["Description"], "PCI 0000:3b:00.0 ") << "no GeoID after the blank";
    EXPECT_EQ(element["Oem"]["PhysicalLocation"], "FFFFFFFFFFFFFFFF");
    EXPECT_EQ(element["Status"]["State"], "Online");
    EXPECT_EQ(element["Status"]["Health"], "OK");
}

TEST_F(FCManager, EachElementIsLoggedWithItsNumber) {
    build();
    EXPECT_TRUE(managerLogged(
        "Printing FC instance 0:    {\"FirmwareVersion\":\"12.8.340.8\",\"Manufacturer\":\"Not Available\","
        "\"Model\":\"MEV 2-port 32Gb Fibre Channel adapter, SFP28\",\"Oem\":{\"Description\":"
        "\"PCI 0000:3b:00.0 \",\"PhysicalLocation\":\"FFFFFFFFFFFFFFFF\"},\"PartNumber\":\"Not Available\","
        "\"RomVersion\":\"12.8.340.7\",\"SerialNumber\":\"FC00000001\",\"Status\":{\"Health\":\"OK\","
        "\"State\":\"Online\"},\"WWNN\":\"20:00:00:00:c9:00:00:01\",\"WWPN\":\"10:00:00:00:c9:00:00:00\"}"));
}

TEST_F(FCManager, TheSectionOfTheDocumentIsFibreChannelDevices) {
    build();
    const std::string document = vokJsonAggregator::getInstance()->getInventoryDocument();
    EXPECT_NE(document.find("\"FibreChannelDevices\":[{\"FirmwareVersion\""), std::string::npos) << document;
}

TEST_F(FCManager, ABuildWithoutARunReadsTheHostsListsToo) {
    build();
    build();
    const auto texts = commands.texts();
    EXPECT_EQ(std::count(texts.begin(), texts.end(), topologyCommand), 1);
    EXPECT_EQ(std::count(texts.begin(), texts.end(), namesCommand), 1);
}

// --- no adapters ---

TEST_F(FCManager, WithoutAdaptersTheInventoryIsReadyAndEmpty) {
    library.adapters.clear();
    build();
    EXPECT_TRUE(managerLogged("0 FC instances found!!"));
    EXPECT_TRUE(managerLogged("No FCA Entries Found! Cache build terminating!!!"));
    EXPECT_TRUE(manager.isInventoryReady(0));
    EXPECT_THAT(inventory(), IsEmpty());
    EXPECT_TRUE(manager.isRunning());
    EXPECT_THAT(clock.pauses(), IsEmpty());
}

TEST_F(FCManager, WithoutAListOfLibrariesTheInventoryIsReadyAndEmpty) {
    std::filesystem::remove(host.path("/etc/config/mev/vok/hba.conf"));
    build();
    EXPECT_TRUE(hasLogged(host, "INFO FC_RM: Could not load FC HBA vendor library"));
    EXPECT_TRUE(managerLogged("No FCA Entries Found! Cache build terminating!!!"));
    EXPECT_TRUE(manager.isInventoryReady(0));
    EXPECT_THAT(inventory(), IsEmpty());
}

TEST_F(FCManager, WhenTheAdaptersAreGoneNoReaderGetsThemAnyMore) {
    build();
    library.adapters.clear();
    std::unique_ptr<vokInventoryReader> reader;
    host.part<FakeSystemLog>().onLine = [&](const std::string& line) {
        if (line.find("No FCA Entries Found!") != std::string::npos) reader = manager.openReader();
    };
    build();
    EXPECT_THAT(inventory(), IsEmpty());
    ASSERT_NE(reader, nullptr);
    std::vector<Json::Value> previous(1);
    EXPECT_TRUE(reader->getInventoryJsonObject(previous)) << "opened within the build";
    EXPECT_THAT(previous, IsEmpty());
}

TEST_F(FCManager, AnAdapterThatReturnsAfterABuildWithoutAnyRaisesNoEvent) {
    letEventsPass(ipmi);
    buildWith(HBA_PORTSTATE_ONLINE);
    const std::vector<FakeHbaAdapter> all = library.adapters;
    library.adapters.clear();
    build();
    library.adapters = all;
    EXPECT_THAT(buildWith(HBA_PORTSTATE_LINKDOWN), IsEmpty());
    EXPECT_EQ(inventory().size(), 1u);
}

// --- adapters that can't be opened or read ---

TEST_F(FCManager, AnAdapterThatCannotBeOpenedIsLeftOut) {
    library.adapters.insert(library.adapters.begin(), {"fake-9", 9, 0});
    build();
    EXPECT_THAT(all("WWNN"), ElementsAre("20:00:00:00:c9:00:00:01"));
    EXPECT_TRUE(hasLogged(host, "WARNING FC_RM: HBA_OpenAdapter() fake-9 Failed()\n"));
    EXPECT_TRUE(managerLogged("openAdapter() for FcaEntry 0 Failed!"));
}

TEST_F(FCManager, AHandleWhoseLowestByteIsZeroCountsAsAFailureAndStaysOpen) {
    library.adapters[0].handle = 0x100;
    build();
    EXPECT_THAT(inventory(), IsEmpty());
    EXPECT_THAT(library.takeCalls(), ElementsAre("load", "open fake-0"));
    EXPECT_TRUE(managerLogged("openAdapter() for FcaEntry 0 Failed!"));
    library.adapters[0].handle = 0x101;
    build();
    EXPECT_EQ(inventory().size(), 1u);
}

TEST_F(FCManager, AnAdapterThatCannotBeReadIsLeftOutAndClosed) {
    library.adapters.push_back({"fake-1", 2, 2});
    library.adapters[0].status = HBA_STATUS_ERROR;
    build();
    EXPECT_THAT(library.takeCalls(), ElementsAre("load", "open fake-0", "attributes 1", "close 1",
                                                 "open fake-1", "attributes 2", "port 2 0", "close 2"));
    EXPECT_THAT(all("WWNN"), ElementsAre("20:00:00:00:c9:00:00:02"));
    EXPECT_TRUE(hasLogged(host, "WARNING FC_RM: HBA_GetAdapterAttributes() Failed."));
    EXPECT_TRUE(hasLogged(host, "WARNING FC_RM: getFcHbaData() for FcaEntry 0 Failed!"));
}

TEST_F(FCManager, AnAdapterThatVanishesBetweenTheCallsIsLeftOut) {
    library.adapters.push_back({"fake-1", 2, 2});
    library.onCall = [this](const std::string& call) {
        if (call == "open fake-0") library.adapters.erase(library.adapters.begin());
    };
    build();
    EXPECT_THAT(all("WWNN"), ElementsAre("20:00:00:00:c9:00:00:02"));
}

TEST_F(FCManager, TheStatusOfAFailedReadIsReturned) {
    manager.loadLibrary();
    manager.discoverInstances();
    vokFCDeviceInfo adapter(0);
    ASSERT_TRUE(manager.openAdapter(adapter));
    library.adapters[0].status = 14;
    EXPECT_EQ(manager.getFcHbaData(adapter), 14u);
    library.adapters[0].status = HBA_STATUS_OK;
    library.adapters[0].ports[0].status = 14;
    EXPECT_EQ(manager.getFcHbaData(adapter), 0u) << "a port is skipped";
}

// --- ports ---

TEST_F(FCManager, TheLastPortThatCanBeReadDecides) {
    library.adapters[0].ports = {
        {1, HBA_PORTSTATE_ONLINE}, {2, HBA_PORTSTATE_LINKDOWN}, {3, HBA_PORTSTATE_ONLINE, HBA_STATUS_ERROR}};
    build();
    EXPECT_THAT(library.takeCalls(), ElementsAre("load", "open fake-0", "attributes 1", "port 1 0",
                                                 "port 1 1", "port 1 2", "close 1"));
    EXPECT_THAT(all("WWPN"), ElementsAre("10:00:00:00:c9:00:00:02"));
    EXPECT_EQ(inventory().at(0)["Status"]["State"], "Linkdown");
}

TEST_F(FCManager, WithoutAPortThatCanBeReadTheStateIsUnknown) {
    library.adapters[0].ports[0].status = HBA_STATUS_ERROR;
    build();
    EXPECT_THAT(all("WWPN"), ElementsAre("Not Available"));
    EXPECT_EQ(inventory().at(0)["Status"]["State"], "Unknown");
    EXPECT_EQ(inventory().at(0)["Status"]["Health"], "Unknown");
}

TEST_F(FCManager, TheSecondPortOfAnAdapterListedOnceRaisesTheEntriesByOne) {
    library.adapters[0].ports = {{1}, {2}};
    build();
    EXPECT_EQ(inventory().size(), 1u);
    EXPECT_TRUE(managerLogged("HBA_GetAdapterName() Failed\n"));
    EXPECT_TRUE(managerLogged("openAdapter() for FcaEntry 1 Failed!"));
    EXPECT_FALSE(managerLogged("openAdapter() for FcaEntry 2 Failed!"));
}

TEST_F(FCManager, AnAdapterListedOnceForEachPortIsReadInFull) {
    library.adapters = {{"fake-0", 1, 1, {{1}, {2}}}, {"fake-1", 2, 2, {{1}, {2}}}};
    build();
    EXPECT_EQ(inventory().size(), 2u);
    EXPECT_TRUE(managerLogged("openAdapter() for FcaEntry 3 Failed!"));
    EXPECT_FALSE(managerLogged("openAdapter() for FcaEntry 4 Failed!"));
}

TEST_F(FCManager, AnAdapterThatCannotBeReadRaisesNoEntries) {
    library.adapters[0].reportedPorts = 2;
    library.adapters[0].status = HBA_STATUS_ERROR;
    build();
    EXPECT_FALSE(managerLogged("openAdapter() for FcaEntry 1 Failed!"));
}

TEST_F(FCManager, NumbersOfPortsBeyondSixtyFourAreCut) {
    for (const HBA_UINT32 ports : {65u, 5000u, 0x80000000u, 0xFFFFFFFFu}) {
        library.adapters[0].reportedPorts = ports;
        library.takeCalls();
        build();
        const std::vector<std::string> calls = library.takeCalls();
        EXPECT_EQ(std::count_if(calls.begin(), calls.end(),
                                [](const std::string& call) { return call.rfind("port ", 0) == 0; }),
                  64)
            << ports;
        EXPECT_EQ(inventory().size(), 1u) << ports;
        EXPECT_TRUE(hasLogged(host, "WARNING FC_RM: fake-0 reports " + std::to_string(ports) +
                                        " ports; the first 64 are read"));
    }
    EXPECT_TRUE(managerLogged("openAdapter() for FcaEntry 63 Failed!"));
    EXPECT_FALSE(managerLogged("openAdapter() for FcaEntry 64 Failed!"));
}

TEST_F(FCManager, AnAdapterWithoutPortsIsInTheInventory) {
    library.adapters[0].ports.clear();
    build();
    EXPECT_THAT(all("WWPN"), ElementsAre("Not Available"));
}

// --- texts ---

TEST_F(FCManager, TextsWithoutAnEndAreCutAtTheirField) {
    subDevice = "";  // the model is then that of the attributes
    library.adapters[0].model = std::string(300, 'm');
    library.adapters[0].serialNumber = std::string(300, 's');
    library.adapters[0].firmwareVersion = std::string(300, 'f');
    library.adapters[0].romVersion = std::string(300, 'r');
    build();
    EXPECT_THAT(all("Model"), ElementsAre(std::string(256, 'm')));
    EXPECT_THAT(all("SerialNumber"), ElementsAre(std::string(64, 's')));
    EXPECT_THAT(all("FirmwareVersion"), ElementsAre(std::string(256, 'f')));
    EXPECT_THAT(all("RomVersion"), ElementsAre(std::string(256, 'r')));
}

TEST_F(FCManager, EmptyTextsStayEmpty) {
    library.adapters[0].serialNumber = "";
    build();
    EXPECT_THAT(all("SerialNumber"), ElementsAre(""));
}

TEST(FCNames, AreEightBytesInLowerCase) {
    const HBA_UINT8 bytes[8] = {0x50, 0x06, 0x0B, 0x00, 0x00, 0xC2, 0x62, 0xFF};
    EXPECT_EQ(FCResourceManager::WWNtoString(bytes), "50:06:0b:00:00:c2:62:ff");
}

TEST(FCRecord, IsNotAvailableButForItsDescription) {
    const vokFCDeviceInfo record;
    for (const std::string& text :
         {record.getvokFCSlot(), record.getvokFCModel(), record.getvokFCSerialNumber(),
          record.getvokFCPartNumber(), record.getvokFCFirmwareVersion(), record.getvokFCRomVersion(),
          record.getvokFCWWPN(), record.getvokFCWWNN(), record.getvokFCManufacturer()})
        EXPECT_EQ(text, "Not Available");
    EXPECT_EQ(record.getvokFCDescription(), "");
    EXPECT_EQ(record.getvokFCOemPhyLoc().getFCPhysicalLocation(), "FFFFFFFFFFFFFFFF");
    EXPECT_EQ(record.getvokFCStatus().getFCDeviceState(), VOK_STATE_UNKNOWN);
    EXPECT_EQ(record.getvokFCStatus().getFCDeviceHealth(), VOK_HEALTH_UNKNOWN);
}

// --- readiness and running ---

TEST_F(FCManager, LogsItsReadinessInItsOwnWords) {
    EXPECT_FALSE(manager.isInventoryReady(0));
    EXPECT_TRUE(hasLogged(host, "INFO FC_RM: FC cache status 0"));
    build();
    EXPECT_TRUE(manager.isInventoryReady(0));
    EXPECT_TRUE(hasLogged(host, "INFO FC_RM: FC cache status 1"));
}

TEST_F(FCManager, IsNotRunningWhenNoneOfItsAdaptersCanBeRead) {
    library.adapters[0].handle = 0;
    build();
    EXPECT_FALSE(manager.isRunning());
    EXPECT_TRUE(
        hasLogged(host, "WARNING FC_RM: _cacheBuildInProgress = 0,FCInventory.size() =0,retryCount =3"));
    EXPECT_THAT(clock.pauses(), ElementsAre(3000000, 3000000, 3000000));
    library.adapters[0].handle = 1;
    build();
    EXPECT_TRUE(manager.isRunning());
}

TEST_F(FCManager, IsRunningBeforeItsFirstBuildSinceItKnowsOfNoAdapter) {
    EXPECT_TRUE(manager.isRunning());
    EXPECT_THAT(clock.pauses(), IsEmpty());
}

TEST_F(FCManager, ThePushRequestIsLoggedInItsOwnWords) {
    EXPECT_FALSE(manager.isInventoryReady(8));
    build();
    EXPECT_EQ(countLogged(host, "DEBUG FC_RM: FCRM requesting cache push"), 1);
}

TEST_F(FCManager, ABuildWithoutAdaptersLeavesThePushRequestToTheNextOne) {
    EXPECT_FALSE(manager.isInventoryReady(8));
    const std::vector<FakeHbaAdapter> all = std::exchange(library.adapters, {});
    build();
    EXPECT_FALSE(managerLogged("FCRM requesting cache push"));
    library.adapters = all;
    build();
    EXPECT_TRUE(managerLogged("FCRM requesting cache push"));
}

// --- the stop ---

// At each call of a build.
TEST_F(FCManager, NoCallBeginsAfterTheStopWasRequestedAndThePreviousInventoryStays) {
    library.adapters = {{"fake-0", 1, 1, {{1}, {2}}}, {"fake-1", 2, 2, {{1}, {2}}}};
    library.adapters[0].firmwareVersion = "before";
    build();
    library.adapters[0].firmwareVersion = "after";
    const long callsOfFirst = library.allCalls();
    build();
    const long callsOfBuild = library.allCalls() - callsOfFirst;
    library.adapters[0].firmwareVersion = "before";
    build();
    library.adapters[0].firmwareVersion = "after";
    library.takeCalls();
    // The layer asks for all names at once, so the stop comes after those.
    const long namingCalls = 3;
    ASSERT_EQ(callsOfBuild, namingCalls + 2 * 5);
    for (long stopAt = namingCalls; stopAt <= callsOfBuild; ++stopAt) {
        const long begin = library.allCalls();
        library.onCall = [&](const std::string&) {
            if (library.allCalls() == begin + stopAt) commands.requestStop(vokStopPhase::requested);
        };
        build();
        EXPECT_EQ(library.allCalls(), begin + stopAt);
        EXPECT_THAT(all("FirmwareVersion"), ElementsAre("before", "12.8.340.8")) << stopAt;
        commands.requestStop(vokStopPhase::none);
    }
}

TEST_F(FCManager, AStopDuringTheLoadingCutsTheBuildShort) {
    library.onCall = [this](const std::string&) { commands.requestStop(vokStopPhase::requested); };
    build();
    EXPECT_EQ(library.allCalls(), 1);
    EXPECT_FALSE(manager.isInventoryReady(0));
}

TEST_F(FCManager, ARecordThatTheStopHasCutShortRaisesNoEvent) {
    letEventsPass(ipmi);
    library.adapters[0].ports = {{1}, {2}};
    buildWith(HBA_PORTSTATE_ONLINE);
    library.onCall = [this](const std::string& call) {
        if (call == "port 1 0") commands.requestStop(vokStopPhase::requested);
    };
    EXPECT_THAT(buildWith(HBA_PORTSTATE_LINKDOWN), IsEmpty());
}

TEST_F(FCManager, AnAdapterStaysOpenWhenTheStopComesWithItsEvent) {
    letEventsPass(ipmi);
    buildWith(HBA_PORTSTATE_ONLINE);
    library.takeCalls();
    const auto others = ipmi.onRequest;
    ipmi.onRequest = [&](const FakeIpmiRequest& request) {
        commands.requestStop(vokStopPhase::requested);
        return others(request);
    };
    buildWith(HBA_PORTSTATE_LINKDOWN);
    EXPECT_THAT(library.takeCalls(), ElementsAre("open fake-0", "attributes 1", "port 1 0"));
}

TEST_F(FCManager, AStopDuringTheLastCallCutsTheBuildShort) {
    library.onCall = [this](const std::string& call) {
        if (call == "close 1") commands.requestStop(vokStopPhase::requested);
    };
    build();
    EXPECT_FALSE(manager.isInventoryReady(0));
}

TEST_F(FCManager, AManagerThatIsStoppedWithinABuildBeginsNoFurtherCall) {
    library.onCall = [this](const std::string& call) {
        if (call == "attributes 1") manager.stopResourceManagerJob();
    };
    build();
    EXPECT_THAT(library.takeCalls(), ElementsAre("load", "open fake-0", "attributes 1"));
    EXPECT_TRUE(hasLogged(host, "INFO FC_RM: Resource manager stop called."));
    EXPECT_TRUE(hasLogged(host, "INFO FC_RM: Signalled for stop."));
}

}  // namespace
}  // namespace FCResourceManagerTest
