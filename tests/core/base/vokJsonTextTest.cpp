#include "core/base/vokJsonText.h"

#include <gtest/gtest.h>
#include <json/reader.h>
#include <algorithm>
#include <sstream>

namespace vokJsonTextTest {
namespace {

std::string textOf(const std::string& content) {
    Json::Value value;
    value["k"] = content;
    return vokJsonText(value);
}

Json::Value parsed(const std::string& text) {
    Json::Value value;
    std::istringstream stream(text);
    Json::CharReaderBuilder strict;
    Json::CharReaderBuilder::strictMode(&strict.settings_);
    std::string errors;
    EXPECT_TRUE(Json::parseFromStream(strict, stream, &value, &errors)) << errors << text;
    return value;
}

}  // namespace

TEST(vokJsonText, IsOneLineWithSortedKeysAndNoFinalNewline) {
    Json::Value value;
    value["b"][0] = 1;
    value["b"][1]["z"] = Json::Value();
    value["b"][1]["y"] = true;
    value["a"] = "line\nline\t\"quoted\" \\ /";
    EXPECT_EQ(vokJsonText(value), R"({"a":"line\nline\t\"quoted\" \\ /","b":[1,{"y":true,"z":null}]})");
}

TEST(vokJsonText, OfANullValueIsTheWordNull) {
    EXPECT_EQ(vokJsonText(Json::Value()), "null");
    EXPECT_EQ(vokJsonText(Json::Value(Json::objectValue)), "{}");
    EXPECT_EQ(vokJsonText(Json::Value("")), "\"\"");
}

TEST(vokJsonText, CharactersBeyondAsciiAreEscaped) {
    EXPECT_EQ(textOf("caf\xc3\xa9"), R"({"k":"caf\u00e9"})");
    EXPECT_EQ(textOf("\xe2\x82\xac"), R"({"k":"\u20ac"})");
    EXPECT_EQ(textOf("\xf0\x9f\x92\xa1"), R"({"k":"\ud83d\udca1"})");
    // The first and the last character of each length.
    EXPECT_EQ(textOf("\xc2\x80\xdf\xbf"), R"({"k":"\u0080\u07ff"})");
    EXPECT_EQ(textOf("\xe0\xa0\x80\xef\xbf\xbf"), R"({"k":"\u0800\uffff"})");
    EXPECT_EQ(textOf("\xf0\x90\x80\x80\xf4\x8f\xbf\xbf"), R"({"k":"\ud800\udc00\udbff\udfff"})");
    EXPECT_EQ(textOf("\xed\x9f\xbf\xee\x80\x80"), R"({"k":"\ud7ff\ue000"})");
}

TEST(vokJsonText, EachByteThatBelongsToNoCharacterIsReplaced) {
    EXPECT_EQ(textOf("a\xff\xfez"), R"({"k":"a\ufffd\ufffdz"})");
    EXPECT_EQ(textOf("\x80 \xbf"), R"({"k":"\ufffd \ufffd"})");
    EXPECT_EQ(textOf("over\xc0\x80\xc1\xbf"), R"({"k":"over\ufffd\ufffd\ufffd\ufffd"})");
    EXPECT_EQ(textOf("\xe0\x9f\xbf"), R"({"k":"\ufffd\ufffd\ufffd"})");
    EXPECT_EQ(textOf("\xf0\x8f\xbf\xbf"), R"({"k":"\ufffd\ufffd\ufffd\ufffd"})");
    EXPECT_EQ(textOf("\xed\xa0\x80"), R"({"k":"\ufffd\ufffd\ufffd"})");  // a surrogate
    EXPECT_EQ(textOf("\xf4\x90\x80\x80"), R"({"k":"\ufffd\ufffd\ufffd\ufffd"})");
    EXPECT_EQ(textOf("\xf5\x80\x80\x80"), R"({"k":"\ufffd\ufffd\ufffd\ufffd"})");
}

TEST(vokJsonText, ABrokenCharacterDoesNotSwallowTheNextCharacters) {
    EXPECT_EQ(textOf("x\xc3\"y"), R"({"k":"x\ufffd\"y"})");
    EXPECT_EQ(textOf("\xe2\x82z"), R"({"k":"\ufffd\ufffdz"})");
    EXPECT_EQ(textOf("\xf0\x9f\x92\\"), R"({"k":"\ufffd\ufffd\ufffd\\"})");
    EXPECT_EQ(textOf("\xe2\xc3\xa9"), R"({"k":"\ufffd\u00e9"})");
}

TEST(vokJsonText, ABrokenCharacterAtTheEndDoesNotSwallowTheEndOfTheDocument) {
    for (const char* cut : {"\xc3", "\xe2", "\xe2\x82", "\xf0", "\xf0\x9f", "\xf0\x9f\x92"}) {
        const std::string text = textOf(cut);
        EXPECT_EQ(text.substr(text.size() - 8), R"(\ufffd"})") << cut;
        EXPECT_EQ(vokJsonText(Json::Value(cut)).back(), '"');
    }
}

TEST(vokJsonText, ControlCharactersAndNulAreEscaped) {
    EXPECT_EQ(textOf(std::string("a\0b\x01\x1f", 5)), R"({"k":"a\u0000b\u0001\u001f"})");
}

TEST(vokJsonText, KeysAreTreatedLikeValues) {
    Json::Value value;
    value["\xc3\xa9\xff"] = 1;
    EXPECT_EQ(vokJsonText(value), R"({"\u00e9\ufffd":1})");
}

TEST(vokJsonText, KeysAreSortedByTheirWrittenForm) {
    Json::Value value;
    value["a\xff"] = 1;          // written as a\ufffd
    value["a\xf0\x90"] = 2;      // written as a\ufffd\ufffd
    value["a\xee\x80\x80"] = 3;  // U+E000, which sorts before U+FFFD
    EXPECT_EQ(vokJsonText(value), R"({"a\ue000":3,"a\ufffd":1,"a\ufffd\ufffd":2})");
}

TEST(vokJsonText, KeysThatBecomeEqualAreMerged) {
    Json::Value value;
    value["\xfe"] = 1;
    value["\xff"] = 2;
    EXPECT_EQ(vokJsonText(value), R"({"\ufffd":2})");
}

TEST(vokJsonText, TheRestOfADocumentWithABrokenTextIsUnchanged) {
    Json::Value value;
    value["broken"] = "\xff";
    value["list"].append(1.5);
    value["list"].append(Json::Value());
    value["list"].append(true);
    value["list"].append(Json::Value(Json::arrayValue));
    value["number"] = Json::UInt64(18446744073709551615ULL);
    value["object"] = Json::Value(Json::objectValue);
    EXPECT_EQ(vokJsonText(value),
              R"({"broken":"\ufffd","list":[1.5,null,true,[]],"number":18446744073709551615,"object":{}})");
}

TEST(vokJsonText, EveryPairOfBytesYieldsValidJsonInAscii) {
    for (int first = 0; first < 256; ++first) {
        Json::Value value;
        for (int second = 0; second < 256; ++second)
            value.append(std::string{static_cast<char>(first), static_cast<char>(second), 'e', 'n', 'd'});
        const std::string text = vokJsonText(value);
        const auto isPlain = [](char each) { return each >= ' ' && static_cast<signed char>(each) > 0; };
        EXPECT_TRUE(std::all_of(text.begin(), text.end(), isPlain)) << first;
        const Json::Value back = parsed(text);
        ASSERT_EQ(back.size(), 256U);
        for (const Json::Value& each : back) {
            const std::string content = each.asString();
            EXPECT_EQ(content.substr(content.size() - 3), "end") << first;
        }
    }
}

TEST(vokJsonText, CommentsOfAParsedTextAreNotWritten) {
    Json::Value value;
    std::istringstream stream(
        "// before\n{\"ID\": 1, // one\n /* two */ \"X\": [1, // three\n 2]} // after\n");
    const Json::CharReaderBuilder reader;
    ASSERT_TRUE(Json::parseFromStream(reader, stream, &value, nullptr));
    EXPECT_EQ(vokJsonText(value), R"({"ID":1,"X":[1,2]})");
}

TEST(vokFirstInvalidByte, IsTheFirstThatBelongsToNoCharacter) {
    EXPECT_EQ(vokFirstInvalidByte(""), std::string::npos);
    EXPECT_EQ(vokFirstInvalidByte("ascii \xc3\xa9 \xe2\x82\xac \xf0\x9f\x99\x82"), std::string::npos);
    EXPECT_EQ(vokFirstInvalidByte("\xff"), 0U);
    EXPECT_EQ(vokFirstInvalidByte("caf\xc3\xa9\xc3"), 5U);
    EXPECT_EQ(vokFirstInvalidByte("a\xed\xa0\x80"), 1U);  // a surrogate
    EXPECT_EQ(vokFirstInvalidByte("a\xe2\x82z\xff"), 1U);
}

}  // namespace vokJsonTextTest
