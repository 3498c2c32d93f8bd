#include <atomic>
#include <condition_variable>
#include <thread>

#include "megaraid/storelib/StoreLibFixture.h"
#include "support/FakeClock.h"

namespace vokStoreLibCachesTest {
namespace {

constexpr FakeStoreLibCommand controllerList = {0, 3};
constexpr FakeStoreLibCommand diskList = {1, 4};
constexpr FakeStoreLibCommand volumeList = {1, 13};
const std::string noLock = "Failed to acquire lock.";

// A gate that a thread of the library waits at until the test opens it.
class Gate {
public:
    void waitHere() {
        std::unique_lock<std::mutex> lock(mutex_);
        isReached_ = true;
        changed_.notify_all();
        changed_.wait(lock, [this] { return isOpen_; });
    }
    void waitUntilReached() {
        std::unique_lock<std::mutex> lock(mutex_);
        changed_.wait(lock, [this] { return isReached_; });
    }
    void open() {
        const std::lock_guard<std::mutex> lock(mutex_);
        isOpen_ = true;
        changed_.notify_all();
    }

private:
    std::mutex mutex_;
    std::condition_variable changed_;
    bool isReached_ = false;
    bool isOpen_ = false;
};

class StoreLibCaches : public StoreLibFixture {
protected:
    StoreLibCaches() {
        addController(7);
        addDisk(4, "A");
        addVolume(0, {4});
    }
    // The number of lists that were read so far: of controllers, disks, volumes.
    std::vector<int> lists() const {
        return {library.count(controllerList), library.count(diskList), library.count(volumeList)};
    }
    // The serial number of the controller, the disk and the volume's disk, as cached.
    std::vector<std::string> serials() {
        const std::vector<CTRL_INFO> controllers = store->getControllerCollection();
        const std::vector<PD_INFO> disks = store->getPDInventoryForCtrl(7);
        const std::vector<LD_INFO> volumes = store->getLDInventoryForCtrl(7);
        return {controllers.empty() ? "-" : controllers[0].serialNumber,
                disks.empty() ? "-" : disks[0].serialNumber,
                volumes.empty() || volumes[0].physicalDiskSerials.empty()
                    ? "-"
                    : volumes[0].physicalDiskSerials[0]};
    }
    void name(const std::string& controller, const std::string& disk) {
        library.controllers[0].serial = controller;
        library.controllers[0].disks[0].serial = disk;
    }
    // Calls `body` while a build of this kind is at its list of disks.
    template <typename Body>
    void duringBuild(const std::string& kind, FakeStoreLibCommand command, Body body) {
        Gate gate;
        library.answer = [&](_SL_LIB_CMD_PARAM_T& block, std::uint32_t&) {
            if (FakeStoreLibCommand{block.commandType, block.command} == command) gate.waitHere();
            return false;
        };
        std::thread build([&] { store->cacheBuild(kind); });
        gate.waitUntilReached();
        body();
        gate.open();
        build.join();
        library.answer = nullptr;
    }
};

TEST_F(StoreLibCaches, EachKindBuildsItsOwnAndOtherTextsBuildNothing) {
    ASSERT_TRUE(store->vokStoreInit());
    struct Row {
        const char* kind;
        std::vector<int> lists;
    };
    const Row rows[] = {
        {"PD_EVENT", {0, 0, 0}},  // no controller is known yet
        {"CTRL_EVENT", {1, 0, 0}}, {"PD_EVENT", {1, 1, 0}},  {"LD_EVENT", {1, 1, 1}},
        {"All", {2, 2, 2}},        {"ALL_EVENT", {3, 3, 3}}, {"BBU_EVENT", {3, 3, 3}},
        {"", {3, 3, 3}},           {"all", {3, 3, 3}},       {"All ", {3, 3, 3}},
    };
    long builds = 0;
    for (const Row& row : rows) {
        store->cacheBuild(row.kind);
        EXPECT_EQ(lists(), row.lists) << row.kind;
        ++builds;
        EXPECT_EQ(debug("vokStoreLibInterface::cacheBuild()"), builds);
        EXPECT_EQ(debug("vokStoreLibInterface::cacheBuild() complete"), builds);
    }
}

TEST_F(StoreLibCaches, AnUnknownKindTakesTheLockOfABuild) {
    start();
    std::atomic<bool> isDone{false};
    std::thread other;
    duringBuild("PD_EVENT", diskList, [&] {
        other = std::thread([&] {
            store->cacheBuild("nothing");
            isDone = true;
        });
        // Both have begun; the second is logged before it waits.
        while (debug("vokStoreLibInterface::cacheBuild()") < 3) std::this_thread::yield();
        EXPECT_FALSE(isDone);
    });
    other.join();
    EXPECT_EQ(debug("vokStoreLibInterface::cacheBuild() complete"), 3);
}

TEST_F(StoreLibCaches, ABuildOfAllReadsControllersThenDisksThenVolumes) {
    start();
    std::vector<FakeStoreLibCommand> order;
    for (const _SL_LIB_CMD_PARAM_T& each : library.commands()) {
        const FakeStoreLibCommand command{each.commandType, each.command};
        if (command == controllerList || command == diskList || command == volumeList)
            order.push_back(command);
    }
    EXPECT_EQ(order, (std::vector<FakeStoreLibCommand>{controllerList, diskList, volumeList}));
}

TEST_F(StoreLibCaches, BeforeAnyBuildTheyAreEmpty) {
    EXPECT_EQ(serials(), (std::vector<std::string>{"-", "-", "-"}));
    EXPECT_EQ(store->getControllerInventory(7).controllerId, 0xFFFFFFFFu);
    EXPECT_TRUE(host.part<FakeClock>().pauses().empty());
}

TEST_F(StoreLibCaches, AReaderWaitsSixSecondsInThreePausesAndReadsThePreviousBuild) {
    name("C1", "D1");
    start();
    name("C2", "D2");
    store->cacheBuild("All");
    EXPECT_EQ(serials(), (std::vector<std::string>{"C2", "D2", "D2"}));
    name("C3", "D3");
    auto& clock = host.part<FakeClock>();
    duringBuild("CTRL_EVENT", controllerList, [&] {
        EXPECT_EQ(store->getControllerCollection().at(0).serialNumber, "C2");
        EXPECT_EQ(clock.pauses(), std::vector<unsigned long>(3, 2000000));
        EXPECT_EQ(count("WARNING", noLock), 1);
        EXPECT_EQ(store->getControllerInventory(7).serialNumber, "C2");
        EXPECT_EQ(store->getControllerID("0000:5e:00.0"), 7u);
        // Those of other kinds are the build before theirs.
        EXPECT_EQ(store->getPDInventoryForCtrl(7).at(0).serialNumber, "D1");
        EXPECT_EQ(store->getLDInventoryForCtrl(7).at(0).physicalDiskSerials.at(0), "D1");
    });
    EXPECT_EQ(clock.pauses().size(), 15u);
    EXPECT_EQ(count("WARNING", noLock), 5);
    EXPECT_EQ(serials(), (std::vector<std::string>{"C3", "D2", "D2"}));
    EXPECT_EQ(clock.pauses().size(), 15u);
}

TEST_F(StoreLibCaches, AReaderTakesTheCurrentBuildIfTheLockIsFreeAtTheSecondTry) {
    start();
    name("C2", "D2");
    std::thread build;
    Gate gate;
    library.answer = [&](_SL_LIB_CMD_PARAM_T&, std::uint32_t&) {
        gate.waitHere();
        return false;
    };
    host.part<FakeClock>().onPause = [&](unsigned long) {
        gate.open();
        if (build.joinable()) build.join();
    };
    build = std::thread([&] { store->cacheBuild("PD_EVENT"); });
    gate.waitUntilReached();
    EXPECT_EQ(store->getPDInventoryForCtrl(7).at(0).serialNumber, "D2");
    EXPECT_EQ(host.part<FakeClock>().pauses().size(), 1u);
    EXPECT_EQ(count("WARNING", noLock), 0);
}

TEST_F(StoreLibCaches, ThePreviousDisksAndVolumesAreTheLastOnesAlsoIfEmpty) {
    start();
    duringBuild("PD_EVENT", diskList, [&] { EXPECT_EQ(store->getPDInventoryForCtrl(7).size(), 1u); });
    library.controllers[0].disks.clear();
    library.controllers[0].volumes.clear();
    store->cacheBuild("PD_EVENT");
    store->cacheBuild("LD_EVENT");
    duringBuild("PD_EVENT", diskList, [&] { EXPECT_TRUE(store->getPDInventoryForCtrl(7).empty()); });
    duringBuild("LD_EVENT", volumeList, [&] { EXPECT_TRUE(store->getLDInventoryForCtrl(7).empty()); });
}

TEST_F(StoreLibCaches, ThePreviousControllersAreTheLastOnesThatWereNotEmpty) {
    start();
    library.failures[controllerList] = 1;
    store->cacheBuild("CTRL_EVENT");
    store->cacheBuild("CTRL_EVENT");
    EXPECT_TRUE(store->getControllerCollection().empty());
    library.failures.clear();
    duringBuild("CTRL_EVENT", controllerList,
                [&] { EXPECT_EQ(store->getControllerInventory(7).serialNumber, "SV00000001"); });
}

TEST_F(StoreLibCaches, AFirstBuildLeavesItsReadersWithoutContent) {
    ASSERT_TRUE(store->vokStoreInit());
    duringBuild("All", diskList, [&] {
        EXPECT_TRUE(store->getControllerCollection().empty());
        EXPECT_TRUE(store->getPDInventoryForCtrl(7).empty());
    });
    EXPECT_EQ(store->getPDInventoryForCtrl(7).size(), 1u);
}

TEST_F(StoreLibCaches, AnEventOfOneKindLeavesTheOthers) {
    name("C1", "D1");
    start();
    name("C2", "D2");
    store->cacheBuild("PD_EVENT");
    EXPECT_EQ(serials(), (std::vector<std::string>{"C1", "D2", "D1"}));
    store->cacheBuild("CTRL_EVENT");
    EXPECT_EQ(serials(), (std::vector<std::string>{"C2", "D2", "D1"}));
    store->cacheBuild("LD_EVENT");
    EXPECT_EQ(serials(), (std::vector<std::string>{"C2", "D2", "D2"}));
}

TEST_F(StoreLibCaches, AReaderGetsACopy) {
    start();
    std::vector<PD_INFO> disks = store->getPDInventoryForCtrl(7);
    disks.at(0).serialRetryCount = 9;
    EXPECT_EQ(store->getPDInventoryForCtrl(7).at(0).serialRetryCount, 0);
}

TEST_F(StoreLibCaches, ReadersBesideBuildsSeeWholeLists) {
    for (std::uint16_t id = 5; id < 20; ++id) addDisk(id, "S" + std::to_string(id));
    start();
    store->cacheBuild("All");  // so that the previous build is whole, too
    std::atomic<bool> isDone{false};
    std::atomic<int> torn{0};
    std::vector<std::thread> readers;
    for (int i = 0; i < 3; ++i)
        readers.emplace_back([&] {
            while (!isDone) {
                if (store->getPDInventoryForCtrl(7).size() != 16) ++torn;
                if (store->getLDInventoryForCtrl(7).size() != 1) ++torn;
                if (store->getControllerInventory(7).controllerId != 7) ++torn;
                if (store->controllerList().size() != 1) ++torn;
            }
        });
    std::thread otherBuilds([&] {
        for (int i = 0; i < 20; ++i) store->cacheBuild("LD_EVENT");
    });
    for (int i = 0; i < 20; ++i) store->cacheBuild("All");
    otherBuilds.join();
    isDone = true;
    for (std::thread& each : readers) each.join();
    EXPECT_EQ(torn, 0);
}

}  // namespace
}  // namespace vokStoreLibCachesTest
