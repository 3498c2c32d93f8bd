// The builds of the storage manager on a host with RAID controllers, and on one without the vendor's library.
#include <gmock/gmock.h>
#include <string>
#include <vector>

#include "megaraid/MegaRaidFixture.h"
#include "support/FakeCommands.h"
#include "support/FakeLibraries.h"

namespace RaidManagerTest {
namespace {

using testing::IsEmpty;
using testing::SizeIs;

constexpr FakeStoreLibCommand registerCommand = {0, 1};
constexpr FakeStoreLibCommand unregisterCommand = {0, 2};
constexpr FakeStoreLibCommand controllerListCommand = {0, 3};

class RaidManager : public MegaRaidFixture {
protected:
    ~RaidManager() override { vokMegaRAIDControllerFactory::getInstance()->shutdownFactory(); }

    std::vector<Json::Value> documents(int type) {
        std::vector<Json::Value> list;
        manager.getInventoryJsonObject2(type, list);
        return list;
    }
    // The lines of the log at these levels.
    std::vector<std::string> linesAt(const std::vector<std::string>& levels) const {
        std::vector<std::string> lines;
        for (const std::string& line : loggedLines(host))
            for (const std::string& level : levels)
                if (line.rfind(level + " ", 0) == 0) lines.push_back(line);
        return lines;
    }

    SASResourceManager& manager = *SASResourceManager::getInstance();
};

TEST_F(RaidManager, ABuildHasTheControllersWithTheirDisksAndVolumesAndTurnsTheirEventsOn) {
    library.controllers = {raidController(0), raidController(1)};
    library.controllers[1].disks = {raidDisk(1, "S1"), raidDisk(2, "S2")};
    manager.cacheBuild();
    ASSERT_THAT(documents(1), SizeIs(2));
    EXPECT_EQ(documents(1)[1]["SerialNumber"], "SV00000002");
    EXPECT_EQ(documents(1)[1]["Status"]["State"], "Running");
    ASSERT_THAT(documents(2), SizeIs(3));
    EXPECT_EQ(documents(2)[2]["Oem"]["Slot"], "252:2");
    ASSERT_THAT(documents(3), SizeIs(2));
    EXPECT_EQ(documents(3)[0]["Drives"][0], "S1");
    EXPECT_THAT(documents(4), IsEmpty());
    EXPECT_EQ(library.count(registerCommand), 1);
    EXPECT_TRUE(manager.isRunning());
}

TEST_F(RaidManager, ItDoesNotRunWhileAControllerHasItsEventsOff) {
    library.controllers = {raidController(0)};
    manager.cacheBuild();
    library.controllers.push_back(raidController(1));
    manager.cacheBuild();  // whose discovery lists it
    EXPECT_TRUE(manager.isRunning());
    std::vector<IvokStorageController*> found;
    vokMegaRAIDControllerFactory::getInstance()->discoverControllers(found);
    EXPECT_THAT(vokTakeReferences(found), SizeIs(2));
    EXPECT_FALSE(manager.isRunning());
    manager.cacheBuild();
    EXPECT_TRUE(manager.isRunning());
}

TEST_F(RaidManager, ItRunsWithoutTheEventsOfALibraryThatRefusesThem) {
    library.controllers = {raidController()};
    library.failures[registerCommand] = 0x8002;
    manager.cacheBuild();
    EXPECT_TRUE(manager.isRunning()) << "only the flags count";
}

TEST_F(RaidManager, AHostWithoutTheLibraryHasOneErrorForAllBuildsAndNoControllers) {
    start(firstFamily);
    host.part<FakeLibraries>().symbols.erase("libstorelib.so");
    for (int build = 0; build < 3; ++build) manager.cacheBuild();
    const std::vector<std::string> lines = linesAt({"ERROR", "WARNING", "INFO"});
    ASSERT_THAT(lines, SizeIs(1));
    EXPECT_EQ(lines[0],
              "ERROR LSI_INTERF: Failed to load library for monitoring MegaRAID devices. If you need VOK to "
              "monitor this class of devices, then kindly remove and install storelib package and restart "
              "vok.service.");
    EXPECT_EQ(timesLogged("DEBUG LSI_FACTORY: Issue occurred in discovering LSI MR inventory."), 3);
    EXPECT_THAT(documents(1), IsEmpty());
    EXPECT_TRUE(manager.isRunning());
}

TEST_F(RaidManager, ABuildThatTheStopCutsShortAsksNoFurtherControllerAndRegistersNothing) {
    library.controllers = {raidController(0), raidController(1)};
    int lists = 0;
    library.answer = [&](_SL_LIB_CMD_PARAM_T& command, std::uint32_t&) {
        const bool isList =
            FakeStoreLibCommand(command.commandType, command.command) == controllerListCommand;
        // The first list is the factory's; the next one the first controller's.
        if (isList && ++lists == 2) host.part<FakeCommands>().requestStop(vokStopPhase::requested);
        return false;
    };
    manager.cacheBuild();
    EXPECT_EQ(lists, 2);
    EXPECT_EQ(library.count(registerCommand), 0);
    EXPECT_THAT(documents(1), IsEmpty());
    EXPECT_TRUE(logged("INFO SAS_RM: The stop has cut the build short; the previous inventory stays."));
    vokMegaRAIDControllerFactory::getInstance()->shutdownFactory();
    EXPECT_EQ(library.count(unregisterCommand), 0) << "without a registration";
}

}  // namespace
}  // namespace RaidManagerTest
