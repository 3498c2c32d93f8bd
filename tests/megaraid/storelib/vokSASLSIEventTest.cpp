// What the callback does with an event.
#include <gmock/gmock.h>
#include <atomic>
#include <new>
#include <string>
#include <thread>

#include "megaraid/storelib/RaidEventFixture.h"
#include "support/FakeClock.h"
#include "support/FakeSystemLog.h"

namespace vokSASLSIEventTest {
namespace {

using testing::IsEmpty;
using testing::SizeIs;

constexpr unsigned volumes = 0x0001;
constexpr unsigned disks = 0x0002;
constexpr unsigned battery = 0x0008;
constexpr unsigned controllers = 0x0020;

// Arguments that name the disk 0x0B of enclosure 252 in slot 5.
const std::string diskArguments("\x0B\x00\xFC\x05", 4);

class RaidEvent : public RaidEventFixture {
protected:
    void SetUp() override {
        FakeRaidDisk disk;
        disk.deviceId = 0x0B;
        disk.slot = 5;
        disk.serial = "DISK11";
        library.controllers[0].disks = {disk};
        library.controllers[1].disks = {disk};
        library.controllers[1].disks[0].serial = "OTHER11";
        buildCaches();
        ASSERT_TRUE(registerEvents());
    }
    // Returns what the callback did.
    std::uint32_t deliver(std::uint32_t code, unsigned locale, std::uint8_t type,
                          const std::string& arguments, std::uint32_t controllerId = 1) {
        return library.deliver(
            0, controllerId,
            FakeStoreLib::eventRecord(code, static_cast<std::uint16_t>(locale), 1, type, arguments, "text"));
    }
    // The one event that was passed on.
    static VOK_SAS_EVENT_DETAIL one() {
        EXPECT_THAT(received, SizeIs(1));
        return received.empty() ? VOK_SAS_EVENT_DETAIL() : received.front();
    }
    int diskBuilds() const { return library.count({1, 4}); }
    int volumeBuilds() const { return library.count({1, 13}); }
    int controllerBuilds() const { return library.count({0, 3}); }
    long cacheBuilds() const { return timesLogged("DEBUG LSI_INTERF: vokStoreLibInterface::cacheBuild()"); }
};

// --- what is passed on ---

TEST_F(RaidEvent, ADiskEventCarriesAllThatTheRecordTells) {
    const std::string record = FakeStoreLib::eventRecord(0x70, disks, 2, 1, diskArguments, "PD removed");
    EXPECT_EQ(library.deliver(0, 1, record), 0u);
    const VOK_SAS_EVENT_DETAIL event = one();
    EXPECT_EQ(event.eventCode, 0x70u);
    EXPECT_EQ(event.eventClass, 4u);
    EXPECT_EQ(event.eventLocale, "PD_EVENT");
    EXPECT_EQ(event.controllerId, 1u);
    EXPECT_EQ(event.controllerSerial, "SV00000001");
    EXPECT_EQ(event.driveSerial, "DISK11");
    EXPECT_EQ(event.enclosure, 252);
    EXPECT_EQ(event.slot, 5);
    EXPECT_EQ(event.extraValue, 0u);
    EXPECT_EQ(event.description, "PD removed");
    EXPECT_EQ(event.targetId, -1);
    EXPECT_EQ(std::string(event.eventDetail.begin(), event.eventDetail.end()), record);
    EXPECT_TRUE(logged("INFO LSI_EVENT_INTERF: [Msg # 0x0070] PD removed"));
}

TEST_F(RaidEvent, AStateChangeOfADiskCarriesTheNewState) {
    deliver(0x72, disks, 15, diskArguments + std::string("....\x11\x00\x00\x00", 8));
    EXPECT_EQ(one().extraValue, 0x11u);
    EXPECT_EQ(one().driveSerial, "DISK11");
}

TEST_F(RaidEvent, AnEventOfALogicalDriveCarriesItsTarget) {
    deliver(0x51, volumes, 8, std::string("\x03\x00......\x02\x00\x00\x00", 12));
    const VOK_SAS_EVENT_DETAIL event = one();
    EXPECT_EQ(event.eventLocale, "LD_EVENT");
    EXPECT_EQ(event.targetId, 3);
    EXPECT_EQ(event.extraValue, 2u);
    EXPECT_EQ(event.driveSerial, "NotAvailable");
    EXPECT_EQ(event.enclosure, -1);
    EXPECT_EQ(event.slot, -1);
}

TEST_F(RaidEvent, EventsOfAControllerAndOfABatteryUseNoArguments) {
    for (const unsigned locale : {controllers, battery}) {
        received.clear();
        deliver(0x23, locale, 15, std::string(20, '\x07'));
        const VOK_SAS_EVENT_DETAIL event = one();
        EXPECT_EQ(event.eventLocale, locale == battery ? "BBU_EVENT" : "CTRL_EVENT");
        EXPECT_EQ(event.driveSerial, "NotAvailable");
        EXPECT_EQ(event.enclosure, -1);
        EXPECT_EQ(event.slot, -1);
        EXPECT_EQ(event.extraValue, 0u);
        EXPECT_EQ(event.targetId, -1);
    }
}

TEST_F(RaidEvent, ACallWithoutARecordDoesNothing) {
    EXPECT_EQ(vokSASLSIEvent::AENCallBack(nullptr), 0u);
    EXPECT_THAT(received, IsEmpty());
}

TEST_F(RaidEvent, AnUnknownControllerHasNoSerialAndTheEventGoesOn) {
    deliver(0x70, disks, 1, diskArguments, 99);
    EXPECT_EQ(one().controllerId, 99u);
    EXPECT_EQ(one().controllerSerial, "NotAvailable");
    EXPECT_EQ(one().driveSerial, "NotAvailable");
    EXPECT_EQ(one().slot, 5);
}

TEST_F(RaidEvent, TheIdOfAControllerIsReadInItsFullWidth) {
    deliver(0x23, controllers, 0, "", 0x00010001);
    EXPECT_EQ(one().controllerId, 0x00010001u);
    EXPECT_EQ(one().controllerSerial, "NotAvailable");
}

TEST_F(RaidEvent, TheIdOfNoControllerIsUnknown) {
    deliver(0x23, controllers, 0, "", 0xFFFFFFFF);
    EXPECT_EQ(one().controllerSerial, "NotAvailable");
}

TEST_F(RaidEvent, ADiskIsLookedUpAtItsController) {
    deliver(0x70, disks, 1, diskArguments, 7);
    EXPECT_EQ(one().controllerSerial, "SV00000007");
    EXPECT_EQ(one().driveSerial, "OTHER11");
}

TEST_F(RaidEvent, AnUnknownDiskHasNoSerial) {
    deliver(0x70, disks, 1, std::string("\x0C\x00\xFC\x05", 4));
    EXPECT_EQ(one().driveSerial, "NotAvailable");
    EXPECT_EQ(one().slot, 5);
}

TEST_F(RaidEvent, ADiskWithoutASerialKeepsItEmpty) {
    library.controllers[0].disks[0].serial = "";
    interface().cacheBuild("PD_EVENT");
    deliver(0x70, disks, 1, diskArguments);
    EXPECT_EQ(one().driveSerial, "");
}

TEST_F(RaidEvent, AnUnknownArgumentTypeOfADiskEventNamesNoDisk) {
    deliver(0x70, disks, 200, diskArguments);
    const VOK_SAS_EVENT_DETAIL event = one();
    EXPECT_EQ(event.driveSerial, "NotAvailable");
    EXPECT_EQ(event.enclosure, -1);
    EXPECT_EQ(event.slot, -1);
    EXPECT_TRUE(
        logged("INFO LSI_EVENT_INTERF: Ignoring LSI MegaRAID PD-locale event argument type: [200]; Event "
               "code: [0x70]"));
}

TEST_F(RaidEvent, AnUnknownArgumentTypeOfAVolumeEventNamesNoVolume) {
    deliver(0xF9, volumes, 255, diskArguments);
    EXPECT_EQ(one().targetId, -1);
    EXPECT_TRUE(
        logged("DEBUG LSI_EVENT_INTERF: Ignoring LSI MegaRAID LD-locale event argument type: [255]; Event "
               "code: [0xf9]"));
}

TEST_F(RaidEvent, ADescriptionMayFillItsField) {
    library.deliver(0, 1, controllerEvent(0x23, std::string(128, 'x')));
    EXPECT_EQ(one().description, std::string(128, 'x'));
    EXPECT_TRUE(logged("INFO LSI_EVENT_INTERF: [Msg # 0x0023] " + std::string(128, 'x')));
}

TEST_F(RaidEvent, WithoutAFunctionTheCacheIsBuiltAllTheSame) {
    ASSERT_TRUE(events().RegisterForAEN(nullptr));
    const int before = diskBuilds();
    EXPECT_EQ(deliver(0x70, disks, 1, diskArguments), 0u);
    EXPECT_EQ(diskBuilds(), before + 2);  // of two controllers
    EXPECT_THAT(received, IsEmpty());
}

// --- what is not ---

TEST_F(RaidEvent, ARecordWithAStatusIsNoEvent) {
    const int before = library.calls();
    EXPECT_EQ(library.deliver(0x8009, 1, controllerEvent()), 0x8009u);
    EXPECT_EQ(library.deliver(0x0001, 1, controllerEvent()), 0x0001u);
    EXPECT_EQ(library.deliver(0x0100, 1, controllerEvent()), 0x0100u);
    EXPECT_THAT(received, IsEmpty());
    EXPECT_EQ(library.calls(), before);
    EXPECT_EQ(events().UnregisterForAEN(), 0u);  // waits for nothing
}

TEST_F(RaidEvent, OtherCategoriesAreDroppedBeforeTheCacheIsBuilt) {
    const int before = library.calls();
    const long builds = cacheBuilds();
    for (const unsigned locale : {0x0004u, 0x0010u, 0x0040u, 0x0080u, 0xFFFFu, 0x0000u, 0x0006u})
        EXPECT_EQ(deliver(0x30, locale, 1, diskArguments), 0u);
    EXPECT_EQ(deliver(0xE7, 0x0003, 1, diskArguments), 0u);  // a change of the configuration by its code
    EXPECT_THAT(received, IsEmpty());
    EXPECT_EQ(library.calls(), before);
    EXPECT_EQ(cacheBuilds(), builds);
    EXPECT_FALSE(logged("INFO LSI_EVENT_INTERF: [Msg # 0x0030] text"));
}

TEST_F(RaidEvent, SeveralLocalesGoByTheCode) {
    deliver(0x8A, 0x0003, 2, std::string("\x04\x00", 2));
    EXPECT_EQ(one().eventLocale, "LD_EVENT");
    EXPECT_EQ(one().targetId, 4);
}

// --- the cache that the event touches ---

TEST_F(RaidEvent, OnlyTheCacheOfItsKindIsBuilt) {
    const int diskBefore = diskBuilds();
    const int volumeBefore = volumeBuilds();
    const int controllerBefore = controllerBuilds();
    deliver(0x70, disks, 1, diskArguments);
    EXPECT_EQ(diskBuilds(), diskBefore + 2);
    EXPECT_EQ(volumeBuilds(), volumeBefore);
    deliver(0xF9, volumes, 2, diskArguments);
    EXPECT_EQ(volumeBuilds(), volumeBefore + 2);
    EXPECT_EQ(controllerBuilds(), controllerBefore);
    deliver(0x23, controllers, 0, "");
    EXPECT_EQ(controllerBuilds(), controllerBefore + 1);
    EXPECT_EQ(diskBuilds(), diskBefore + 2);
    EXPECT_EQ(volumeBuilds(), volumeBefore + 2);
}

TEST_F(RaidEvent, ABatteryEventBuildsNothingAlthoughABuildIsAskedFor) {
    const int before = library.calls();
    const long builds = cacheBuilds();
    deliver(0x96, battery, 0, "");
    EXPECT_THAT(received, SizeIs(1));
    EXPECT_EQ(library.calls(), before);
    EXPECT_EQ(cacheBuilds(), builds + 1);
}

TEST_F(RaidEvent, TheFunctionIsCalledAfterTheBuildWithoutALock) {
    library.controllers[0].disks.clear();
    std::size_t left = 99;
    onEvent = [&](const VOK_SAS_EVENT_DETAIL&) { left = interface().getPDInventoryForCtrl(1).size(); };
    deliver(0x70, disks, 1, diskArguments);
    EXPECT_EQ(one().driveSerial, "DISK11");  // looked up before
    EXPECT_EQ(left, 0u);
    EXPECT_THAT(host.part<FakeClock>().pauses(), IsEmpty());
}

TEST_F(RaidEvent, DuringABuildItReadsThePreviousOneAndItsOwnBuildFollows) {
    interface().cacheBuild("All");  // so that the previous build has content
    std::atomic<bool> hasBegun{false};
    std::thread libraryThread;
    library.answer = [&](_SL_LIB_CMD_PARAM_T& block, std::uint32_t&) {
        if (block.commandType != 1 || block.command != 4 || hasBegun.exchange(true)) return false;
        libraryThread = std::thread([&] { deliver(0x70, disks, 1, diskArguments); });
        while (!logged("INFO LSI_EVENT_INTERF: [Msg # 0x0070] text")) std::this_thread::yield();
        EXPECT_THAT(received, IsEmpty());
        return false;
    };
    const int before = diskBuilds();
    interface().cacheBuild("All");
    libraryThread.join();
    EXPECT_EQ(one().controllerSerial, "SV00000001");
    EXPECT_EQ(one().driveSerial, "DISK11");
    EXPECT_EQ(diskBuilds(), before + 2 + 2);
    EXPECT_EQ(host.part<FakeClock>().pauses(), std::vector<unsigned long>(6, 2000000));
}

// --- the retry counter ---

class RaidEventRetries : public RaidEvent {
protected:
    static constexpr char reset[] =
        "DEBUG LSI_EVENT_INTERF: Resetting retry/failure counters on PD inserted/state-change event @ "
        "[252:5].";
};

TEST_F(RaidEventRetries, TheCounterOfACopyIsResetSoTheCachedOneStays) {
    library.controllers[0].disks[0].serial = "";  // so page 80h is asked for, which fails
    interface().cacheBuild("PD_EVENT");
    ASSERT_EQ(interface().getPDInventoryForCtrl(1).at(0).serialRetryCount, 1);
    deliver(0x72, disks, 15, diskArguments);
    EXPECT_EQ(timesLogged(reset), 1);
    EXPECT_EQ(interface().getPDInventoryForCtrl(1).at(0).serialRetryCount, 2);  // by the build of the event
    deliver(0x5B, disks, 1, diskArguments);
    EXPECT_EQ(timesLogged(reset), 2);
    EXPECT_EQ(interface().getPDInventoryForCtrl(1).at(0).serialRetryCount, 3);
}

TEST_F(RaidEventRetries, OtherEventsAndUnknownDisksResetNothing) {
    deliver(0x70, disks, 1, diskArguments);
    deliver(0x71, disks, 1, diskArguments);
    deliver(0x73, disks, 1, diskArguments);
    deliver(0x72, disks, 1, std::string("\x0C\x00\xFC\x05", 4));
    EXPECT_EQ(timesLogged(reset), 0);
}

// --- failures ---

TEST_F(RaidEvent, AnExceptionStaysInTheCallbackWhichThenHasLeft) {
    onEvent = [](const VOK_SAS_EVENT_DETAIL&) { throw std::bad_alloc(); };
    EXPECT_EQ(deliver(0x23, controllers, 0, ""), 0u);
    EXPECT_TRUE(logged("ERROR LSI_EVENT_INTERF: An event of controller 1 was lost: std::bad_alloc"));
    onEvent = [](const VOK_SAS_EVENT_DETAIL&) { throw 1; };
    EXPECT_EQ(deliver(0x23, controllers, 0, "", 7), 0u);
    EXPECT_TRUE(logged("ERROR LSI_EVENT_INTERF: An event of controller 7 was lost: unknown failure"));
    EXPECT_EQ(events().UnregisterForAEN(), 0u);
}

TEST_F(RaidEvent, AnExceptionOfTheLogStaysInTheCallbackToo) {
    onEvent = [](const VOK_SAS_EVENT_DETAIL&) { throw std::bad_alloc(); };
    host.part<FakeSystemLog>().onLine = [](const std::string& text) {
        if (text.find("was lost") != std::string::npos) throw std::bad_alloc();
    };
    EXPECT_EQ(deliver(0x23, controllers, 0, ""), 0u);
    EXPECT_EQ(events().UnregisterForAEN(), 0u);
}

}  // namespace
}  // namespace vokSASLSIEventTest
