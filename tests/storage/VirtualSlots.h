// Where virtual operations lie in the table of their class: slot 0 is the first one. Read from pointers to
// members, which hold the offset of the slot plus one in the C++ ABI that GCC and clang use on x86.
#pragma once

#include <cstddef>
#include <cstring>
#include <numeric>
#include <vector>

template <typename Member>
int slotOf(Member member) {
    std::ptrdiff_t offset = 0;
    static_assert(sizeof(member) == 2 * sizeof(offset), "an offset or address, and the adjustment of this");
    std::memcpy(&offset, &member, sizeof(offset));
    return offset % 2 == 0 ? -1 : static_cast<int>((offset - 1) / static_cast<int>(sizeof(void*)));
}

template <typename... Members>
std::vector<int> slotsOf(Members... members) {
    return {slotOf(members)...};
}

// `first` and the slots up to `last`.
inline std::vector<int> slotsFrom(int first, int last) {
    std::vector<int> slots(static_cast<std::size_t>(last - first + 1));
    std::iota(slots.begin(), slots.end(), first);
    return slots;
}
