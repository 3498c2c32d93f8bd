#include "core/base/vokDecisionTable.h"

#include <gtest/gtest.h>
#include <utility>

namespace vokDecisionTableTest {
namespace {

enum class Colour { red, green, blue };

// --- tables by key ---

struct Row {
    Colour colour;
    int number;
    const char* text;

    constexpr auto key() const { return std::pair(colour, number); }
};

constexpr Row sorted[] = {
    {Colour::red, 1, "a"}, {Colour::red, 2, "b"}, {Colour::green, 1, "c"}, {Colour::blue, 0, "d"}};
constexpr Row twice[] = {{Colour::red, 1, "a"}, {Colour::green, 1, "b"}, {Colour::green, 1, "c"}};
constexpr Row unsorted[] = {{Colour::green, 1, "a"}, {Colour::red, 1, "b"}};
constexpr Row single[] = {{Colour::blue, 5, "a"}};

static_assert(vokFindRow(sorted, std::pair(Colour::blue, 0)) == &sorted[3], "also usable at compile time");

TEST(DecisionTable, KeysAscendOnlyIfEachIsGreaterThanThePreviousOne) {
    EXPECT_TRUE(vokKeysAscend(sorted));
    EXPECT_TRUE(vokKeysAscend(single));
    EXPECT_FALSE(vokKeysAscend(twice));
    EXPECT_FALSE(vokKeysAscend(unsorted));
}

TEST(DecisionTable, FindsTheRowOfAKeyOrNone) {
    for (const Row& row : sorted) EXPECT_EQ(vokFindRow(sorted, std::pair(row.colour, row.number)), &row);
    EXPECT_EQ(vokFindRow(sorted, std::pair(Colour::green, 2)), nullptr);
    EXPECT_EQ(vokFindRow(sorted, std::pair(Colour::blue, 1)), nullptr);
}

// --- tables of rules ---

struct Case {
    Colour before;
    Colour now;
};

struct Rule {
    vokCell<Colour> before;
    vokCell<Colour> now;

    constexpr bool fits(const Case& each) const { return before.fits(each.before) && now.fits(each.now); }
};

constexpr auto any = vokCell<Colour>::any();
constexpr std::size_t cases = 3 * 3;
constexpr Case caseOf(std::size_t number) {
    return {static_cast<Colour>(number % 3), static_cast<Colour>(number / 3)};
}

constexpr Rule rules[] = {{any, Colour::red}, {Colour::red, Colour::blue}, {any, Colour::blue}};

TEST(DecisionRules, ACellMayListNumbers) {
    constexpr vokOneOf<3> some = {2, 0, 7};
    for (const std::uint32_t number : {0u, 2u, 7u}) EXPECT_TRUE(some.fits(number)) << number;
    for (const std::uint32_t number : {1u, 3u, 0xFFFFFFFFu}) EXPECT_FALSE(some.fits(number)) << number;
    constexpr vokOneOf<3> fewer = {2};
    EXPECT_FALSE(fewer.fits(0)) << "what is not listed";
    EXPECT_TRUE(vokOneOf<3>::any().fits(0));
    EXPECT_TRUE(vokOneOf<3>::any().fits(0xFFFFFFFF));
    EXPECT_FALSE(vokOneOf<3>({}).fits(0)) << "an empty list is not any";
}

TEST(DecisionRules, TheFirstThatFitsApplies) {
    EXPECT_EQ(vokFirstRule(rules, Case{Colour::green, Colour::red}), &rules[0]);
    EXPECT_EQ(vokFirstRule(rules, Case{Colour::red, Colour::blue}), &rules[1]);
    EXPECT_EQ(vokFirstRule(rules, Case{Colour::green, Colour::blue}), &rules[2]);
    EXPECT_EQ(vokFirstRule(rules, Case{Colour::green, Colour::green}), nullptr);
}

TEST(DecisionRules, EachAppliesWhenNoneIsHidden) {
    EXPECT_TRUE(vokEachRuleApplies(rules, cases, caseOf));
}

TEST(DecisionRules, ARuleBelowAWiderOneIsHidden) {
    constexpr Rule hidden[] = {{any, Colour::blue}, {Colour::red, Colour::blue}};
    EXPECT_FALSE(vokEachRuleApplies(hidden, cases, caseOf));
    constexpr Rule afterEverything[] = {{any, any}, {any, Colour::red}};
    EXPECT_FALSE(vokEachRuleApplies(afterEverything, cases, caseOf));
}

TEST(DecisionRules, ARuleCoveredBySeveralAboveItTogetherIsHidden) {
    constexpr Rule hidden[] = {{Colour::red, any}, {Colour::green, any}, {Colour::blue, any}, {any, any}};
    EXPECT_FALSE(vokEachRuleApplies(hidden, cases, caseOf));
    constexpr Rule open[] = {{Colour::red, any}, {Colour::green, any}, {any, any}};
    EXPECT_TRUE(vokEachRuleApplies(open, cases, caseOf));
}

}  // namespace
}  // namespace vokDecisionTableTest
