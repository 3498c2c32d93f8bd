// The input as the answers of a library: each call takes the next bytes, and after the last one the first
// again.
#pragma once

#include <string>

#include "FuzzInput.h"

struct FuzzAnswers {
    std::string bytes;
    std::size_t used = 0;

    unsigned next() {
        if (bytes.empty()) return 0;
        return static_cast<unsigned char>(bytes[used++ % bytes.size()]);
    }
    void fill(void* block, std::size_t size) {
        for (auto* byte = static_cast<unsigned char*>(block); size > 0; --size)
            *byte++ = static_cast<unsigned char>(next());
    }
    // A status: 0, or 1 by one byte of eight.
    unsigned mostlyGood() { return next() % 8 == 7; }
};
