// The vendors' libraries of a replayed host: nothing is loaded; their entry points are thunks that look up
// the recorded answers.
#pragma once

#include <map>
#include <memory>
#include <mutex>
#include <string>

#include "replayaccess/ReplayQuestions.h"

namespace simhost {

class ReplayLibraries {
public:
    explicit ReplayLibraries(ReplayQuestions& questions);
    ~ReplayLibraries();
    ReplayLibraries(const ReplayLibraries&) = delete;
    ReplayLibraries& operator=(const ReplayLibraries&) = delete;

    // The operations of IvokHostAccess of these names; `name` is the one on the recorded host.
    void* open(const std::string& name);
    void* symbol(void* library, const std::string& symbol);
    // A call to an entry point after it still has its recorded answer.
    int close(void*) { return 0; }
    // The reason of this thread's last failure, which it clears.
    static std::string error();

private:
    class Library;

    ReplayQuestions& questions_;
    std::mutex mutex_;
    std::map<std::string, std::unique_ptr<Library>> libraries_;
};

}  // namespace simhost
