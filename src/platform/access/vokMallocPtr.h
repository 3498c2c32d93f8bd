// An owner for memory that came from malloc(): the C-style readers of the platform layer hand out such.
#pragma once

#include <cstdlib>
#include <memory>

struct vokFree {
    void operator()(void* memory) const { std::free(memory); }
};

template <typename Type>
using vokMallocPtr = std::unique_ptr<Type, vokFree>;
