// The output stream of a running command, closed with its owner.
#pragma once

#include <cstdio>
#include <string>

#include "platform/access/vokHostAccess.h"

class vokCommandStream {
public:
    explicit vokCommandStream(const std::string& command) : stream_(vokHostAccess().openCommand(command)) {}
    ~vokCommandStream() { close(); }
    vokCommandStream(const vokCommandStream&) = delete;
    vokCommandStream& operator=(const vokCommandStream&) = delete;

    // False when the command could not be started; errno then says why.
    explicit operator bool() const { return stream_ != nullptr; }
    FILE* get() const { return stream_; }

    // Waits for the command to end and returns its wait status, or -1; a second call returns -1.
    int close() {
        if (!stream_) return -1;
        FILE* const stream = stream_;
        stream_ = nullptr;
        return vokHostAccess().closeCommand(stream);
    }

private:
    FILE* stream_;
};
