// A long run: nothing grows.
#include <csignal>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "system/SimulatedSystem.h"

namespace EnduranceTest {
namespace {

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool memoryIsOurOwn = false;  // a sanitizer keeps much of it for itself
#else
constexpr bool memoryIsOurOwn = true;
#endif

class Endurance : public SimulatedSystem {
protected:
    // The number of entries in a directory of the agent under /proc: "fd", "task".
    long entries(const std::string& what) const {
        const std::filesystem::directory_iterator listing("/proc/" + std::to_string(agent.process()) + "/" +
                                                          what);
        return std::distance(begin(listing), end(listing));
    }
    // The field of the agent's /proc/PID/status, or -1 if it is missing.
    long processStatus(const std::string& name) const {
        std::ifstream stream("/proc/" + std::to_string(agent.process()) + "/status");
        long value = -1;
        for (std::string word; stream >> word;)
            if (word == name + ":") stream >> value;
        return value;
    }
    long residentKiB() const { return processStatus("VmRSS"); }
};

TEST_F(Endurance, AHundredPushesPollsAndBuildsLeakNoDescriptorThreadOrMemory) {
    Json::Value settings = usualSettings();
    settings["PushInventoryFrequencyInMinutes"] = "1";
    startAll(settings, 600);
    startAgent();
    ASSERT_EQ(waitFor("inventory", 20), 0);
    ASSERT_TRUE(waitUntil([this] { return entries("fd") <= entries("task") + 12; }));
    const long threads = entries("task");
    const long resident = residentKiB();
    ASSERT_EQ(waitFor("inventory", 120), 0);
    // A push, a poll or a command of a build may be in progress at any moment.
    EXPECT_TRUE(waitUntil([&] { return entries("task") <= threads; }));
    EXPECT_LE(entries("fd"), 19);
    if (memoryIsOurOwn) {
        EXPECT_LE(residentKiB() - resident, 512);
    }
    EXPECT_EQ(stopAgent(), 0);
    EXPECT_EQ(controllerCount("violations"), 0);
}

TEST_F(Endurance, TheAgentUsesLittleMemory) {
    startAll();
    startAgent();
    ASSERT_EQ(waitFor("inventory", 1), 0);
    if (memoryIsOurOwn) {
        EXPECT_LE(residentKiB(), 12 * 1024);
    }
    EXPECT_EQ(stopAgent(), 0);
}

TEST_F(Endurance, NoThreadStackIsBackedWithAHugePage) {
    startAll();
    startAgent();
    ASSERT_EQ(waitFor("inventory", 1), 0);
    const long enabled = processStatus("THP_enabled");
    EXPECT_EQ(stopAgent(), 0);
    if (enabled == -1) GTEST_SKIP() << "the kernel has no huge pages";
    EXPECT_EQ(enabled, 0);
}

}  // namespace
}  // namespace EnduranceTest
