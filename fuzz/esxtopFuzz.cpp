// The reader of esxtop's batch output takes any bytes, and reads to their end.
#include <cstdint>
#include <cstdio>
#include <cstdlib>

#include "host/esxtopMemory.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) return 0;  // fmemopen takes no empty buffer
    FILE* const file = ::fmemopen(const_cast<std::uint8_t*>(data), size, "r");
    if (!file) std::abort();
    readEsxtopMemory(file);
    if (!std::feof(file)) std::abort();
    std::fclose(file);
    return 0;
}
