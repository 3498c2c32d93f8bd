#include "platform/access/vokRootedHostAccess.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>

#include "platform/access/vokOwnedDescriptor.h"
#include "platform/access/vokShell.h"

namespace {

std::string absolutePath(const std::string& path) {
    char resolved[PATH_MAX];
    return ::realpath(path.c_str(), resolved) ? resolved : path;
}

// `absolute` with each part ".." removed together with the part before it; at the root there is none.
std::string withoutParents(const std::string& absolute) {
    if (absolute.find("..") == std::string::npos) return absolute;
    std::string result;
    for (std::size_t at = 0; at < absolute.size();) {
        const std::size_t begin = absolute[at] == '/' ? at + 1 : at;
        const std::size_t end = std::min(absolute.find('/', begin), absolute.size());
        if (absolute.compare(begin, end - begin, "..") == 0)
            result.erase(std::min(result.rfind('/'), result.size()));
        else
            result.append("/").append(absolute, begin, end - begin);
        at = end;
    }
    return result.empty() ? "/" : result;
}

// Whether `absolute` is below /sys and has one or two parts ".." that do not lead out of it. There the kernel
// resolves them: the part before is often a link to a device, and ".." then the device's parent. Two are at
// most as deep as any such link leads.
bool staysBelowSys(const std::string& absolute) {
    constexpr char sys[] = "/sys/";
    constexpr int mostParents = 2;
    if (absolute.compare(0, sizeof(sys) - 1, sys) != 0) return false;
    int depth = 0;  // below /sys
    int parents = 0;
    for (std::size_t at = sizeof(sys) - 1; at < absolute.size();) {
        const std::size_t end = std::min(absolute.find('/', at), absolute.size());
        const std::string part = absolute.substr(at, end - at);
        at = end + 1;
        if (part.empty() || part == ".") continue;
        const bool isParent = part == "..";
        parents += isParent ? 1 : 0;
        depth += isParent ? -1 : 1;
        if (depth < 0 || parents > mostParents) return false;
    }
    return true;
}

// A phrase if somebody other than root and the caller could change the directory's content, otherwise empty.
// A directory that is missing has none.
std::string strangerWithAccess(const std::string& directory) {
    struct stat status {};
    if (::stat(directory.c_str(), &status) != 0) return "";
    if (status.st_uid != 0 && status.st_uid != ::geteuid())
        return "belongs to user " + std::to_string(status.st_uid) + ", who is neither root nor the caller";
    if (status.st_mode & S_IWOTH) return "is writable by everyone";
    if ((status.st_mode & S_IWGRP) && status.st_gid != 0 && status.st_gid != ::getegid())
        return "is writable by group " + std::to_string(status.st_gid) + ", which is not the caller's";
    return "";
}

// The directories of the text tools that the agent's commands use.
constexpr char textToolDirectories[] = "/usr/bin:/bin";

// Below the root: what the agent runs and loads lies in one of them.
constexpr const char* trustedDirectories[] = {"", "/bin", "/lib", "/sbin", "/usr", "/usr/sbin"};

// These change the machine that they run on, so only the host root's own ones are run.
constexpr const char* machineChangingTools[] = {"modprobe", "mknod"};

}  // namespace

vokRootedHostAccess::vokRootedHostAccess(const std::string& root) : root_(absolutePath(root)) {
    while (root_.size() > 1 && root_.back() == '/') root_.pop_back();
}

std::string vokRootedHostAccess::path(const std::string& absolute) const {
    // A path from the settings may lack its leading "/", and must not then name a sibling of the root.
    const std::string inside = staysBelowSys(absolute) ? absolute : withoutParents(absolute);
    return inside.empty() || inside.front() != '/' ? root_ + "/" + inside : root_ + inside;
}

std::string vokRootedHostAccess::commandPath(const std::string& absolute) const {
    return vokShellQuote(path(absolute));
}

std::string vokRootedHostAccess::searchPath() const {
    return root_ + "/bin:" + textToolDirectories;
}

std::string vokRootedHostAccess::withHostTools(const std::string& command) const {
    std::string functions;
    for (const char* tool : machineChangingTools)
        functions += std::string(tool) + "() { " + vokShellQuote(root_ + "/bin/" + tool) + " \"$@\"; }; ";
    return functions + command;
}

FILE* vokRootedHostAccess::openCommand(const std::string& command) {
    return vokKernelHostAccess::openCommand(withHostTools(command));
}

int vokRootedHostAccess::runCommand(const std::string& command) {
    return vokKernelHostAccess::runCommand(withHostTools(command));
}

void* vokRootedHostAccess::openLibrary(const std::string& name, int flags) {
    if (name.find('/') == std::string::npos) {
        const std::string underRoot = root_ + "/lib/" + name;
        if (::access(underRoot.c_str(), F_OK) == 0) return vokKernelHostAccess::openLibrary(underRoot, flags);
    }
    return vokKernelHostAccess::openLibrary(name, flags);
}

void vokRootedHostAccess::systemLog(int priority, const std::string& text) {
    ::mkdir(path("/var").c_str(), 0700);
    ::mkdir(path("/var/log").c_str(), 0700);
    const vokOwnedDescriptor log(::open(path("/var/log/syslog.log").c_str(),
                                        O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK,
                                        0600));
    if (!log) return;
    static constexpr const char* names[] = {"emerg",   "alert",  "crit", "err",
                                            "warning", "notice", "info", "debug"};
    const std::string line = "vok " + std::string(names[priority & 7]) + ": " + text + "\n";
    // One write, so that lines of several threads stay whole; if the disk is full the line is lost.
    [[maybe_unused]] const ssize_t written = ::write(log.get(), line.data(), line.size());
}

std::unique_ptr<IvokHostAccess> vokOpenHostRoot(const std::string& root, std::string& error) {
    struct stat status {};
    if (::stat(root.c_str(), &status) != 0) {
        error = "host root " + root + ": " + std::strerror(errno);
        return nullptr;
    }
    if (!S_ISDIR(status.st_mode)) {
        error = "host root " + root + ": not a directory";
        return nullptr;
    }
    const std::string absolute = absolutePath(root);
    if (absolute.find_first_of(":\n") != std::string::npos) {
        error = "host root " + root + ": a search path can't name a directory with a colon or a newline";
        return nullptr;
    }
    for (const char* directory : trustedDirectories) {
        const std::string stranger = strangerWithAccess(absolute + directory);
        if (stranger.empty()) continue;
        error = "host root " + root + ": " + absolute + directory + " " + stranger +
                ", so its commands and libraries can't be trusted";
        return nullptr;
    }
    const std::string module = absolute + "/lib/libvok-hostaccess.so";
    if (::access(module.c_str(), F_OK) != 0) return std::make_unique<vokRootedHostAccess>(absolute);

    // Stays loaded for the life of the process: the access is implemented in it.
    void* library = ::dlopen(module.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (!library) {
        error = std::string("host-access module: ") + ::dlerror();
        return nullptr;
    }
    const auto create =
        reinterpret_cast<vokCreateHostAccessFunction>(::dlsym(library, "vokCreateHostAccess"));
    if (!create) {
        error = "host-access module " + module + ": vokCreateHostAccess is missing";
        return nullptr;
    }
    std::unique_ptr<IvokHostAccess> access(create(absolute.c_str()));
    if (!access) error = "host-access module " + module + ": it can't serve this host root";
    return access;
}
