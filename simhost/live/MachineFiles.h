// Reads the files in which a Linux machine tells of itself: below "/", or below a directory that holds a
// copy of them. Nothing is ever written, nothing waits, and no file is longer than its reader lets it be.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace simhost {

class MachineFiles {
public:
    // An empty `root` stands for the machine itself.
    explicit MachineFiles(const std::string& root = "");

    // Where an absolute path of the machine's lies.
    std::string place(const std::string& path) const { return root_ + path; }

    static constexpr std::size_t longestAttribute = 64 * 1024;
    // The first `most` bytes; nothing when it is not there, may not be read or is no plain file.
    std::optional<std::string> read(const std::string& path, std::size_t most = longestAttribute) const;
    // The first line as it can be shown in one: without control characters, cut at 255 bytes. Empty when
    // there is none.
    std::string line(const std::string& path) const;
    // The number in the first line, decimal or with "0x" before it; nothing when that is none.
    std::optional<std::int64_t> number(const std::string& path) const;

    bool exists(const std::string& path) const;
    // The entries of a directory in order; none when it can't be read.
    std::vector<std::string> names(const std::string& directory) const;
    // Where the links of a path lead, as a path of the machine's; empty when that is nowhere, or not below
    // the root.
    std::string resolved(const std::string& path) const;
    // The last name of that.
    std::string resolvedName(const std::string& path) const;

private:
    std::string root_;
};

// A text for one line: control characters become dots, and it is cut at 255 bytes.
std::string asLine(const std::string& text);
// A text for a column of a table or a field of a list: all but printing ASCII characters other than comma
// and double quote become "?"; an empty one is `otherwise`.
std::string asWord(const std::string& text, const std::string& otherwise = "");

}  // namespace simhost
