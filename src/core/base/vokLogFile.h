// One log file, to which whole lines are appended. Not synchronised; the logger's lock protects it.
#pragma once

#include <string>

#include "platform/access/vokOwnedDescriptor.h"

class vokLogFile {
public:
    // Opens the log as vokLogFiles::openForAppending() does, in place of the one that is open. On failure
    // returns false with errno, and the one that is open stays so: a line in a file that was moved away is
    // better than none.
    bool open(const std::string& hostPath);
    void close();
    bool isOpen() const { return static_cast<bool>(file_); }

    // Appends `line`, which ends with a newline, in one write. A line for which there is no room is lost; the
    // next one is tried again, on a line of its own. Returns false with errno for the first of several lines
    // that are lost, so that a disk that stays full is reported once.
    bool write(const std::string& line);

private:
    vokOwnedDescriptor file_;
    bool lastLineIsCut_ = false;
    bool linesAreLost_ = false;
};
