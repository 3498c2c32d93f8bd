// Times, durations and wrapped lines.
#include "client/vokClientText.h"

#include <gmock/gmock.h>

#include "client/StatusExamples.h"

namespace vokClientTextTest {
namespace {

TEST(vokClientTextTest, ATimeIsLocalAndInUtcForPrograms) {
    ::setenv("TZ", "UTC-2", 1);
    ::tzset();
    EXPECT_EQ(vokLocalTimeWords(exampleNow), "2026-11-22 14:00:00");
    EXPECT_EQ(vokIsoTime(exampleNow), "2026-11-22T12:00:00Z");
    EXPECT_EQ(vokLocalTimeWords(0), "never");
    EXPECT_EQ(vokTimeAndAge(0, exampleNow), "never");
    EXPECT_EQ(vokTimeAndAge(exampleNow - 61, exampleNow), "2026-11-22 13:58:59 (1 min ago)");
}

TEST(vokClientTextTest, ASpanHasTheLargestUnitThatFits) {
    EXPECT_EQ(vokSpanWords(-5), "0 s");
    EXPECT_EQ(vokSpanWords(59), "59 s");
    EXPECT_EQ(vokSpanWords(60), "1 min");
    EXPECT_EQ(vokSpanWords(3599), "59 min");
    EXPECT_EQ(vokSpanWords(3600), "1 h");
    EXPECT_EQ(vokSpanWords(48 * 3600 - 1), "47 h");
    EXPECT_EQ(vokSpanWords(48 * 3600), "2 d");
    EXPECT_EQ(vokAgoWords(100, 160), "1 min ago");
    EXPECT_EQ(vokAgoWords(160, 160), "0 s ago");
    EXPECT_EQ(vokAgoWords(220, 160), "in 1 min");
}

TEST(vokClientTextTest, ADurationHasAboutThreeDigits) {
    EXPECT_EQ(vokDurationWords(0), "0.00 s");
    EXPECT_EQ(vokDurationWords(842), "0.84 s");
    EXPECT_EQ(vokDurationWords(12340), "12.3 s");
    EXPECT_EQ(vokDurationWords(340000), "340 s");
}

TEST(vokClientTextTest, OneIsSingular) {
    EXPECT_EQ(vokCountOf(0, "poll", "polls"), "0 polls");
    EXPECT_EQ(vokCountOf(1, "poll", "polls"), "1 poll");
    EXPECT_EQ(vokCountOf(2, "poll", "polls"), "2 polls");
}

TEST(vokClientTextTest, BytesThatATerminalActsOnAreReplaced) {
    EXPECT_EQ(vokPrintable("a\x1b[31mb\x7f\n\xc3\xa4"), "a?[31mb??\xc3\xa4");
}

TEST(vokClientTextTest, LinesEndAtEightyColumns) {
    const std::string word(20, 'w');
    EXPECT_EQ(vokWrapped("NAME  ", word + " " + word + " " + word + " " + word),
              "NAME  " + word + " " + word + " " + word + "\n      " + word + "\n");
    EXPECT_EQ(vokWrapped("NAME  ", ""), "NAME  \n");
    EXPECT_EQ(vokWrapped("", std::string(80, 'a')), std::string(80, 'a') + "\n");
    EXPECT_EQ(vokWrapped("> ", std::string(79, 'a')), "> " + std::string(78, 'a') + "\n  a\n");
    // Two bytes, one column each.
    std::string umlauts;
    for (int count = 0; count < 79; ++count) umlauts += "\xc3\xa4";
    EXPECT_EQ(vokWrapped("> ", umlauts), "> " + umlauts.substr(0, 156) + "\n  \xc3\xa4\n");
}

}  // namespace
}  // namespace vokClientTextTest
