#include "rmc/report/Html.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <random>
#include <stdexcept>

#include "rmc/PayloadForm.h"

namespace ReportHtmlTest {

using namespace simhost;
using testing::HasSubstr;
using testing::Not;

namespace {

TEST(ReportText, MarkupCharactersBecomeReferences) {
    EXPECT_EQ(escaped("<script>alert(\"1\" & '2')</script>`"),
              "&lt;script&gt;alert(&quot;1&quot; &amp; &#39;2&#39;)&lt;/script&gt;&#96;");
}

TEST(ReportText, AControlCharacterIsShownByItsNumber) {
    EXPECT_EQ(escaped(std::string("a\0b\n\x1B\x7F", 6)), "a[U+0000]b[U+000A][U+001B][U+007F]");
}

TEST(ReportText, AMarkOfDirectionIsShownByItsNumber) {
    EXPECT_EQ(escaped("\xE2\x80\xAE"
                      "dm\xE2\x81\xA6"),
              "[U+202E]dm[U+2066]");
}

TEST(ReportText, ACharacterWithoutWidthIsShownByItsNumber) {
    EXPECT_EQ(escaped("a\xE2\x80\x8B\xEF\xBB\xBF"
                      "b"),
              "a[U+200B][U+FEFF]b");
}

TEST(ReportText, BytesThatAreNotUtf8AreShownByTheirValue) {
    EXPECT_EQ(escaped("a\xFF\xC3(\xE2\x82"), "a[0xFF][0xC3]([0xE2][0x82]");
}

TEST(ReportText, OverlongAndSurrogateFormsAreNotCharacters) {
    EXPECT_EQ(escaped("\xC0\xBC\xED\xA0\x80"), "[0xC0][0xBC][0xED][0xA0][0x80]");
}

TEST(ReportText, OtherCharactersStay) {
    const std::string text =
        "Gr\xC3\xB6\xC3\x9F"
        "e \xE6\xBC\xA2 \xF0\x9F\x92\xBE";
    EXPECT_EQ(escaped(text), text);
}

TEST(ReportText, OneOfTheGreatestLengthIsWhole) {
    const std::string text(4000, 'x');
    EXPECT_EQ(escaped(text), text);
}

TEST(ReportText, ALongerOneIsCutAndSaysSo) {
    EXPECT_EQ(escaped(std::string(4003, 'x')), std::string(4000, 'x') + " [cut: 3 more bytes]");
}

// Nothing that leaves text or a quoted attribute value, and nothing that a browser hides.
void expectHarmless(const std::string& html, const std::string& origin) {
    EXPECT_EQ(html.find_first_of("<>\"'`"), std::string::npos) << origin;
    EXPECT_TRUE(isUtf8(html)) << origin;
    for (const char c : html) EXPECT_FALSE(static_cast<unsigned char>(c) < 0x20 || c == 0x7F) << origin;
}

TEST(ReportText, EachPairOfBytesIsHarmless) {
    for (unsigned first = 0; first < 256; ++first)
        for (unsigned second = 0; second < 256; ++second) {
            const std::string text{static_cast<char>(first), static_cast<char>(second)};
            expectHarmless(escaped(text), text);
        }
}

TEST(ReportText, RandomBytesAreHarmless) {
    std::mt19937 random(20261122);
    const std::string likely = "<>&\"'`/!-=\xE2\x80\xAE\xF0\x9F\xFF";
    for (int round = 0; round < 5000; ++round) {
        std::string text;
        for (auto i = random() % 40; i > 0; --i)
            text += random() % 2 ? likely[random() % likely.size()] : static_cast<char>(random());
        expectHarmless(escaped(text), text);
    }
}

TEST(ReportText, AnAttributeIsQuotedAndEscaped) {
    EXPECT_EQ(attribute("title", "\"><b>"), " title=\"&quot;&gt;&lt;b&gt;\"");
}

TEST(ReportTemplate, WhatIsInsertedIsNotSearched) {
    EXPECT_EQ(filled("<p>{{a}}{{b}}</p>", {{"a", "{{b}}"}, {"b", "2"}}), "<p>{{b}}2</p>");
}

TEST(ReportTemplate, ANameWithoutAValueIsAnError) {
    EXPECT_THROW(filled("{{c}}", {{"a", ""}}), std::logic_error);
}

TEST(ReportText, CapacitiesAreThoseThatDrivesAreSoldWith) {
    EXPECT_EQ(capacityText(0), "0 B");
    EXPECT_EQ(capacityText(900185481216.0), "900.2 GB");
    EXPECT_EQ(capacityText(4000787030016.0), "4.0 TB");
}

}  // namespace

}  // namespace ReportHtmlTest
