// The list of the vendors' libraries: one a line, name, tab or blank, path. Lines that start with "#" are
// comments.
#pragma once

#include <string>

#include "fc/hbaapi/hbaapi.h"
#include "platform/access/vokFilePtr.h"

inline constexpr char hbaListFile[] = "/etc/config/mev/vok/hba.conf";

struct HBAListEntry {
    char name[64] = {};
    char path[hbaPathLength] = {};  // holds only letters, digits and "_-./"
};

class HBALibraryList {
public:
    // Opens the list for reading. False, with errno, if that fails or it is not a regular file.
    bool open();
    // Reads on to the next line that names a library; false after the last one. A text too long for its
    // field is cut, and the path also at the first character that is not allowed in it. A warning is logged
    // for a line that is neither blank nor a comment and names none.
    bool next(HBAListEntry& entry);

private:
    bool readLine(std::string& line);

    vokFilePtr file_;
    int lineNumber_ = 0;
};
