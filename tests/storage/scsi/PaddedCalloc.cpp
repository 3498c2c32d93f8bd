#include "storage/scsi/PaddedCalloc.h"

#if HAS_PADDED_CALLOC
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <limits>

namespace {

constexpr std::size_t padding = 64;
constexpr int paddingByte = 0xEE;

thread_local bool fails = false;

}  // namespace

FailingCalloc::FailingCalloc() {
    fails = true;
}

FailingCalloc::~FailingCalloc() {
    fails = false;
}

extern "C" void* calloc(std::size_t count, std::size_t size) noexcept {
    constexpr std::size_t most = std::numeric_limits<std::size_t>::max() - padding;
    if (fails || (size != 0 && count > most / size)) {
        errno = ENOMEM;
        return nullptr;
    }
    const std::size_t used = count * size;
    auto* const block = static_cast<unsigned char*>(std::malloc(used + padding));
    if (!block) return nullptr;
    std::memset(block, 0, used);
    std::memset(block + used, paddingByte, padding);
    return block;
}
#endif
