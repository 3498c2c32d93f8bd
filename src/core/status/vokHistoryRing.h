// The form of the history file, the same on both ABIs: a head and slots of 320 bytes each, 256 KiB at most.
// The entry with the number n is in slot n modulo `slots`; the file grows as the slots are first used.
#pragma once

#include <array>
#include <cstddef>
#include <string>
#include <vector>

#include "core/status/vokHistory.h"

namespace vokHistoryRing {

inline constexpr char path[] = "/opt/mev/vok/data/vokHistory.bin";

inline constexpr std::size_t slotSize = 320;
inline constexpr std::size_t mostBytes = 256 * 1024;
inline constexpr std::size_t slots = mostBytes / slotSize - 1;
inline constexpr std::size_t textSize = 120;

using SlotBytes = std::array<char, slotSize>;

SlotBytes head();
SlotBytes slotOf(const vokHistoryEntry& entry);
// Where the slot of an entry is in the file.
std::size_t offsetOf(std::uint64_t number);

bool hasHead(const std::string& content);
// The whole entries, oldest first. Slots that are cut short, or hold anything else, are left out.
std::vector<vokHistoryEntry> entriesOf(const std::string& content);

}  // namespace vokHistoryRing
