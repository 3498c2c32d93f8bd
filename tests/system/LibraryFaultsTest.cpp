// A vendor's library that never returns, or that ends the process: the other classes and the pushes go on.
#include <gmock/gmock.h>
#include <algorithm>
#include <chrono>
#include <csignal>
#include <map>
#include <sstream>
#include <thread>

#include "system/SimulatedSystem.h"

namespace LibraryFaultsTest {
namespace {

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool crashesEndWithTheirSignal = false;  // a sanitizer reports them in its own way
#else
constexpr bool crashesEndWithTheirSignal = true;
#endif
constexpr char crashRecord[] = "/opt/mev/vok/data/vok_library_crashes.txt";

class LibraryFaults : public SimulatedSystem {
protected:
    static Json::Value settings() {
        Json::Value settings = usualSettings();
        settings["EnableResources"][0] = "All";
        settings["CacheRefreshInSeconds"]["Global"] = "60";
        return settings;
    }
    Json::Value sections(int inventory) const {
        Json::Value document;
        std::istringstream(inventoryText(inventory)) >> document;
        return document["HostDataCollection"];
    }
    // Rings until an inventory has all of these sections.
    bool inventoryComesWith(const std::vector<std::string>& names) {
        return waitUntil([this, &names] {
            const int before = controllerCount("inventories");
            controllerControl({"ring"});
            if (waitFor("inventory", before + 1) != 0) return false;
            const Json::Value document = sections(before + 1);
            return std::all_of(names.begin(), names.end(),
                               [&document](const std::string& name) { return document.isMember(name); });
        });
    }
    bool linkEventComes() {
        hostControl({"nic", "vmnic3", "link", "down"});
        return waitUntil([this] {
            const auto ids = events();
            return std::find(ids.begin(), ids.end(), 1384) != ids.end();
        });
    }
    // The members of "status --json" of the client.
    Json::Value status() const {
        Json::Value object;
        std::istringstream(runClient({"status", "--json"}).output) >> object;
        return object;
    }
    // The calls that hang by the class whose thread waits.
    std::map<std::string, std::string> hangingCalls() const {
        std::map<std::string, std::string> calls;
        const Json::Value object = status();
        for (const Json::Value& each : object["hanging"])
            calls[each["class"].asString()] = each["description"].asString();
        return calls;
    }
    // Runs the agent until it ends by itself.
    int runToItsDeath() { return runAgent({}).status; }
};

struct Call {
    const char* name;
    const char* library;
    const char* entry;
    const char* after;
    std::vector<std::string> others;  // the sections of the classes that go on
};

class ACallThatNeverReturns : public LibraryFaults, public testing::WithParamInterface<Call> {};

TEST_P(ACallThatNeverReturns, HoldsUpNoOtherClassNorPushNorDoorBellNorEvent) {
    const Call& call = GetParam();
    startAll(settings());
    hostControl({"library", call.library, "call", call.entry, "hang", "--after", call.after});
    startAgent();
    EXPECT_TRUE(inventoryComesWith(call.others));
    EXPECT_TRUE(linkEventComes());
    EXPECT_EQ(runClient({"test", "708"}).status, 0);
    // It can be stopped when the call has returned.
    hostControl({"library", call.library, "call", "normal"});
    EXPECT_EQ(stopAgent(), 0);
    EXPECT_EQ(controllerCount("violations"), 0);
}

const std::vector<std::string> withoutStorage{"EthernetDevices", "FibreChannelDevices", "Oem"};
const std::vector<std::string> withoutFibreChannel{"EthernetDevices", "Oem", "Drives", "StorageControllers"};

INSTANTIATE_TEST_SUITE_P(
    Table, ACallThatNeverReturns,
    testing::Values(
        Call{"RaidInitialisation", "libstorelib.so", "ProcessLibCommand", "0", withoutStorage},
        Call{"RaidQuery", "libstorelib.so", "ProcessLibCommand", "5", withoutStorage},
        Call{"RaidAfterTheFirstBuild", "libstorelib.so", "ProcessLibCommand", "150", withoutStorage},
        Call{"FibreChannelRegistration", "libvokfca.so", "RegisterLibrary", "0", withoutFibreChannel},
        Call{"FibreChannelLoad", "libvokfca.so", "LoadLibrary", "0", withoutFibreChannel},
        Call{"FibreChannelQuery", "libvokfcb.so", "GetAdapterPortAttributes", "1", withoutFibreChannel}),
    [](const auto& row) { return std::string(row.param.name); });

TEST_F(LibraryFaults, ALocationCallThatNeverReturnsHoldsUpNoPushOfTheHost) {
    startAll(settings());
    hostControl({"library", "libvkloc0202.so", "call", "physloc_encode", "hang"});
    startAgent();
    EXPECT_TRUE(inventoryComesWith({"Oem"}));
    EXPECT_EQ(runClient({"test", "708"}).status, 0);
    hostControl({"library", "libvkloc0202.so", "call", "normal"});
    EXPECT_TRUE(inventoryComesWith({"EthernetDevices", "FibreChannelDevices", "Oem", "Drives"}));
    EXPECT_EQ(stopAgent(), 0);
}

// The limit of the watch is thirty seconds of the machine's time, whatever the speed of the host.
constexpr std::chrono::seconds mostUntilItIsNoticed{90};

TEST_F(LibraryFaults, TheStatusNamesEachCallThatHangsWithItsClassWhilePushesAndEventsGoOn) {
    startAll(settings());
    hostControl({"library", "libstorelib.so", "call", "ProcessLibCommand", "hang"});
    hostControl({"library", "libvokfca.so", "call", "RegisterLibrary", "hang"});
    startAgent();
    ASSERT_TRUE(inventoryComesWith({"EthernetDevices", "Oem"}));
    EXPECT_EQ(runClient({"status"}).status, 0) << "nothing has taken thirty seconds";
    hostControl({"library", "libvkloc0202.so", "call", "physloc_encode", "hang"});
    const auto limit = std::chrono::steady_clock::now() + mostUntilItIsNoticed;
    while (hangingCalls().size() < 3 && std::chrono::steady_clock::now() < limit)
        std::this_thread::sleep_for(std::chrono::milliseconds(200));

    const auto calls = hangingCalls();
    EXPECT_THAT(calls, testing::UnorderedElementsAre(
                           testing::Pair("StorageControllers", testing::StartsWith("library call ")),
                           testing::Pair("FibreChannelDevices",
                                         testing::StartsWith("library call HBA_RegisterLibrary of ")),
                           testing::Pair("EthernetDevices", "library call physloc_encode")));
    const Ran ran = runClient({"status"});
    EXPECT_EQ(ran.status, 1);
    EXPECT_EQ(occurrences(ran.output, "WARNING: hanging since "), 3);
    EXPECT_EQ(occurrences(ran.output, "  library call physloc_encode (EthernetDevices)\n"), 1);
    EXPECT_TRUE(inventoryComesWith({"EthernetDevices", "Oem"}));
    EXPECT_EQ(runClient({"test", "708"}).status, 0);

    for (const char* library : {"libstorelib.so", "libvokfca.so", "libvkloc0202.so"})
        hostControl({"library", library, "call", "normal"});
    EXPECT_TRUE(waitUntil([this] { return hangingCalls().empty(); }));
    EXPECT_TRUE(waitUntil([this] { return runClient({"status"}).status == 0; }));
    EXPECT_EQ(stopAgent(), 0);
}

struct Death {
    const char* name;
    const char* library;
    const char* entry;
    const char* how;
    int status;
    std::vector<std::string> rest;  // the sections of an inventory without it
};

class LibraryDeaths : public LibraryFaults {
protected:
    void SetUp() override {
        if (!crashesEndWithTheirSignal) GTEST_SKIP();
    }
};

class ACallThatEndsTheProcess : public LibraryDeaths, public testing::WithParamInterface<Death> {};

TEST_P(ACallThatEndsTheProcess, IsLeftOutAfterTheSecondTime) {
    const Death& death = GetParam();
    startAll(settings());
    hostControl({"library", death.library, "call", death.entry, death.how});
    for (int times = 1; times <= 2; ++times) {
        EXPECT_EQ(runToItsDeath(), death.status);
        EXPECT_EQ(occurrences(hostFile(crashRecord), "\n"), times);
        EXPECT_GT(startupRecord().at("current_start"), 0) << "the startup record makes it a crash";
        EXPECT_EQ(timesLogged("is left out: "), 0);
        const Json::Value dead = status();
        EXPECT_EQ(dead["exitStatus"].asInt(), 2);
        EXPECT_EQ(dead["librariesLeftOut"].size(), 0u) << "it was tried";
    }
    startAgent();
    EXPECT_TRUE(inventoryComesWith(death.rest));
    EXPECT_EQ(occurrences(agentLog(), "The library " + std::string(death.library) + " is left out: "), 1);
    const Json::Value warned = status();
    EXPECT_EQ(warned["exitStatus"].asInt(), 1);
    EXPECT_EQ(warned["hanging"].size(), 0u);
    ASSERT_EQ(warned["librariesLeftOut"].size(), 1u);
    EXPECT_EQ(warned["librariesLeftOut"][0]["name"].asString(), death.library);
    EXPECT_EQ(warned["librariesLeftOut"][0]["crashes"].asInt(), 2);
    EXPECT_EQ(warned["reasons"].size(), 1u);
    EXPECT_EQ(warned["reasons"][0].asString().find("the library " + std::string(death.library) +
                                                   " is left out, as the agent has died in it 2 times, "),
              0u);
    EXPECT_TRUE(linkEventComes());
    EXPECT_EQ(stopAgent(), 0);
}

INSTANTIATE_TEST_SUITE_P(
    Table, ACallThatEndsTheProcess,
    testing::Values(Death{"RaidSignal",
                          "libstorelib.so",
                          "ProcessLibCommand",
                          "crash",
                          128 + SIGSEGV,
                          {"EthernetDevices", "FibreChannelDevices", "Oem", "Drives", "StorageControllers"}},
                    Death{"RaidWhenLoaded",
                          "libstorelib.so",
                          "load",
                          "abort",
                          128 + SIGABRT,
                          {"EthernetDevices", "FibreChannelDevices", "Oem", "Drives", "StorageControllers"}},
                    Death{"LocationAbort",
                          "libvkloc0202.so",
                          "physloc_encode",
                          "abort",
                          128 + SIGABRT,
                          {"EthernetDevices", "FibreChannelDevices", "Oem", "Drives", "StorageControllers"}},
                    Death{"FibreChannelExit", "libvokfca.so", "GetNumberOfAdapters", "exit", 13,
                          withoutFibreChannel}),
    [](const auto& row) { return std::string(row.param.name); });

TEST_F(LibraryDeaths, ALibraryIsTriedAgainAfterTheHostHasBooted) {
    startAll(settings());
    hostControl({"library", "libstorelib.so", "call", "ProcessLibCommand", "crash"});
    EXPECT_EQ(runToItsDeath(), 128 + SIGSEGV);
    EXPECT_EQ(runToItsDeath(), 128 + SIGSEGV);
    hostControl({"power-cut"});
    hostControl({"library", "libstorelib.so", "call", "normal"});
    startAgent();
    EXPECT_TRUE(inventoryComesWith({"Volumes"}));
    EXPECT_EQ(timesLogged("is left out: "), 0);
    EXPECT_EQ(status()["librariesLeftOut"].size(), 0u);
    EXPECT_EQ(stopAgent(), 0);
    EXPECT_FALSE(hostHas(crashRecord));
}

TEST_F(LibraryFaults, ASignalFromOutsideDuringACallIsNoCrashOfTheLibrary) {
    startAll(settings());
    hostControl({"library", "libstorelib.so", "call", "ProcessLibCommand", "hang"});
    for (const int signal : {SIGKILL, SIGABRT}) {
        startAgent();
        ASSERT_EQ(waitFor("inventory", controllerCount("inventories") + 1), 0);
        EXPECT_EQ(agent.end(signal), 128 + signal);
    }
    EXPECT_FALSE(hostHas(crashRecord));
}

TEST_F(LibraryDeaths, ATraceIsWrittenTooIfItIsEnabled) {
    Json::Value traced = settings();
    traced["CaptureUnhandledExceptionStack"] = "true";
    startAll(traced);
    hostControl({"library", "libstorelib.so", "call", "ProcessLibCommand", "crash"});
    EXPECT_EQ(runToItsDeath(), 128 + SIGSEGV);
    EXPECT_EQ(occurrences(hostFile(crashRecord), "\n"), 1);
    int traces = 0;
    for (const auto& name : hostDirectory("/opt/mev/vok/log"))
        traces += name.find("vokd-crash-") == 0 ? 1 : 0;
    EXPECT_EQ(traces, 1);
}

}  // namespace
}  // namespace LibraryFaultsTest
