// --check-config: every setting, what was refused and why, and the exit status that goes with it.
#include <gtest/gtest.h>
#include <algorithm>
#include <filesystem>

#include "simhost/RunningProgram.h"
#include "support/TemporaryDirectory.h"

namespace CheckConfigTest {
namespace {

class CheckConfig : public testing::Test {
protected:
    Ran check() { return runProgram({VOKD_PROGRAM, "--check-config", "--host-root", directory.path()}); }
    Ran check(const std::string& text) {
        directory.writeFile("/etc/config/mev/vok/vok.conf", text);
        return check();
    }
    TemporaryDirectory directory;
};

// The value in the report's line of a setting.
std::string valueOf(const std::string& key, const std::string& report) {
    const auto at = report.find("\n  " + key + " ");
    if (at == std::string::npos) return "no line";
    const std::string line = report.substr(at + 1, report.find('\n', at + 1) - at - 1);
    const auto value = line.find_first_not_of(' ', 2 + key.size());
    return value == std::string::npos ? "" : line.substr(value);
}

bool has(const Ran& ran, const std::string& text) {
    return ran.output.find(text) != std::string::npos;
}

TEST_F(CheckConfig, AValidFileYieldsStatusZeroAndEachSettingWithItsUnit) {
    const Ran ran = check(R"({"EnableResources": ["HostOSInfo", "EthernetDevices"], "LoggingLevel": "Info",
        "EnableDebugLog": "true", "CliMode": "inject", "CacheRefreshInSeconds": {"Global": "120"},
        "PushInventoryFrequencyInMinutes": "60", "VOKLogLocation": "/scratch/vok.log",
        "DebugLogLocation": "syslog", "IPMIDoorBellMonitorInterval": 5,
        "InventoryQueryIntervalInSeconds": "20", "CaptureUnhandledExceptionStack": "true",
        "HealthMonitorFlags": "3"})");
    EXPECT_EQ(ran.status, 0) << ran.output;
    EXPECT_TRUE(has(ran, "Every value in the file was accepted.")) << ran.output;
    constexpr const char* expected[][2] = {
        {"EnableResources", "HostOSInfo, EthernetDevices"},
        {"LoggingLevel", "Info"},
        {"EnableDebugLog", "true"},
        {"VOKLogLocation", "/scratch/vok.log"},
        {"DebugLogLocation", "syslog"},
        {"CliMode", "inject"},
        {"PushInventoryFrequencyInMinutes", "60 minutes"},
        {"IPMIDoorBellMonitorInterval", "5 minutes"},
        {"InventoryQueryIntervalInSeconds", "20 seconds"},
        {"CaptureUnhandledExceptionStack", "true"},
        {"SimulateUnhandledException", "-1"},
        {"ForwardAllMegaRAIDCriticalOrHigherEvents", "false"},
        {"ForwardAllSmartRAIDDegradedOrHigherEvents", "false"},
        {"DisableMegaRAID9560LoadingInspection", "false"},
        {"LogResourceManagerStatistics", "false"},
        {"MicrochipEventQueueIndex", "0"},
        {"HealthMonitorFlags", "3"},
        {"CacheRefreshInSeconds.FibreChannelDevices", "120 seconds"},
        {"CacheRefreshInSeconds.StorageControllers", "120 seconds"},
        {"CacheRefreshInSeconds.NVMeControllers", "120 seconds"},
        {"CacheRefreshInSeconds.HostOSInfo", "120 seconds"},
        {"CacheRefreshInSeconds.EthernetDevices", "120 seconds"},
        {"CacheRefreshInSeconds.GPUDevices", "120 seconds"},
        {"CacheRefreshInSeconds.InfiniBandDevices", "120 seconds"},
    };
    for (const auto& row : expected) EXPECT_EQ(valueOf(row[0], ran.output), row[1]) << row[0];
}

struct BadValue {
    const char* name;
    const char* member;   // of the file
    const char* refused;  // the beginning of the line that reports it
    const char* key;
    const char* used;
};

constexpr BadValue badValues[] = {
    {"LevelDebug", R"("LoggingLevel": "debug")", "LoggingLevel = \"debug\": ", "LoggingLevel", "Warning"},
    {"LevelObject", R"("LoggingLevel": {"a": 1})", "LoggingLevel = an object of 1: ", "LoggingLevel",
     "Warning"},
    {"CliMode", R"("CliMode": "production")", "CliMode = \"production\": ", "CliMode", "test"},
    {"NegativePush", R"("PushInventoryFrequencyInMinutes": "-5")",
     "PushInventoryFrequencyInMinutes = \"-5\": ", "PushInventoryFrequencyInMinutes", "1440 minutes"},
    {"ZeroDoorBell", R"("IPMIDoorBellMonitorInterval": 0)",
     "IPMIDoorBellMonitorInterval = 0: ", "IPMIDoorBellMonitorInterval", "10 minutes"},
    {"QueryWord", R"("InventoryQueryIntervalInSeconds": "soon")",
     "InventoryQueryIntervalInSeconds = \"soon\": ", "InventoryQueryIntervalInSeconds", "10 seconds"},
    {"DebugNotABoolean", R"("EnableDebugLog": [true])", "EnableDebugLog = an array of 1: ", "EnableDebugLog",
     "false"},
    {"RefreshOfOne", R"("CacheRefreshInSeconds": {"HostOSInfo": "0"})",
     "CacheRefreshInSeconds.HostOSInfo = \"0\": ", "CacheRefreshInSeconds.HostOSInfo", "3600 seconds"},
    {"RefreshOfAll", R"("CacheRefreshInSeconds": {"Global": "abc"})",
     "CacheRefreshInSeconds.Global = \"abc\": ", "CacheRefreshInSeconds.EthernetDevices", "3600 seconds"},
    {"UnknownResource", R"("EnableResources": ["HostOSInfo", "EthernetDevice"])",
     "EnableResources = \"EthernetDevice\": ", "EnableResources", "HostOSInfo, EthernetDevice"},
    {"RelativeLog", R"("VOKLogLocation": "vok.log")", "VOKLogLocation = \"vok.log\": ", "VOKLogLocation",
     "vok.log"},
    {"LogIsTheRootDirectory", R"("DebugLogLocation": "/")", "DebugLogLocation = \"/\": ", "DebugLogLocation",
     "/"},
    {"Fraction", R"("PushInventoryFrequencyInMinutes": "1.5")",
     "PushInventoryFrequencyInMinutes = \"1.5\": ", "PushInventoryFrequencyInMinutes", "1 minutes"},
    {"Unit", R"("InventoryQueryIntervalInSeconds": "60s")",
     "InventoryQueryIntervalInSeconds = \"60s\": ", "InventoryQueryIntervalInSeconds", "60 seconds"},
    {"Exponent", R"("IPMIDoorBellMonitorInterval": "1e3")",
     "IPMIDoorBellMonitorInterval = \"1e3\": ", "IPMIDoorBellMonitorInterval", "1 minutes"},
    {"RepeatedKey", R"("CliMode": "inject", "CliMode": "test")", "CliMode: written more than once", "CliMode",
     "test"},
    {"UnknownKey", R"("Loglevel": "Info")", "Loglevel = \"Info\": ", "LoggingLevel", "Warning"},
    {"UnknownKeyBelow", R"("CacheRefreshInSeconds": {"HostOsInfo": "60"})",
     "CacheRefreshInSeconds.HostOsInfo = \"60\": ", "CacheRefreshInSeconds.HostOSInfo", "3600 seconds"},
};

class EachBadValue : public CheckConfig, public testing::WithParamInterface<BadValue> {};

TEST_P(EachBadValue, IsReportedWithTheWrittenValueAndTheOneUsedInstead) {
    const Ran ran = check("{" + std::string(GetParam().member) + R"(, "HealthMonitorFlags": "7"})");
    EXPECT_EQ(ran.status, 6) << ran.output;
    EXPECT_TRUE(has(ran, "\n  " + std::string(GetParam().refused))) << ran.output;
    EXPECT_TRUE(has(ran, "; used instead: ")) << ran.output;
    EXPECT_EQ(valueOf(GetParam().key, ran.output), GetParam().used) << ran.output;
    EXPECT_EQ(valueOf("HealthMonitorFlags", ran.output), "7") << "the others keep their values";
}

INSTANTIATE_TEST_SUITE_P(Table, EachBadValue, testing::ValuesIn(badValues),
                         [](const auto& row) { return row.param.name; });

struct BadFile {
    const char* name;
    std::string text;
};

class EachBadFile : public CheckConfig, public testing::WithParamInterface<BadFile> {};

TEST_P(EachBadFile, IsIgnoredWithStatusSevenAndTheBuiltInSettings) {
    const Ran ran = check(GetParam().text);
    EXPECT_EQ(ran.status, 7) << ran.output;
    EXPECT_TRUE(has(ran, "  the file is not used: ")) << ran.output;
    EXPECT_TRUE(has(ran, "; used instead: the built-in settings\n")) << ran.output;
    EXPECT_EQ(valueOf("CacheRefreshInSeconds.HostOSInfo", ran.output), "30 seconds");
    EXPECT_EQ(valueOf("LoggingLevel", ran.output), "Warning");
}

INSTANTIATE_TEST_SUITE_P(
    Table, EachBadFile,
    testing::Values(BadFile{"Empty", ""}, BadFile{"Rubbish", "\x01\xff{{{{"}, BadFile{"Cut", R"({"Cli)"},
                    BadFile{"ArrayAtTheRoot", R"(["LoggingLevel", "Info", 3])"},
                    BadFile{"OneMember", R"({"LoggingLevel": "Info"})"},
                    BadFile{"NestedAThousandDeep", std::string(1000, '[') + std::string(1000, ']')}),
    [](const auto& row) { return row.param.name; });

TEST_F(CheckConfig, AMissingFileYieldsStatusSevenToo) {
    const Ran ran = check();
    EXPECT_EQ(ran.status, 7) << ran.output;
    EXPECT_TRUE(has(ran,
                    "  the file is not used: can't be opened: No such file or directory; used instead: "
                    "the built-in settings\n"))
        << ran.output;
}

struct RunningResources {
    const char* name;
    const char* enabled;
    const char* lines;
};

class EnabledResources : public CheckConfig, public testing::WithParamInterface<RunningResources> {};

TEST_P(EnabledResources, AreShownAsThoseThatRun) {
    const Ran ran =
        check("{\"EnableResources\": " + std::string(GetParam().enabled) + R"(, "CliMode": "test"})");
    EXPECT_TRUE(has(ran, "\n\n" + std::string(GetParam().lines) + "\n\n")) << ran.output;
}

INSTANTIATE_TEST_SUITE_P(Table, EnabledResources,
                         testing::Values(RunningResources{"Two", R"(["ethernetdevices", "HostOSInfo"])",
                                                          "Resources that run: HostOSInfo, EthernetDevices"},
                                         RunningResources{
                                             "AllAfterAnUnknownOne", R"(["Bogus", "All"])",
                                             "Resources that run: FibreChannelDevices, HostOSInfo, "
                                             "StorageControllers, EthernetDevices"},
                                         RunningResources{"UnknownOnes", R"(["Bogus", "NVMeControllers"])",
                                                          "Resources that run: none"}),
                         [](const auto& row) { return row.param.name; });

TEST_F(CheckConfig, ChangesNothing) {
    check(R"({"VOKLogLocation": "/scratch/vok.log", "DebugLogLocation": "/scratch/debug.log"})");
    const auto entries = std::filesystem::directory_iterator(directory.path());
    EXPECT_EQ(std::distance(begin(entries), end(entries)), 1) << "etc alone";
}

}  // namespace
}  // namespace CheckConfigTest
