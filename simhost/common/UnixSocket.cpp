#include "common/UnixSocket.h"

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <cerrno>
#include <cstring>
#include <system_error>

namespace simhost {

namespace {

// The address of `path` seen through its opened directory, which must stay open while it is used.
bool addressThroughDirectory(const std::string& path, FileDescriptor& directory, sockaddr_un& address) {
    const auto slash = path.rfind('/');
    const std::string parent = slash == std::string::npos ? "." : slash == 0 ? "/" : path.substr(0, slash);
    const std::string name = slash == std::string::npos ? path : path.substr(slash + 1);
    directory.reset(::open(parent.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
    if (!directory) return false;
    const std::string place = "/proc/self/fd/" + std::to_string(directory.get()) + "/" + name;
    if (name.empty() || place.size() >= sizeof(address.sun_path)) {
        errno = ENAMETOOLONG;
        return false;
    }
    address = {};
    address.sun_family = AF_UNIX;
    std::memcpy(address.sun_path, place.c_str(), place.size() + 1);
    return true;
}

[[noreturn]] void fail(const std::string& path) {
    throw std::system_error(errno, std::generic_category(), path);
}

}  // namespace

FileDescriptor listenAt(const std::string& path, int type) {
    FileDescriptor directory;
    sockaddr_un address{};
    if (!addressThroughDirectory(path, directory, address)) fail(path);
    struct stat status {};
    if (::lstat(path.c_str(), &status) == 0 && S_ISSOCK(status.st_mode)) ::unlink(path.c_str());
    FileDescriptor listener(::socket(AF_UNIX, type | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    if (!listener || ::bind(listener.get(), reinterpret_cast<sockaddr*>(&address), sizeof(address)) != 0)
        fail(path);
    if (::chmod(path.c_str(), 0600) != 0 || ::listen(listener.get(), 64) != 0) fail(path);
    return listener;
}

FileDescriptor connectTo(const std::string& path, int type) {
    FileDescriptor directory;
    sockaddr_un address{};
    if (!addressThroughDirectory(path, directory, address)) return {};
    FileDescriptor connection(::socket(AF_UNIX, type | SOCK_CLOEXEC, 0));
    if (!connection) return {};
    if (::connect(connection.get(), reinterpret_cast<sockaddr*>(&address), sizeof(address)) != 0) {
        const int reason = errno;
        connection.reset();
        errno = reason;
    }
    return connection;
}

FileDescriptor acceptFrom(int listener, EventLoop& loop, EventLoop::Watch watch) {
    FileDescriptor connection(::accept4(listener, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
    if (!connection && (errno == EMFILE || errno == ENFILE)) loop.rest(watch, std::chrono::milliseconds(100));
    return connection;
}

unsigned processAtOtherEnd(int connection) {
    ucred credentials{};
    socklen_t size = sizeof(credentials);
    if (::getsockopt(connection, SOL_SOCKET, SO_PEERCRED, &credentials, &size) != 0) return 0;
    return static_cast<unsigned>(credentials.pid);
}

bool sendAll(int connection, const std::string& bytes) {
    std::size_t sent = 0;
    while (sent < bytes.size()) {
        const ssize_t count = ::send(connection, bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
        if (count < 0 && errno == EINTR) continue;
        if (count <= 0) return false;
        sent += static_cast<std::size_t>(count);
    }
    return true;
}

}  // namespace simhost
