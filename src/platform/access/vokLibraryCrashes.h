// The record of crashes in vendors' libraries. If the agent died at each start in the same library, no class
// would ever be reported, so a library in which it has died repeatedly is left out of the next start.
//
// The record is /opt/mev/vok/data/vok_library_crashes.txt; without a crash there is none. It has a line for
// each crash, whose fields are separated by tabs: the start of the run that crashed in seconds since the
// Epoch, how it ended, inode, size and modification time of the library's file, the name it was opened by,
// its file, the call. A crash counts for a day after that start, until the host boots, and as long as the
// file is the same.
#pragma once

#include <string>
#include <vector>

// A library that is left out of this run.
struct vokLibraryLeftOut {
    std::string name;
    int crashes = 0;
    std::string lastEnd;   // "SIGSEGV", "exit"
    std::string lastCall;  // the entry point, or the name of its command

    // A clause after "the library ... is".
    std::string reason() const {
        return "left out, as the agent has died in it " + std::to_string(crashes) +
               " times, last in the call " + lastCall + " (" + lastEnd + ")";
    }
};

class vokLibraryCrashes {
public:
    static constexpr char recordFile[] = "/opt/mev/vok/data/vok_library_crashes.txt";
    static constexpr int crashesUntilLeftOut = 2;
    static constexpr long secondsThatCount = 86400;

    // Reads the record and decides which libraries are left out of this run. Called once, before a library is
    // opened. Crashes that no longer count are removed from the record.
    static std::vector<vokLibraryLeftOut> decide();
    // What decide() returned; nothing before it.
    static const std::vector<vokLibraryLeftOut>& leftOut();
    // Why vokLibrary::open() refuses the library of this name; empty if it does not.
    static std::string refusal(const std::string& name);

    // Prepares note(): it needs the path of the record on this host, and the time of this start.
    static void prepare();
    // Appends a line if this thread is within a call of a library and the run has none yet; false if not. A
    // child that a library has forked appends none. `end` names the signal. Async-signal-safe.
    static bool note(const char* end) noexcept;
};
