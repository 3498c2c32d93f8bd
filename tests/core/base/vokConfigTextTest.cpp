// Settings read from a text instead of the file.
#include "core/base/vokConfigText.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "core/base/vokConfig.h"
#include "support/FakeHost.h"

namespace vokConfigTextTest {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

std::string nested(std::size_t depth) {
    return std::string(depth, '[') + std::string(depth, ']');
}

}  // namespace

TEST(ConfigTextExamined, TheFileIsNotRead) {
    const FakeHost host;
    host.root.writeFile("/etc/config/mev/vok/vok.conf", R"({"CliMode": "test", "LoggingLevel": "Error"})");
    std::vector<vokConfigFinding> found;
    const auto config = vokConfig::examineText(R"({"CliMode": "inject", "LoggingLevel": "Info"})", found);
    EXPECT_EQ(config->getTestEventSettings(), "inject");
    EXPECT_EQ(config->getVOKLoggingLevel(), "Info");
    EXPECT_FALSE(config->isDefaultSettingsApplied());
    EXPECT_THAT(found, IsEmpty());
}

TEST(ConfigTextExamined, ATextThatIsNotJsonYieldsTheBuiltInSettingsAndOneRefusal) {
    const FakeHost host;
    std::vector<vokConfigFinding> found;
    EXPECT_TRUE(vokConfig::examineText("{", found)->isDefaultSettingsApplied());
    ASSERT_EQ(found.size(), 1u);
    EXPECT_EQ(found[0].key, "");
    EXPECT_EQ(found[0].used, "the built-in settings");
}

TEST(ConfigTextExamined, EachRefusedValueIsNamed) {
    const FakeHost host;
    std::vector<vokConfigFinding> found;
    const auto config = vokConfig::examineText(R"({"CliMode": "x", "HealthMonitorFlags": 1e999})", found);
    EXPECT_EQ(config->getTestEventSettings(), "test");
    EXPECT_EQ(config->getHealthMonitorFlags(), 0);
    std::vector<std::string> keys;
    for (const auto& each : found) keys.push_back(each.key);
    EXPECT_THAT(keys, ElementsAre("CliMode", "HealthMonitorFlags"));
}

TEST(ConfigTextExamined, TextAfterTheObjectIsNamedAndNotRead) {
    const FakeHost host;
    const std::string object = R"({"CliMode": "inject", "LoggingLevel": "Info"})";
    for (const char* const after :
         {"}", "x", R"({"CliMode": "test", "LoggingLevel": "Error"})", "/* c */ ,"}) {
        std::vector<vokConfigFinding> found;
        EXPECT_EQ(vokConfig::examineText(object + after, found)->getTestEventSettings(), "inject");
        ASSERT_EQ(found.size(), 1u) << after;
        EXPECT_EQ(vokConfigFindingText(found[0]), "text after the object: not read; used instead: nothing");
    }
    for (const char* const after : {"\r\n", " // end", "/* a } */\n"}) {
        std::vector<vokConfigFinding> found;
        vokConfig::examineText(object + after, found);
        EXPECT_THAT(found, IsEmpty()) << after;
    }
}

TEST(ConfigText, ANumberThatADoubleHoldsIsKept) {
    const std::string text = R"({"a": 1e308, "b": [-12.5E+3, 0]})";
    EXPECT_EQ(vokConfigText::withinParserLimits(text), text);
}

TEST(ConfigText, ANumberBeyondADoubleBecomesAText) {
    EXPECT_EQ(vokConfigText::withinParserLimits(R"({"a": -1e999, "b": "1e999" /* 1e999 */})"),
              R"({"a": "number out of range: -1e999", "b": "1e999" /* 1e999 */})");
}

TEST(ConfigText, ContentBelowTheHundredthLevelIsRemoved) {
    EXPECT_EQ(vokConfigText::withinParserLimits(nested(100)), nested(100));
    EXPECT_EQ(vokConfigText::withinParserLimits(nested(101)), nested(101));
    EXPECT_EQ(vokConfigText::withinParserLimits(nested(5000)), nested(101));
}

// --- keys that occur more than once ---

std::string asWritten(const std::string& raw) {
    return raw;
}

TEST(ConfigText, AKeyIsRepeatedInItsOwnObjectOnly) {
    EXPECT_THAT(
        vokConfigText::repeatedKeys(R"({"a": 1, "b": {"a": 1, "b": {"c": 1, "c": 2}}, "c": "a"})", asWritten),
        IsEmpty());
}

TEST(ConfigText, ARepeatedKeyIsNamedOnceWithItsObject) {
    EXPECT_THAT(vokConfigText::repeatedKeys(
                    R"({"a": {"x": 1, "y": 2, "x": {}}, "b": [1, 2], "a": 3, "a": 4})", asWritten),
                ElementsAre("a.x", "a"));
}

TEST(ConfigText, TextsCommentsAndListsHoldNoKeys) {
    EXPECT_THAT(vokConfigText::repeatedKeys(
                    R"({"a": "{\"b\": 1, \"b\": 2}", /* "a": 1 */ "b": ["a", "a", {"a": 1}], // "b": 1,
                        "c": [], "d": ["c", "c"]})",
                    asWritten),
                IsEmpty());
}

TEST(ConfigText, WhatComesAfterTheObjectIsNotLookedAt) {
    EXPECT_THAT(vokConfigText::repeatedKeys(R"({"a": 1} {"b": 1, "b": 2})", asWritten), IsEmpty());
}

TEST(ConfigTextExamined, ARepeatedKeyIsFoundAlsoIfOneIsWrittenWithAnEscape) {
    std::vector<vokConfigFinding> found;
    vokConfig::examineText(R"({"CliMode": "test", "Cli\u004dode": "inject", "LoggingLevel": "Info"})", found);
    ASSERT_EQ(found.size(), 1u);
    EXPECT_EQ(found[0].key, "CliMode");
}

}  // namespace vokConfigTextTest
