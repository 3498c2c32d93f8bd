// Whether the storage manager counts as ready and running, and its stop.
#include <gmock/gmock.h>
#include <cerrno>
#include <future>
#include <thread>

#include "storage/StorageManagerFixture.h"
#include "support/FakeCommands.h"

namespace SASResourceManagerStopTest {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;

// --- readiness and running ---

TEST_F(StorageManager, LogsItsReadinessInItsOwnWords) {
    EXPECT_FALSE(manager.isInventoryReady(0));
    EXPECT_TRUE(hasLogged(host, "INFO SAS_RM: SAS RM cache status 0"));
    manager.cacheBuild();
    EXPECT_TRUE(manager.isInventoryReady(0));
    EXPECT_TRUE(hasLogged(host, "INFO SAS_RM: SAS RM cache status 1"));
}

TEST_F(StorageManager, IsNotRunningBeforeTheFirstBuildHasEnded) {
    EXPECT_FALSE(manager.isRunning());
    for (const char* const pass : {"1", "2", "3"})
        EXPECT_TRUE(hasLogged(
            host, std::string("WARNING SAS_RM: _cacheBuildInProgress = 0,ControllerInventory.size() = 0,"
                              "retryCount = ") +
                      pass));
    EXPECT_THAT(clock.pauses(), ElementsAre(5000000, 5000000, 5000000));
    EXPECT_THAT(calls.take(), IsEmpty()) << "no controller is asked";
}

TEST_F(StorageManager, IsRunningWithoutControllersOnceAFirstBuildHasEnded) {
    manager.cacheBuild();
    EXPECT_TRUE(manager.isRunning());
    EXPECT_THAT(clock.pauses(), IsEmpty());
}

TEST_F(StorageManager, IsNotRunningWhenAControllerHasItsEventsDisabled) {
    ScriptedFactory second;
    second.calls = &calls;
    const SASResourceManager::Factories secondRegistration(&second);
    factory.add();
    factory.add("0000:5e:00.0").eventsEnabled = false;
    factory.add("0000:5f:00.0");
    second.add();
    manager.cacheBuild();
    calls.take();
    EXPECT_FALSE(manager.isRunning());
    EXPECT_THAT(calls.take(), ElementsAre("getControllers 255", "isEventsEnabled", "isEventsEnabled"))
        << "the first false ends it";
    const std::string text = "LSI Events are disabled.Hence Storage Controllers is" + std::string(39, ' ') +
                             "partially functional.";
    EXPECT_TRUE(hasLogged(host, "INFO SAS_RM: " + text));
    factory.controllers[1]->eventsEnabled = true;
    EXPECT_TRUE(manager.isRunning());
}

// --- stop ---

TEST_F(StorageManager, TheStopReturnsAfterTheFactoriesHaveBeenShutDown) {
    clock.timedWaitsHold = true;
    std::atomic<bool> isShutDown{false};
    factory.onCall = [&](const std::string& call) {
        if (call != "shutdownFactory") return;
        EXPECT_TRUE(managerLogged("Resource manager stop in progress."));
        isShutDown = true;
    };
    std::thread thread([this] { manager.init(); });
    while (!manager.isInventoryReady(0)) std::this_thread::yield();
    manager.stopResourceManagerJob();
    EXPECT_TRUE(isShutDown);
    thread.join();
    EXPECT_TRUE(managerLogged("Resource manager stop called."));
    EXPECT_TRUE(managerLogged("Signalled for stop."));
    EXPECT_TRUE(managerLogged("Resource manager stopped."));
}

TEST_F(StorageManager, TheStopDoesNotWaitForAManagerThatHasNotBeenEntered) {
    manager.stopResourceManagerJob();
    EXPECT_TRUE(managerLogged("Resource manager stopped."));
    EXPECT_THAT(clock.steadilyWaitedSeconds(), IsEmpty());
    EXPECT_THAT(calls.take(), IsEmpty());
    manager.init();
    EXPECT_THAT(calls.take(), ElementsAre("shutdownFactory")) << "its thread comes later";
    EXPECT_EQ(builds(), 0);
}

TEST_F(StorageManager, TheStopDoesNotWaitForAThreadThatHasEnded) {
    run([](int) { return true; });
    calls.take();
    manager.stopResourceManagerJob();
    EXPECT_THAT(clock.steadilyWaitedSeconds(), IsEmpty());
    EXPECT_THAT(calls.take(), ElementsAre("shutdownFactory")) << "by the stop itself";
    EXPECT_TRUE(managerLogged("Resource manager stopped."));
}

// As a disk that hangs until its time-out does.
TEST_F(StorageManager, TheStopWaitsForABuildThatHangsHoweverLongThatTakes) {
    ScriptedController& controller = factory.add();
    factory.add("0000:5e:00.0");
    std::promise<void> hangs;
    std::promise<void> answers;
    controller.onCall = [&](const std::string& call) {
        if (call != "discoverInventory") return;
        hangs.set_value();
        answers.get_future().wait();
    };
    std::thread thread([this] { manager.init(); });
    hangs.get_future().wait();
    std::thread time([&] {
        clock.waitForSteadyWaits(1);
        clock.advanceSteady(60);
        clock.waitForSteadyWaits(2);
        EXPECT_FALSE(managerLogged("Resource manager stopped."));
        calls.take();
        answers.set_value();
    });
    manager.stopResourceManagerJob();
    time.join();
    EXPECT_TRUE(managerLogged("Resource manager stop in progress."));
    EXPECT_TRUE(managerLogged("Resource manager stopped."));
    EXPECT_THAT(clock.steadilyWaitedSeconds(), testing::Each(60));
    thread.join();
    const std::vector<std::string> after = calls.take();
    EXPECT_THAT(after, Not(Contains("discoverInventory"))) << "the next controller is not asked any more";
    EXPECT_THAT(after, Not(Contains("enableEvents")));
    EXPECT_THAT(after, Contains("shutdownFactory"));
}

TEST_F(StorageManager, TheStopDoesNotRepeatAWaitThatFails) {
    clock.timedWaitsHold = true;
    clock.steadyWaitError = EINVAL;
    std::promise<void> shutsDown;
    std::promise<void> mayEnd;
    factory.onCall = [&](const std::string& call) {
        if (call != "shutdownFactory") return;
        shutsDown.set_value();
        mayEnd.get_future().wait();
    };
    std::thread thread([this] { manager.init(); });
    while (!manager.isInventoryReady(0)) std::this_thread::yield();
    manager.stopResourceManagerJob();
    EXPECT_TRUE(hasLogged(host, "WARNING SAS_RM: Wait for resource manager stop completed with 22."));
    EXPECT_FALSE(managerLogged("Resource manager stopped."));
    shutsDown.get_future().wait();
    mayEnd.set_value();
    thread.join();
    factory.onCall = nullptr;  // its destruction shuts it down again
}

TEST_F(StorageManager, ABuildThatTheStopCutsShortLeavesTheInventoryAndRequestsNoPush) {
    ScriptedController& controller = factory.add();
    controller.info.setModel("as before");
    manager.cacheBuild();
    const auto stops = [&](const std::string& when) {
        return [this, when](const std::string& call) {
            if (call == when) host.part<FakeCommands>().requestStop(vokStopPhase::requested);
        };
    };
    controller.info.setModel("half of it");
    controller.onCall = stops("discoverPhysicalDiskInventory");
    SASResourceManager::sendInventorytToRMCOnCacheBuild();
    calls.take();
    manager.cacheBuild();
    EXPECT_THAT(calls.take(), Not(Contains("enableEvents"))) << "which could raise those of an arrival";
    ASSERT_EQ(documents(1).size(), 1u);
    EXPECT_EQ(documents(1)[0]["Model"], "as before");
    EXPECT_EQ(timesManagerLogged("SASRM requesting cache push"), 0);
    EXPECT_TRUE(
        hasLogged(host, "INFO SAS_RM: The stop has cut the build short; the previous inventory stays."));
}

TEST_F(StorageManager, AfterTheRequestToStopNoControllerIsPolled) {
    ScriptedController& first = factory.add();
    factory.add("0000:5e:00.0");
    first.onCall = [this](const std::string& call) {
        if (call == "poll") host.part<FakeCommands>().requestStop(vokStopPhase::requested);
    };
    manager.pollDevices();
    EXPECT_THAT(calls.take(), ElementsAre("factory poll", "getControllers 255", "poll"));
}

// The first build may take minutes, as with a disk that hangs. The aggregator then sends without storage.
TEST_F(StorageManager, AFirstBuildThatTheAggregatorGaveUpWaitingForIsPushedAtItsEnd) {
    factory.add().onCall = [this](const std::string& call) {
        if (call != "discoverPhysicalDiskInventory") return;
        for (int pass = 0; pass <= 8; ++pass)
            std::thread([&] { EXPECT_FALSE(manager.isInventoryReady(pass)); }).join();
        EXPECT_THAT(documents(1), IsEmpty());
    };
    manager.cacheBuild();
    EXPECT_EQ(timesManagerLogged("SASRM requesting cache push"), 1);
}

TEST_F(StorageManager, AStopDuringAPollAsksNoFurtherController) {
    ScriptedController& first = factory.add();
    factory.add("0000:5e:00.0");
    first.onCall = [this](const std::string& call) {
        if (call == "poll") std::thread([this] { manager.stopResourceManagerJob(); }).join();
    };
    manager.pollDevices();
    EXPECT_THAT(calls.take(), ElementsAre("factory poll", "getControllers 255", "poll"));
}

}  // namespace
}  // namespace SASResourceManagerStopTest
