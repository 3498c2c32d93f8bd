#include "support/FakeLibraries.h"

std::vector<FakeLibraries::Opened> FakeLibraries::opened() const {
    const std::lock_guard<std::mutex> lock(guard_);
    return opened_;
}

int FakeLibraries::openCount() const {
    const std::lock_guard<std::mutex> lock(guard_);
    return openCount_;
}

void* FakeLibraries::open(const std::string& name, int flags) {
    const std::lock_guard<std::mutex> lock(guard_);
    opened_.push_back({name, flags});
    const auto found = symbols.find(name);
    if (found == symbols.end()) return nullptr;
    ++openCount_;
    return &found->second;
}

void* FakeLibraries::symbol(void* library, const char* name) {
    const std::lock_guard<std::mutex> lock(guard_);
    const auto& ofLibrary = *static_cast<const std::map<std::string, void*>*>(library);
    const auto found = ofLibrary.find(name);
    return found == ofLibrary.end() ? nullptr : found->second;
}

int FakeLibraries::close(void*) {
    const std::lock_guard<std::mutex> lock(guard_);
    --openCount_;
    return 0;
}
