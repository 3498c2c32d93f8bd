// The record of a RAID controller, its events on and off, and its removal.
#include "megaraid/vokMegaRAIDController.h"

#include <gmock/gmock.h>
#include <future>
#include <mutex>
#include <string>
#include <vector>

#include "megaraid/MegaRaidFixture.h"
#include "storage/VirtualSlots.h"
#include "support/FakeLibraries.h"

namespace vokMegaRAIDControllerTest {
namespace {

using testing::IsEmpty;

constexpr FakeStoreLibCommand registerCommand = {0, 1};
constexpr FakeStoreLibCommand unregisterCommand = {0, 2};
constexpr FakeStoreLibCommand controllerListCommand = {0, 3};

constexpr char refreshing[] = "DEBUG STOR_MR: Refreshing LSI cache during claim processing.";
constexpr char unusable[] = "ERROR STOR_MR: Issue occurred in discovering LSI MR inventory.";
constexpr char unregistering[] = "DEBUG STOR_MR: Unregistering AEN for all LSI MegaRAID controllers.";
constexpr char noMore[] = "DEBUG STOR_MR: No more LSI MegaRAID controllers remaining.";

// Shows what the events change.
class OpenController : public vokMegaRAIDController {
public:
    using vokMegaRAIDController::currentInfo;
    using vokMegaRAIDController::eventFlags;
    using vokMegaRAIDController::lock;
    using vokMegaRAIDController::vokMegaRAIDController;

    bool* deleted = nullptr;

protected:
    ~OpenController() override {
        if (deleted) *deleted = true;
    }
};

// True if another thread could take the controller's lock now.
bool isFree(OpenController& controller) {
    return std::async(std::launch::async,
                      [&controller] {
                          const std::unique_lock<std::recursive_mutex> attempt(controller.lock,
                                                                               std::try_to_lock);
                          return attempt.owns_lock();
                      })
        .get();
}

class RaidController : public MegaRaidFixture {
protected:
    vokStorageControllerInfo discover() {
        vokStorageControllerInfo info;
        EXPECT_EQ(controller->discoverInventory(info), 0);
        return info;
    }

    const vokHeldReference<OpenController> controller{new OpenController(0)};
};

TEST(RaidControllerSlots, TheClassAppendsFourOperations) {
    using Class = vokMegaRAIDController;
    EXPECT_EQ(slotsOf(&Class::discoverInventory, &Class::discoverPhysicalDiskInventory,
                      &Class::discoverLogicalDiskInventory),
              slotsFrom(2, 4));
    EXPECT_EQ(slotsOf(&Class::enableEvents, &Class::isEventsEnabled, &Class::disableEvents, &Class::poll,
                      &Class::processDeviceRemoval, &Class::processDeviceAddition),
              slotsFrom(7, 12));
    EXPECT_EQ(slotOf(&Class::discoverPhysicalDiskStatus),
              slotOf(&vokStorageController::discoverPhysicalDiskStatus));
    EXPECT_EQ(slotsOf(&Class::getDeviceName, &Class::setDeviceName, &Class::getDeviceDetected,
                      &Class::setDeviceDetected),
              slotsFrom(51, 54));
}

// --- the record ---

TEST_F(RaidController, ItIsOfTheSecondFamily) {
    EXPECT_EQ(controller->getFamilyFlags(), 2);
    EXPECT_EQ(controller->getControllerId(), 0u);
    EXPECT_EQ(controller->getDeviceName(), "");
    EXPECT_FALSE(controller->getDeviceDetected());
}

TEST_F(RaidController, TheRecordHasWhatTheLibraryTells) {
    start(firstFamily);
    library.controllers = {raidController()};
    const vokStorageControllerInfo info = discover();
    EXPECT_EQ(info.getSerialNumber(), "SV00000001");
    EXPECT_EQ(info.getFirmwareVersion(), "24.21.0-0148");
    EXPECT_EQ(info.getChipsetID(), 0x005D1000u);
    EXPECT_EQ(info.getBoardID(), 0x93631000u);
    EXPECT_EQ(info.getModel(), "Broadcom / LSI MegaRAID SAS 9361-4i Controller");
    EXPECT_EQ(info.getPartNumber(), "MEV-2000-100A");
    EXPECT_EQ(info.getProtocol(), "SAS/SATA");
    EXPECT_EQ(info.getDescription(), "PCI 0000:5e:00.0") << "no function is listed under this whole text";
    EXPECT_EQ(info.getPhysicalLocation(), slotLocation);
    EXPECT_EQ(info.getManufacturer(), "Broadcom / LSI");
    EXPECT_EQ(info.getState(), VOK_STATE_RUNNING);
    EXPECT_EQ(info.getHealth(), VOK_HEALTH_OK);
    EXPECT_EQ(info.getEventState(), VOK_STATE_RUNNING);
    EXPECT_EQ(info.getEventHealth(), VOK_HEALTH_OK);
    EXPECT_EQ(controller->getChipsetID(), 0x005D1000u);
    EXPECT_EQ(controller->getBoardID(), 0x93631000u);
    EXPECT_EQ(controller->getPciLocation(), "0000:5e:00.0");
    EXPECT_TRUE(controller->isMatchingController(0x005D1000, 0x93631000, "0000:5e:00.0", nullptr));
}

TEST_F(RaidController, TheProtocolsAreThoseOfTheModel) {
    library.controllers = {raidController(0, model9560Small)};
    EXPECT_EQ(discover().getProtocol(), "SAS/SATA/NVMe");
}

TEST_F(RaidController, AStatusThatAnEventHasSetStays) {
    library.controllers = {raidController()};
    discover();
    controller->currentInfo.setState(VOK_STATE_FAILED);
    controller->currentInfo.setHealth(VOK_HEALTH_CRITICAL);
    controller->currentInfo.setEventState(VOK_STATE_DEGRADED);
    controller->currentInfo.setEventHealth(VOK_HEALTH_WARNING);
    const vokStorageControllerInfo info = discover();
    EXPECT_EQ(info.getState(), VOK_STATE_FAILED);
    EXPECT_EQ(info.getHealth(), VOK_HEALTH_CRITICAL);
    EXPECT_EQ(info.getEventState(), VOK_STATE_DEGRADED);
    EXPECT_EQ(info.getEventHealth(), VOK_HEALTH_WARNING);
}

TEST_F(RaidController, AnUnknownEventStatusTakesThatOfTheController) {
    library.controllers = {raidController()};
    controller->currentInfo.setState(VOK_STATE_FAILED);
    controller->currentInfo.setHealth(VOK_HEALTH_CRITICAL);
    const vokStorageControllerInfo info = discover();
    EXPECT_EQ(info.getEventState(), VOK_STATE_FAILED);
    EXPECT_EQ(info.getEventHealth(), VOK_HEALTH_CRITICAL);
}

TEST_F(RaidController, OneThatTheLibraryNoLongerListsHasEmptyTexts) {
    start(firstFamily);
    library.controllers = {raidController()};
    discover();
    library.controllers = {raidController(1)};
    const vokStorageControllerInfo info = discover();
    EXPECT_EQ(info.getSerialNumber(), "");
    EXPECT_EQ(info.getFirmwareVersion(), "");
    EXPECT_EQ(info.getModel(), "");
    EXPECT_EQ(info.getPartNumber(), "");
    EXPECT_EQ(info.getProtocol(), "");
    EXPECT_EQ(info.getManufacturer(), "");
    EXPECT_EQ(info.getDescription(), "PCI ");
    EXPECT_EQ(info.getPhysicalLocation(), "FFFFFFFFFFFFFFFF");
    EXPECT_EQ(info.getChipsetID(), 0u);
    EXPECT_EQ(controller->getPciLocation(), "");
}

TEST_F(RaidController, EachDiscoveryRefreshesTheCaches) {
    library.controllers = {raidController()};
    discover();
    EXPECT_FALSE(logged(refreshing));
    const int builds = library.count(controllerListCommand);
    library.controllers[0].firmware = "newer";
    EXPECT_EQ(discover().getFirmwareVersion(), "newer");
    EXPECT_EQ(timesLogged(refreshing), 1);
    EXPECT_GT(library.count(controllerListCommand), builds);
}

TEST_F(RaidController, WithoutTheLibraryADiscoveryFailsAndChangesNothing) {
    host.part<FakeLibraries>().symbols.erase("libstorelib.so");
    vokStorageControllerInfo info;
    info.setModel("as before");
    EXPECT_EQ(controller->discoverInventory(info), -1);
    EXPECT_EQ(info.getModel(), "as before");
    EXPECT_EQ(timesLogged(unusable), 1);
    EXPECT_EQ(controller->discoverInventory(info), -1);
    EXPECT_EQ(timesLogged(unusable), 2);
    EXPECT_FALSE(logged(refreshing));
}

TEST_F(RaidController, ADiscoveryCountsTheControllers) {
    library.controllers = {raidController(0), raidController(1), raidController(2)};
    discover();
    EXPECT_EQ(vokMegaRAIDController::totalLSICtrls, 3);
    library.controllers.pop_back();
    discover();
    EXPECT_EQ(vokMegaRAIDController::totalLSICtrls, 2);
}

TEST_F(RaidController, SomeOperationsDoNothing) {
    library.controllers = {raidController()};
    discover();
    controller->enableEvents();
    const int calls = library.calls();
    vokDiskInfo disk;
    disk.setState(VOK_STATE_ONLINE);
    controller->poll();
    controller->processDeviceAddition(controller.get());
    controller->discoverPhysicalDiskStatus(disk);
    EXPECT_EQ(controller->disableEvents(), 0);
    EXPECT_EQ(controller->eventFlags, 7u);
    EXPECT_EQ(disk.getState(), VOK_STATE_ONLINE);
    EXPECT_EQ(library.calls(), calls);
}

// --- events ---

TEST_F(RaidController, EventsSetAllFlagsAndRegister) {
    library.controllers = {raidController()};
    discover();
    EXPECT_FALSE(controller->isEventsEnabled());
    EXPECT_EQ(controller->enableEvents(), 1);
    EXPECT_EQ(controller->eventFlags, 7u);
    EXPECT_TRUE(controller->isEventsEnabled());
    EXPECT_EQ(library.count(registerCommand), 1);
}

TEST_F(RaidController, OneRegistrationServesAllControllers) {
    library.controllers = {raidController(0), raidController(1)};
    discover();
    const vokHeldReference<vokMegaRAIDController> second = newRaidController(1);
    controller->enableEvents();
    controller->enableEvents();
    EXPECT_EQ(second->enableEvents(), 1);
    EXPECT_TRUE(second->isEventsEnabled());
    EXPECT_EQ(library.count(registerCommand), 1);
}

TEST_F(RaidController, ARefusedRegistrationIsTriedAgain) {
    library.controllers = {raidController()};
    discover();
    library.failures[registerCommand] = 0x8002;
    EXPECT_EQ(controller->enableEvents(), 1);
    EXPECT_TRUE(controller->isEventsEnabled());
    library.failures.clear();
    controller->enableEvents();
    controller->enableEvents();
    EXPECT_EQ(library.count(registerCommand), 2);
}

TEST_F(RaidController, BeforeTheLibraryIsLoadedNothingIsRegistered) {
    library.controllers = {raidController()};
    EXPECT_EQ(controller->enableEvents(), 1);
    EXPECT_TRUE(controller->isEventsEnabled());
    EXPECT_EQ(library.calls(), 0);
}

TEST_F(RaidController, ARegistrationHoldsNoLockOfTheController) {
    library.controllers = {raidController()};
    discover();
    bool wasFree = false;
    library.answer = [&](_SL_LIB_CMD_PARAM_T& command, std::uint32_t&) {
        if (command.commandType == 0 && command.command == 1) wasFree = isFree(*controller);
        return false;
    };
    controller->enableEvents();
    EXPECT_TRUE(wasFree);
}

// --- removal ---

TEST_F(RaidController, TheRemovalOfTheLastControllerEndsTheRegistration) {
    library.controllers = {raidController()};
    discover();
    controller->enableEvents();
    controller->addReference();
    controller->processDeviceRemoval();
    EXPECT_TRUE(controller->isRemoved());
    EXPECT_EQ(library.count(unregisterCommand), 1);
    EXPECT_THAT(library.registration(), IsEmpty());
    EXPECT_TRUE(logged(unregistering));
    EXPECT_TRUE(logged(noMore));
    EXPECT_EQ(vokMegaRAIDController::totalLSICtrls, 0);
}

TEST_F(RaidController, TheRemovalOfOneOfTwoControllersDoesNot) {
    library.controllers = {raidController(0), raidController(1)};
    discover();
    controller->enableEvents();
    controller->addReference();
    controller->processDeviceRemoval();
    EXPECT_EQ(library.count(unregisterCommand), 0);
    EXPECT_FALSE(logged(unregistering));
    EXPECT_FALSE(logged(noMore));
    EXPECT_EQ(vokMegaRAIDController::totalLSICtrls, 1);
    newRaidController(1).release()->processDeviceRemoval();
    EXPECT_EQ(library.count(unregisterCommand), 1);
    EXPECT_TRUE(logged(noMore));
}

TEST_F(RaidController, WithoutARegistrationTheLastRemovalOnlySaysSo) {
    library.controllers = {raidController()};
    discover();
    controller->addReference();
    controller->processDeviceRemoval();
    EXPECT_EQ(library.count(unregisterCommand), 0);
    EXPECT_FALSE(logged(unregistering));
    EXPECT_TRUE(logged(noMore));
}

TEST_F(RaidController, ARemovalDropsOneReference) {
    library.controllers = {raidController()};
    bool deleted = false;
    auto* const removed = new OpenController(0);
    removed->deleted = &deleted;
    removed->addReference();
    removed->processDeviceRemoval();
    EXPECT_FALSE(deleted);
    removed->dropReference();
    EXPECT_TRUE(deleted);
}

TEST_F(RaidController, ARemovalRaisesNoEvent) {
    letEventsPass();
    library.controllers = {raidController()};
    discover();
    std::vector<vokDiskInfo> disks;
    controller->discoverPhysicalDiskInventory(disks);
    controller->enableEvents();
    controller->addReference();
    controller->processDeviceRemoval();
    EXPECT_THAT(eventIds(), IsEmpty());
}

TEST_F(RaidController, TheEndOfTheRegistrationHoldsNoLockOfTheController) {
    library.controllers = {raidController()};
    discover();
    controller->enableEvents();
    bool wasFree = false;
    library.answer = [&](_SL_LIB_CMD_PARAM_T& command, std::uint32_t&) {
        if (command.commandType == 0 && command.command == 2) wasFree = isFree(*controller);
        return false;
    };
    controller->addReference();
    controller->processDeviceRemoval();
    EXPECT_TRUE(wasFree);
}

TEST_F(RaidController, AfterTheEndOfTheRegistrationAnotherControllerRegistersAnew) {
    library.controllers = {raidController()};
    discover();
    controller->enableEvents();
    controller->addReference();
    controller->processDeviceRemoval();
    newRaidController()->enableEvents();
    EXPECT_EQ(library.count(registerCommand), 2);
}

TEST_F(RaidController, ARemovedControllerDoesNotRegisterAgain) {
    library.controllers = {raidController()};
    discover();
    controller->enableEvents();
    controller->addReference();
    controller->processDeviceRemoval();
    EXPECT_EQ(controller->enableEvents(), 1);
    EXPECT_EQ(library.count(registerCommand), 1);
}

}  // namespace
}  // namespace vokMegaRAIDControllerTest
