// A file that commands append to and that is read back: nothing of an earlier run is in it, and it is gone at
// the end.
#pragma once

#include <cstdio>
#include <string>

#include "platform/vokHostAccess.h"

class vokWorkFile {
public:
    // `path` is the absolute path on the host.
    explicit vokWorkFile(const std::string& path)
        : place_(vokHostAccess().path(path)), word_(vokHostAccess().commandPath(path)) {
        std::remove(place_.c_str());
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
