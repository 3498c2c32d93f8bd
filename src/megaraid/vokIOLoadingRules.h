// The rulebook for MegaRAID 9560 cards in a chassis of the first platform: the slots that cards may occupy
// together.
#pragma once

#include <cstddef>
#include <cstdint>

inline constexpr std::uint32_t vokMegaRAID9560Chipset = 0x10E21000;
// The two boards of the 9560.
inline constexpr std::uint32_t vokMegaRAID9560Boards[] = {0x40101000, 0x40001000};

constexpr bool vokIsMegaRAID9560(std::uint32_t chipsetId, std::uint32_t boardId) {
    return chipsetId == vokMegaRAID9560Chipset &&
           (boardId == vokMegaRAID9560Boards[0] || boardId == vokMegaRAID9560Boards[1]);
}

// One allowed position of a card.
struct _VOK_IO_LOADING_SUB_RULE {
    std::uint32_t chipsetId = 0;
    std::uint32_t boardId = 0;
    const char* pcieSlot = nullptr;       // two digits
    std::int32_t enclosureBoxNumber = 0;  // of the card's drives
    std::int32_t driveBayOffset = 0;      // of the bays of its drives
};

// The positions of all cards of a chassis.
struct _VOK_IO_LOADING_RULE {
    static constexpr std::size_t mostSubRules = 3;

    const char* ruleName;
    _VOK_IO_LOADING_SUB_RULE subRules[mostSubRules];  // those in use come first

    constexpr std::size_t size() const {
        std::size_t used = 0;
        while (used < mostSubRules && subRules[used].pcieSlot) ++used;
        return used;
    }
    constexpr const _VOK_IO_LOADING_SUB_RULE* begin() const { return subRules; }
    constexpr const _VOK_IO_LOADING_SUB_RULE* end() const { return subRules + size(); }
};

// The board in this slot, with its drives in this box.
constexpr _VOK_IO_LOADING_SUB_RULE vokMegaRAID9560At(std::uint32_t boardId, const char* pcieSlot,
                                                     std::int32_t enclosureBoxNumber) {
    _VOK_IO_LOADING_SUB_RULE subRule;
    subRule.chipsetId = vokMegaRAID9560Chipset;
    subRule.boardId = boardId;
    subRule.pcieSlot = pcieSlot;
    subRule.enclosureBoxNumber = enclosureBoxNumber;
    subRule.driveBayOffset = 0;
    return subRule;
}

// In the order in which the rules are tried.
inline constexpr _VOK_IO_LOADING_RULE TQ_MEGARAID_9560_IO_LOADING_RULEBOOK[] = {
    {"QRN 410 MegaRAID 9560 8SFF Low-Cost", {vokMegaRAID9560At(0x40101000, "03", 1)}},
    {"QRN 410 MegaRAID 9560 8SFF Half-Width", {vokMegaRAID9560At(0x40001000, "03", 1)}},
    {"QRN 410 MegaRAID 9560 8SFF Full-Width",
     {vokMegaRAID9560At(0x40001000, "03", 1), vokMegaRAID9560At(0x40001000, "08", 1)}},
    {"QRN 410 MegaRAID 9560 10SFF Mixed-Width",
     {vokMegaRAID9560At(0x40001000, "03", 1), vokMegaRAID9560At(0x40101000, "08", 2)}},
    {"QRN 410 MegaRAID 9560 10SFF Full-Width",
     {vokMegaRAID9560At(0x40001000, "03", 1), vokMegaRAID9560At(0x40001000, "08", 1),
      vokMegaRAID9560At(0x40101000, "05", 2)}},
};

// True if each rule has a position, all are of known boards, and no two are in one slot: different positions
// are then followed by different cards.
template <std::size_t count>
constexpr bool vokAreLoadingRulesSound(const _VOK_IO_LOADING_RULE (&rules)[count]) {
    for (const _VOK_IO_LOADING_RULE& rule : rules) {
        if (rule.size() == 0) return false;
        for (const _VOK_IO_LOADING_SUB_RULE& a : rule) {
            if (!vokIsMegaRAID9560(a.chipsetId, a.boardId)) return false;
            for (const _VOK_IO_LOADING_SUB_RULE& b : rule)
                if (&a != &b && a.pcieSlot[0] == b.pcieSlot[0] && a.pcieSlot[1] == b.pcieSlot[1])
                    return false;
        }
    }
    return true;
}
static_assert(vokAreLoadingRulesSound(TQ_MEGARAID_9560_IO_LOADING_RULEBOOK));
