#include "support/FakeLibraries.h"

#include <utility>

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
    if (found == symbols.end()) {
        if (!failure.empty()) lastError_ = failure;
        return nullptr;
    }
    ++openCount_;
    return &found->second;
}

void* FakeLibraries::symbol(void* library, const char* name) {
    const std::lock_guard<std::mutex> lock(guard_);
    const auto& ofLibrary = *static_cast<const std::map<std::string, FakeSymbol>*>(library);
    const auto found = ofLibrary.find(name);
    if (found != ofLibrary.end()) return found->second.address;
    if (!failure.empty()) lastError_ = failure;
    return nullptr;
}

int FakeLibraries::close(void*) {
    if (onClose) onClose();
    const std::lock_guard<std::mutex> lock(guard_);
    --openCount_;
    return 0;
}

std::string FakeLibraries::error() {
    const std::lock_guard<std::mutex> lock(guard_);
    return std::exchange(lastError_, std::string());
}
