#include <condition_variable>
#include <cstddef>
#include <cstring>
#include <mutex>

#include "megaraid/storelib/StoreLibFixture.h"
#include "platform/access/vokLongOperation.h"
#include "support/FakeClock.h"

namespace vokStoreLibCommandsTest {
namespace {

using StoreLibCommands = StoreLibFixture;

// The operations that were reported while they ran.
class Reports {
public:
    static void add(const char* description, long, bool hasEnded) {
        const std::lock_guard<std::mutex> lock(guard_);
        if (!hasEnded) texts_.emplace_back(description);
        changed_.notify_all();
    }
    static std::vector<std::string> first() {
        std::unique_lock<std::mutex> lock(guard_);
        changed_.wait(lock, [] { return !texts_.empty(); });
        return texts_;
    }

private:
    inline static std::mutex guard_;
    inline static std::condition_variable changed_;
    inline static std::vector<std::string> texts_;
};

TEST_F(StoreLibCommands, WithoutALibraryACommandFailsWithOneLine) {
    _SL_LIB_CMD_PARAM_T command{};
    EXPECT_EQ(store->ProcessLibCommandCall(&command), 0x8001u);
    EXPECT_EQ(debug("There is no library that takes commands."), 1);
    EXPECT_EQ(vokStoreLibInterface::callLibraryMR(&command), 0x8001u);
    EXPECT_EQ(debug("There is no library that takes commands."), 2);
    EXPECT_TRUE(store->controllerList().empty());
}

TEST_F(StoreLibCommands, WithNothingSelectedACommandFailsAlthoughTheLibraryIsLoaded) {
    EXPECT_FALSE(store->vokStoreInit());
    _SL_LIB_CMD_PARAM_T command = vokCommandBlock(vokExitLibraryCommand, nullptr);
    EXPECT_EQ(store->ProcessLibCommandCall(&command), 0x8001u);
    EXPECT_EQ(library.count({0, 9}), 0);
    EXPECT_EQ(vokStoreLibInterface::callLibraryMR(&command), 0u);
    EXPECT_EQ(library.count({0, 9}), 1);
}

TEST_F(StoreLibCommands, ABlockHasNothingBesideTheFieldsOfItsCommand) {
    addController(7);
    FakeRaidDisk& silent = addDisk(4, "");  // its serial number is asked for
    silent.vpdSerial = "Z1";
    addDisk(5, "S5").interfaceType = 3;  // its vendor is asked for
    addVolume(2, {4, 5});
    start();
    ASSERT_EQ(library.count({6, 0}), 2);
    ASSERT_EQ(library.count({3, 11}), 2);
    for (const _SL_LIB_CMD_PARAM_T& each : library.commands()) {
        _SL_LIB_CMD_PARAM_T expected;
        std::memset(&expected, 0, sizeof(expected));
        expected.commandType = each.commandType;
        expected.command = each.command;
        expected.dataSize = each.dataSize;
        if (each.commandType == 0 && each.command == 0) expected.flag = 1;
        if (each.commandType != 0) expected.controllerId = 7;
        if (each.commandType == 2) expected.deviceId = each.deviceId;
        if (each.commandType == 3) expected.targetId = 2;
        // Up to the pointer, which the fake leaves out.
        EXPECT_EQ(std::memcmp(&each, &expected, offsetof(_SL_LIB_CMD_PARAM_T, dataSize) + 4), 0)
            << int{each.commandType} << ", " << int{each.command};
    }
    int headers = 0;
    for (const std::string& each : library.passedThrough()) {
        if (each.size() != 64) continue;  // a DCMD frame
        ++headers;
        EXPECT_EQ(each.substr(28, 32), std::string(32, '\0'));
    }
    EXPECT_EQ(headers, 2);
}

TEST_F(StoreLibCommands, ACommandReturnsTheStatusOfTheLibrary) {
    addController(7);
    ASSERT_TRUE(store->vokStoreInit());
    _SL_LIB_CMD_PARAM_T command = vokCommandBlock(vokExitLibraryCommand, nullptr);
    EXPECT_EQ(store->ProcessLibCommandCall(&command), 0u);
    library.failures[{0, 9}] = 0x4321;
    EXPECT_EQ(store->ProcessLibCommandCall(&command), 0x4321u);
    EXPECT_EQ(store->ProcessLibCommandCall(nullptr), 0x8001u);
}

TEST_F(StoreLibCommands, WhatWasSelectedStaysSelectedWithoutAController) {
    addController(7);
    start();
    library.controllers.clear();
    store->cacheBuild("CTRL_EVENT");
    EXPECT_TRUE(store->controllerList().empty());
    addController(8);
    store->cacheBuild("CTRL_EVENT");
    EXPECT_EQ(store->getControllerCollection().size(), 1u);
}

TEST_F(StoreLibCommands, ACommandOutsideABuildWithoutAControllerIsForNone) {
    addController(7);
    ASSERT_TRUE(store->vokStoreInit());
    store->unloadDLL(1);
    EXPECT_EQ(store->GetUserDataBlockSizeOfPdInLD(0), 0x800Au);
    EXPECT_EQ(library.calls(), 1);
}

TEST_F(StoreLibCommands, ACallThatTakesLongIsReportedByItsName) {
    addController(7);
    vokBindLongOperationReport(Reports::add);
    auto& clock = host.part<FakeClock>();
    const vokLongOperationWatch watch;
    ASSERT_TRUE(watch.isRunning());
    std::vector<std::string> reports;
    library.answer = [&](_SL_LIB_CMD_PARAM_T&, std::uint32_t&) {
        clock.waitForSteadyWaits(1);
        clock.advanceSteady(31);
        reports = Reports::first();
        return false;
    };
    ASSERT_TRUE(store->vokStoreInit());
    EXPECT_EQ(reports, std::vector<std::string>{"library call initialise the library"});
}

}  // namespace
}  // namespace vokStoreLibCommandsTest
