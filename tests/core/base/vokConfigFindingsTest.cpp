// What is found on a configuration file: the wording, and each kind of finding.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include "core/base/vokConfig.h"
#include "core/base/vokSettingRules.h"
#include "support/FakeHost.h"

namespace vokConfigFindingsTest {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;

std::vector<std::string> texts(const std::vector<vokConfigFinding>& found) {
    std::vector<std::string> all;
    for (const auto& each : found) all.push_back(vokConfigFindingText(each));
    return all;
}

// Of a file with this member and another one.
std::vector<std::string> findings(const std::string& member) {
    std::vector<vokConfigFinding> found;
    vokConfig::examineText("{" + member + R"(, "CliMode": "test"})", found);
    return texts(found);
}

TEST(ConfigFindings, AValueIsNamedWithKeyReasonAndReplacement) {
    EXPECT_EQ(vokConfigFindingText({"LoggingLevel", "\"debug\"", "not one of Info", "Warning"}),
              "LoggingLevel = \"debug\": not one of Info; used instead: Warning");
}

TEST(ConfigFindings, AKeyWithoutAValueAndAWholeFileAreNamedToo) {
    EXPECT_EQ(vokConfigFindingText({"CliMode", "", "written more than once", "the last one"}),
              "CliMode: written more than once; used instead: the last one");
    EXPECT_EQ(vokConfigFindingText({"", "", "can't be opened", "the built-in settings"}),
              "the file is not used: can't be opened; used instead: the built-in settings");
}

TEST(ConfigFindings, TheSettingsInUseKeepTheirs) {
    const FakeHost host;
    host.root.writeFile("/etc/config/mev/vok/vok.conf", R"({"LoggingLevel": "debug", "CliMode": "x"})");
    EXPECT_THAT(
        texts(vokConfig::getInstance()->getFindings()),
        ElementsAre("LoggingLevel = \"debug\": not one of Info, Error, Warning; used instead: Warning",
                    "CliMode = \"x\": not one of test, inject; used instead: test"));
}

TEST(ConfigFindings, AFileThatCannotBeReadIsOneWithTheReasonOfTheSystem) {
    const FakeHost host;
    std::vector<vokConfigFinding> found;
    vokConfig::examine(found);
    host.root.writeFile("/etc/config/mev/vok/other", "");
    ASSERT_EQ(::mkfifo((host.root.path() + "/etc/config/mev/vok/vok.conf").c_str(), 0600), 0);
    vokConfig::examine(found);
    EXPECT_THAT(texts(found),
                ElementsAre("the file is not used: can't be opened: No such file or directory; used instead: "
                            "the built-in settings",
                            "the file is not used: not a regular file; used instead: the built-in settings"));
}

TEST(ConfigFindings, EachIntervalNextToGlobalIsOneAsItIsNotRead) {
    EXPECT_THAT(
        findings(R"("CacheRefreshInSeconds": {"Global": "60", "HostOSInfo": "abc", "GPUDevices": 5})"),
        ElementsAre("CacheRefreshInSeconds.HostOSInfo = \"abc\": not read, as there is Global; used "
                    "instead: 60",
                    "CacheRefreshInSeconds.GPUDevices = 5: not read, as there is Global; used "
                    "instead: 60"));
    EXPECT_THAT(findings(R"("CacheRefreshInSeconds": {"Global": "", "HostOSInfo": "60"})"), ElementsAre());
}

TEST(ConfigFindings, AValueIsShownWithItsLastCharactersAndWithoutInventedOnes) {
    EXPECT_THAT(
        findings(R"("LoggingLevel": "test\u0000x")"),
        ElementsAre(
            "LoggingLevel = \"test\\u0000x\": not one of Info, Error, Warning; used instead: Warning"));
    EXPECT_THAT(
        findings("\"LoggingLevel\": \"t\xE9st\""),
        ElementsAre("LoggingLevel = \"t\\ufffdst\": not one of Info, Error, Warning; used instead: Warning"));
}

struct Found {
    const char* member;
    const char* text;
};

class EachFinding : public testing::TestWithParam<Found> {};

TEST_P(EachFinding, IsWorded) {
    EXPECT_THAT(findings(GetParam().member), ElementsAre(GetParam().text));
}

INSTANTIATE_TEST_SUITE_P(
    Resources, EachFinding,
    testing::Values(
        Found{R"("EnableResources": ["HostOSInfo", "Bogus"])",
              "EnableResources = \"Bogus\": not a resource that can be enabled; used instead: nothing"},
        Found{
            R"("EnableResources": ["TrustedPlatformModule"])",
            "EnableResources = \"TrustedPlatformModule\": not a resource that can be enabled; used instead: "
            "nothing"},
        Found{R"("EnableResources": ["HostOSInfo", "", "EthernetDevices"])",
              "EnableResources = \"\": an empty name ends the list; used instead: the names before it"},
        Found{R"("EnableResources": ["HostOSInfo", {}, "EthernetDevices"])",
              "EnableResources = an object of 0: not a name, which ends the list; used instead: the names "
              "before "
              "it"},
        Found{R"("EnableResources": ["All", "EthernetDevice", "HostOSInfo"])",
              "EnableResources = \"EthernetDevice\": not a resource that can be enabled; used instead: "
              "nothing"},
        Found{R"("EnableResources": [null])",
              "EnableResources = null: an empty name ends the list; used instead: All"},
        Found{R"("EnableResources": [])",
              "EnableResources = an array of 0: an empty list; used instead: All"},
        Found{R"("EnableResources": "All")", "EnableResources = \"All\": not an array; used instead: All"}));

INSTANTIATE_TEST_SUITE_P(
    Logs, EachFinding,
    testing::Values(
        Found{
            R"("VOKLogLocation": "logs/vok.log")",
            "VOKLogLocation = \"logs/vok.log\": not an absolute path; used instead: a path from the working "
            "directory, or in the host root"},
        Found{R"("DebugLogLocation": "debug.log")",
              "DebugLogLocation = \"debug.log\": not an absolute path; used instead: a path from the working "
              "directory, or in the host root"},
        Found{R"("VOKLogLocation": "/")",
              "VOKLogLocation = \"/\": the path of a directory, not of a file; used instead: no file; the "
              "lines "
              "are lost"},
        Found{R"("VOKLogLocation": "/scratch/log/")",
              "VOKLogLocation = \"/scratch/log/\": the path of a directory, not of a file; used instead: no "
              "file; the lines are lost"},
        Found{R"("DebugLogLocation": "/scratch/..")",
              "DebugLogLocation = \"/scratch/..\": the path of a directory, not of a file; used instead: no "
              "file; the lines are lost"}));

INSTANTIATE_TEST_SUITE_P(
    Numbers, EachFinding,
    testing::Values(
        Found{R"("PushInventoryFrequencyInMinutes": "1.5")",
              "PushInventoryFrequencyInMinutes = \"1.5\": only the digits at its start count; used "
              "instead: 1"},
        Found{R"("PushInventoryFrequencyInMinutes": 1.5)",
              "PushInventoryFrequencyInMinutes = 1.5: only the digits at its start count; used "
              "instead: 1"},
        Found{R"("InventoryQueryIntervalInSeconds": "60s")",
              "InventoryQueryIntervalInSeconds = \"60s\": only the digits at its start count; used "
              "instead: 60"},
        Found{R"("CacheRefreshInSeconds": {"Global": "1e3"})",
              "CacheRefreshInSeconds.Global = \"1e3\": only the digits at its start count; used "
              "instead: 1"}));

INSTANTIATE_TEST_SUITE_P(
    Keys, EachFinding,
    testing::Values(
        Found{R"("loggingLevel": "Info")",
              "loggingLevel = \"Info\": not a setting of this agent; used instead: nothing"},
        Found{R"("CacheRefreshInSeconds": {"HostOsInfo": 5, "HostOSInfo": 6})",
              "CacheRefreshInSeconds.HostOsInfo = 5: not a setting of this agent; used instead: nothing"},
        Found{R"("CacheRefreshInSeconds": {"TrustedPlatformModule": 5})",
              "CacheRefreshInSeconds.TrustedPlatformModule = 5: not a setting of this agent; used instead: "
              "nothing"},
        Found{R"("a\u001b[31m\n": 1)",
              "a\\u001b[31m\\n = 1: not a setting of this agent; used instead: nothing"},
        Found{R"("LoggingLevel": "Info", "LoggingLevel": "Error", "LoggingLevel": "Info")",
              "LoggingLevel: written more than once; used instead: the last one"},
        Found{R"("CacheRefreshInSeconds": {"HostOSInfo": 5, "HostOSInfo": 6})",
              "CacheRefreshInSeconds.HostOSInfo: written more than once; used instead: the last one"}));

TEST(ConfigFindings, OfARepeatedKeyTheLastValueIsUsed) {
    std::vector<vokConfigFinding> found;
    const auto config = vokConfig::examineText(
        R"({"HealthMonitorFlags": 1, "HealthMonitorFlags": 2, "CliMode": "test"})", found);
    EXPECT_EQ(config->getHealthMonitorFlags(), 2);
}

class Unremarkable : public testing::TestWithParam<const char*> {};

TEST_P(Unremarkable, IsNotReported) {
    EXPECT_THAT(findings(GetParam()), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(Members, Unremarkable,
                         testing::Values(R"("EnableResources": ["hostosinfo", "ETHERNETDEVICES", "All"])",
                                         R"("VOKLogLocation": "/scratch/../vok.log")",
                                         R"("VOKLogLocation": "SysLog")", R"("VOKLogLocation": "")",
                                         R"("HealthMonitorFlags": 7.0)", R"("HealthMonitorFlags": "+7")",
                                         R"("CacheRefreshInSeconds": {"Global": "", "HostOSInfo": 5})"));

TEST(ConfigFindings, OfVeryManyOnlyTheFirstFortyAreListed) {
    std::string members = R"("k0": 0)";
    for (int i = 1; i < 100; ++i) members += ", \"k" + std::to_string(i) + "\": 0";
    const std::vector<std::string> all = findings(members);
    ASSERT_EQ(all.size(), 41u);
    EXPECT_THAT(all[39], StartsWith("k"));
    EXPECT_EQ(all[40], "60 more: too many to list; used instead: what each of them has by default");
}

TEST(SettingRules, ATailThatChangesTheNumberAndBlanksAroundItAreSeen) {
    using vokSettingRules::ignoredPartOfNumber;
    for (const char* value : {"1.5", "60s", "1e3", " 60 s", "60 0", "+5-", "7.0.0", "7.01"})
        EXPECT_EQ(ignoredPartOfNumber(value), "only the digits at its start count") << value;
    for (const char* value : {" 60 ", " 60", "60 ", "\t60\n", " +60.0 "})
        EXPECT_EQ(ignoredPartOfNumber(value), "there are blanks around the number") << value;
    for (const char* value : {"", "  ", "60", "+60", "60.0", "60.", "-1"})
        EXPECT_EQ(ignoredPartOfNumber(value), "") << value;
}

}  // namespace
}  // namespace vokConfigFindingsTest
