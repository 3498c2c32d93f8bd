#include "support/LocationLibrary.h"

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "support/FakeHost.h"
#include "support/FakeLibraries.h"

namespace {

constexpr std::size_t recordSize = 16;
constexpr std::size_t lastLevel = 11;

int initLocation(void* record, int) {
    std::memset(record, 0, recordSize);
    return 0;
}

std::int32_t encodeLocation(void* record, std::uint64_t* code) {
    std::uint32_t kind = 0;
    std::memcpy(&kind, record, sizeof(kind));
    *code = static_cast<std::uint64_t>(kind) << 8 | static_cast<unsigned char*>(record)[lastLevel];
    return 0;
}

}  // namespace

void addLocationLibrary(const FakeHost& host, const std::string& name) {
    host.part<FakeLibraries>().symbols[name] = {{"physloc_init_data", reinterpret_cast<void*>(initLocation)},
                                                {"physloc_encode", reinterpret_cast<void*>(encodeLocation)}};
}
