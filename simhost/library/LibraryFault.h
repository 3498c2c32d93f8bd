// Makes a call of a stand-in hang or end the process, as the control command "library NAME call" says. Other
// than faults that vok-simhost answers, this also works for a library that does not speak to it.
//
// The command leaves a file, HostPaths::libraryFault(), with a line "ENTRY HOW AFTER": the entry point, what
// its call does, and the number of its calls of the process that are done as usual before.
#pragma once

#include <optional>
#include <string>

namespace simhost {

enum class LibraryEnd { hang, crash, abort, exit };

struct LibraryFault {
    std::string entry;
    LibraryEnd how = LibraryEnd::hang;
    unsigned long after = 0;

    std::string line() const;
    static std::optional<LibraryFault> parse(const std::string& line);
};

// The word of the control command, or nothing if it is none.
std::optional<LibraryEnd> toLibraryEnd(const std::string& word);

// Called first in an entry point, and with "load" when the library is loaded. Returns unless the process
// ends; after a hang when the file no longer names the call.
void sufferLibraryFault(const char* entry);

}  // namespace simhost
