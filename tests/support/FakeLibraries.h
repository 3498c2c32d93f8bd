// The shared libraries of a fake host: by name, each with the addresses of its symbols.
#pragma once

#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <vector>

// The address of a function or a variable.
struct FakeSymbol {
    FakeSymbol() = default;
    template <typename Target>
    FakeSymbol(Target* target) : address(reinterpret_cast<void*>(target)) {}

    void* address = nullptr;
};

class FakeLibraries {
public:
    struct Opened {
        std::string name;
        int flags;
    };

    // --- what a test sets ---
    std::function<void()> onClose;  // called while a library is closed, as its finalisers are
    // Libraries by name, each with its symbols; others are missing.
    std::map<std::string, std::map<std::string, FakeSymbol>> symbols;
    // The reason that error() reports, once, after a call that found nothing; empty for no reason.
    std::string failure;
    // The file that each open library was loaded from.
    std::string file;

    // --- what a test reads ---
    std::vector<Opened> opened() const;  // in order, including missing ones
    int openCount() const;               // opened and not closed yet

    // --- the operations of the seam ---
    void* open(const std::string& name, int flags);
    void* symbol(void* library, const char* name);
    int close(void* library);
    std::string error();

private:
    mutable std::mutex guard_;
    std::vector<Opened> opened_;
    int openCount_ = 0;
    std::string lastError_;
};
