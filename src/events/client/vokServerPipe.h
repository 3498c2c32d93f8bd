// The pipe to which clients write their requests, and a watch on its path. When the pipe is removed or
// replaced while the agent runs, or when another file occupies its path, the watch reports the next change
// of the path, so that the server neither becomes unreachable nor has to poll.
#pragma once

#include <string>

#include "platform/access/vokOwnedDescriptor.h"

class vokServerPipe {
public:
    explicit vokServerPipe(const char* path);

    // Creates the pipe, or uses an existing one that this user owns, restricts it to this user and opens
    // it. On failure logs the reason and returns false.
    bool open();
    // To be called when the watch is readable: reopens the pipe if it is no longer at its path.
    void reopenIfReplaced();

    int descriptor() const { return pipe_.get(); }  // -1 while there is no pipe
    int watch() const { return watch_.get(); }      // -1 if the kernel has no such watch

private:
    bool openOnce();
    bool refuse(const std::string& reason);
    void watchPath();
    bool isPathOccupied() const;
    bool isAtItsPath() const;

    const char* path_;
    std::string hostPath_;
    vokOwnedDescriptor pipe_;
    vokOwnedDescriptor watch_;
    std::string refusal_;  // the last one logged
};
