// UNIX-domain sockets by path, without the 107-byte limit that a socket address puts on paths: the
// directory is opened and the socket reached through it.
#pragma once

#include <string>

#include "common/EventLoop.h"
#include "common/FileDescriptor.h"

namespace simhost {

// A socket of `type` (SOCK_STREAM or SOCK_SEQPACKET) that listens at `path`, for the owner alone and not
// blocking; a socket left behind there is replaced. Throws std::system_error.
FileDescriptor listenAt(const std::string& path, int type);

// A blocking connection to the socket at `path`. An empty one with errno when there is none.
FileDescriptor connectTo(const std::string& path, int type);

// The next connection of a listening socket that `loop` watches, not blocking; empty when there is none. When
// the process has no descriptor left for it, the listener rests a while and the connection waits.
FileDescriptor acceptFrom(int listener, EventLoop& loop, EventLoop::Watch watch);

// The process at the other end of a connection, 0 when it can't be told.
unsigned processAtOtherEnd(int connection);

// Writes all of it to a blocking stream socket. False with errno when the other end is gone.
bool sendAll(int connection, const std::string& bytes);

}  // namespace simhost
