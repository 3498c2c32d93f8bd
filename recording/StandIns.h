// Made-up names that sort as the originals do: each character becomes another one of its class, and the
// characters that follow the same beginning keep their order. So equal beginnings stay equal, and different
// names stay different.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace recording {

// A character of an original and what may stand in for it. It is itself between `least` and `most`.
struct Symbol {
    unsigned char value = 0;
    unsigned char least = 0;
    unsigned char most = 0;
};
using Symbols = std::vector<Symbol>;

// One that stays.
inline Symbol fixedSymbol(char value) {
    const auto byte = static_cast<unsigned char>(value);
    return {byte, byte, byte};
}
// A digit for a digit, a letter up to `lastLetter` for a lower-case letter; anything else stays.
Symbol classSymbol(char value, char lastLetter);

// The stand-ins of all names that were added. Which they are depends on the seed and on the set of names
// only.
class StandIns {
public:
    StandIns();
    ~StandIns();

    void add(const Symbols& original);
    // Chooses; call it after the last add(). A character differs from the original one where it can.
    void choose(std::uint64_t seed);
    // Of one that was added, after choose().
    std::string of(const Symbols& original) const;

private:
    struct Node;
    static void chooseBelow(Node& node, std::uint64_t& state);

    std::unique_ptr<Node> root_;
};

}  // namespace recording
