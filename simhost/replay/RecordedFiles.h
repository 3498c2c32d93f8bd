// The files of a recording as one tree: what lies at a path, links on the way to it followed.
//
// A location is an absolute path without ".", ".." or links in front of its last name. No link leads out of
// the tree: "/" is its own parent, and an absolute target starts at it.
#pragma once

#include <map>
#include <optional>
#include <string>

#include "recording/Recording.h"

namespace simhost {

class RecordedFiles {
public:
    using Entry = recording::FileEntry;
    using Entries = std::map<std::string, Entry>;

    explicit RecordedFiles(const Entries& recorded);

    // Every recorded entry by its location, those above before those below.
    const Entries& entries() const { return entries_; }
    // The location of `path`; nothing if it is not absolute or its links lead in a circle.
    std::optional<std::string> locate(const std::string& path) const;
    // True if the kernel, which follows each link of the tree, would come above "/" on the way to `path`.
    bool leadsOut(const std::string& path) const;

    struct Answer {
        enum class Kind {
            known,        // as laid out: there or not there
            fails,        // there, but its content or its list can't be read
            notRecorded,  // the agent did not ask for it
        };
        Kind kind = Kind::notRecorded;
        std::string location;  // of a known one
        Entry::Kind type = Entry::Kind::absent;
        int error = 0;  // of one that fails
    };
    // What the recording says of `path`. A name that a recorded list lacks is known to be absent, as is
    // everything below what is absent.
    Answer ask(const std::string& path) const;

private:
    std::optional<std::string> walk(const std::string& path, bool& above) const;
    const Entry* find(const std::string& location) const;
    bool isKnownAbsent(const std::string& location) const;

    std::map<std::string, std::string> links_;  // target by location
    Entries entries_;
};

}  // namespace simhost
