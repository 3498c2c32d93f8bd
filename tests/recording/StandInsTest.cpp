#include "recording/StandIns.h"

#include <gtest/gtest.h>
#include <algorithm>
#include <cctype>

namespace StandInsTest {

using recording::classSymbol;
using recording::StandIns;
using recording::Symbols;

Symbols symbolsOf(const std::string& text) {
    Symbols symbols;
    for (const char each : text) symbols.push_back(classSymbol(each, 'z'));
    return symbols;
}

std::vector<std::string> standInsOf(const std::vector<std::string>& originals, std::uint64_t seed) {
    StandIns standIns;
    for (const std::string& each : originals) standIns.add(symbolsOf(each));
    standIns.choose(seed);
    std::vector<std::string> result;
    for (const std::string& each : originals) result.push_back(standIns.of(symbolsOf(each)));
    return result;
}

char classOf(char each) {
    if (std::isdigit(static_cast<unsigned char>(each))) return '9';
    return std::islower(static_cast<unsigned char>(each)) ? 'a' : each;
}

const std::vector<std::string> names = {"",  "0",      "0abc",   "12345",  "12346", "1234x",
                                        "9", "a-b-c",  "a-b-cd", "a-c",    "abc",   "abd",
                                        "b", "node07", "node1",  "node12", "zzzzz", "zzzzz9"};

TEST(StandIns, SortAsTheOriginalsDo) {
    ASSERT_TRUE(std::is_sorted(names.begin(), names.end()));
    for (std::uint64_t seed = 0; seed < 200; ++seed) {
        const auto standIns = standInsOf(names, seed);
        for (std::size_t index = 1; index < standIns.size(); ++index)
            EXPECT_LT(standIns[index - 1], standIns[index]) << seed;
    }
}

TEST(StandIns, HaveTheLengthAndTheClassesOfTheOriginals) {
    const auto standIns = standInsOf(names, 7);
    for (std::size_t index = 0; index < names.size(); ++index) {
        ASSERT_EQ(standIns[index].size(), names[index].size());
        for (std::size_t at = 0; at < names[index].size(); ++at)
            EXPECT_EQ(classOf(standIns[index][at]), classOf(names[index][at])) << names[index];
    }
}

TEST(StandIns, DifferFromTheOriginalWhereTheyCan) {
    for (std::uint64_t seed = 0; seed < 100; ++seed) {
        const std::string standIn = standInsOf({"a1b2"}, seed)[0];
        for (std::size_t at = 0; at < standIn.size(); ++at) EXPECT_NE(standIn[at], "a1b2"[at]) << seed;
    }
}

TEST(StandIns, OfAFullClassAreTheOriginals) {
    const std::vector<std::string> digits = {"0", "1", "2", "3", "4", "5", "6", "7", "8", "9"};
    EXPECT_EQ(standInsOf(digits, 3), digits);
}

TEST(StandIns, DependOnTheSeedAndNotOnTheOrder) {
    const std::vector<std::string> one = {"abc", "abd", "xyz"};
    EXPECT_EQ(standInsOf(one, 5), standInsOf(one, 5));
    EXPECT_NE(standInsOf(one, 5), standInsOf(one, 6));
    auto other = standInsOf({"xyz", "abd", "abc"}, 5);
    std::reverse(other.begin(), other.end());
    EXPECT_EQ(standInsOf(one, 5), other);
}

TEST(StandIns, StayWithinTheBoundsOfEachCharacter) {
    for (std::uint64_t seed = 0; seed < 100; ++seed) {
        StandIns standIns;
        const Symbols two = {{'2', '2', '2'}, {'1', '0', '4'}};
        const Symbols three = {{'2', '2', '2'}, {'3', '0', '4'}};
        standIns.add(two);
        standIns.add(three);
        standIns.choose(seed);
        EXPECT_GE(standIns.of(two), "20");
        EXPECT_LT(standIns.of(two), standIns.of(three));
        EXPECT_LE(standIns.of(three), "24");
    }
}

}  // namespace StandInsTest
