#include "megaraid/storelib/vokRemoveLockEx.h"

// The count goes up before the flag is read, and the flag is set before the owner's count goes down: a
// callback that finds the lock open is waited for.
vokRemoveLockEx::Entry::Entry(vokRemoveLockEx& lock) : lock_(lock) {
    ++lock_.outstanding;
    isOpen_ = !lock_.removing;
}

vokRemoveLockEx::Entry::~Entry() {
    lock_.release();
}

void vokRemoveLockEx::close() {
    if (removing.exchange(true)) return;
    release();
    std::unique_lock<std::mutex> guard(mutex);
    left.wait(guard, [this] { return isEmpty; });
}

void vokRemoveLockEx::release() {
    if (--outstanding > 0) return;
    const std::lock_guard<std::mutex> guard(mutex);
    isEmpty = true;
    left.notify_all();
}
