#include "recording/Replacer.h"

#include <gtest/gtest.h>

namespace ReplacerTest {

using recording::Replacer;

std::string replaced(const Replacer& replacer, std::string text, const std::vector<std::size_t>& cuts = {}) {
    replacer.replace(text, cuts);
    return text;
}

TEST(ReplacerTexts, AreFoundInAnyCaseAndKeepIt) {
    Replacer replacer;
    replacer.addText("rack42", "qxvb17", true);
    EXPECT_EQ(replaced(replacer, "rack42 RACK42 Rack42"), "qxvb17 QXVB17 Qxvb17");
}

TEST(ReplacerTexts, ThatAreWordsAreFoundAsWordsOnly) {
    Replacer replacer;
    replacer.addText("ab12", "cd34", true);
    EXPECT_EQ(replaced(replacer, "ab12.xy_ab12-x xab12 ab12x 9ab12 ab123"),
              "cd34.xy_cd34-x xab12 ab12x 9ab12 ab123");
}

TEST(ReplacerTexts, ThatStandOutAreFoundInWords) {
    Replacer replacer;
    replacer.addText("ab12", "cd34", false);
    EXPECT_EQ(replaced(replacer, "xab12y"), "xcd34y");
}

TEST(ReplacerTexts, AreFoundLongestFirst) {
    Replacer replacer;
    replacer.addText("node", "bush", true);
    replacer.addText("node.example", "bush.fxbnqpm", true);
    EXPECT_EQ(replaced(replacer, "node.example node.exam"), "bush.fxbnqpm bush.exam");
}

TEST(ReplacerTexts, DontReachAcrossACut) {
    Replacer replacer;
    replacer.addText("ab12", "cd34", true);
    EXPECT_EQ(replaced(replacer, "0006ab12x", {4, 8}), "0006cd34x");
    EXPECT_EQ(replaced(replacer, "ab12", {2}), "ab12");
    EXPECT_EQ(replaced(replacer, "ab12", {0, 0, 4, 4, 9}), "cd34");
}

TEST(ReplacerDigits, AreFoundWithEachSeparatorAndCase) {
    Replacer replacer;
    replacer.addDigits("02005e10000a", "46007b38111f");
    EXPECT_EQ(replaced(replacer, "02:00:5e:10:00:0a 02-00-5E-10-00-0A 0200.5e10.000a 02005E10000A"),
              "46:00:7b:38:11:1f 46-00-7B-38-11-1F 4600.7b38.111f 46007B38111F");
}

// A name of bytes that are text: "0123" becomes "Z[\\]", whose digits have letters among them.
TEST(ReplacerDigits, HaveTheirLettersInTheCaseOfTheOthers) {
    Replacer replacer;
    replacer.addDigits("3031323334353637", "5a5b5c5d5e5f6061");
    replacer.addDigits("3a31323334353637", "4a5b5c5d5e5f6061");
    EXPECT_EQ(replaced(replacer, "3031323334353637"), "5A5B5C5D5E5F6061");
    EXPECT_EQ(replaced(replacer, "3A31323334353637 3a31323334353637"), "4A5B5C5D5E5F6061 4a5b5c5d5e5f6061");
}

TEST(ReplacerDigits, OfAMacAddressAreFoundAsANumberOnly) {
    Replacer replacer;
    replacer.addDigits("02005e10000a", "46007b38111f");
    EXPECT_EQ(replaced(replacer, "0x02005e10000a 102005e10000a 02005e10000a0"),
              "0x46007b38111f 102005e10000a 02005e10000a0");
}

TEST(ReplacerDigits, OfAWwnAreFoundInLongerOnes) {
    Replacer replacer;
    replacer.addDigits("5000c500a1b2c3d4", "5111d611b2c3d4e5");
    EXPECT_EQ(replaced(replacer, "naa.5000c500a1b2c3d4-5000C500A1B2C3D401"),
              "naa.5111d611b2c3d4e5-5111D611B2C3D4E501");
}

TEST(ReplacerBytes, AreFoundAsTheyAre) {
    Replacer replacer;
    replacer.addBytes(std::string("\x50\0\xC5", 3), std::string("\x51\x11\xD6", 3), false);
    EXPECT_EQ(replaced(replacer, std::string("A\x50\0\xC5\0", 5)), std::string("A\x51\x11\xD6\0", 5));
}

TEST(Replacer, SaysWhetherAnythingChanged) {
    Replacer replacer;
    replacer.addText("ab12", "cd34", true);
    replacer.addText("same", "same", true);
    std::string text = "ab12";
    EXPECT_TRUE(replacer.replace(text));
    EXPECT_FALSE(replacer.replace(text));
    text = "same";
    EXPECT_FALSE(replacer.replace(text));
}

TEST(Replacer, DoesNotReplaceWhatItHasReplaced) {
    Replacer replacer;
    replacer.addText("ab12", "cd34", true);
    replacer.addText("cd34", "ab12", true);
    EXPECT_EQ(replaced(replacer, "ab12 cd34"), "cd34 ab12");
}

}  // namespace ReplacerTest
