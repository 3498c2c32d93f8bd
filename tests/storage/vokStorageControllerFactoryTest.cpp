// The walk over the SCSI hosts: which controllers there are, whose class takes them, what becomes of those
// that go and come back.
#include "storage/vokStorageControllerFactory.h"

#include <gmock/gmock.h>
#include <atomic>
#include <filesystem>
#include <thread>

#include "storage/FailingNew.h"
#include "storage/ScriptedStorage.h"
#include "storage/StorageFixture.h"
#include "storage/vokGenericStorageFactory.h"

namespace vokStorageControllerFactoryTest {
namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

using Classes = vokRegistryManager<_VOK_STORAGE_CONTROLLER_CLASS_METADATA>;
using List = std::vector<vokHeldReference<IvokStorageController>>;

constexpr unsigned int chipset = 0x28268086;
constexpr unsigned int board = 0x00018086;

// What the registered class of controllers does and has been asked.
struct Claims {
    CallList calls;
    unsigned int chipset = 0x28268086;  // it takes only these
    bool hasMemory = true;
    std::vector<bool> firstPasses;
    std::vector<ScriptedController*> created;  // some may be deleted
    std::atomic<int> deleted{0};               // also by other threads
};
Claims* claims = nullptr;

class CountedController : public ScriptedController {
public:
    using ScriptedController::ScriptedController;

protected:
    ~CountedController() override { ++claims->deleted; }
};

bool claimScripted(unsigned int chipsetID, unsigned int boardID, std::string& location, bool firstPass,
                   vokStorageController** device) {
    claims->calls.add("claim " + location);
    claims->firstPasses.push_back(firstPass);
    *device = nullptr;
    if (chipsetID != claims->chipset) return false;
    if (!claims->hasMemory) return true;
    auto* const controller = new CountedController(chipsetID, boardID, location, 1, firstPass);
    controller->calls = &claims->calls;
    claims->created.push_back(controller);
    *device = controller;
    return true;
}

void refreshScripted() {
    claims->calls.add("refresh");
}

class StorageFactory : public StorageFixture {
protected:
    StorageFactory() {
        claims = &ownClaims;
        Classes::_registryList().clear();  // of the library's own classes
        Classes({"ScriptedController", claimScripted, refreshScripted});
    }
    ~StorageFactory() override {
        factory.shutdownFactory();
        claims = nullptr;
        Classes::_registryList().clear();
        SASResourceManager::Factories::_registryList().clear();
    }

    List walk() {
        std::vector<IvokStorageController*> list;
        factory.discoverControllers(list);
        return vokTakeReferences(list);
    }
    List known(unsigned char mask = 255) {
        std::vector<IvokStorageController*> list;
        factory.getControllers(mask, list);
        return vokTakeReferences(list);
    }
    bool factoryLogged(const std::string& line) const { return hasLogged(host, "DEBUG STOR_FACT: " + line); }
    long pushRequests() const {
        return countLogged(host, "DEBUG SAS_RM: Signalling for inventory push to RMC on cache build.");
    }
    void addHost(int number, int ata = 0) {
        FakePort port;
        port.host = number;
        port.ata = ata;
        tree.addPort(port);
    }

    Claims ownClaims;
    vokStorageControllerFactory& factory = *vokStorageControllerFactory::getInstance();
};

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
    tree.addController({"0000:01:00.0", "0000:00:03.0"});
    addHost(0);
    const List found = walk();
    ASSERT_THAT(found, SizeIs(1));
    EXPECT_EQ(found[0]->getPciLocation(), "0000:01:00.0");
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

// --- the claim ---

TEST_F(StorageFactory, ClassesRefreshTheirVendorsCacheBeforeEachWalk) {
    tree.addController({});
    addHost(0);
    walk();
    EXPECT_THAT(claims->calls.take(), ElementsAre("refresh", "claim 0000:3b:00.0"));
    walk();
    EXPECT_THAT(claims->calls.take(), ElementsAre("refresh")) << "a known controller is not claimed again";
}

TEST_F(StorageFactory, TheFirstClassThatClaimsEndsTheAsking) {
    Classes({"Later",
             [](unsigned int, unsigned int, std::string&, bool, vokStorageController**) {
                 claims->calls.add("later");
                 return false;
             },
             [] {}});
    tree.addController({});
    addHost(0);
    walk();
    EXPECT_THAT(claims->calls.take(), ElementsAre("refresh", "claim 0000:3b:00.0"));
}

TEST_F(StorageFactory, WhatNoClassClaimsTheGenericOneTakes) {
    claims->chipset = 0;
    tree.addController({});
    addHost(0);
    const List found = walk();
    ASSERT_THAT(found, SizeIs(1));
    EXPECT_THAT(claims->created, IsEmpty());
    EXPECT_EQ(found[0]->getFamilyFlags(), 1);
    EXPECT_TRUE(factoryLogged("Claimed device [0000:3b:00.0 0x28268086 0x18086]."));
    found[0]->setRemoved();  // the scripted classes' teardown is not its own
}

TEST_F(StorageFactory, AModelThatNobodyKnowsIsSkipped) {
    FakeController unknown;
    unknown.chipset = 0xA1828086;
    tree.addController(unknown);
    addHost(0);
    EXPECT_THAT(walk(), IsEmpty());
    EXPECT_TRUE(
        factoryLogged("Skipping port /sys/class/scsi_host/host0 [0xA1828086, 0x18086 0000:3b:00.0] - "
                      "Claim status: [0]; Device object: [(nil)]"));
    EXPECT_EQ(pushRequests(), 0);
}

TEST_F(StorageFactory, AClassWithoutMemoryHasDecidedAndThePortIsSkipped) {
    claims->hasMemory = false;
    tree.addController({});
    addHost(0);
    EXPECT_THAT(walk(), IsEmpty()) << "the generic class is not asked";
    EXPECT_TRUE(
        factoryLogged("Skipping port /sys/class/scsi_host/host0 [0x28268086, 0x18086 0000:3b:00.0] - "
                      "Claim status: [1]; Device object: [(nil)]"));
}

TEST_F(StorageFactory, AClassIsToldWhetherThisIsTheFirstWalk) {
    tree.addController({});
    addHost(0);
    walk();
    FakeController second;
    second.location = "0000:5e:00.0";
    tree.addController(second);
    addHost(1);
    walk();
    EXPECT_THAT(claims->firstPasses, ElementsAre(true, false));
}

TEST_F(StorageFactory, TheGenericClaimSetsWhatTheTableAndTheWalkKnow) {
    std::string location = "0000:3b:00.0";
    vokStorageController* device = nullptr;
    ASSERT_TRUE(vokStorageController::claimDevice(0x005D1000, 0x93631000, location, true, &device));
    ASSERT_NE(device, nullptr);
    EXPECT_EQ(device->getChipsetID(), 0x005D1000u);
    EXPECT_EQ(device->getBoardID(), 0x93631000u);
    EXPECT_EQ(device->getPciLocation(), "0000:3b:00.0");
    EXPECT_EQ(device->getFamilyFlags(), 2);
    EXPECT_TRUE(device->getFoundOnFirstDiscoveryPass());
    EXPECT_TRUE(device->getNewDevice());
    device->dropReference();
    ASSERT_TRUE(vokStorageController::claimDevice(0x028F9005, 0x12345678, location, false, &device));
    EXPECT_FALSE(device->getFoundOnFirstDiscoveryPass());
    EXPECT_EQ(device->getFamilyFlags(), 4);
    device->dropReference();
    EXPECT_FALSE(vokStorageController::claimDevice(0xA1828086, 0, location, true, &device));
    EXPECT_EQ(device, nullptr);
}

#if HAS_FAILING_NEW
TEST_F(StorageFactory, WithoutMemoryTheGenericClaimHasDecidedAndTheWalkSkipsThePort) {
    claims->chipset = 0;  // the registered class takes nothing
    tree.addController({});
    addHost(0);
    {
        const FailingNew failing(sizeof(vokStorageController));
        EXPECT_THAT(walk(), IsEmpty());
    }
    EXPECT_TRUE(hasLogged(host, "ERROR STOR_FACT: Out of memory!"));
    EXPECT_FALSE(factoryLogged("Claimed device [0000:3b:00.0 0x28268086 0x18086]."));
    EXPECT_TRUE(
        factoryLogged("Skipping port /sys/class/scsi_host/host0 [0x28268086, 0x18086 0000:3b:00.0] - Claim "
                      "status: [1]; Device object: [(nil)]"));
    EXPECT_THAT(walk(), SizeIs(1)) << "the next walk claims it";
}
#endif

TEST_F(StorageFactory, AClassThatRegistersAgainReplacesItsFirstRegistration) {
    Classes({"ScriptedController", nullptr, nullptr});
    ASSERT_THAT(Classes::_registryList(), SizeIs(1));
    EXPECT_EQ(Classes::_registryList()[0].claimDevice, nullptr);
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
