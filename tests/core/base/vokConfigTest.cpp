#include "core/base/vokConfig.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>
#include <algorithm>
#include <fstream>
#include <thread>

#include "core/base/vokSettingRules.h"
#include "support/FakeHost.h"
#include "support/FakeSystemLog.h"

namespace vokConfigTest {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

constexpr char configFile[] = "/etc/config/mev/vok/vok.conf";

class ConfigTest : public testing::Test {
protected:
    void write(const std::string& text) { host.root.writeFile(configFile, text); }
    // A file with a second member next to the one under test, since a file with a single member is ignored.
    vokConfig& with(const std::string& member) {
        write("{" + member + ", \"Comment\": 1}");
        return *vokConfig::getInstance();
    }
    FakeHost host;
    FakeSystemLog& systemLog = host.part<FakeSystemLog>();
};

void expectBuiltInSettings(vokConfig& config) {
    EXPECT_TRUE(config.isDefaultSettingsApplied());
    EXPECT_FALSE(config.getDebugLogSettings());
    for (const char* module : {"FibreChannelDevices", "HostOSInfo", "StorageControllers", "EthernetDevices",
                               "NVMeControllers", "GPUDevices", "InfiniBandDevices"})
        EXPECT_EQ(config.getrefreshInterval(module), 30) << module;
    EXPECT_EQ(config.getInventoryPushIntervalSettings(), 1440);
    EXPECT_EQ(config.getVOKLoggingLevel(), "Warning");
    EXPECT_EQ(config.getVOKLogFileLocation(), "syslog");
    EXPECT_EQ(config.getVOKDebugLogFileLocation(), "syslog");
    EXPECT_THAT(config.getEnabledResources(), ElementsAre("All"));
    EXPECT_EQ(config.getDoorBellSleepInterval(), 10);
    EXPECT_EQ(config.getInventoryQueryInterval(), 10);
    EXPECT_FALSE(config.isUnhandledExceptionStackCaptureEnabled());
    EXPECT_EQ(config.getUnhandledExceptionToSimulate(), 0);
    EXPECT_FALSE(config.isForwardAllMegaRAIDCriticalOrHigherEventsEnabled());
    EXPECT_FALSE(config.isForwardAllSmartRAIDDegradedOrHigherEventsEnabled());
    EXPECT_FALSE(config.isMegaRAID9560LoadingInspectionDisabled());
    EXPECT_FALSE(config.isRMStatisticsLoggingEnabled());
    EXPECT_EQ(config.getMicrochipEventQueueIndex(), 0);
    EXPECT_EQ(config.getHealthMonitorFlags(), 0);
    EXPECT_EQ(config.getTestEventSettings(), "test");
}

TEST_F(ConfigTest, WithoutAFileTheBuiltInSettingsApply) {
    expectBuiltInSettings(*vokConfig::getInstance());
}

struct UnusableFile {
    const char* what;
    std::string text;
};

std::string nested(std::size_t depth) {
    return "{\"A\": " + std::string(depth, '[') + std::string(depth, ']') + ", \"B\": 1}";
}

class UnusableFileTest : public ConfigTest, public testing::WithParamInterface<UnusableFile> {};

TEST_P(UnusableFileTest, YieldsTheBuiltInSettings) {
    write(GetParam().text);
    expectBuiltInSettings(*vokConfig::getInstance());
}

INSTANTIATE_TEST_SUITE_P(
    Files, UnusableFileTest,
    testing::Values(UnusableFile{"empty", ""}, UnusableFile{"noJson", "LoggingLevel = Info"},
                    UnusableFile{"cutOff", R"({"LoggingLevel": "Info", "CliMode": )"},
                    UnusableFile{"oneMember", R"({"LoggingLevel": "Info"})"}, UnusableFile{"noMember", "{}"},
                    UnusableFile{"array", R"(["a", "b", "c"])"}, UnusableFile{"text", R"("LoggingLevel")"},
                    UnusableFile{"number", "17"}, UnusableFile{"null", "null"},
                    UnusableFile{"nestedAndCutOff", "{\"A\": 1, \"B\": " + std::string(2000, '[')},
                    UnusableFile{"nestedAndNotClosed", nested(2000).substr(0, 3000)},
                    UnusableFile{"closedByTheWrongBracket", R"({"A": 1e400, "B": 1])"},
                    UnusableFile{"aSlashAlone", "{\"A\": 1e400, \"B\": 1 / 2\n}"},
                    UnusableFile{"aNumberWithTwoExponents", R"({"A": 1e400e5, "B": 1})"},
                    UnusableFile{"aCommentWithoutAnEnd", R"({"A": 1e400, "B": 1 /* })"},
                    UnusableFile{"aMalformedNumber", R"({"A": 1e400, "B": 1.2.3})"},
                    UnusableFile{"junk", std::string("\0\xff\xfe{\x80\"a", 7)}),
    [](const auto& each) { return std::string(each.param.what); });

TEST_F(ConfigTest, AFileOfMoreThan16MiBIsIgnored) {
    write(R"({"LoggingLevel": "Info", "CliMode": "inject"})" + std::string(16 * 1024 * 1024, ' '));
    expectBuiltInSettings(*vokConfig::getInstance());
}

TEST_F(ConfigTest, ADirectoryInsteadOfTheFileIsIgnored) {
    host.root.writeFile(std::string(configFile) + "/x", "");
    expectBuiltInSettings(*vokConfig::getInstance());
}

TEST_F(ConfigTest, APipeInsteadOfTheFileIsIgnoredWithoutWaiting) {
    host.root.writeFile("/etc/config/mev/vok/other", "");
    ASSERT_EQ(::mkfifo((host.root.path() + configFile).c_str(), 0600), 0);
    expectBuiltInSettings(*vokConfig::getInstance());
}

TEST_F(ConfigTest, MissingKeysHaveTheDefaultsOfAFile) {
    vokConfig& config = with("\"Other\": 2");
    EXPECT_FALSE(config.isDefaultSettingsApplied());
    EXPECT_EQ(config.getVOKLoggingLevel(), "Warning");
    EXPECT_EQ(config.getTestEventSettings(), "test");
    for (const char* module : {"FibreChannelDevices", "HostOSInfo", "StorageControllers", "EthernetDevices",
                               "NVMeControllers", "GPUDevices", "InfiniBandDevices"})
        EXPECT_EQ(config.getrefreshInterval(module), 3600) << module;
    EXPECT_EQ(config.getInventoryPushIntervalSettings(), 1440);
    EXPECT_EQ(config.getDoorBellSleepInterval(), 10);
    EXPECT_EQ(config.getInventoryQueryInterval(), 10);
    EXPECT_EQ(config.getUnhandledExceptionToSimulate(), -1);
    EXPECT_EQ(config.getMicrochipEventQueueIndex(), 0);
    EXPECT_EQ(config.getHealthMonitorFlags(), 0);
    EXPECT_EQ(config.getVOKLogFileLocation(), "syslog");
    EXPECT_EQ(config.getVOKDebugLogFileLocation(), "syslog");
    EXPECT_THAT(config.getEnabledResources(), ElementsAre("All"));
    EXPECT_FALSE(config.getSendTestEventSettings("anything"));
}

TEST_F(ConfigTest, EveryKeyIsRead) {
    write(R"({"EnableResources": ["HostOSInfo", "EthernetDevices"], "LoggingLevel": "Error",
        "EnableDebugLog": "true", "CliMode": "inject",
        "CacheRefreshInSeconds": {"FibreChannelDevices": "61", "StorageControllers": "62",
            "NVMeControllers": "63", "HostOSInfo": "64", "EthernetDevices": "65", "GPUDevices": "66",
            "InfiniBandDevices": "67"},
        "PushInventoryFrequencyInMinutes": "7", "VOKLogLocation": "/log/a", "DebugLogLocation": "/log/d",
        "IPMIDoorBellMonitorInterval": "3", "InventoryQueryIntervalInSeconds": "4",
        "CaptureUnhandledExceptionStack": "true", "SimulateUnhandledException": "11",
        "ForwardAllMegaRAIDCriticalOrHigherEvents": "true",
        "ForwardAllSmartRAIDDegradedOrHigherEvents": "TRUE",
        "DisableMegaRAID9560LoadingInspection": "True", "LogResourceManagerStatistics": "tRuE",
        "MicrochipEventQueueIndex": "5", "HealthMonitorFlags": "6"})");
    vokConfig& config = *vokConfig::getInstance();
    EXPECT_FALSE(config.isDefaultSettingsApplied());
    EXPECT_THAT(config.getEnabledResources(), ElementsAre("HostOSInfo", "EthernetDevices"));
    EXPECT_EQ(config.getVOKLoggingLevel(), "Error");
    EXPECT_TRUE(config.getDebugLogSettings());
    EXPECT_EQ(config.getTestEventSettings(), "inject");
    EXPECT_EQ(config.getrefreshInterval("FibreChannelDevices"), 61);
    EXPECT_EQ(config.getrefreshInterval("StorageControllers"), 62);
    EXPECT_EQ(config.getrefreshInterval("NVMeControllers"), 63);
    EXPECT_EQ(config.getrefreshInterval("HostOSInfo"), 64);
    EXPECT_EQ(config.getrefreshInterval("EthernetDevices"), 65);
    EXPECT_EQ(config.getrefreshInterval("GPUDevices"), 66);
    EXPECT_EQ(config.getrefreshInterval("InfiniBandDevices"), 67);
    EXPECT_EQ(config.getInventoryPushIntervalSettings(), 7);
    EXPECT_EQ(config.getVOKLogFileLocation(), "/log/a");
    EXPECT_EQ(config.getVOKDebugLogFileLocation(), "/log/d");
    EXPECT_EQ(config.getDoorBellSleepInterval(), 3);
    EXPECT_EQ(config.getInventoryQueryInterval(), 4);
    EXPECT_TRUE(config.isUnhandledExceptionStackCaptureEnabled());
    EXPECT_EQ(config.getUnhandledExceptionToSimulate(), 11);
    EXPECT_TRUE(config.isForwardAllMegaRAIDCriticalOrHigherEventsEnabled());
    EXPECT_TRUE(config.isForwardAllSmartRAIDDegradedOrHigherEventsEnabled());
    EXPECT_TRUE(config.isMegaRAID9560LoadingInspectionDisabled());
    EXPECT_TRUE(config.isRMStatisticsLoggingEnabled());
    EXPECT_EQ(config.getMicrochipEventQueueIndex(), 5);
    EXPECT_EQ(config.getHealthMonitorFlags(), 6);
    EXPECT_FALSE(config.getSendTestEventSettings("inject"));
}

TEST_F(ConfigTest, NumbersAndBooleansAreAcceptedAsWellAsTexts) {
    write(R"({"EnableDebugLog": true, "PushInventoryFrequencyInMinutes": 7, "HealthMonitorFlags": 2.9,
              "CacheRefreshInSeconds": {"HostOSInfo": 90}})");
    vokConfig& config = *vokConfig::getInstance();
    EXPECT_TRUE(config.getDebugLogSettings());
    EXPECT_EQ(config.getInventoryPushIntervalSettings(), 7);
    EXPECT_EQ(config.getHealthMonitorFlags(), 2);
    EXPECT_EQ(config.getrefreshInterval("HostOSInfo"), 90);
}

// --- resources ---

struct ResourceList {
    const char* what;
    const char* value;
    std::vector<std::string> kept;
};

class ResourceListTest : public ConfigTest, public testing::WithParamInterface<ResourceList> {};

TEST_P(ResourceListTest, IsKeptAs) {
    EXPECT_EQ(with("\"EnableResources\": " + std::string(GetParam().value)).getEnabledResources(),
              GetParam().kept);
}

INSTANTIATE_TEST_SUITE_P(
    Lists, ResourceListTest,
    testing::Values(
        ResourceList{"ALeadingAllReplacesTheRest", R"(["All", "HostOSInfo"])", {"All"}},
        ResourceList{"AllInAnyCase", R"(["aLL", "HostOSInfo"])", {"All"}},
        ResourceList{"EndsAtTheFirstEmptyText", R"(["HostOSInfo", "", "EthernetDevices"])", {"HostOSInfo"}},
        ResourceList{"EmptyMeansAll", "[]", {"All"}},
        ResourceList{"ALeadingEmptyTextMeansAll", R"(["", "HostOSInfo"])", {"All"}},
        ResourceList{"ALaterAllIsAnEntry", R"(["HostOSInfo", "All"])", {"HostOSInfo", "All"}},
        ResourceList{"ABadElementEndsIt", R"(["HostOSInfo", {"a": 1}, "EthernetDevices"])", {"HostOSInfo"}},
        ResourceList{"ALeadingBadElementMeansAll", R"([["HostOSInfo"]])", {"All"}},
        ResourceList{"APlainTextMeansAll", R"("HostOSInfo")", {"All"}},
        ResourceList{"AnObjectMeansAll", R"({"0": "HostOSInfo"})", {"All"}},
        ResourceList{"ANumberMeansAll", "3", {"All"}}, ResourceList{"NullMeansAll", "null", {"All"}}),
    [](const auto& each) { return std::string(each.param.what); });

TEST_F(ConfigTest, OnlyTheFirstFourIdsCanBeEnabled) {
    vokConfig& config = with(R"("EnableResources": ["All"])");
    for (const int id : {0, 1, 2, 3}) EXPECT_TRUE(config.isResourceEnabled(id)) << id;
    for (const int id : {-1, 4, 5, 6, 7, 100, 105, 1000}) EXPECT_FALSE(config.isResourceEnabled(id)) << id;
}

TEST_F(ConfigTest, AResourceIsEnabledByItsNameInAnyCase) {
    vokConfig& config = with(R"("EnableResources": ["hostosinfo", "STORAGECONTROLLERS"])");
    EXPECT_FALSE(config.isResourceEnabled(0));
    EXPECT_TRUE(config.isResourceEnabled(1));
    EXPECT_TRUE(config.isResourceEnabled(2));
    EXPECT_FALSE(config.isResourceEnabled(3));
}

TEST_F(ConfigTest, AllEnablesAtAnyPosition) {
    vokConfig& config = with(R"("EnableResources": ["HostOSInfo", "all"])");
    for (const int id : {0, 1, 2, 3}) EXPECT_TRUE(config.isResourceEnabled(id)) << id;
}

// --- texts ---

TEST_F(ConfigTest, LoggingLevelDebugIsNotAcceptedFromTheFile) {
    EXPECT_EQ(with(R"("LoggingLevel": "debug")").getVOKLoggingLevel(), "Warning");
}

TEST_F(ConfigTest, AnAcceptedLevelIsKeptAsWritten) {
    EXPECT_EQ(with(R"("LoggingLevel": "eRRoR")").getVOKLoggingLevel(), "eRRoR");
}

TEST_F(ConfigTest, ALevelWithExtraCharactersIsNotAccepted) {
    EXPECT_EQ(with(R"("LoggingLevel": "Info ")").getVOKLoggingLevel(), "Warning");
}

TEST_F(ConfigTest, AnAcceptedClientModeIsKeptAsWritten) {
    EXPECT_EQ(with(R"("CliMode": "INJECT")").getTestEventSettings(), "INJECT");
}

TEST_F(ConfigTest, AnUnknownClientModeIsTest) {
    EXPECT_EQ(with(R"("CliMode": "both")").getTestEventSettings(), "test");
}

TEST_F(ConfigTest, AnyOtherKeyHasNoAcceptedText) {
    EXPECT_EQ(vokSettingRules::validateString("Info", "VOKLogLocation"), "");
}

TEST_F(ConfigTest, EmptyLogPathsMeanTheSystemLog) {
    vokConfig& config = with(R"("VOKLogLocation": "", "DebugLogLocation": "")");
    EXPECT_EQ(config.getVOKLogFileLocation(), "syslog");
    EXPECT_EQ(config.getVOKDebugLogFileLocation(), "syslog");
}

// --- numbers ---

struct NumberCase {
    const char* value;
    int result;
};

void PrintTo(const NumberCase& each, std::ostream* out) {
    *out << each.value;
}

class NumberTest : public ConfigTest, public testing::WithParamInterface<NumberCase> {};

TEST_P(NumberTest, OfMinutesIsRead) {
    EXPECT_EQ(with("\"PushInventoryFrequencyInMinutes\": " + std::string(GetParam().value))
                  .getInventoryPushIntervalSettings(),
              GetParam().result);
}

INSTANTIATE_TEST_SUITE_P(
    Values, NumberTest,
    testing::Values(NumberCase{R"("15")", 15}, NumberCase{R"("15minutes")", 15}, NumberCase{R"("  15")", 15},
                    NumberCase{R"("+15")", 15}, NumberCase{R"("-5")", 1440}, NumberCase{R"("0")", 1440},
                    NumberCase{R"("abc")", 1440}, NumberCase{R"("")", 1440}, NumberCase{R"("0x20")", 1440},
                    NumberCase{R"("2147483647")", 2147483647}, NumberCase{R"("2147483648")", 1440},
                    NumberCase{R"("4294967297")", 1440}, NumberCase{R"("99999999999999999999")", 1440},
                    NumberCase{"2147483647", 2147483647}, NumberCase{"2147483648", 1440},
                    NumberCase{"1e300", 1440}, NumberCase{"true", 1440}, NumberCase{"null", 1440},
                    NumberCase{"{}", 1440}, NumberCase{"[5]", 1440}));

TEST_F(ConfigTest, ANumberOfFourHundredDigitsIsABadValueOfItsKeyOnly) {
    write(R"({"HealthMonitorFlags": 7, "LoggingLevel": "Error", "PushInventoryFrequencyInMinutes": )" +
          std::string(400, '9') + "}");
    vokConfig& config = *vokConfig::getInstance();
    EXPECT_EQ(config.getInventoryPushIntervalSettings(), 1440);
    EXPECT_EQ(config.getHealthMonitorFlags(), 7);
    EXPECT_EQ(config.getVOKLoggingLevel(), "Error");
}

TEST_F(ConfigTest, NumbersBeyondADoubleAreBadValuesOfTheirKeysOnly) {
    write(R"({"HealthMonitorFlags": 1e400, "MicrochipEventQueueIndex": -1e999, "VOKLogLocation": "/a\\",
              "DebugLogLocation": "/1e999", "InventoryQueryIntervalInSeconds": 3})");
    vokConfig& config = *vokConfig::getInstance();
    EXPECT_EQ(config.getHealthMonitorFlags(), 0);
    EXPECT_EQ(config.getMicrochipEventQueueIndex(), 0);
    EXPECT_EQ(config.getVOKLogFileLocation(), "/a\\");
    EXPECT_EQ(config.getVOKDebugLogFileLocation(), "/1e999");
    EXPECT_EQ(config.getInventoryQueryInterval(), 3);
}

TEST_F(ConfigTest, ANumberBeyondADoubleIsNotATextEither) {
    write(R"({"VOKLogLocation": 1e400, "DebugLogLocation": -1e400, "EnableResources": 1e400,
              "CacheRefreshInSeconds": {"Global": 1e400, "HostOSInfo": 5}, "LoggingLevel": 1e400})");
    std::vector<vokConfigFinding> found;
    const auto config = vokConfig::examine(found);
    EXPECT_EQ(config->getVOKLogFileLocation(), "syslog");
    EXPECT_EQ(config->getVOKDebugLogFileLocation(), "syslog");
    EXPECT_THAT(config->getEnabledResources(), ElementsAre("All"));
    EXPECT_EQ(config->getrefreshInterval("HostOSInfo"), 3600);
    EXPECT_EQ(config->getVOKLoggingLevel(), "Warning");
    EXPECT_EQ(found.size(), 6U);
    write(R"({"EnableResources": ["HostOSInfo", 1e400, "EthernetDevices"], "CacheRefreshInSeconds": 1e400})");
    EXPECT_THAT(vokConfig::examine(found)->getEnabledResources(), ElementsAre("HostOSInfo"));
}

TEST_F(ConfigTest, ATextThatLooksLikeABigNumberOrAnOpenBracketIsLeftAlone) {
    write(R"({"HealthMonitorFlags": 1e400, "VOKLogLocation": "/1e400[[{\"-1e999", /* "1e400 */
              "LoggingLevel": "Info", // it's "quoted once
              "MicrochipEventQueueIndex": 1e999, "DebugLogLocation": "/d"})");
    vokConfig& config = *vokConfig::getInstance();
    EXPECT_EQ(config.getVOKLogFileLocation(), "/1e400[[{\"-1e999");
    EXPECT_EQ(config.getVOKLoggingLevel(), "Info");
    EXPECT_EQ(config.getVOKDebugLogFileLocation(), "/d");
    EXPECT_EQ(config.getMicrochipEventQueueIndex(), 0);
}

TEST_F(ConfigTest, ANumberThatTheParserWritesWithAnExponentIsABadValue) {
    write(
        R"({"HealthMonitorFlags": 1e19, "MicrochipEventQueueIndex": 0.00002, "InventoryQueryIntervalInSeconds": 25e0})");
    vokConfig& config = *vokConfig::getInstance();
    EXPECT_EQ(config.getHealthMonitorFlags(), 0);
    EXPECT_EQ(config.getMicrochipEventQueueIndex(), 0);
    EXPECT_EQ(config.getInventoryQueryInterval(), 25);
}

class NestingTest : public ConfigTest, public testing::WithParamInterface<std::size_t> {};

TEST_P(NestingTest, IsABadValueOfItsKeyOnly) {
    const std::string arrays = std::string(GetParam(), '[') + "1, 2" + std::string(GetParam(), ']');
    std::string objects = "1";
    for (std::size_t i = 0; i < std::min<std::size_t>(GetParam(), 3000); ++i)
        objects = "{\"a\": " + objects + ", \"b\": [1, 2]}";
    write("{\"LoggingLevel\": \"Error\", \"CliMode\": " + arrays + ", \"VOKLogLocation\": " + objects +
          ", \"EnableResources\": [\"HostOSInfo\", " + arrays +
          "], \"CacheRefreshInSeconds\": {\"HostOSInfo\": " + objects +
          ", \"EthernetDevices\": \"7\"}, \"HealthMonitorFlags\": \"3\"}");
    vokConfig& config = *vokConfig::getInstance();
    EXPECT_FALSE(config.isDefaultSettingsApplied());
    EXPECT_EQ(config.getVOKLoggingLevel(), "Error");
    EXPECT_EQ(config.getTestEventSettings(), "test");
    EXPECT_EQ(config.getVOKLogFileLocation(), "syslog");
    EXPECT_THAT(config.getEnabledResources(), ElementsAre("HostOSInfo"));
    EXPECT_EQ(config.getrefreshInterval("HostOSInfo"), 3600);
    EXPECT_EQ(config.getrefreshInterval("EthernetDevices"), 7);
    EXPECT_EQ(config.getHealthMonitorFlags(), 3);
}

INSTANTIATE_TEST_SUITE_P(Depths, NestingTest,
                         testing::Values(2, 97, 98, 99, 100, 101, 102, 999, 1000, 1001, 200000));

TEST_F(ConfigTest, EachNumberHasItsOwnDefaultForABadValue) {
    vokConfig& config = with(R"("PushInventoryFrequencyInMinutes": "x", "IPMIDoorBellMonitorInterval": "x",
        "InventoryQueryIntervalInSeconds": "x", "SimulateUnhandledException": "x",
        "MicrochipEventQueueIndex": "x", "HealthMonitorFlags": "x",
        "CacheRefreshInSeconds": {"HostOSInfo": "x"})");
    EXPECT_EQ(config.getInventoryPushIntervalSettings(), 1440);
    EXPECT_EQ(config.getDoorBellSleepInterval(), 10);
    EXPECT_EQ(config.getInventoryQueryInterval(), 10);
    EXPECT_EQ(config.getUnhandledExceptionToSimulate(), -1);
    EXPECT_EQ(config.getMicrochipEventQueueIndex(), 0);
    EXPECT_EQ(config.getHealthMonitorFlags(), 0);
    EXPECT_EQ(config.getrefreshInterval("HostOSInfo"), 3600);
}

TEST(SettingRules, UnreadNumberKeysHaveNoUsefulDefault) {
    for (const char* key :
         {"ProcessorSamplingRateInSeconds", "MemorySamplingRateInSeconds", "NetworkSamplingRateInSeconds",
          "StorageSamplingRateInSeconds", "NumastatSamplingRateInSeconds", "TelemetrySendIntervalInSeconds",
          "UtilizationPushFrequencyInMinutes", "TelemetrySchemaOption", "TelemetryDBIntervalInMinutes",
          "FileServiceSendIntervalInSeconds", "SimulateUnhandledException", "telemetryschemaoption"}) {
        EXPECT_EQ(vokSettingRules::validateNumerical("12", key), 12) << key;
        EXPECT_EQ(vokSettingRules::validateNumerical("0", key), -1) << key;
    }
    EXPECT_EQ(vokSettingRules::validateNumerical("12", "TelemetrySendIntervalInSeconds"), 12);
    EXPECT_EQ(vokSettingRules::validateNumerical("x", "TelemetrySendIntervalInSeconds"), -1);
    EXPECT_EQ(vokSettingRules::validateNumerical("12", "NoSuchKey"), -1);
}

TEST(SettingRules, ABooleanIsTrueOnlyForAKnownKey) {
    EXPECT_TRUE(vokSettingRules::validateBool("TRUE", "EnableDebugLog"));
    for (const char* key :
         {"EnableTelemetryLogging", "EnableTelemetryDataCollection", "EnableTelemetryDoorBell",
          "EnableUtilizationDataCollection", "enableutilizationdatacollection"})
        EXPECT_TRUE(vokSettingRules::validateBool("true", key)) << key;
    EXPECT_FALSE(vokSettingRules::validateBool("true", "NoSuchKey"));
    EXPECT_FALSE(vokSettingRules::validateBool("yes", "EnableDebugLog"));
    EXPECT_FALSE(vokSettingRules::validateBool("1", "EnableDebugLog"));
    EXPECT_FALSE(vokSettingRules::validateBool("true ", "EnableDebugLog"));
}

// --- refresh intervals ---

TEST_F(ConfigTest, ABadGlobalIntervalMeans3600ForAllAndTheOthersAreIgnored) {
    vokConfig& config = with(R"("CacheRefreshInSeconds": {"Global": "abc", "HostOSInfo": "45"})");
    EXPECT_EQ(config.getrefreshInterval("HostOSInfo"), 3600);
    EXPECT_EQ(config.getrefreshInterval("StorageControllers"), 3600);
}

TEST_F(ConfigTest, AGlobalIntervalAppliesToAll) {
    vokConfig& config = with(R"("CacheRefreshInSeconds": {"Global": "120", "HostOSInfo": "45"})");
    for (const char* module : {"FibreChannelDevices", "HostOSInfo", "StorageControllers", "EthernetDevices",
                               "NVMeControllers", "GPUDevices", "InfiniBandDevices"})
        EXPECT_EQ(config.getrefreshInterval(module), 120) << module;
}

TEST_F(ConfigTest, AGlobalIntervalOfAWrongTypeMeans3600) {
    vokConfig& config = with(R"("CacheRefreshInSeconds": {"Global": {"a": 1}, "HostOSInfo": "45"})");
    EXPECT_EQ(config.getrefreshInterval("HostOSInfo"), 3600);
}

TEST_F(ConfigTest, AnEmptyGlobalIntervalLeavesTheOthersInEffect) {
    vokConfig& config = with(R"("CacheRefreshInSeconds": {"Global": "", "HostOSInfo": "45"})");
    EXPECT_EQ(config.getrefreshInterval("HostOSInfo"), 45);
    EXPECT_EQ(config.getrefreshInterval("EthernetDevices"), 3600);
}

TEST_F(ConfigTest, AGlobalIntervalThatIsNullReadsAsEmptyAndZeroDoesNot) {
    EXPECT_EQ(with(R"("CacheRefreshInSeconds": {"Global": null, "HostOSInfo": "45"})")
                  .getrefreshInterval("HostOSInfo"),
              45);
    write(R"({"CacheRefreshInSeconds": {"Global": 0, "HostOSInfo": "45"}, "Comment": 1})");
    std::vector<vokConfigFinding> found;
    EXPECT_EQ(vokConfig::examine(found)->getrefreshInterval("HostOSInfo"), 3600);
}

TEST_F(ConfigTest, ZeroAndMissingIntervalsMeanTheDefault) {
    vokConfig& config = with(R"("CacheRefreshInSeconds": {"HostOSInfo": "0"})");
    EXPECT_EQ(config.getrefreshInterval("HostOSInfo"), 3600);
    EXPECT_EQ(config.getrefreshInterval("StorageControllers"), 3600);
}

TEST_F(ConfigTest, AModuleWithoutAnIntervalHasZero) {
    EXPECT_EQ(with(R"("CacheRefreshInSeconds": {"Global": "9"})").getrefreshInterval("TrustedPlatformModule"),
              0);
}

class WrongIntervalsTest : public ConfigTest, public testing::WithParamInterface<const char*> {};

TEST_P(WrongIntervalsTest, MeanTheDefaultForEachModule) {
    vokConfig& config =
        with("\"LoggingLevel\": \"Info\", \"CacheRefreshInSeconds\": " + std::string(GetParam()));
    EXPECT_EQ(config.getrefreshInterval("HostOSInfo"), 3600);
    EXPECT_EQ(config.getVOKLoggingLevel(), "Info");
}

INSTANTIATE_TEST_SUITE_P(Types, WrongIntervalsTest,
                         testing::Values("\"60\"", "60", "[60]", "true", "null", "1e99"));

// --- each key with each wrong type ---

struct Getter {
    const char* key;
    std::string (*value)(vokConfig&);
    const char* fallback;
};

const Getter getters[] = {
    {"LoggingLevel", [](vokConfig& c) { return c.getVOKLoggingLevel(); }, "Warning"},
    {"EnableDebugLog", [](vokConfig& c) { return std::to_string(c.getDebugLogSettings()); }, "0"},
    {"CliMode", [](vokConfig& c) { return c.getTestEventSettings(); }, "test"},
    {"PushInventoryFrequencyInMinutes",
     [](vokConfig& c) { return std::to_string(c.getInventoryPushIntervalSettings()); }, "1440"},
    {"VOKLogLocation", [](vokConfig& c) { return c.getVOKLogFileLocation(); }, "syslog"},
    {"DebugLogLocation", [](vokConfig& c) { return c.getVOKDebugLogFileLocation(); }, "syslog"},
    {"IPMIDoorBellMonitorInterval", [](vokConfig& c) { return std::to_string(c.getDoorBellSleepInterval()); },
     "10"},
    {"InventoryQueryIntervalInSeconds",
     [](vokConfig& c) { return std::to_string(c.getInventoryQueryInterval()); }, "10"},
    {"CaptureUnhandledExceptionStack",
     [](vokConfig& c) { return std::to_string(c.isUnhandledExceptionStackCaptureEnabled()); }, "0"},
    {"SimulateUnhandledException",
     [](vokConfig& c) { return std::to_string(c.getUnhandledExceptionToSimulate()); }, "-1"},
    {"ForwardAllMegaRAIDCriticalOrHigherEvents",
     [](vokConfig& c) { return std::to_string(c.isForwardAllMegaRAIDCriticalOrHigherEventsEnabled()); }, "0"},
    {"ForwardAllSmartRAIDDegradedOrHigherEvents",
     [](vokConfig& c) { return std::to_string(c.isForwardAllSmartRAIDDegradedOrHigherEventsEnabled()); },
     "0"},
    {"DisableMegaRAID9560LoadingInspection",
     [](vokConfig& c) { return std::to_string(c.isMegaRAID9560LoadingInspectionDisabled()); }, "0"},
    {"LogResourceManagerStatistics",
     [](vokConfig& c) { return std::to_string(c.isRMStatisticsLoggingEnabled()); }, "0"},
    {"MicrochipEventQueueIndex", [](vokConfig& c) { return std::to_string(c.getMicrochipEventQueueIndex()); },
     "0"},
    {"HealthMonitorFlags", [](vokConfig& c) { return std::to_string(c.getHealthMonitorFlags()); }, "0"},
};

TEST_F(ConfigTest, AValueOfAWrongTypeAffectsOnlyItsKey) {
    for (const auto& getter : getters) {
        for (const char* wrong : {"{}", "[]", "{\"a\": {\"b\": 1}}", "[[1], \"x\"]", "[\"Info\"]", "null"}) {
            // The members before and after it keep their values.
            write(std::string("{\"Aaa\": 1, \"") + getter.key + "\": " + wrong +
                  ", \"EnableResources\": [\"HostOSInfo\"]}");
            std::vector<vokConfigFinding> found;
            const auto config = vokConfig::examine(found);
            EXPECT_FALSE(config->isDefaultSettingsApplied()) << getter.key << wrong;
            EXPECT_EQ(getter.value(*config), getter.fallback) << getter.key << wrong;
            EXPECT_THAT(config->getEnabledResources(), ElementsAre("HostOSInfo")) << getter.key << wrong;
        }
    }
}

// --- the report on refused values ---

TEST_F(ConfigTest, TheExaminationReportsEachFindingWithTheValueUsedInstead) {
    write(R"({"LoggingLevel": "debug", "PushInventoryFrequencyInMinutes": "-5", "EnableDebugLog": "yes",
              "VOKLogLocation": ["x"], "CacheRefreshInSeconds": {"HostOSInfo": "0"}, "Unknown": 1})");
    std::vector<vokConfigFinding> found;
    vokConfig::examine(found);
    std::map<std::string, vokConfigFinding> byKey;
    for (const auto& each : found) byKey[each.key] = each;
    EXPECT_EQ(found.size(), 6U);
    EXPECT_EQ(byKey["LoggingLevel"].written, "\"debug\"");
    EXPECT_EQ(byKey["LoggingLevel"].reason, "not one of Info, Error, Warning");
    EXPECT_EQ(byKey["LoggingLevel"].used, "Warning");
    EXPECT_EQ(byKey["PushInventoryFrequencyInMinutes"].used, "1440");
    EXPECT_EQ(byKey["PushInventoryFrequencyInMinutes"].reason, "not a whole number from 1 to 2147483647");
    EXPECT_EQ(byKey["EnableDebugLog"].reason, "neither true nor false");
    EXPECT_EQ(byKey["VOKLogLocation"].used, "syslog");
    EXPECT_EQ(byKey["CacheRefreshInSeconds.HostOSInfo"].used, "3600");
    EXPECT_EQ(byKey["Unknown"].reason, "not a setting of this agent");
}

TEST_F(ConfigTest, TheExaminationOfAnUnusableFileReportsOneFinding) {
    write("{\"LoggingLevel\": ");
    std::vector<vokConfigFinding> found;
    const auto config = vokConfig::examine(found);
    EXPECT_TRUE(config->isDefaultSettingsApplied());
    ASSERT_EQ(found.size(), 1U);
    EXPECT_EQ(found[0].key, "");
    EXPECT_THAT(found[0].reason, HasSubstr("not JSON"));
}

TEST_F(ConfigTest, AnAcceptedValueIsNotReported) {
    write(R"({"LoggingLevel": "INFO", "SimulateUnhandledException": "0", "HealthMonitorFlags": "0",
              "EnableDebugLog": "FALSE", "EnableResources": ["All"], "CacheRefreshInSeconds": {"Global": 5}})");
    std::vector<vokConfigFinding> found;
    vokConfig::examine(found);
    EXPECT_THAT(found, IsEmpty());
}

TEST_F(ConfigTest, TheSingletonDoesNotLog) {
    write("{\"LoggingLevel\": 5, \"VOKLogLocation\": {}}");
    vokConfig::getInstance();
    EXPECT_TRUE(systemLog.lines().empty());
    EXPECT_FALSE(host.root.exists("log"));
}

TEST_F(ConfigTest, EveryValueOfTheShippedFileIsAccepted) {
    std::ifstream shipped(VOK_SHIPPED_CONFIG);
    const std::string text((std::istreambuf_iterator<char>(shipped)), std::istreambuf_iterator<char>());
    ASSERT_FALSE(text.empty());
    write(text);
    std::vector<vokConfigFinding> found;
    const auto config = vokConfig::examine(found);
    EXPECT_THAT(found, IsEmpty());
    EXPECT_FALSE(config->isDefaultSettingsApplied());
}

}  // namespace
}  // namespace vokConfigTest
