// A file that receives the output of a command and is read back. It is removed with its owner, so that
// nothing is left for the next command. What a crash has left under its name is removed first or, if it is to
// be read too, kept.
#pragma once

#include <string>

#include "platform/access/vokFilePtr.h"

enum class vokLeftOver {
    removed,
    kept,
    // Removed, and an empty file with mode 0600 is created instead before the command runs: for a
    // world-writable directory, where a link or another user's file may have been planted under the name.
    replaced,
};

class vokWorkFile {
public:
    // `path` is the absolute path on the host. Its directory is made if it is missing, except for
    // vokLeftOver::replaced; if that fails, so do the command and open().
    explicit vokWorkFile(const std::string& path, vokLeftOver leftOver = vokLeftOver::removed);
    ~vokWorkFile();
    vokWorkFile(const vokWorkFile&) = delete;
    vokWorkFile& operator=(const vokWorkFile&) = delete;

    const std::string& hostPath() const { return hostPath_; }        // for system calls
    const std::string& shellQuoted() const { return shellQuoted_; }  // for a command text

    // With vokLeftOver::replaced: true if an existing file could not be removed. It is another user's, so no
    // command may write to it, and it is not removed at the end.
    bool isPlanted() const { return planted_; }

    // Runs `command`, one pipeline, with its output appended to the file. Returns the wait status, or -1 with
    // errno.
    int appendOutputOf(const std::string& command) const;
    // Reads the file. Of what a runaway command has written, no more than the whole lines in the first 16
    // MiB. False with errno if it can't be read.
    bool read(std::string& content) const;
    // The file for reading; null with errno.
    vokFilePtr open() const;

private:
    std::string hostPath_;
    std::string shellQuoted_;
    bool planted_ = false;
};
