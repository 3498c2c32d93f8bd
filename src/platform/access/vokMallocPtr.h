// An owner of memory from malloc(), which the C-style readers of the platform layer return.
#pragma once

#include <cstdlib>
#include <memory>

struct vokFree {
    void operator()(void* memory) const { std::free(memory); }
};

template <typename Type>
using vokMallocPtr = std::unique_ptr<Type, vokFree>;
