// The output stream of a running command, closed with its owner, and a command that is run to its end.
#pragma once

#include <cstdio>
#include <optional>
#include <string>

#include "platform/access/vokHostAccess.h"
#include "platform/access/vokLongOperation.h"

class vokCommandStream {
public:
    explicit vokCommandStream(std::string command)
        : command_(std::move(command)),
          operation_(std::in_place, vokOperationKind::command, command_.c_str()),
          stream_(vokHostAccess().openCommand(command_)) {}
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
        const int status = vokHostAccess().closeCommand(stream);
        operation_.reset();
        return status;
    }

private:
    std::string command_;
    std::optional<vokLongOperation> operation_;
    FILE* stream_;
};

// Runs the command to its end: its wait status, or -1 with errno.
inline int vokRunCommand(const std::string& command) {
    const vokLongOperation operation(vokOperationKind::command, command.c_str());
    return vokHostAccess().runCommand(command);
}
