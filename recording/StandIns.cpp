#include "recording/StandIns.h"

#include <algorithm>

namespace recording {
namespace {

// splitmix64: the same numbers from the same seed everywhere.
std::uint64_t nextRandom(std::uint64_t& state) {
    state += 0x9E3779B97F4A7C15u;
    std::uint64_t value = state;
    value = (value ^ (value >> 30)) * 0xBF58476D1CE4E5B9u;
    value = (value ^ (value >> 27)) * 0x94D049BB133111EBu;
    return value ^ (value >> 31);
}

// From `least` to `most`, and not `other` if there is a choice.
unsigned randomExcept(unsigned least, unsigned most, unsigned other, std::uint64_t& state) {
    const bool skips = least < most && other >= least && other <= most;
    const auto chosen = least + static_cast<unsigned>(nextRandom(state) % (most - least + (skips ? 0 : 1)));
    return skips && chosen >= other ? chosen + 1 : chosen;
}

}  // namespace

struct StandIns::Node {
    struct Branch {
        unsigned least = 0;
        unsigned most = 0;
        unsigned char standIn = 0;
        std::unique_ptr<Node> below;
    };
    std::map<unsigned char, Branch> branches;
};

Symbol classSymbol(char value, char lastLetter) {
    const auto byte = static_cast<unsigned char>(value);
    if (value >= '0' && value <= '9') return {byte, '0', '9'};
    if (value >= 'a' && value <= lastLetter) return {byte, 'a', static_cast<unsigned char>(lastLetter)};
    return fixedSymbol(value);
}

StandIns::StandIns() : root_(std::make_unique<Node>()) {}
StandIns::~StandIns() = default;

void StandIns::add(const Symbols& original) {
    Node* node = root_.get();
    for (const Symbol& symbol : original) {
        const auto [place, isNew] = node->branches.try_emplace(symbol.value);
        Node::Branch& branch = place->second;
        branch.least = isNew ? symbol.least : std::max<unsigned>(branch.least, symbol.least);
        branch.most = isNew ? symbol.most : std::min<unsigned>(branch.most, symbol.most);
        if (isNew) branch.below = std::make_unique<Node>();
        node = branch.below.get();
    }
}

void StandIns::choose(std::uint64_t seed) {
    chooseBelow(*root_, seed);
}

void StandIns::chooseBelow(Node& node, std::uint64_t& state) {
    // What each may be at most, so that those after it find room.
    unsigned most = 256;
    for (auto each = node.branches.rbegin(); each != node.branches.rend(); ++each) {
        most = std::min(each->second.most, most - 1);
        each->second.most = most;
    }
    unsigned least = 0;
    for (auto& [value, branch] : node.branches) {
        least = std::max(branch.least, least);
        branch.standIn = static_cast<unsigned char>(randomExcept(least, branch.most, value, state));
        least = branch.standIn + 1u;
        chooseBelow(*branch.below, state);
    }
}

std::string StandIns::of(const Symbols& original) const {
    std::string standIn;
    const Node* node = root_.get();
    for (const Symbol& symbol : original) {
        const auto& branch = node->branches.at(symbol.value);
        standIn += static_cast<char>(branch.standIn);
        node = branch.below.get();
    }
    return standIn;
}

}  // namespace recording
