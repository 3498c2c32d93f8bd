// The factory of the RAID controllers: which of them there are, and what becomes of those that have gone.
#include "megaraid/vokMegaRAIDControllerFactory.h"

#include <gmock/gmock.h>
#include <sys/wait.h>
#include <unistd.h>
#include <atomic>
#include <cstdio>
#include <mutex>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

#include "megaraid/MegaRaidFixture.h"
#include "megaraid/storelib/vokSASLSIEvent.h"
#include "megaraid/vokIOLoadingHelper.h"
#include "storage/VirtualSlots.h"
#include "support/FakeLibraries.h"

namespace vokMegaRAIDControllerFactoryTest {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

using List = std::vector<vokHeldReference<IvokStorageController>>;

constexpr FakeStoreLibCommand initCommand = {0, 0};
constexpr FakeStoreLibCommand registerCommand = {0, 1};
constexpr FakeStoreLibCommand unregisterCommand = {0, 2};
constexpr FakeStoreLibCommand controllerListCommand = {0, 3};
constexpr FakeStoreLibCommand controllerRecordCommand = {1, 0};
constexpr FakeStoreLibCommand firmwareCommand = {6, 3};

constexpr char firstBuild[] = "DEBUG LSI_FACTORY: First inventory build";
constexpr char exists[] = "DEBUG LSI_FACTORY: Controller instance exists in inventory.";
constexpr char unusable[] = "DEBUG LSI_FACTORY: Issue occurred in discovering LSI MR inventory.";
constexpr char noneLeft[] =
    "WARNING LSI_FACTORY: No RAID controller is left. Neither new RAID controllers nor their events are "
    "noticed until the agent starts again.";

class RaidFactory : public MegaRaidFixture {
protected:
    ~RaidFactory() override { factory.shutdownFactory(); }

    List pass() {
        std::vector<IvokStorageController*> list(1);  // what is in it goes
        factory.discoverControllers(list);
        return vokTakeReferences(list);
    }
    List known() {
        std::vector<IvokStorageController*> list;
        factory.getControllers(list);
        return vokTakeReferences(list);
    }
    // A pass, and the inventory of each controller, as in a build of the manager.
    List build() {
        List list = pass();
        for (const auto& controller : list) {
            vokStorageControllerInfo info;
            std::vector<vokDiskInfo> disks;
            controller->discoverInventory(info);
            controller->discoverPhysicalDiskInventory(disks);
            controller->enableEvents();
        }
        return list;
    }
    static std::vector<std::string> serials(const List& list) {
        std::vector<std::string> names;
        for (const auto& each : list) names.push_back(raid(each).getDeviceName());
        return names;
    }
    static vokMegaRAIDController& raid(const vokHeldReference<IvokStorageController>& controller) {
        return dynamic_cast<vokMegaRAIDController&>(*controller);
    }

    vokMegaRAIDControllerFactory& factory = *vokMegaRAIDControllerFactory::getInstance();
};

TEST(RaidFactorySlots, TheClassAppendsOneOperation) {
    using Base = IvokStorageControllerFactory;
    using Class = vokMegaRAIDControllerFactory;
    using Out = std::vector<IvokStorageController*>;
    EXPECT_EQ(slotsOf(&Class::discoverControllers,
                      static_cast<void (Class::*)(unsigned char, Out&)>(&Class::getControllers),
                      &Class::shutdownFactory, &Class::poll, &Class::deleteControllers,
                      &Class::getSupportedControllerModels,
                      static_cast<void (Class::*)(Out&)>(&Class::getControllers)),
              slotsFrom(0, 6));
    EXPECT_EQ(slotOf(&Base::getSupportedControllerModels), 5);
}

// --- registration ---

TEST(RaidFactoryRegistration, ItIsTheOnlyFactoryOfTheLibraryAndTakesItsModels) {
    EXPECT_THAT(SASResourceManager::Factories::_registryList(),
                ElementsAre(vokMegaRAIDControllerFactory::getInstance()));
    for (const unsigned int chipset : {0x005D1000u, 0x10E21000u})
        for (const unsigned int board : {0x93631000u, 0x9A631000u, 0x40101000u, 0x40001000u, 0x12345678u, 0u})
            EXPECT_TRUE(SASResourceManager::isControllerModelSupported(chipset, board));
    EXPECT_FALSE(SASResourceManager::isControllerModelSupported(0x00971000, 0x30A01000));
    EXPECT_FALSE(SASResourceManager::isControllerModelSupported(0x28268086, 0x93631000));
}

TEST(RaidFactoryRegistration, ItNamesSixModelsInTheirOrder) {
    using Model = std::tuple<unsigned int, unsigned int>;
    EXPECT_THAT(
        vokMegaRAIDControllerFactory::getInstance()->getSupportedControllerModels(),
        ElementsAre(Model(0x005D1000, 0x93631000), Model(0x005D1000, 0x9A631000), Model(0x005D1000, 0),
                    Model(0x10E21000, 0x40101000), Model(0x10E21000, 0x40001000), Model(0x10E21000, 0)));
}

// --- the first pass ---

TEST_F(RaidFactory, TheFirstPassMakesOneControllerForEachThatTheLibraryLists) {
    library.controllers = {raidController(0), raidController(1)};
    const List found = pass();
    EXPECT_THAT(serials(found), ElementsAre("SV00000001", "SV00000002"));
    EXPECT_EQ(raid(found[0]).getControllerId(), 0u);
    EXPECT_EQ(raid(found[1]).getControllerId(), 1u);
    EXPECT_TRUE(raid(found[1]).getDeviceDetected());
    EXPECT_EQ(found[1]->getFamilyFlags(), 2);
    EXPECT_TRUE(logged("DEBUG LSI_FACTORY: vokMegaRAIDControllerFactory::discoverControllers"));
    EXPECT_TRUE(logged(firstBuild));
    EXPECT_TRUE(logged("DEBUG LSI_FACTORY: size of _controllerList is 2"));
}

TEST_F(RaidFactory, WithoutTheLibraryThereAreNone) {
    host.part<FakeLibraries>().symbols.erase("libstorelib.so");
    EXPECT_THAT(pass(), IsEmpty());
    EXPECT_THAT(pass(), IsEmpty());
    EXPECT_EQ(timesLogged(unusable), 2);
    EXPECT_FALSE(logged(firstBuild));
    long errors = 0;
    for (const std::string& line : loggedLines(host)) errors += line.rfind("ERROR", 0) == 0 ? 1 : 0;
    EXPECT_EQ(errors, 1) << "that of the first attempt to load it";
}

TEST_F(RaidFactory, AfterAnInitialisationThatFailsThereAreNoneInAnyPass) {
    library.controllers = {raidController()};
    library.failures[initCommand] = 0x8002;
    EXPECT_THAT(pass(), IsEmpty());
    EXPECT_TRUE(logged(unusable));
    library.failures.clear();
    EXPECT_THAT(pass(), IsEmpty()) << "the library is loaded, but not initialised again";
    EXPECT_TRUE(logged(firstBuild));
    EXPECT_EQ(library.count(controllerListCommand), 0) << "no cache is built";
}

TEST_F(RaidFactory, ALibraryThatFindsNoControllerAtFirstFindsNoneLater) {
    EXPECT_THAT(pass(), IsEmpty());
    EXPECT_TRUE(logged(unusable));
    library.controllers = {raidController()};
    EXPECT_THAT(pass(), IsEmpty()) << "it counts as loaded, but takes no commands";
    EXPECT_THAT(pass(), IsEmpty());
    EXPECT_EQ(timesLogged(unusable), 1);
    EXPECT_EQ(library.count(controllerListCommand), 0);
    EXPECT_EQ(timesLogged("WARNING LSI_INTERF: No LSI MR controllers found"), 1);
}

TEST_F(RaidFactory, OnlyTheFirstPassReadsTheCachesAnew) {
    library.controllers = {raidController(0)};
    pass();
    library.controllers.push_back(raidController(1));
    const int calls = library.calls();
    EXPECT_THAT(serials(pass()), ElementsAre("SV00000001"));
    EXPECT_EQ(library.calls(), calls);
}

// --- later passes ---

TEST_F(RaidFactory, ALaterPassFindsTheSameControllersBySerialNumber) {
    library.controllers = {raidController(0), raidController(1)};
    const List before = build();
    library.controllers[1].id = 5;
    build();
    const List after = pass();
    ASSERT_THAT(after, SizeIs(2));
    EXPECT_EQ(after[0].get(), before[0].get());
    EXPECT_EQ(after[1].get(), before[1].get()) << "the library's id does not count";
    EXPECT_TRUE(logged("DEBUG LSI_FACTORY: discoverControllers ID = 0 SN = SV00000001"));
    EXPECT_TRUE(logged("DEBUG LSI_FACTORY: discoverControllers ID = 5 SN = SV00000002"));
    EXPECT_EQ(timesLogged(exists), 4);
    EXPECT_EQ(timesLogged(firstBuild), 1);
}

TEST_F(RaidFactory, AControllerThatHasComeIsAdded) {
    library.controllers = {raidController(0)};
    const List before = build();
    library.controllers.push_back(raidController(1));
    build();  // whose discovery lists it
    const List after = pass();
    EXPECT_THAT(serials(after), ElementsAre("SV00000001", "SV00000002"));
    EXPECT_EQ(after[0].get(), before[0].get());
    EXPECT_TRUE(raid(after[1]).getDeviceDetected());
}

TEST_F(RaidFactory, AControllerThatHasGoneIsRemovedAndTheOthersStayRegistered) {
    library.controllers = {raidController(0), raidController(1)};
    const List before = build();
    library.controllers.erase(library.controllers.begin());
    build();
    EXPECT_THAT(serials(pass()), ElementsAre("SV00000002"));
    EXPECT_TRUE(before[0]->isRemoved());
    EXPECT_FALSE(before[1]->isRemoved());
    EXPECT_EQ(library.count(unregisterCommand), 0);
    EXPECT_FALSE(logged(noneLeft));
}

TEST_F(RaidFactory, ARemovalDropsTheReferenceOfTheFactoryAndNoOther) {
    library.controllers = {raidController(0), raidController(1)};
    List held = build();
    const vokWeakReference gone(*held[0]);
    library.controllers.erase(library.controllers.begin());
    vokStorageControllerInfo info;
    held[1]->discoverInventory(info);  // which lists it no longer
    pass();
    const auto isAlive = [&gone] {
        const vokHeldReference<vokRemoveLock> object(gone.hold());
        return object != nullptr;
    };
    EXPECT_TRUE(isAlive()) << "the test holds it";
    held.clear();
    EXPECT_FALSE(isAlive());
}

TEST_F(RaidFactory, TheRemovalOfTheLastControllerEndsTheRegistrationAndOneWarningSaysWhatThatMeans) {
    library.controllers = {raidController(0)};
    build();
    EXPECT_EQ(library.count(registerCommand), 1);
    library.controllers.clear();
    build();  // whose discovery no longer lists it
    EXPECT_THAT(pass(), IsEmpty());
    EXPECT_EQ(library.count(unregisterCommand), 1);
    library.controllers = {raidController(0)};
    EXPECT_THAT(build(), IsEmpty()) << "as it stands in the caches, which nobody refreshes";
    EXPECT_EQ(timesLogged(noneLeft), 1);
}

TEST_F(RaidFactory, TwoThatGoInOnePassAreRemovedAndTheLastEndsTheRegistration) {
    library.controllers = {raidController(0), raidController(1)};
    const List held = build();
    library.controllers.clear();
    build();
    EXPECT_THAT(pass(), IsEmpty());
    EXPECT_TRUE(held[0]->isRemoved());
    EXPECT_TRUE(held[1]->isRemoved());
    EXPECT_EQ(library.count(unregisterCommand), 1);
    EXPECT_EQ(vokMegaRAIDController::totalLSICtrls, 0);
}

TEST_F(RaidFactory, OneThatIsReplacedByAnotherIsNotTheLast) {
    library.controllers = {raidController(0)};
    build();
    library.controllers[0].serial = "SV77777777";
    build();
    EXPECT_THAT(serials(pass()), ElementsAre("SV77777777"));
    EXPECT_EQ(library.count(unregisterCommand), 0);
}

TEST_F(RaidFactory, TwoControllersWithoutASerialNumberAreOneInALaterPass) {
    library.controllers = {raidController(0), raidController(1)};
    for (FakeRaidController& each : library.controllers) each.serial = "";
    EXPECT_THAT(build(), SizeIs(2));
    const List after = pass();
    ASSERT_THAT(after, SizeIs(1));
    EXPECT_EQ(raid(after[0]).getControllerId(), 0u);
    EXPECT_EQ(library.count(unregisterCommand), 0);
}

TEST_F(RaidFactory, AControllerWhoseRecordIsReadOnlyLaterIsTheSame) {
    library.controllers = {raidController()};
    library.failures[controllerRecordCommand] = 0x8002;
    const List before = build();
    ASSERT_THAT(before, SizeIs(1));
    EXPECT_EQ(before[0]->getChipsetID(), 0u);
    library.failures.clear();
    build();  // whose discovery reads it
    const List after = pass();
    ASSERT_THAT(after, SizeIs(1));
    EXPECT_EQ(after[0].get(), before[0].get());
    EXPECT_EQ(after[0]->getChipsetID(), 0x005D1000u);
    EXPECT_EQ(after[0]->getBoardID(), 0x93631000u);
    EXPECT_EQ(after[0]->getPciLocation(), "0000:5e:00.0");
}

TEST_F(RaidFactory, AControllerWhoseSerialNumberIsReadOnlyLaterIsAnotherOne) {
    library.controllers = {raidController()};
    library.failures[firmwareCommand] = 0x8002;
    const List before = build();
    EXPECT_THAT(serials(before), ElementsAre(""));
    library.failures.clear();
    build();
    EXPECT_THAT(serials(pass()), ElementsAre("SV00000001"));
    EXPECT_TRUE(before[0]->isRemoved());
    EXPECT_EQ(library.count(unregisterCommand), 0) << "it was not the last";
}

TEST_F(RaidFactory, EachPassPutsTheCardsIntoTheTableOfTheLoadingRules) {
    start(firstFamily);
    library.controllers = {raidController(0, model9560Small)};
    build();
    EXPECT_TRUE(vokIOLoadingHelper::isDeviceAndChassisIOLoadingRulesCompliant("0000:5e:00.0"));
    library.controllers.push_back(raidController(1, model9560Small));
    library.controllers[1].bus = 0x86;
    build();  // whose discovery lists it
    EXPECT_FALSE(vokIOLoadingHelper::isDeviceAndChassisIOLoadingRulesCompliant("0000:86:00.0"));
    pass();
    EXPECT_TRUE(vokIOLoadingHelper::isDeviceAndChassisIOLoadingRulesCompliant("0000:86:00.0"));
}

// --- the locks at the end of the registration ---

class RaidFactoryLock : public RaidFactory {
protected:
    // Makes the library try, while the registration ends, what a callback does first.
    void fetchControllersAtTheEnd() {
        library.answer = [this](_SL_LIB_CMD_PARAM_T& command, std::uint32_t&) {
            if (command.commandType == 0 && command.command == 2) {
                std::thread([this] {
                    const List list = known();
                    fetched = true;
                }).join();  // waits for ever if the factory's lock is held
            }
            return false;
        };
    }

    bool fetched = false;
};

TEST_F(RaidFactoryLock, IsFreeWhenTheLastControllerHasGone) {
    library.controllers = {raidController(0)};
    build();
    fetchControllersAtTheEnd();
    library.controllers.clear();
    build();
    pass();
    EXPECT_TRUE(fetched);
}

TEST_F(RaidFactoryLock, IsFreeInAShutdown) {
    library.controllers = {raidController(0)};
    build();
    fetchControllersAtTheEnd();
    factory.shutdownFactory();
    EXPECT_TRUE(fetched);
    library.answer = nullptr;
}

// --- the known controllers ---

TEST_F(RaidFactory, TheKnownControllersAreThoseOfAllFamiliesOrOfOne) {
    library.controllers = {raidController(0), raidController(1)};
    pass();
    EXPECT_THAT(known(), SizeIs(2));
    std::vector<IvokStorageController*> list;
    factory.getControllers(2, list);
    EXPECT_THAT(vokTakeReferences(list), SizeIs(2));
    factory.getControllers(5, list);
    EXPECT_THAT(vokTakeReferences(list), IsEmpty());
}

TEST_F(RaidFactory, AResetMarksAllAsNotDetected) {
    library.controllers = {raidController(0), raidController(1)};
    const List list = pass();
    factory.resetControllerDetection();
    EXPECT_FALSE(raid(list[0]).getDeviceDetected());
    EXPECT_FALSE(raid(list[1]).getDeviceDetected());
}

TEST_F(RaidFactory, APollDoesNothing) {
    library.controllers = {raidController(0)};
    pass();
    const int calls = library.calls();
    factory.poll();
    EXPECT_EQ(library.calls(), calls);
}

// --- shutdown ---

TEST_F(RaidFactory, AShutdownRemovesAllAndEndsTheRegistrationOnce) {
    library.controllers = {raidController(0), raidController(1)};
    const List held = build();
    vokMegaRAIDController::totalLSICtrls = 7;  // whatever a discovery has counted
    factory.shutdownFactory();
    EXPECT_TRUE(held[0]->isRemoved());
    EXPECT_TRUE(held[1]->isRemoved());
    EXPECT_THAT(known(), IsEmpty());
    EXPECT_EQ(library.count(unregisterCommand), 1);
    EXPECT_FALSE(logged(noneLeft)) << "the agent stops";
    factory.shutdownFactory();
    EXPECT_EQ(library.count(unregisterCommand), 1);
}

// --- removal while events pour in ---

class RaidEvents : public RaidFactory {
protected:
    // Events come from several threads, as the library sends them, before, during and after the removal of
    // the last controller.
    void removeLastControllerInEvents() {
        letEventsPass();
        library.controllers = {raidController(0)};
        build();
        // Device 1 in enclosure 252, slot 1, is now in firmware state 17, failed.
        const std::string place("\x01\x00\xFC\x01\x00\x00\x00\x00\x11\x00\x00\x00", 12);
        const std::string record = FakeStoreLib::eventRecord(0x72, 2, 0, 15, place, "State change");
        std::atomic<bool> isOver{false};
        std::atomic<int> delivered{0};
        std::vector<std::thread> threads;
        for (int i = 0; i < 4; ++i)
            threads.emplace_back([&] {
                while (!isOver) {
                    deliver(record);
                    ++delivered;
                }
            });
        while (delivered < 8) std::this_thread::yield();
        {
            const std::lock_guard<std::mutex> lock(library.mutex());
            library.controllers.clear();
        }
        while (!known().empty()) build();
        const int before = delivered;
        while (delivered < before + 8) std::this_thread::yield();
        isOver = true;
        for (std::thread& each : threads) each.join();
        EXPECT_EQ(library.count(unregisterCommand), 1);
        EXPECT_THAT(eventIds(), ElementsAre(538)) << "one for all that say the same";
    }
    // Like FakeStoreLib::deliver(), also by a thread that has got the callback before its registration ended.
    static void deliver(const std::string& record) {
        alignas(std::uint32_t) char event[268] = {};
        record.copy(event + 12, 256);
        vokSASLSIEvent::AENCallBack(reinterpret_cast<_SL_EVENT_DETAIL_T*>(event));
    }
};

// Each in a process of its own, as the end of a registration is final.
TEST_F(RaidEvents, TheLastControllerCanBeRemovedWhileEventsPourIn) {
    constexpr int rounds = 100;
    for (int round = 0; round < rounds; ++round) {
        const pid_t child = ::fork();
        ASSERT_NE(child, -1);
        if (child == 0) {
            removeLastControllerInEvents();
            std::fflush(nullptr);
            ::_exit(HasFailure() ? 1 : 0);
        }
        int status = -1;
        ASSERT_EQ(::waitpid(child, &status, 0), child);
        ASSERT_EQ(status, 0) << "round " << round;
    }
}

}  // namespace
}  // namespace vokMegaRAIDControllerFactoryTest
