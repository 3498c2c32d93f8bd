// The daemon as an operator meets it.
#include <gmock/gmock.h>
#include <signal.h>
#include <sys/stat.h>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "system/RunningAgent.h"

namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::MatchesRegex;
using testing::Not;

class Daemon : public RunningAgent {
protected:
    Json::Value inventory(int number) {
        char name[40];
        std::snprintf(name, sizeof(name), "/inventory-%04d.json", number);
        std::ifstream file(out() + name);
        Json::Value document;
        std::string errors;
        EXPECT_TRUE(Json::parseFromStream(Json::CharReaderBuilder(), file, &document, &errors)) << errors;
        return document;
    }
    Ran vokd(std::vector<std::string> options) {
        options.insert(options.begin(), {VOKD_PROGRAM, "--host-root", root()});
        return runProgram(options);
    }
    void writeConfig(const std::string& text) {
        std::ofstream(root() + "/etc/config/mev/vok/vok.conf", std::ios::trunc) << text;
    }
    std::vector<std::string> crashTraces() {
        std::vector<std::string> texts;
        for (const auto& entry : std::filesystem::directory_iterator(root() + "/opt/mev/vok/log")) {
            if (entry.path().filename().string().rfind("vokd-crash-", 0) != 0) continue;
            std::ifstream file(entry.path());
            texts.emplace_back(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
        }
        return texts;
    }
};

TEST_F(Daemon, TheFirstInventoryTellsTheHost) {
    startMachine("100");
    startAgent();
    ASSERT_EQ(waitFor("inventory", 1), 0);
    const Json::Value document = inventory(1);
    EXPECT_THAT(document.getMemberNames(), ElementsAre("HostDataCollection"));
    EXPECT_THAT(document["HostDataCollection"].getMemberNames(), ElementsAre("Oem"));
    const Json::Value& host = document["HostDataCollection"]["Oem"]["HostOSInfo"];
    EXPECT_EQ(host["HostName"], "rack42-node07");
    EXPECT_EQ(host["OSName"], "VMwareESXi");
    EXPECT_EQ(host["OSVersion"], "7.0.3");
    EXPECT_EQ(host["OSType"], 104);
    EXPECT_EQ(host["OSMemorySummary"]["TotalSystemMemoryGiB"], 511.0);
    EXPECT_EQ(host["OSMemorySummary"]["TotalFreeSystemMemoryGiB"], 382.0);
    ASSERT_EQ(host["IPv4Addresses"].size(), 2U);
    EXPECT_EQ(host["IPv4Addresses"][0]["Address"], "10.42.7.11");
    EXPECT_EQ(host["OSSoftwareSummary"]["VokSwVersion"], "3.3.2.1");
    EXPECT_EQ(document["HostDataCollection"]["Oem"]["CollectionInfo"]["CollectionFrequencyMin"], 1440);
    EXPECT_EQ(stopAgent(), 0);
    EXPECT_EQ(countOf("breaches"), 0);
    EXPECT_FALSE(std::filesystem::exists(root() + "/opt/mev/vok/data/vok_hwlist.txt"));
}

TEST_F(Daemon, AChangeShowsInTheInventoryThatTheDoorBellAsksFor) {
    startMachine("100");
    startAgent();
    ASSERT_EQ(waitFor("inventory", 1), 0);
    hostControl({"memory", "total", "1500", "free", "1024"});
    hostControl({"interface", "remove", "vmk1"});
    controllerControl({"ring", "--times", "1"});
    ASSERT_EQ(waitFor("inventory", 2), 0);
    const auto upToDate = [&](const Json::Value& document) {
        const Json::Value& host = document["HostDataCollection"]["Oem"]["HostOSInfo"];
        return host["OSMemorySummary"]["TotalSystemMemoryGiB"] == 1.0 && host["IPv4Addresses"].size() == 1;
    };
    // The ring may come before the host's next refresh; the one after has what changed.
    if (!upToDate(inventory(2))) {
        controllerControl({"ring"});
        ASSERT_EQ(waitFor("inventory", 3), 0);
        EXPECT_TRUE(upToDate(inventory(3)));
    }
    EXPECT_EQ(stopAgent(), 0);
}

TEST_F(Daemon, AGracefulStopLeavesItsRecord) {
    startMachine("100");
    startAgent();
    ASSERT_EQ(waitFor("inventory", 1), 0);
    const long start = startupValues().currentStart;
    EXPECT_EQ(stopAgent(), 0);
    const StartupValues values = startupValues();
    EXPECT_EQ(values.currentStart, 0);
    EXPECT_EQ(values.lastStart, start);
    EXPECT_GT(values.lastStop, start);
    EXPECT_THAT(agentLog(), HasSubstr("JOB_MGR: VOK Exiting Gracefully!"));
}

TEST_F(Daemon, StopsWithinTheReadinessPause) {
    startMachine("100", R"({"InventoryQueryIntervalInSeconds": "100000", "LoggingLevel": "Info",
                            "VOKLogLocation": "/scratch/log/vok.log"})");
    startAgent();
    ASSERT_TRUE(comesTrue([&] { return startupValues().lastStart > 0; }));
    EXPECT_EQ(stopAgent(), 0);
    EXPECT_EQ(countOf("inventories"), 0);
    EXPECT_EQ(startupValues().currentStart, 0);
}

TEST_F(Daemon, AStopDuringAPushLetsThePushEnd) {
    startMachine("100");
    controllerControl({"answer", "late", "300", "--of", "inventory", "--count", "3"});
    startAgent();
    ASSERT_TRUE(comesTrue([&] { return controllerState()["transfersInProgress"].asInt() > 0; }));
    EXPECT_EQ(stopAgent(), 0);
    EXPECT_EQ(countOf("inventories"), 1);
    EXPECT_EQ(countOf("breaches"), 0);
}

TEST_F(Daemon, ARefusedPushIsLoggedAndTheDoorBellBringsTheNext) {
    startMachine("100");
    controllerControl({"answer", "status", "3", "--of", "inventory", "--at-chunk", "3"});
    startAgent();
    ASSERT_EQ(waitFor("refused", 1), 0);
    controllerControl({"ring"});
    ASSERT_EQ(waitFor("inventory", 1), 0);
    EXPECT_EQ(stopAgent(), 0);
    EXPECT_THAT(agentLog(),
                AllOf(HasSubstr("IPMI: Transfer Status is 0x3[Error in index] and Cmd Exit Status is 0x"),
                      HasSubstr("JSON_AGGR: An Error occurred in delivering inventory string to RMC!")));
}

TEST_F(Daemon, ACompletionCodeOtherThanZeroDoesNotDisturbIt) {
    startMachine("100");
    controllerControl({"answer", "completion", "0xC1", "--of", "inventory", "--count", "2"});
    startAgent();
    ASSERT_EQ(waitFor("inventory", 1), 0);
    EXPECT_EQ(stopAgent(), 0);
    EXPECT_EQ(countOf("breaches"), 0);
}

TEST_F(Daemon, AControllerThatDiesAndComesBackGetsItsInventory) {
    startMachine("100");
    startAgent();
    ASSERT_EQ(waitFor("inventory", 1), 0);
    controllerProgram.end(SIGKILL);
    startController();
    ASSERT_EQ(waitFor("attached", 1), 0);
    controllerControl({"ring"});
    ASSERT_EQ(waitFor("inventory", 1), 0);
    EXPECT_EQ(stopAgent(), 0);
}

TEST_F(Daemon, WithNothingEnabledNothingIsSentAndItRunsOn) {
    startMachine("100", R"({"EnableResources": ["NoSuchResource"], "LoggingLevel": "Info",
                            "VOKLogLocation": "/scratch/log/vok.log", "InventoryQueryIntervalInSeconds": 1})");
    startAgent();
    ASSERT_TRUE(
        comesTrue([&] { return agentLog().find("No inventory information found!") != std::string::npos; }));
    EXPECT_EQ(stopAgent(), 0);
    EXPECT_EQ(countOf("inventories"), 0);
}

TEST_F(Daemon, AMissingDeviceNodeIsBroughtUpWithTheHostsOwnCommands) {
    startMachine("100");
    hostControl({"ipmi", "appears-after-bringup"});
    startAgent();
    ASSERT_EQ(waitFor("inventory", 1), 0);
    EXPECT_EQ(stopAgent(), 0);
    const std::string commands = hostFile("/run/simhost/commands.log");
    EXPECT_THAT(commands, AllOf(HasSubstr("modprobe ipmi_msghandler"), HasSubstr("modprobe ipmi_si"),
                                HasSubstr("modprobe ipmi_devintf"), HasSubstr("modprobe ipmi_watchdog"),
                                HasSubstr("modprobe ipmi_ssif"), HasSubstr("mknod")));
}

TEST_F(Daemon, ASecondOneOnTheHostIsRefused) {
    startMachine("100");
    startAgent();
    ASSERT_TRUE(comesTrue([&] { return startupValues().currentStart > 0; }));
    const Ran second = vokd({});
    EXPECT_EQ(second.status, 4);
    EXPECT_THAT(second.output, HasSubstr("process " + std::to_string(agent.process())));
    EXPECT_EQ(stopAgent(), 0);
}

TEST_F(Daemon, PrintsOneInventoryAndLeavesNoTrace) {
    startMachine("100");
    const Ran printed = vokd({"--print-inventory"});
    EXPECT_EQ(printed.status, 0);
    std::istringstream text(printed.output);
    Json::Value document;
    std::string errors;
    ASSERT_TRUE(Json::parseFromStream(Json::CharReaderBuilder(), text, &document, &errors)) << printed.output;
    EXPECT_EQ(document["HostDataCollection"]["Oem"]["HostOSInfo"]["HostName"], "rack42-node07");
    EXPECT_EQ(std::count(printed.output.begin(), printed.output.end(), '\n'), 1);
    EXPECT_EQ(countOf("requests"), 0);
    EXPECT_EQ(startupValues().currentStart, -1);
    EXPECT_FALSE(std::filesystem::exists(root() + "/opt/mev/vok/data/vok_hwlist.txt"));
}

TEST_F(Daemon, ChecksTheConfiguration) {
    startMachine("1");
    const Ran clean = vokd({"--check-config"});
    EXPECT_EQ(clean.status, 0);
    EXPECT_THAT(clean.output, AllOf(HasSubstr("Every value in the file was taken."), HasSubstr("1440")));

    writeConfig(R"({"LoggingLevel": "debug", "PushInventoryFrequencyInMinutes": "-5"})");
    const Ran refused = vokd({"--check-config"});
    EXPECT_EQ(refused.status, 6);
    EXPECT_THAT(refused.output,
                AllOf(HasSubstr("LoggingLevel"), HasSubstr("\"debug\": not one of Info, Error, Warning"),
                      HasSubstr("Warning"), HasSubstr("\"-5\"")));

    writeConfig("{broken");
    const Ran broken = vokd({"--check-config"});
    EXPECT_EQ(broken.status, 7);
    EXPECT_THAT(broken.output, HasSubstr("not JSON"));
    EXPECT_EQ(startupValues().currentStart, -1);
}

TEST_F(Daemon, SaysWhatIsWrongWithTheCommandLine) {
    startMachine("1");
    EXPECT_EQ(vokd({"--no-such-option"}).status, 2);
    EXPECT_EQ(vokd({"--check-config", "--print-inventory"}).status, 2);
    const Ran noRoot = runProgram({VOKD_PROGRAM, "--host-root", "/no/such/directory"});
    EXPECT_EQ(noRoot.status, 3);
    EXPECT_THAT(noRoot.output, HasSubstr("/no/such/directory"));
    const Ran help = runProgram({VOKD_PROGRAM, "--help"});
    EXPECT_EQ(help.status, 0);
    EXPECT_THAT(help.output, AllOf(HasSubstr("--host-root"), HasSubstr("Exit status")));
    EXPECT_THAT(runProgram({VOKD_PROGRAM, "--version"}).output, HasSubstr("3.3.2.1"));
}

class DaemonCrash : public Daemon, public testing::WithParamInterface<int> {};

TEST_P(DaemonCrash, LeavesATraceAndARecordOfARunningAgent) {
    startMachine("100", R"({"CaptureUnhandledExceptionStack": "true", "SimulateUnhandledException": ")" +
                            std::to_string(GetParam()) + R"("})");
    EXPECT_EQ(vokd({}).status, 128 + GetParam());
    const auto traces = crashTraces();
    ASSERT_EQ(traces.size(), 1U);
    EXPECT_THAT(traces[0], HasSubstr(GetParam() == 11 ? "SIGSEGV" : "SIGABRT"));
    EXPECT_THAT(traces[0], HasSubstr("startResourceManagers"));
    EXPECT_EQ(traces[0].find("exception: Simulated Agent Exception") != std::string::npos, GetParam() == 6);
    EXPECT_GT(startupValues().currentStart, 0);
}

INSTANTIATE_TEST_SUITE_P(Signals, DaemonCrash, testing::Values(11, 6));

TEST_F(Daemon, WithoutTheSettingACrashLeavesNoTrace) {
    startMachine("100", R"({"CaptureUnhandledExceptionStack": "false", "SimulateUnhandledException": "11"})");
    EXPECT_EQ(vokd({}).status, 128 + 11);
    EXPECT_THAT(crashTraces(), IsEmpty());
}

TEST_F(Daemon, KeepsNoDescriptorOfManyPushes) {
    startMachine("1000");
    startAgent();
    ASSERT_EQ(waitFor("inventory", 1), 0);
    const auto openDescriptors = [&] {
        return std::distance(
            std::filesystem::directory_iterator("/proc/" + std::to_string(agent.process()) + "/fd"), {});
    };
    const auto before = openDescriptors();
    controllerControl({"ring", "--times", "20"});
    ASSERT_EQ(waitFor("inventory", 21), 0);
    EXPECT_TRUE(comesTrue([&] { return openDescriptors() <= before; }));
    EXPECT_EQ(stopAgent(), 0);
}

}  // namespace
