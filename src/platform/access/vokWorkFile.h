// A file that commands append to and that is read back. It is gone at the end, so that nothing of it stays
// for the next command; what a crash has left under its name is thrown away or, where it is to count, kept.
#pragma once

#include <cstdio>
#include <string>

#include "platform/access/vokHostAccess.h"

enum class vokLeftOver { removed, kept };

class vokWorkFile {
public:
    // `path` is the absolute path on the host.
    explicit vokWorkFile(const std::string& path, vokLeftOver leftOver = vokLeftOver::removed)
        : place_(vokHostAccess().path(path)), word_(vokHostAccess().commandPath(path)) {
        if (leftOver == vokLeftOver::removed) std::remove(place_.c_str());
    }
    ~vokWorkFile() { std::remove(place_.c_str()); }
    vokWorkFile(const vokWorkFile&) = delete;
    vokWorkFile& operator=(const vokWorkFile&) = delete;

    const std::string& place() const { return place_; }  // for system calls
    const std::string& word() const { return word_; }    // for a command

private:
    std::string place_;
    std::string word_;
};
