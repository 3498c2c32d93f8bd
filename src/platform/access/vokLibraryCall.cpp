#include "platform/access/vokLibraryCall.h"

#include <memory>
#include <mutex>
#include <vector>

namespace {

// Without a lazy allocation, so that a signal handler may read it.
__attribute__((tls_model("initial-exec"))) thread_local vokLibraryCallInProgress inProgress;

}  // namespace

const vokLibraryIdentity* vokKeepLibraryIdentity(const std::string& name, const std::string& file) {
    static auto& mutex = *new std::mutex;
    static auto& kept = *new std::vector<std::unique_ptr<const vokLibraryIdentity>>;
    const std::lock_guard<std::mutex> lock(mutex);
    for (const auto& each : kept)
        if (each->name == name && each->file == file) return each.get();
    kept.push_back(std::make_unique<const vokLibraryIdentity>(vokLibraryIdentity{name, file}));
    return kept.back().get();
}

vokLibraryCall::vokLibraryCall(const vokLibraryIdentity* library, const char* call) noexcept
    : operation_(vokOperationKind::libraryCall, call), outer_(inProgress) {
    inProgress = library ? vokLibraryCallInProgress{library, call} : vokLibraryCallInProgress{};
}

vokLibraryCall::~vokLibraryCall() {
    inProgress = outer_;
}

vokLibraryCallInProgress vokLibraryCall::current() noexcept {
    return inProgress;
}
