// Marks a call into a vendor's library: as an operation that may take long (vokLongOperation.h), and for the
// record of crashes (vokLibraryCrashes.h), which has to name the library in whose code the process died.
//
//     const vokLibraryCall call(library_.identity(), "vendor_get_list");
//     const int result = getList_(&list);
#pragma once

#include <string>

#include "platform/access/vokLongOperation.h"

// The texts that name a library. They are never freed, as a signal handler reads them.
struct vokLibraryIdentity {
    std::string name;  // as it was opened
    std::string file;  // where the loader found it; empty if not known
};

// The identity with these texts, the same object for the same texts.
const vokLibraryIdentity* vokKeepLibraryIdentity(const std::string& name, const std::string& file);

struct vokLibraryCallInProgress {
    const vokLibraryIdentity* library = nullptr;
    const char* call = nullptr;  // `library` is null if this is
};

class vokLibraryCall {
public:
    // `library` may be null: then only a call that takes long is noticed. The name of the call is not copied:
    // it has to live as long as the guard.
    vokLibraryCall(const vokLibraryIdentity* library, const char* call) noexcept;
    ~vokLibraryCall();
    vokLibraryCall(const vokLibraryCall&) = delete;
    vokLibraryCall& operator=(const vokLibraryCall&) = delete;

    // The innermost call of this thread. Async-signal-safe.
    static vokLibraryCallInProgress current() noexcept;

private:
    vokLongOperation operation_;
    vokLibraryCallInProgress outer_;
};
