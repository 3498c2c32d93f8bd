#include "platform/access/vokLibrary.h"

#include <vector>

#include "platform/access/vokHostAccess.h"
#include "platform/access/vokLibraryCall.h"
#include "platform/access/vokLibraryCrashes.h"

vokLibrary& vokLibrary::operator=(vokLibrary&& other) noexcept {
    if (this == &other) return *this;
    close();
    handle_ = std::exchange(other.handle_, nullptr);
    identity_ = std::exchange(other.identity_, nullptr);
    holds_ = std::move(other.holds_);
    missingSymbol_ = std::move(other.missingSymbol_);
    reason_ = std::move(other.reason_);
    return *this;
}

bool vokLibrary::open(const std::string& name, int flags) {
    close();
    reason_ = vokLibraryCrashes::refusal(name);
    if (!reason_.empty()) return false;
    auto holds = std::make_shared<std::atomic<int>>(0);
    vokHostAccess().libraryError();  // clears the reason of an earlier call
    {
        const std::string knownFile = name.find('/') == std::string::npos ? "" : name;
        // Runs its initialisers.
        const vokLibraryCall call(vokKeepLibraryIdentity(name, knownFile), name.c_str());
        handle_ = vokHostAccess().openLibrary(name, flags);
    }
    reason_ = handle_ ? "" : vokHostAccess().libraryError();
    if (!handle_) return false;
    identity_ = vokKeepLibraryIdentity(name, vokHostAccess().libraryFile(handle_));
    holds_ = std::move(holds);
    return true;
}

bool vokLibrary::resolve(std::initializer_list<vokLibrarySymbol> symbols) {
    missingSymbol_.clear();
    reason_.clear();
    if (!handle_) return false;
    std::vector<void*> addresses;
    for (const vokLibrarySymbol& symbol : symbols) {
        vokHostAccess().libraryError();
        void* const address = vokHostAccess().librarySymbol(handle_, symbol.name());
        if (!address) {
            missingSymbol_ = symbol.name();
            reason_ = vokHostAccess().libraryError();
            return false;
        }
        addresses.push_back(address);
    }
    auto address = addresses.cbegin();
    for (const vokLibrarySymbol& symbol : symbols) symbol.store(*address++);
    return true;
}

void* vokLibrary::find(const char* symbol) const {
    return handle_ ? vokHostAccess().librarySymbol(handle_, symbol) : nullptr;
}

bool vokLibrary::close() {
    if (!handle_) return true;
    void* const handle = std::exchange(handle_, nullptr);
    const vokLibraryIdentity* const identity = std::exchange(identity_, nullptr);
    const auto holds = std::move(holds_);
    if (holds->load(std::memory_order_acquire) > 0) return false;
    const vokLibraryCall call(identity, identity->name.c_str());  // runs its finalisers
    vokHostAccess().closeLibrary(handle);
    return true;
}
