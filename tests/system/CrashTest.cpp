// A simulated crash, and what it leaves on the host.
#include <sys/stat.h>
#include <csignal>

#include "system/SimulatedSystem.h"

namespace CrashTest {
namespace {

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool crashesAreTraced = false;  // a sanitizer reports a store through a null pointer in its own way
#else
constexpr bool crashesAreTraced = true;
#endif

class Crash : public SimulatedSystem {
protected:
    void SetUp() override {
        if (!crashesAreTraced) GTEST_SKIP();
    }
    Ran crash(const char* number, const char* capture) {
        Json::Value settings = usualSettings();
        settings["SimulateUnhandledException"] = number;
        settings["CaptureUnhandledExceptionStack"] = capture;
        startAll(settings);
        return runAgent({});
    }
    std::vector<std::string> traces() const {
        std::vector<std::string> found;
        for (const auto& name : hostDirectory("/opt/mev/vok/log"))
            if (name.find("vokd-crash-") == 0) found.push_back(name);
        return found;
    }
    std::string onlyTrace() const {
        const auto names = traces();
        return names.size() == 1 ? hostFile("/opt/mev/vok/log/" + names[0])
                                 : "not one trace but " + std::to_string(names.size());
    }
};

TEST_F(Crash, ASegmentationFaultEndsTheProcessWithItsSignalAndATrace) {
    const Ran ran = crash("11", "true");
    EXPECT_EQ(ran.status, 128 + SIGSEGV);
    const std::string trace = onlyTrace();
    EXPECT_EQ(trace.find("vokd 3.3.2.1 ended by SIGSEGV at address 0x0\nprocess "), 0u) << trace;
    EXPECT_NE(trace.find("simulateUnhandledExceptions"), std::string::npos) << trace;
    EXPECT_NE(trace.find("startResourceManagers"), std::string::npos) << trace;
    EXPECT_NE(ran.output.find("vokd: 3.3.2.1 ended by SIGSEGV at address 0x0, trace in "), std::string::npos)
        << ran.output;
    EXPECT_EQ(occurrences(agentLog(), "JOB_MGR: Simulating unhandled exception SIGSEGV. (11)"), 1);
    EXPECT_GT(startupRecord().at("current_start"), 0);
}

TEST_F(Crash, AnUncaughtExceptionAbortsTheProcessAndTheTraceNamesIt) {
    const Ran ran = crash("6", "true");
    EXPECT_EQ(ran.status, 128 + SIGABRT);
    const std::string trace = onlyTrace();
    EXPECT_EQ(trace.find("vokd 3.3.2.1 ended by SIGABRT\nprocess "), 0u) << trace;
    EXPECT_NE(trace.find("\nexception: Simulated Agent Exception\n"), std::string::npos) << trace;
    EXPECT_NE(
        ran.output.find("vokd: 3.3.2.1 ended by SIGABRT, exception: Simulated Agent Exception, trace in "),
        std::string::npos)
        << ran.output;
    EXPECT_EQ(occurrences(agentLog(), "JOB_MGR: Simulating unhandled exception SIGABRT. (6)"), 1);
    EXPECT_GT(startupRecord().at("current_start"), 0);
}

TEST_F(Crash, WithoutTheSettingThereIsNoTraceAndTheSameExitStatus) {
    EXPECT_EQ(crash("11", "false").status, 128 + SIGSEGV);
    EXPECT_TRUE(traces().empty());
    EXPECT_GT(startupRecord().at("current_start"), 0);
}

TEST_F(Crash, ASignalFromOutsideIsTracedToo) {
    Json::Value settings = usualSettings();
    settings["CaptureUnhandledExceptionStack"] = "true";
    startAll(settings);
    startAgent();
    ASSERT_EQ(waitFor("inventory", 1), 0);
    EXPECT_EQ(agent.end(SIGABRT), 128 + SIGABRT);
    EXPECT_EQ(onlyTrace().find("vokd 3.3.2.1 ended by SIGABRT\n"), 0u) << onlyTrace();
}

TEST_F(Crash, ATraceIsAccessibleToItsOwnerOnly) {
    crash("11", "true");
    ASSERT_EQ(traces().size(), 1u);
    struct stat status {};
    ASSERT_EQ(::stat((root() + "/opt/mev/vok/log/" + traces()[0]).c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0600u);
}

TEST_F(Crash, AnyOtherNumberSimulatesNothing) {
    Json::Value settings = usualSettings();
    settings["SimulateUnhandledException"] = "9";
    startAll(settings);
    startAgent();
    ASSERT_EQ(waitFor("inventory", 1), 0);
    EXPECT_EQ(stopAgent(), 0);
}

}  // namespace
}  // namespace CrashTest
