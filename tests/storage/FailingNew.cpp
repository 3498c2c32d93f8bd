#include "storage/FailingNew.h"

#if HAS_FAILING_NEW
#include <cstdlib>
#include <new>

namespace {

thread_local std::size_t failingSize = 0;  // 0: none

}  // namespace

FailingNew::FailingNew(std::size_t size) {
    failingSize = size;
}

FailingNew::~FailingNew() {
    failingSize = 0;
}

void* operator new(std::size_t size) {
    void* const block = failingSize != 0 && size == failingSize ? nullptr : std::malloc(size == 0 ? 1 : size);
    if (!block) throw std::bad_alloc();
    return block;
}

void operator delete(void* block) noexcept {
    std::free(block);
}

void operator delete(void* block, std::size_t) noexcept {
    std::free(block);
}
#endif
