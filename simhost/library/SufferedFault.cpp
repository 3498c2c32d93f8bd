#include <chrono>
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <map>
#include <mutex>
#include <thread>

#include "common/HostPaths.h"
#include "library/LibraryFault.h"
#include "library/OwnPlace.h"

namespace simhost {

namespace {

constexpr std::chrono::milliseconds betweenLooks{5};

// What the file of this library says now, if it is about the entry point.
std::optional<LibraryFault> faultOf(const std::string& entry) {
    const std::string root = ownHostRoot();
    if (root.empty()) return std::nullopt;
    std::ifstream file(HostPaths(root).libraryFault(ownLibraryName()));
    std::string line;
    if (!std::getline(file, line)) return std::nullopt;
    auto fault = LibraryFault::parse(line);
    return fault && fault->entry == entry ? fault : std::nullopt;
}

unsigned long countCall(const std::string& entry) {
    static std::mutex mutex;
    static std::map<std::string, unsigned long> calls;
    const std::lock_guard<std::mutex> lock(mutex);
    return calls[entry]++;
}

// When the library is loaded.
[[maybe_unused]] const bool isLoaded = [] {
    sufferLibraryFault("load");
    return true;
}();

}  // namespace

void sufferLibraryFault(const char* entry) {
    const auto fault = faultOf(entry);
    if (!fault || countCall(entry) < fault->after) return;
    switch (fault->how) {
        case LibraryEnd::hang:
            while (faultOf(entry)) std::this_thread::sleep_for(betweenLooks);
            break;
        case LibraryEnd::crash:
            std::raise(SIGSEGV);
            break;
        case LibraryEnd::abort:
            std::abort();
        case LibraryEnd::exit:
            std::exit(0);
    }
}

}  // namespace simhost
