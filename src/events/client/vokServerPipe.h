// The pipe that clients write their requests to, and the watch over its place. When the pipe is removed or
// replaced while the agent runs, or when something else stands in its place, the watch tells as soon as the
// place changes, so that the server neither goes deaf nor has to look again and again.
#pragma once

#include <string>

#include "platform/access/vokOwnedDescriptor.h"

class vokServerPipe {
public:
    explicit vokServerPipe(const char* path);

    // Makes the pipe, or takes the one that is there when it is this user's own, and opens it for this user
    // alone. False, and logged, when that can't be.
    bool open();
    // To be called when the watch is readable: opens the pipe anew when it is no longer at its place.
    void placeChanged();

    int descriptor() const { return pipe_.get(); }  // -1 while there is no pipe
    int watch() const { return watch_.get(); }      // -1 where the kernel has no such watch

private:
    bool openOnce();
    bool refuse(const std::string& reason);
    void watchPlace();
    bool somethingIsInItsPlace() const;
    bool isAtItsPlace() const;

    const char* path_;
    std::string place_;
    vokOwnedDescriptor pipe_;
    vokOwnedDescriptor watch_;
    std::string refusal_;  // the last one logged
};
