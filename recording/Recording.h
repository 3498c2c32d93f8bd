// A recorded host: everything that one build of all inventories asked of the host, and what it got. vokd
// records it (daemon/recording), vok-simhost plays it back; the file between them is an archive
// (Archive.h).
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace recording {

// Named values. A value is text or bytes; numbers are decimal text.
using Fields = std::map<std::string, std::string>;

// What lies at one absolute path of the host.
struct FileEntry {
    enum class Kind {
        absent,     // ENOENT or ENOTDIR
        file,       // a regular file
        directory,  //
        link,       // a symbolic link, not followed
        other,      // a device node, a socket, a FIFO: it exists, its content is not recorded
    };

    Kind kind = Kind::absent;
    // Why its content, target or list could not be read; 0 if it was. The agent had the same failure.
    int error = 0;
    std::string content;  // of a file
    std::string target;   // of a link, as readlink(2) returns it
    // The names in a directory with what they are; those that the agent never asked for have no entry of
    // their own in Recording::files.
    std::map<std::string, Kind> children;
    // The agent asked for this path itself. False: it was recorded as a part of the way to another one.
    bool asked = false;
};

// One question and its answers, in the order in which they came. The question is asked again: the next
// answer; after the last one that one again.
struct Exchange {
    std::string kind;  // which of Forms.h encodes it
    Fields question;
    std::vector<Fields> answers;
};

struct Recording {
    static constexpr int version = 1;

    std::string agentVersion;
    std::string abi;        // "i386" or "x86_64"; an archive of either plays on both
    std::int64_t time = 0;  // the one instant that the agent's wall clock showed, in seconds since the Epoch
    bool redacted = false;
    std::map<std::string, unsigned>
        replaced;                            // kind of identity ("serial number") and how many different ones
    std::map<std::string, FileEntry> files;  // by absolute path
    std::vector<Exchange> exchanges;         // by first occurrence; no two with equal kind and question
    std::string document;                    // the inventory that the agent printed
    std::vector<std::string> remarks;  // what a reader of the archive has to know: "/a/b changed meanwhile"
};

}  // namespace recording
