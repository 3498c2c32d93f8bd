// The rulebook for MegaRAID 9560 cards.
#include "megaraid/vokIOLoadingRules.h"

#include <gtest/gtest.h>
#include <string>
#include <tuple>
#include <vector>

namespace vokIOLoadingRulesTest {
namespace {

using Position = std::tuple<unsigned, std::string, int>;  // board, slot, box

struct Rule {
    std::string name;
    std::vector<Position> positions;
};

bool operator==(const Rule& a, const Rule& b) {
    return a.name == b.name && a.positions == b.positions;
}

std::vector<Rule> rulebook() {
    std::vector<Rule> rules;
    for (const _VOK_IO_LOADING_RULE& rule : TQ_MEGARAID_9560_IO_LOADING_RULEBOOK) {
        rules.push_back({rule.ruleName, {}});
        for (const _VOK_IO_LOADING_SUB_RULE& each : rule)
            rules.back().positions.emplace_back(each.boardId, each.pcieSlot, each.enclosureBoxNumber);
    }
    return rules;
}

TEST(IOLoadingRules, TheRulesAreTriedInThisOrder) {
    const std::vector<Rule> expected = {
        {"QRN 410 MegaRAID 9560 8SFF Low-Cost", {{0x40101000, "03", 1}}},
        {"QRN 410 MegaRAID 9560 8SFF Half-Width", {{0x40001000, "03", 1}}},
        {"QRN 410 MegaRAID 9560 8SFF Full-Width", {{0x40001000, "03", 1}, {0x40001000, "08", 1}}},
        {"QRN 410 MegaRAID 9560 10SFF Mixed-Width", {{0x40001000, "03", 1}, {0x40101000, "08", 2}}},
        {"QRN 410 MegaRAID 9560 10SFF Full-Width",
         {{0x40001000, "03", 1}, {0x40001000, "08", 1}, {0x40101000, "05", 2}}},
    };
    EXPECT_EQ(rulebook(), expected);
}

TEST(IOLoadingRules, EveryPositionIsOfTheSameChipsetAndWithoutAnOffset) {
    int positions = 0;
    for (const _VOK_IO_LOADING_RULE& rule : TQ_MEGARAID_9560_IO_LOADING_RULEBOOK)
        for (const _VOK_IO_LOADING_SUB_RULE& each : rule) {
            EXPECT_EQ(each.chipsetId, 0x10E21000u) << rule.ruleName;
            EXPECT_EQ(each.driveBayOffset, 0) << rule.ruleName;
            ++positions;
        }
    EXPECT_EQ(positions, 9);
}

TEST(IOLoadingRules, TwoBoardsOfOneChipsetAreA9560) {
    EXPECT_TRUE(vokIsMegaRAID9560(0x10E21000, 0x40101000));
    EXPECT_TRUE(vokIsMegaRAID9560(0x10E21000, 0x40001000));
    EXPECT_FALSE(vokIsMegaRAID9560(0x10E21000, 0x40201000));
    EXPECT_FALSE(vokIsMegaRAID9560(0x10E21000, 0));
    EXPECT_FALSE(vokIsMegaRAID9560(0x005D1000, 0x40101000));
    EXPECT_FALSE(vokIsMegaRAID9560(0x005D1000, 0x40001000));
}

}  // namespace
}  // namespace vokIOLoadingRulesTest
