// A shared library that is opened and closed through the seam, with its required entry points:
//
//     vokLibrary library;
//     if (!library.open(name, RTLD_NOW)) ... library.reason()
//     if (!library.resolve({{"vendor_open", open_}, {"vendor_close", close_}}))
//         ... library.missingSymbol(), library.reason()
//
// A library must not be closed while its code runs or may call back into the agent. Code that registers a
// callback takes a hold() first and releases it after the library has accepted the end of the registration
// and the last call has returned. A library that is closed while it is held stays loaded for the life of the
// process: its owner can no longer use it, but a late callback still finds its code.
#pragma once

#include <atomic>
#include <initializer_list>
#include <memory>
#include <string>
#include <utility>

struct vokLibraryIdentity;

// A required entry point: its name, and the function pointer that receives its address.
class vokLibrarySymbol {
public:
    template <typename Function>
    vokLibrarySymbol(const char* name, Function*& target)
        : name_(name), target_(&target), store_(&storeAs<Function>) {}

    const char* name() const { return name_; }
    void store(void* address) const { store_(target_, address); }

private:
    template <typename Function>
    static void storeAs(void* target, void* address) {
        *static_cast<Function**>(target) = reinterpret_cast<Function*>(address);
    }

    const char* name_;
    void* target_;
    void (*store_)(void* target, void* address);
};

class vokLibrary {
public:
    // Keeps the library's code loaded for its own lifetime. May be moved and may outlive the vokLibrary; may
    // be released by any thread, also after the library was closed.
    class Hold {
    public:
        Hold() = default;
        Hold(Hold&& other) noexcept = default;
        Hold& operator=(Hold&& other) noexcept {
            if (this != &other) {
                release();
                holds_ = std::move(other.holds_);
            }
            return *this;
        }
        ~Hold() { release(); }

        void release() {
            if (holds_) holds_->fetch_sub(1, std::memory_order_release);
            holds_.reset();
        }

    private:
        friend class vokLibrary;
        explicit Hold(std::shared_ptr<std::atomic<int>> holds) : holds_(std::move(holds)) {
            if (holds_) ++*holds_;
        }

        std::shared_ptr<std::atomic<int>> holds_;
    };

    vokLibrary() = default;
    vokLibrary(vokLibrary&& other) noexcept { *this = std::move(other); }
    vokLibrary& operator=(vokLibrary&& other) noexcept;
    ~vokLibrary() { close(); }

    // dlopen(3) through the seam; closes the library that was open before. `name` is a bare library name or a
    // path that IvokHostAccess::path() returned. False with reason() on failure, also for a library that is
    // left out of this run (vokLibraryCrashes.h).
    bool open(const std::string& name, int flags);
    // Finds all of `symbols` in order and stores their addresses. If one is missing nothing is stored, and
    // the result is false with missingSymbol() and reason(); the library stays open. Also false if no library
    // is open.
    bool resolve(std::initializer_list<vokLibrarySymbol> symbols);
    // An optional entry point; null if the library lacks it.
    void* find(const char* symbol) const;

    explicit operator bool() const { return handle_ != nullptr; }
    const std::string& missingSymbol() const { return missingSymbol_; }  // of the last resolve()
    // Why the last open() or resolve() failed, in the dynamic loader's words; empty without such a text.
    const std::string& reason() const { return reason_; }

    // See the rule above. Holds nothing if no library is open.
    [[nodiscard]] Hold hold() const { return Hold(holds_); }

    // For the guard around a call (vokLibraryCall.h); null if no library is open.
    const vokLibraryIdentity* identity() const { return identity_; }

    // False if the library stays loaded because it is held. The stored addresses must not be called
    // afterwards.
    bool close();

private:
    void* handle_ = nullptr;
    const vokLibraryIdentity* identity_ = nullptr;
    std::shared_ptr<std::atomic<int>> holds_;  // number of live holds; set while open
    std::string missingSymbol_;
    std::string reason_;
};
