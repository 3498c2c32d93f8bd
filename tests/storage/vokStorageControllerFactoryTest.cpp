// The walk over the SCSI hosts: which controllers there are, and what becomes of those that go and come back.
#include "storage/vokStorageControllerFactory.h"

#include <gmock/gmock.h>
#include <atomic>
#include <filesystem>
#include <thread>

#include "storage/FactoryFixture.h"
#include "storage/vokGenericStorageFactory.h"

namespace vokStorageControllerFactoryTest {
namespace {

namespace fs = std::filesystem;
using namespace factoryFixture;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

// --- controllers and their ports ---

class InEachLayout : public StorageFactory, public testing::WithParamInterface<SysfsLayout> {};

TEST_P(InEachLayout, TwoHostsOfOnePciFunctionAreOneControllerWithTwoPorts) {
    tree.layout = GetParam();
    tree.addController({});
    addHost(0);
    addHost(1);
    const List found = walk();
    ASSERT_THAT(found, SizeIs(1));
    EXPECT_THAT(found[0]->getPortVector(),
                ElementsAre("/sys/class/scsi_host/host0", "/sys/class/scsi_host/host1"));
    EXPECT_EQ(found[0]->getPciLocation(), "0000:3b:00.0");
    EXPECT_EQ(found[0]->getChipsetID(), chipset);
    EXPECT_EQ(found[0]->getBoardID(), board);
    EXPECT_TRUE(factoryLogged("Searching for storage controllers."));
    EXPECT_TRUE(factoryLogged("Processing /sys/class/scsi_host/host0"));
    EXPECT_TRUE(
        factoryLogged("Claim processing for /sys/class/scsi_host/host0 [0x28268086 0x18086] @ 0000:3b:00.0"));
    char managed[128];
    std::snprintf(
        managed, sizeof(managed),
        "/sys/class/scsi_host/host0 [0x28268086, 0x18086 0000:3b:00.0] managed by device object: [%p]",
        static_cast<void*>(static_cast<vokStorageController*>(claims->created.at(0))));
    EXPECT_TRUE(factoryLogged(managed));
    EXPECT_TRUE(factoryLogged("Found port /sys/class/scsi_host/host1 on controller @ 0000:3b:00.0."));
}

TEST_P(InEachLayout, AnAtaHostLiesOneLevelDeeper) {
    tree.layout = GetParam();
    tree.addController({"0000:00:17.0"});
    addHost(2, 3);
    const List found = walk();
    ASSERT_THAT(found, SizeIs(1));
    EXPECT_EQ(found[0]->getPciLocation(), "0000:00:17.0");
    EXPECT_EQ(found[0]->getChipsetID(), chipset);
}

TEST_P(InEachLayout, TheDeepestPciFunctionOfThePathIsTheController) {
    tree.layout = GetParam();
    for (const char* const name : {"vendor", "device", "subsystem_vendor", "subsystem_device"})
        host.root.writeFile(std::string("/sys/devices/pci0000:00/0000:00:03.0/") + name, "0x1111\n");
    tree.addController({"0000:01:00.0", "0000:00:03.0"});
    addHost(0);
    const List found = walk();
    ASSERT_THAT(found, SizeIs(1));
    EXPECT_EQ(found[0]->getPciLocation(), "0000:01:00.0");
    EXPECT_EQ(found[0]->getChipsetID(), chipset) << "not that of the bridge";
    EXPECT_EQ(found[0]->getBoardID(), board);
}

INSTANTIATE_TEST_SUITE_P(Sysfs, InEachLayout, testing::Values(SysfsLayout::older, SysfsLayout::current));

TEST_F(StorageFactory, TheTextOfTheLinkIsLoggedAsItIs) {
    tree.addController({});
    addHost(0);
    walk();
    EXPECT_TRUE(factoryLogged("Scsi Link /sys/class/scsi_host/host0 -- buffer ../../../host0"));
}

TEST_F(StorageFactory, TheTextOfALinkIsCutAfter255Characters) {
    const std::string part = "/" + std::string(100, 'x');
    const std::string target = "../devices/0000:00:17.0" + part + part + part + "/0000:3b:00.0/host0";
    const fs::path entry = host.path("/sys/class/scsi_host/host0");
    host.root.writeFile("/sys/class/scsi_host/host0/state", "running\n");
    fs::create_symlink(target, entry / "device");
    // Attributes of the PCI function, by way of a directory of that path.
    fs::create_directories(entry / target);
    for (const char* name : {"vendor", "subsystem_vendor", "device", "subsystem_device"})
        host.root.writeFile("/sys/class/scsi_host/host0/" + target + "/../" + name,
                            std::string(name).find("vendor") == std::string::npos ? "0x2826\n" : "0x8086\n");
    const List found = walk();
    ASSERT_THAT(found, SizeIs(1));
    EXPECT_EQ(found[0]->getPciLocation(), "0000:00:17.0") << "that after the cut is not read";
    EXPECT_TRUE(factoryLogged("Scsi Link /sys/class/scsi_host/host0 -- buffer " + target.substr(0, 255)));
}

TEST_F(StorageFactory, AHostWithoutPciAttributesIsSkipped) {
    host.root.writeFile("/sys/class/scsi_host/host9/device/state", "running\n");
    tree.addController({});
    addHost(10);
    EXPECT_THAT(walk(), SizeIs(1)) << "and the walk goes on";
    EXPECT_TRUE(factoryLogged("Unable to access PCI card information for /sys/class/scsi_host/host9."));
}

TEST_F(StorageFactory, AHostWithoutAPciLocationIsSkipped) {
    for (const char* name : {"vendor", "device", "subsystem_vendor", "subsystem_device"})
        host.root.writeFile(std::string("/sys/devices/virtual/") + name, "0x1234\n");
    host.root.writeFile("/sys/devices/virtual/host9/state", "running\n");
    fs::create_directories(host.path("/sys/class/scsi_host/host9"));
    fs::create_symlink("../../../devices/virtual/host9", host.path("/sys/class/scsi_host/host9/device"));
    EXPECT_THAT(walk(), IsEmpty());
    EXPECT_TRUE(
        factoryLogged("Skipping host port [/sys/class/scsi_host/host9 0x12341234 0x12341234] due to absence "
                      "of PCI location."));
    EXPECT_THAT(claims->calls.take(), ElementsAre("refresh")) << "no class is asked";
}

TEST_F(StorageFactory, AModelOfAnotherFactoryIsLeftToIt) {
    ScriptedFactory other;
    other.models = {{chipset, board}};
    const SASResourceManager::Factories registration(&other);
    tree.addController({});
    addHost(0);
    FakeController different;
    different.location = "0000:5e:00.0";
    different.board = 0x00028086;
    tree.addController(different);
    addHost(1);
    const List found = walk();
    ASSERT_THAT(found, SizeIs(1)) << "another board is not the same model";
    EXPECT_EQ(found[0]->getPciLocation(), "0000:5e:00.0");
    EXPECT_TRUE(
        factoryLogged("Skipping controller model [0x28268086 0x00018086], since it is handled by another "
                      "factory instance."));
}

TEST_F(StorageFactory, AModelOfAnyBoardOfAnotherFactoryIsLeftToItEvenIfTheTableHasIt) {
    ScriptedFactory other;
    other.models = {{0x005D1000, 0}};
    const SASResourceManager::Factories registration(&other);
    FakeController megaRaid;
    megaRaid.chipset = 0x005D1000;
    megaRaid.board = 0x93631000;
    tree.addController(megaRaid);
    addHost(0);
    EXPECT_THAT(walk(), IsEmpty());
}

TEST_F(StorageFactory, NamesNoModelsOfItsOwn) {
    EXPECT_THAT(factory.getSupportedControllerModels(), IsEmpty());
}
// --- walks after the first ---

TEST_F(StorageFactory, AControllerIsNewUntilTheNextWalk) {
    tree.addController({});
    addHost(0);
    const List first = walk();
    EXPECT_TRUE(first.at(0)->getNewDevice());
    const List second = walk();
    EXPECT_FALSE(second.at(0)->getNewDevice());
    EXPECT_EQ(first[0], second.at(0));
}

TEST_F(StorageFactory, EachWalkFindsThePortsAnew) {
    tree.addController({});
    addHost(0);
    addHost(1);
    walk();
    tree.removePort(0);
    addHost(2);
    const List found = walk();
    ASSERT_THAT(found, SizeIs(1));
    EXPECT_THAT(found[0]->getPortVector(),
                ElementsAre("/sys/class/scsi_host/host1", "/sys/class/scsi_host/host2"));
}

TEST_F(StorageFactory, AControllerWithoutPortsIsRemovedAndItsReferenceDroppedOnce) {
    tree.addController({});
    addHost(0);
    const List held = walk();
    tree.removePort(0);
    EXPECT_THAT(walk(), IsEmpty());
    EXPECT_EQ(claims->created.at(0)->removals, 1);
    EXPECT_TRUE(held[0]->isRemoved());
    EXPECT_EQ(claims->deleted, 0) << "this test holds it";
    EXPECT_THAT(known(), IsEmpty());
    EXPECT_THAT(walk(), IsEmpty());
    EXPECT_EQ(claims->created.at(0)->removals, 1);
}

TEST_F(StorageFactory, ARemovedControllerIsDeletedWhenNobodyHoldsIt) {
    tree.addController({});
    addHost(0);
    walk();
    tree.removePort(0);
    walk();
    EXPECT_EQ(claims->deleted, 1);
}

TEST_F(StorageFactory, AWalkReplacesWhatTheListHeld) {
    tree.addController({});
    addHost(0);
    std::vector<IvokStorageController*> out{nullptr, nullptr};
    factory.discoverControllers(out);
    ASSERT_THAT(out, SizeIs(1));
    const List held = vokTakeReferences(out);
    EXPECT_EQ(held[0]->getPciLocation(), "0000:3b:00.0");
}

TEST_F(StorageFactory, ADirectoryOfHostsThatCannotBeListedIsAWarning) {
    const std::string start = "WARNING STOR_FACT: Unable to list /sys/class/scsi_host/: ";
    walk();  // none is there, as on a host without SCSI
    EXPECT_EQ(countLogged(host, start + "(2)."), 0);
    host.root.writeFile("/sys/class/scsi_host", "no directory");
    EXPECT_THAT(walk(), IsEmpty());
    EXPECT_EQ(countLogged(host, start + "(20)."), 1);
}

TEST_F(StorageFactory, WithoutTheDirectoryOfHostsAllControllersAreGone) {
    tree.addController({});
    addHost(0);
    walk();
    fs::remove_all(host.path("/sys/class/scsi_host"));
    EXPECT_THAT(walk(), IsEmpty());
    EXPECT_EQ(claims->deleted, 1);
}

TEST_F(StorageFactory, APushIsRequestedByAWalkThatFindsAChange) {
    EXPECT_THAT(walk(), IsEmpty());
    EXPECT_EQ(pushRequests(), 0);
    tree.addController({});
    addHost(0);
    walk();
    EXPECT_EQ(pushRequests(), 1) << "a new controller";
    addHost(1);
    walk();
    EXPECT_EQ(pushRequests(), 1) << "a new port is none";
    tree.removePort(0);
    tree.removePort(1);
    walk();
    EXPECT_EQ(pushRequests(), 2) << "a controller has gone";
    walk();
    EXPECT_EQ(pushRequests(), 2);
}

TEST_F(StorageFactory, AReturningControllerTakesOverFromTheRemovedOneThatSomebodyHolds) {
    tree.addController({});
    addHost(0);
    const List held = walk();
    tree.removePort(0);
    walk();
    tree.addController({});
    addHost(4);
    const List found = walk();
    ASSERT_THAT(found, SizeIs(1));
    EXPECT_NE(found[0], held[0]);
    EXPECT_EQ(claims->created.at(1)->successorOf, held[0].get());
    EXPECT_EQ(claims->created.at(1)->portsAtAddition, 0u) << "before it gets its port";
    EXPECT_THAT(found[0]->getPortVector(), ElementsAre("/sys/class/scsi_host/host4"));
}

TEST_F(StorageFactory, AReturningControllerOfWhichNobodyHoldsTheRemovedOneStartsAnew) {
    tree.addController({});
    addHost(0);
    walk();
    tree.removePort(0);
    walk();
    tree.addController({});
    addHost(0);
    walk();
    EXPECT_EQ(claims->created.at(1)->successorOf, nullptr);
    const std::vector<std::string> calls = claims->calls.take();
    EXPECT_THAT(calls, testing::Not(testing::Contains("processDeviceAddition")));
}

TEST_F(StorageFactory, OfTwoRemovedControllersTheLatestHandsOn) {
    List held;
    for (int turn = 0; turn < 2; ++turn) {
        tree.addController({});
        addHost(0);
        held.push_back(std::move(walk().at(0)));
        tree.removePort(0);
        walk();
    }
    tree.addController({});
    addHost(0);
    walk();
    EXPECT_EQ(claims->created.at(2)->successorOf, held[1].get());
}

TEST_F(StorageFactory, ARemovedControllerOfAnotherPlaceHandsNothingOn) {
    tree.addController({});
    addHost(0);
    const List held = walk();
    tree.removePort(0);
    walk();
    FakeController elsewhere;
    elsewhere.location = "0000:5e:00.0";
    tree.addController(elsewhere);
    addHost(0);
    walk();
    EXPECT_EQ(claims->created.at(1)->successorOf, nullptr);
}

TEST_F(StorageFactory, AControllerThatOthersRemovedIsReplacedByItsSuccessor) {
    tree.addController({});
    addHost(0);
    addHost(1);
    const List held = walk();
    held[0]->setRemoved();
    const List found = walk();
    ASSERT_THAT(found, SizeIs(1));
    EXPECT_NE(found[0], held[0]);
    EXPECT_EQ(claims->created.at(1)->successorOf, held[0].get());
    EXPECT_EQ(found[0]->getPortListSize(), 2u);
    EXPECT_EQ(claims->created.at(0)->removals, 0);
    EXPECT_EQ(pushRequests(), 2);
}

TEST_F(StorageFactory, AControllerThatOthersRemovedAndThatDoesNotReturnRequestsAPush) {
    tree.addController({});
    addHost(0);
    const List held = walk();
    ASSERT_EQ(pushRequests(), 1);
    held[0]->setRemoved();
    tree.removePort(0);
    EXPECT_THAT(walk(), IsEmpty());
    EXPECT_EQ(pushRequests(), 2);
    EXPECT_EQ(claims->created.at(0)->removals, 0);
}

TEST_F(StorageFactory, AControllerThatOthersRemoveDuringTheWalkIsNotRemovedAgain) {
    tree.addController({});
    addHost(0);
    const List held = walk();
    tree.removePort(0);
    FakeController other;
    other.location = "0000:5e:00.0";
    tree.addController(other);
    addHost(1);
    claims->onClaim = [&] { held[0]->setRemoved(); };
    walk();
    EXPECT_EQ(claims->created.at(0)->removals, 0);
    EXPECT_THAT(walk(), SizeIs(1)) << "the next walk drops it";
}

TEST_F(StorageFactory, ThousandsOfWalksAndRemovalsWithAThreadThatHoldsControllersLeaveNoneBehind) {
    constexpr int turns = 1000;
    std::atomic<bool> ends{false};
    std::thread reader([&] {
        while (!ends) {
            for (const auto& controller : known()) EXPECT_EQ(controller->getPciLocation(), "0000:3b:00.0");
            const auto found = factory.FindExistingController(chipset, board, "0000:3b:00.0", "");
            EXPECT_TRUE(!found || found->getChipsetID() == chipset);
            std::this_thread::yield();
        }
    });
    for (int turn = 0; turn < turns; ++turn) {
        tree.addController({});
        addHost(0);
        EXPECT_THAT(walk(), SizeIs(1));
        tree.removePort(0);
        EXPECT_THAT(walk(), IsEmpty());
    }
    ends = true;
    reader.join();
    EXPECT_THAT(claims->created, SizeIs(turns));
    EXPECT_EQ(claims->deleted, turns);
}

// --- the known controllers ---

TEST_F(StorageFactory, ControllersAreSelectedByFamilyAndEachIsHandedOutWithAReference) {
    tree.addController({});
    addHost(0);
    walk();
    EXPECT_THAT(known(1), SizeIs(1));
    EXPECT_THAT(known(3), SizeIs(1));
    EXPECT_THAT(known(2), IsEmpty());
    std::vector<IvokStorageController*> out{nullptr, nullptr};
    factory.getControllers(2, out);
    EXPECT_THAT(out, IsEmpty()) << "what it held is cleared";
    const List held = known();
    factory.deleteControllers(1);
    EXPECT_EQ(claims->deleted, 0) << "this test holds it";
    EXPECT_EQ(held.at(0)->getPciLocation(), "0000:3b:00.0");
}

TEST_F(StorageFactory, DeletedControllersAreDroppedAndNotRemoved) {
    tree.addController({});
    addHost(0);
    walk();
    factory.deleteControllers(2);
    EXPECT_THAT(known(), SizeIs(1));
    factory.deleteControllers(1);
    EXPECT_THAT(known(), IsEmpty());
    EXPECT_EQ(claims->deleted, 1);
    EXPECT_THAT(claims->calls.take(), testing::Not(testing::Contains("processDeviceRemoval")));
}

TEST_F(StorageFactory, TheShutdownRemovesEachControllerWithoutEvents) {
    tree.addController({});
    addHost(0);
    walk();
    claims->calls.take();
    factory.shutdownFactory();
    EXPECT_THAT(claims->calls.take(), ElementsAre("disableEvents", "processDeviceRemoval"));
    EXPECT_EQ(claims->deleted, 1);
    EXPECT_THAT(known(), IsEmpty());
    EXPECT_TRUE(factoryLogged("Initiating shutdown sequence."));
}

TEST_F(StorageFactory, TheShutdownDropsAControllerThatIsRemovedAlready) {
    tree.addController({});
    addHost(0);
    walk();
    claims->created.at(0)->setRemoved();
    claims->calls.take();
    factory.shutdownFactory();
    EXPECT_THAT(claims->calls.take(), IsEmpty());
    EXPECT_EQ(claims->deleted, 1);
}

// --- the decision of the program ---

TEST_F(StorageFactory, TheLibraryRegistersTheGenericFactoryOnlyWhenToldAndOnce) {
    auto& factories = SASResourceManager::Factories::_registryList();
    EXPECT_FALSE(SASResourceManager::FactoryRegister);
    EXPECT_THAT(factories, IsEmpty());
    vokUseGenericStorageFactory();
    vokUseGenericStorageFactory();
    EXPECT_TRUE(SASResourceManager::FactoryRegister);
    EXPECT_THAT(factories, ElementsAre(&factory));
}

}  // namespace
}  // namespace vokStorageControllerFactoryTest
