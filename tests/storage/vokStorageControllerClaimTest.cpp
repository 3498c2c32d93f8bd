// Whose class takes a controller that the walk over the SCSI hosts finds.
#include <gmock/gmock.h>
#include <chrono>
#include <future>
#include <thread>

#include "storage/FactoryFixture.h"
#include "storage/FailingNew.h"

namespace vokStorageControllerClaimTest {
namespace {

using namespace factoryFixture;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

TEST_F(StorageFactory, ClassesRefreshTheirVendorsCacheBeforeEachWalk) {
    tree.addController({});
    addHost(0);
    walk();
    EXPECT_THAT(claims->calls.take(), ElementsAre("refresh", "claim 0000:3b:00.0"));
    walk();
    EXPECT_THAT(claims->calls.take(), ElementsAre("refresh")) << "a known controller is not claimed again";
}

// A refresh may wait for its vendor's library, whose callbacks ask for the known controllers.
TEST_F(StorageFactory, ClassesRefreshTheirVendorsCacheWithoutTheLock) {
    std::promise<std::size_t> count;
    std::thread reader;
    claims->onRefresh = [&] {
        reader = std::thread([&] { count.set_value(known().size()); });
        EXPECT_EQ(count.get_future().wait_for(std::chrono::seconds(10)), std::future_status::ready);
    };
    walk();
    reader.join();
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
    Classes({"Later", claimScripted, refreshScripted});
    Classes({"ScriptedController", nullptr, nullptr});
    ASSERT_THAT(Classes::_registryList(), SizeIs(2));
    EXPECT_EQ(Classes::_registryList()[0].className, "Later");
    EXPECT_EQ(Classes::_registryList()[1].className, "ScriptedController") << "it is asked last now";
    EXPECT_EQ(Classes::_registryList()[1].claimDevice, nullptr);
}

}  // namespace
}  // namespace vokStorageControllerClaimTest
