#include <dlfcn.h>
#include <csignal>

#include "megaraid/storelib/StoreLibFixture.h"
#include "platform/access/vokChildSignal.h"

namespace vokStoreLibLoadingTest {
namespace {

using StoreLibLoading = StoreLibFixture;

constexpr FakeStoreLibCommand init = {0, 0};
constexpr FakeStoreLibCommand exitLibrary = {0, 9};
const std::string noLibrary = "There is no library that takes commands.";

TEST_F(StoreLibLoading, ItIsOpenedLazilyInitialisedOnceAndUsable) {
    addController(7);
    EXPECT_TRUE(store->vokStoreInit());
    EXPECT_TRUE(store->vokStoreInit());
    const auto opened = host.part<FakeLibraries>().opened();
    ASSERT_EQ(opened.size(), 1u);
    EXPECT_EQ(opened[0].name, "libstorelib.so");
    EXPECT_EQ(opened[0].flags, RTLD_LAZY);
    ASSERT_EQ(library.calls(), 1);
    const _SL_LIB_CMD_PARAM_T sent = library.commands()[0];
    EXPECT_EQ(sent.commandType, 0);
    EXPECT_EQ(sent.command, 0);
    EXPECT_EQ(sent.flag, 1);
    EXPECT_EQ(sent.controllerId, 0u);
    EXPECT_EQ(sent.dataSize, 260u);
    EXPECT_EQ(store->controllerList(), std::vector<std::uint32_t>{7});
    EXPECT_EQ(debug("Library loaded for MegaRAID SAS Controller."), 1);
    EXPECT_EQ(debug("Initializing library for MegaRAID SAS Controller..."), 1);
    EXPECT_EQ(debug("InitializeLibraryMR successful"), 1);
    EXPECT_EQ(count("WARNING", "No LSI MR controllers found"), 0);
    EXPECT_EQ(count("WARNING", "MegaRAID SAS Controller is running under Simulation Mode."), 0);
}

TEST_F(StoreLibLoading, AFailedOpenIsNotTriedAgain) {
    auto& libraries = host.part<FakeLibraries>();
    const auto symbols = std::exchange(libraries.symbols, {});
    libraries.failure = "no such file";
    EXPECT_FALSE(store->vokStoreInit());
    EXPECT_EQ(count("ERROR",
                    "Failed to load library for monitoring MegaRAID devices. If you need VOK to monitor this "
                    "class of devices, then kindly remove and install storelib package and restart "
                    "vok.service."),
              1);
    EXPECT_EQ(debug("Error occurred while loading MegaRAID lib dlerror = no such file"), 1);
    libraries.symbols = symbols;
    EXPECT_FALSE(store->vokStoreInit());
    EXPECT_EQ(libraries.opened().size(), 1u);
    EXPECT_EQ(library.calls(), 0);
}

TEST_F(StoreLibLoading, WithoutALibraryTheHandlerOfChildrenIsInstalledAndNoCacheIsBuilt) {
    std::signal(SIGCHLD, SIG_DFL);
    host.part<FakeLibraries>().symbols.clear();
    EXPECT_FALSE(store->vokStoreInit());
    EXPECT_EQ(std::signal(SIGCHLD, SIG_DFL), sighdlr);
    EXPECT_EQ(debug("Initializing library for MegaRAID SAS Controller..."), 0);
    store->cacheBuild("All");
    EXPECT_EQ(debug("vokStoreLibInterface::cacheBuild()"), 1);
    EXPECT_EQ(debug("MR library was not initialized hence cancelling cache build"), 1);
    EXPECT_EQ(debug("vokStoreLibInterface::cacheBuild() complete"), 0);
    EXPECT_EQ(library.calls(), 0);
}

TEST_F(StoreLibLoading, AMissingEntryPointLoadsAgainAtTheNextCall) {
    addController(7);
    auto& libraries = host.part<FakeLibraries>();
    const auto symbols = libraries.symbols;
    libraries.symbols["libstorelib.so"].clear();
    EXPECT_FALSE(store->vokStoreInit());
    EXPECT_EQ(debug("Library loaded for MegaRAID SAS Controller."), 1);
    EXPECT_EQ(debug("Unable to get Entry Point function address Exiting."), 1);
    EXPECT_EQ(library.calls(), 0);
    libraries.symbols = symbols;
    EXPECT_TRUE(store->vokStoreInit());
    EXPECT_EQ(libraries.opened().size(), 2u);
    EXPECT_EQ(libraries.openCount(), 1);
}

TEST_F(StoreLibLoading, AFailedOpenAfterAMissingEntryPointInitialisesNothing) {
    host.part<FakeLibraries>().symbols["libstorelib.so"].clear();
    EXPECT_FALSE(store->vokStoreInit());
    host.part<FakeLibraries>().symbols.clear();
    EXPECT_FALSE(store->vokStoreInit());
    EXPECT_FALSE(store->vokStoreInit());
    EXPECT_EQ(host.part<FakeLibraries>().opened().size(), 2u);
    EXPECT_EQ(debug("Initializing library for MegaRAID SAS Controller..."), 0);
}

TEST_F(StoreLibLoading, TheHandlerOfChildrenIsInstalledBeforeTheInitialisation) {
    addController(7);
    std::signal(SIGCHLD, SIG_DFL);
    bool isInstalled = false;
    library.answer = [&](_SL_LIB_CMD_PARAM_T&, std::uint32_t&) {
        isInstalled = std::signal(SIGCHLD, sighdlr) == sighdlr;
        return false;
    };
    EXPECT_TRUE(store->vokStoreInit());
    EXPECT_TRUE(isInstalled);
    std::signal(SIGCHLD, SIG_DFL);
}

TEST_F(StoreLibLoading, AFailedInitialisationIsAnErrorAndBuildsNothingAlthoughTheNextCallIsTrue) {
    addController(7);
    library.failures[init] = 0x8002;
    EXPECT_FALSE(store->vokStoreInit());
    EXPECT_EQ(count("ERROR", "InitLib failed for MegaRAID SAS Controller!!"), 1);
    EXPECT_TRUE(store->vokStoreInit());
    EXPECT_EQ(library.count(init), 1);
    store->cacheBuild("All");
    EXPECT_EQ(debug("MR library was not initialized hence cancelling cache build"), 1);
    EXPECT_EQ(library.calls(), 1);
}

TEST_F(StoreLibLoading, WithoutControllersTheFirstCallIsFalseAndTheSecondTrueWithoutControllers) {
    EXPECT_FALSE(store->vokStoreInit());
    EXPECT_EQ(count("WARNING", "No LSI MR controllers found"), 1);
    EXPECT_TRUE(store->vokStoreInit());
    EXPECT_EQ(count("WARNING", "No LSI MR controllers found"), 1);
    EXPECT_TRUE(store->controllerList().empty());
    // No entry point has been selected: a failure with one line, no call.
    store->cacheBuild("All");
    EXPECT_EQ(debug(noLibrary), 1);
    EXPECT_EQ(debug("Total controllers found: 0"), 1);
    EXPECT_EQ(library.calls(), 1);
    EXPECT_TRUE(store->getControllerCollection().empty());
}

TEST_F(StoreLibLoading, SimulationModeIsAWarning) {
    addController(7);
    library.simulation = true;
    EXPECT_TRUE(store->vokStoreInit());
    EXPECT_EQ(count("WARNING", "MegaRAID SAS Controller is running under Simulation Mode."), 1);
}

TEST_F(StoreLibLoading, TheListIsClampedToItsRoom) {
    for (std::uint32_t id = 1; id <= 65; ++id) addController(id);
    EXPECT_TRUE(store->vokStoreInit());
    const std::vector<std::uint32_t> list = store->controllerList();
    ASSERT_EQ(list.size(), 64u);
    EXPECT_EQ(list.front(), 1u);
    EXPECT_EQ(list.back(), 64u);
    EXPECT_EQ(count("WARNING",
                    "The list of controllers reports 65 entries; only the 64 that it has room for are read."),
              1);
}

TEST_F(StoreLibLoading, NoCountLeavesTheList) {
    addController(7);
    library.counts[init] = 65535;
    EXPECT_TRUE(store->vokStoreInit());
    const std::vector<std::uint32_t> list = store->controllerList();
    ASSERT_EQ(list.size(), 64u);
    EXPECT_EQ(list.front(), 7u);
}

TEST_F(StoreLibLoading, EachKnownResultOfTheInitialisationIsLoggedAndReturned) {
    addController(7);
    ASSERT_TRUE(store->vokStoreInit());
    const std::vector<std::pair<std::uint32_t, std::string>> results = {
        {0x8002, "InitializeLibraryMR failed _FAILED"},
        {0x801E, "InitializeLibraryMR failed:LIBSYSFS_NOT_PRESENT"},
        {0x802B, "User Access level incorrect, administrator privilege required"},
        {0x802C, "InitializeLibraryMR failed _NOT_PRESENT"},
    };
    for (const auto& [status, text] : results) {
        library.failures[init] = status;
        EXPECT_EQ(store->InitializeLibraryMR(), status);
        EXPECT_EQ(debug(text), 1) << text;
    }
    library.failures[init] = 0x8003;
    const std::size_t lines = loggedLines(host).size();
    EXPECT_EQ(store->InitializeLibraryMR(), 0x8003u);
    EXPECT_EQ(loggedLines(host).size(), lines);
    library.failures.clear();
    EXPECT_EQ(store->InitializeLibraryMR(), 0u);
}

// --- the end ---

TEST_F(StoreLibLoading, AnEndSendsTheExitCommandAndReturnsItsStatus) {
    addController(7);
    ASSERT_TRUE(store->vokStoreInit());
    EXPECT_EQ(store->UnInitializeLibrary(), 0u);
    EXPECT_EQ(debug("UnInitializeLibrary successful"), 1);
    library.failures[exitLibrary] = 0x8002;
    EXPECT_EQ(store->UnInitializeLibrary(), 0x8002u);
    EXPECT_EQ(debug("UnInitializeLibrary failed"), 1);
    EXPECT_EQ(library.count(exitLibrary), 2);
    EXPECT_EQ(host.part<FakeLibraries>().openCount(), 1);
}

TEST_F(StoreLibLoading, OnlyTheCodes0And255Unload) {
    addController(7);
    ASSERT_TRUE(store->vokStoreInit());
    for (const int code : {1, 254, 256, -1}) store->unloadDLL(code);
    EXPECT_EQ(library.count(exitLibrary), 0);
    EXPECT_EQ(host.part<FakeLibraries>().openCount(), 1);
    store->unloadDLL(255);
    EXPECT_EQ(library.count(exitLibrary), 1);
    EXPECT_EQ(host.part<FakeLibraries>().openCount(), 0);
    EXPECT_EQ(debug("UnInitializing library for MegaRAID SAS Controller."), 1);
    store->unloadDLL(0);
    EXPECT_EQ(library.count(exitLibrary), 1);
}

TEST_F(StoreLibLoading, TheCode0UnloadsAndAFailedExitIsADebugLine) {
    addController(7);
    ASSERT_TRUE(store->vokStoreInit());
    library.failures[exitLibrary] = 1;
    store->unloadDLL(0);
    EXPECT_EQ(debug("ExitLib failed for MegaRAID SAS Controller"), 1);
    EXPECT_EQ(host.part<FakeLibraries>().openCount(), 0);
}

TEST_F(StoreLibLoading, UnloadDLLsUnloadsAndAFailedExitIsAnError) {
    addController(7);
    ASSERT_TRUE(store->vokStoreInit());
    library.failures[exitLibrary] = 1;
    store->unloadDLLs();
    EXPECT_EQ(count("ERROR", "ExitLib failed for MegaRAID SAS Controller!"), 1);
    EXPECT_EQ(debug("UnInitializing library for MegaRAID SAS Controller."), 1);
    EXPECT_EQ(host.part<FakeLibraries>().openCount(), 0);
    store->unloadDLLs();
    EXPECT_EQ(library.count(exitLibrary), 1);
}

TEST_F(StoreLibLoading, AfterTheEndTheLibraryCountsAsLoadedButTakesNoCommand) {
    addController(7);
    start();
    store->unloadDLLs();
    const int calls = library.calls();
    EXPECT_TRUE(store->vokStoreInit());
    store->cacheBuild("All");
    EXPECT_EQ(debug(noLibrary), 1);
    _SL_LIB_CMD_PARAM_T command{};
    EXPECT_EQ(vokStoreLibInterface::callLibraryMR(&command), 0x8001u);
    EXPECT_EQ(library.calls(), calls);
    EXPECT_EQ(host.part<FakeLibraries>().opened().size(), 1u);
}

TEST_F(StoreLibLoading, AHeldLibraryStaysLoaded) {
    addController(7);
    ASSERT_TRUE(store->vokStoreInit());
    const vokLibrary::Hold hold = store->holdLibrary();
    store->unloadDLLs();
    EXPECT_EQ(host.part<FakeLibraries>().openCount(), 1);
}

TEST_F(StoreLibLoading, ALibraryThatEndsDuringACommandStaysLoaded) {
    addController(7);
    ASSERT_TRUE(store->vokStoreInit());
    library.answer = [&](_SL_LIB_CMD_PARAM_T& command, std::uint32_t&) {
        if (command.commandType == 0 && command.command == 3) store->unloadDLLs();
        return false;
    };
    store->cacheBuild("CTRL_EVENT");
    EXPECT_EQ(host.part<FakeLibraries>().openCount(), 1);
    EXPECT_EQ(library.count({1, 0}), 0);
}

}  // namespace
}  // namespace vokStoreLibLoadingTest
