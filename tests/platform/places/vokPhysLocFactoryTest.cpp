// The choice of the interface, the loading of its library, and the results of the mock.
#include "platform/places/vokPhysLocFactory.h"

#include <dlfcn.h>
#include <atomic>
#include <cstddef>
#include <cstring>
#include <thread>

#include "platform/places/PhysLocFixture.h"
#include "platform/places/vokLWNZPhysLocInterface.h"
#include "platform/places/vokMockPhysLocInterface.h"
#include "platform/places/vokTQPhysLocInterface.h"

namespace vokPhysLocFactoryTest {
namespace {

class PhysLocFactory : public PhysLocTest {
protected:
    vokPhysLocInterface* chosen() { return vokPhysLocFactory::getPhysLocInterface(); }
};

constexpr char mockForLibrary[] =
    "WARNING PL_FACT: Physical location will be reported by VOK as FFFFFFFFFFFFFFFF for all FRUs.";

TEST_F(PhysLocFactory, TheFirstFamilySelectsTheFirstInterface) {
    startFirstPlatform();
    EXPECT_EQ(chosen(), vokTQPhysLocInterface::getInstance());
    EXPECT_EQ(chosen()->getPhysLocLibraryName(), "libvkloc0202.so");
    ASSERT_EQ(libraries.opened().size(), 1u);
    EXPECT_EQ(libraries.opened()[0].name, "libvkloc0202.so");
    EXPECT_EQ(libraries.opened()[0].flags, RTLD_LAZY | RTLD_GLOBAL);
    EXPECT_TRUE(logged("DEBUG TQPL_INTF: Successfully loaded physical location library."));
}

TEST_F(PhysLocFactory, TheSecondFamilySelectsTheSecondInterface) {
    startSecondPlatform();
    EXPECT_EQ(chosen(), vokLWNZPhysLocInterface::getInstance());
    EXPECT_EQ(chosen()->getPhysLocLibraryName(), "libvkloc0302.so");
    EXPECT_TRUE(logged("DEBUG LWNZPL_INTF: Successfully loaded physical location library."));
}

TEST_F(PhysLocFactory, TheOtherSecondFamilySelectsTheSecondInterfaceToo) {
    startSecondPlatform(otherSecondFamily);
    EXPECT_EQ(chosen(), vokLWNZPhysLocInterface::getInstance());
}

TEST_F(PhysLocFactory, AnyOtherFamilySelectsTheMockAndIsLogged) {
    start(SmBiosTable().addSystem("Maker", "7711PID02020002").addSlot("Slot 1", "0000:3b:00.0").addEnd());
    provide(firstLibrary);
    EXPECT_EQ(chosen(), vokMockPhysLocInterface::getInstance());
    EXPECT_TRUE(
        logged("WARNING PL_FACT: Unable to determine platform type [7711PID02020002]. Physical location will "
               "be reported by VOK as FFFFFFFFFFFFFFFF for all FRUs."));
    EXPECT_TRUE(libraries.opened().empty());
}

TEST_F(PhysLocFactory, AMachineWithoutFirmwareTablesSelectsTheMock) {
    EXPECT_EQ(chosen(), vokMockPhysLocInterface::getInstance());
    EXPECT_TRUE(
        logged("WARNING PL_FACT: Unable to determine platform type []. Physical location will be reported by "
               "VOK as FFFFFFFFFFFFFFFF for all FRUs."));
}

TEST_F(PhysLocFactory, AMissingLibrarySelectsTheMock) {
    startFirstPlatform();
    libraries.symbols.clear();
    EXPECT_EQ(chosen(), vokMockPhysLocInterface::getInstance());
    EXPECT_TRUE(logged(
        "ERROR TQPL_INTF: Failed to load physical location library [libvkloc0202.so]: (no reason given)"));
    EXPECT_TRUE(logged(mockForLibrary));
}

TEST_F(PhysLocFactory, TheLoadersReasonIsLogged) {
    startFirstPlatform();
    libraries.symbols.clear();
    libraries.failure = "wrong ELF class";
    chosen();
    EXPECT_TRUE(logged(
        "ERROR TQPL_INTF: Failed to load physical location library [libvkloc0202.so]: (wrong ELF class)"));
}

TEST_F(PhysLocFactory, TheLoadersReasonIsLoggedForASymbolToo) {
    startFirstPlatform();
    libraries.symbols[firstLibrary].erase("physloc_encode");
    libraries.failure = "undefined symbol";
    chosen();
    EXPECT_TRUE(
        logged("ERROR PL_INTF: Failed to find address of symbol [physloc_encode]: (undefined symbol)"));
}

TEST_F(PhysLocFactory, AnEarlierLoaderErrorIsNotReportedAsTheReason) {
    startFirstPlatform();
    libraries.symbols.clear();
    libraries.failure = "an earlier reason";
    ASSERT_EQ(libraries.open("/no/such/library.so", RTLD_LAZY), nullptr);
    libraries.failure.clear();
    chosen();
    EXPECT_TRUE(logged(
        "ERROR TQPL_INTF: Failed to load physical location library [libvkloc0202.so]: (no reason given)"));
}

TEST_F(PhysLocFactory, ALibraryWithoutTheEncoderIsClosedAndSelectsTheMockForAllUnits) {
    startFirstPlatform();
    libraries.symbols[firstLibrary].erase("physloc_encode");
    EXPECT_EQ(chosen(), vokMockPhysLocInterface::getInstance());
    EXPECT_TRUE(
        logged("ERROR PL_INTF: Failed to find address of symbol [physloc_encode]: (no reason given)"));
    EXPECT_TRUE(logged(mockForLibrary));
    EXPECT_EQ(libraries.openCount(), 0);
    EXPECT_EQ(chosen()->getPhysLocForIOSlot("0000:3b:00.0"), unknownLocation);
}

TEST_F(PhysLocFactory, ALibraryWithoutTheInitializerIsClosedAndSelectsTheMockToo) {
    startSecondPlatform();
    libraries.symbols[secondLibrary].erase("physloc_init_data");
    EXPECT_EQ(chosen(), vokMockPhysLocInterface::getInstance());
    EXPECT_TRUE(
        logged("ERROR PL_INTF: Failed to find address of symbol [physloc_init_data]: (no reason given)"));
    EXPECT_EQ(libraries.openCount(), 0);
}

TEST_F(PhysLocFactory, AFailedLibraryIsNotTriedAgain) {
    startFirstPlatform();
    libraries.symbols.clear();
    chosen();
    provide(firstLibrary);
    EXPECT_EQ(chosen(), vokMockPhysLocInterface::getInstance());
    EXPECT_EQ(libraries.opened().size(), 1u);
    EXPECT_EQ(countLogged(host, mockForLibrary), 1);
}

TEST_F(PhysLocFactory, IsChosenOnceByManyThreads) {
    startFirstPlatform();
    std::atomic<int> others{0};
    std::vector<std::thread> threads;
    for (int i = 0; i < 8; ++i)
        threads.emplace_back([this, &others] {
            if (chosen()->getPhysLocForIOSlot("0000:3b:00.0") != "00000000000012AB") ++others;
        });
    for (auto& thread : threads) thread.join();
    EXPECT_EQ(others, 0);
    EXPECT_EQ(libraries.opened().size(), 1u);
}

TEST_F(PhysLocFactory, TheFreeFunctionsReturnTheSameInstances) {
    EXPECT_EQ(__vokTQPhysLocInterface__getInstance(), vokTQPhysLocInterface::getInstance());
    EXPECT_EQ(__vokLWNZPhysLocInterface__getInstance(), vokLWNZPhysLocInterface::getInstance());
    EXPECT_EQ(__vokMockPhysLocInterface__getInstance(), vokMockPhysLocInterface::getInstance());
}

TEST_F(PhysLocFactory, ALoadedLibraryIsNotLoadedAgain) {
    provide(secondLibrary);
    EXPECT_TRUE(vokLWNZPhysLocInterface::getInstance()->Initialize());
    EXPECT_TRUE(vokLWNZPhysLocInterface::getInstance()->Initialize());
    EXPECT_EQ(libraries.opened().size(), 1u);
}

TEST_F(PhysLocFactory, UnInitializeClosesOnceAndTheLibraryCanBeLoadedAgain) {
    provide(firstLibrary);
    vokTQPhysLocInterface& interface = *vokTQPhysLocInterface::getInstance();
    interface.UnInitialize();
    EXPECT_EQ(libraries.openCount(), 0);
    EXPECT_TRUE(interface.Initialize());
    EXPECT_EQ(libraries.openCount(), 1);
    interface.UnInitialize();
    interface.UnInitialize();
    EXPECT_EQ(libraries.openCount(), 0);
    EXPECT_TRUE(interface.Initialize());
    EXPECT_EQ(libraries.openCount(), 1);
}

// The slot of a virtual operation, by the C++ ABI of both processors (Itanium C++ ABI, 2.3).
template <typename Operation>
std::size_t slotOf(Operation operation) {
    std::size_t words[2];
    static_assert(sizeof(words) == sizeof(operation), "an address or an offset, and an adjustment");
    std::memcpy(words, &operation, sizeof(words));
    EXPECT_EQ(words[0] % sizeof(void*), 1u) << "not virtual";
    EXPECT_EQ(words[1], 0u);
    return words[0] / sizeof(void*);
}

TEST(PhysLocInterface, HasItsOperationsInTheRequiredSlots) {
    using I = vokPhysLocInterface;
    EXPECT_EQ(slotOf(&I::Initialize), 0u);
    EXPECT_EQ(slotOf(&I::UnInitialize), 1u);
    EXPECT_EQ(slotOf(&I::getPCIeSlotForIOSlot), 2u);
    EXPECT_EQ(slotOf(&I::getPhysLocForIOSlot), 3u);
    EXPECT_EQ(slotOf(&I::getPhysLocForNetworkAdapter), 4u);
    EXPECT_EQ(slotOf(&I::getPhysLocForChassisDriveSlot), 5u);
    EXPECT_EQ(slotOf(&I::getPhysLocForExternalDrive), 6u);
    EXPECT_EQ(slotOf(&I::getPhysLocForChassisStorageBackplane), 7u);
    EXPECT_EQ(slotOf(&I::checkPCIDevicesLocatedInSameChassis), 8u);
    EXPECT_EQ(slotOf(&I::checkIfPCICardIsOnBoard), 9u);
    EXPECT_EQ(slotOf(&I::getChassisLocationForIOSlot), 10u);
    // 11 and 12 are the destructor's.
    EXPECT_EQ(slotOf(&I::getPhysLocLibraryName), 13u);
    EXPECT_EQ(slotOf(&vokTQPhysLocInterface::physlocEncode), 14u);
    EXPECT_EQ(slotOf(&vokLWNZPhysLocInterface::physlocEncode), 14u);
}

TEST(MockPhysLoc, ReportsEverythingAsUnknown) {
    vokMockPhysLocInterface& mock = *vokMockPhysLocInterface::getInstance();
    EXPECT_TRUE(mock.Initialize());
    mock.UnInitialize();
    EXPECT_EQ(mock.getPhysLocLibraryName(), "Mock-PL library");
    EXPECT_EQ(mock.getPCIeSlotForIOSlot("0000:3b:00.0"), "0");
    EXPECT_EQ(mock.getPhysLocForIOSlot("0000:3b:00.0"), unknownLocation);
    EXPECT_EQ(mock.getPhysLocForNetworkAdapter("0000:3b:00.0"), unknownLocation);
    EXPECT_EQ(mock.getPhysLocForChassisDriveSlot("0000:3b:00.0", 1), unknownLocation);
    EXPECT_EQ(mock.getPhysLocForExternalDrive("0000:3b:00.0"), unknownLocation);
    EXPECT_EQ(mock.getPhysLocForChassisStorageBackplane("0000:3b:00.0", 1), unknownLocation);
    EXPECT_EQ(mock.checkPCIDevicesLocatedInSameChassis("0000:3b:00.0", "0000:3b:00.0"), -3);
    EXPECT_EQ(mock.checkIfPCICardIsOnBoard("0000:3b:00.0"), -4);
    std::string location = "as it was";
    EXPECT_EQ(mock.getChassisLocationForIOSlot("0000:3b:00.0", location), -4);
    EXPECT_EQ(location, "as it was");
}

}  // namespace
}  // namespace vokPhysLocFactoryTest
