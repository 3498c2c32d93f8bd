#include "daemon/recording/FileRecorder.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <memory>
#include <string_view>

#include "platform/access/vokOwnedDescriptor.h"

namespace {

using recording::FileEntry;

constexpr int mostLinks = 40;  // as the kernel follows
constexpr std::size_t chunk = 65536;

std::string withoutSlashAtEnd(std::string path) {
    while (!path.empty() && path.back() == '/') path.pop_back();
    return path;
}

bool isAtOrBelow(const std::string& path, const std::string& directory) {
    return path.compare(0, directory.size(), directory) == 0 &&
           (path.size() == directory.size() || path[directory.size()] == '/');
}

std::string childOf(const std::string& directory, const std::string& name) {
    return directory == "/" ? "/" + name : directory + "/" + name;
}

std::string parentOf(const std::string& path) {
    const std::size_t slash = path.rfind('/');
    return slash == 0 || slash == std::string::npos ? "/" : path.substr(0, slash);
}

// Puts the parts of a path before those in `parts`.
void putBefore(std::deque<std::string>& parts, const std::string& path) {
    std::deque<std::string> added;
    for (std::size_t begin = 0; begin < path.size();) {
        const std::size_t end = std::min(path.find('/', begin), path.size());
        const std::string part = path.substr(begin, end - begin);
        if (!part.empty() && part != ".") added.push_back(part);
        begin = end + 1;
    }
    parts.insert(parts.begin(), added.begin(), added.end());
}

FileEntry::Kind kindOf(mode_t mode) {
    if (S_ISREG(mode)) return FileEntry::Kind::file;
    if (S_ISDIR(mode)) return FileEntry::Kind::directory;
    return S_ISLNK(mode) ? FileEntry::Kind::link : FileEntry::Kind::other;
}

FileEntry failed(int error) {
    FileEntry entry;
    const bool isAbsent = error == ENOENT || error == ENOTDIR;
    entry.kind = isAbsent ? FileEntry::Kind::absent : FileEntry::Kind::other;
    entry.error = isAbsent ? 0 : error;
    return entry;
}

// The target of a link; nothing with errno if it can't be read.
std::string targetOf(const std::string& hostPath) {
    char text[PATH_MAX];
    const ssize_t length = ::readlink(hostPath.c_str(), text, sizeof(text));
    return length < 0 ? std::string() : std::string(text, static_cast<std::size_t>(length));
}

struct CloseDirectory {
    void operator()(DIR* directory) const { ::closedir(directory); }
};

FileEntry::Kind kindOfChild(int directory, const dirent& child) {
    if (child.d_type != DT_UNKNOWN) return kindOf(DTTOIF(child.d_type));
    struct stat status {};
    const bool isRead = ::fstatat(directory, child.d_name, &status, AT_SYMLINK_NOFOLLOW) == 0;
    return isRead ? kindOf(status.st_mode) : FileEntry::Kind::other;
}

void readDirectory(vokOwnedDescriptor opened, FileEntry& entry) {
    const std::unique_ptr<DIR, CloseDirectory> directory(::fdopendir(opened.get()));
    if (!directory) {
        entry.error = errno;
        return;
    }
    opened.release();
    errno = 0;
    for (const dirent* child; (child = ::readdir(directory.get())) != nullptr; errno = 0) {
        const std::string name = child->d_name;
        if (name != "." && name != "..") entry.children[name] = kindOfChild(::dirfd(directory.get()), *child);
    }
    entry.error = errno;
}

// To the end, whatever size the file states: those of sysfs state a page.
void readContent(int file, FileEntry& entry) {
    std::array<char, chunk> buffer;
    while (entry.content.size() <= FileRecorder::longestFile) {
        const ssize_t count = ::read(file, buffer.data(), buffer.size());
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) entry.error = errno;
        if (count <= 0) return;
        entry.content.append(buffer.data(), static_cast<std::size_t>(count));
    }
}

// The agent does not read the content of a program or a library, and it may be confidential. The first bytes
// identify its type.
void cutProgram(FileEntry& entry) {
    constexpr std::string_view elf = "\177ELF";
    if (entry.content.compare(0, elf.size(), elf) == 0) entry.content.resize(elf.size());
}

bool isEqual(const FileEntry& a, const FileEntry& b) {
    return a.kind == b.kind && a.error == b.error && a.content == b.content && a.target == b.target &&
           a.children == b.children;
}

}  // namespace

FileRecorder::FileRecorder(const IvokHostAccess& access, ExchangeLog& log)
    : access_(access), log_(log), root_(withoutSlashAtEnd(access.path("/"))) {}

void FileRecorder::leaveOut(const std::vector<std::string>& paths) {
    const std::lock_guard<std::mutex> lock(mutex_);
    for (const std::string& path : paths) leftOut_.push_back(withoutSlashAtEnd(path));
}

bool FileRecorder::isLeftOut(const std::string& absolute) const {
    return std::any_of(leftOut_.begin(), leftOut_.end(),
                       [&](const std::string& place) { return isAtOrBelow(absolute, place); });
}

void FileRecorder::record(const std::string& absolute) {
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        if (isLeftOut(absolute) || !asked_.insert(absolute).second) return;
    }
    walk(absolute);
}

void FileRecorder::changedByCommand(const std::string& absolute) {
    const std::lock_guard<std::mutex> lock(mutex_);
    changed_.insert(absolute);
}

void FileRecorder::walk(const std::string& absolute) {
    Parts parts;
    // A host root resolves ".." before the kernel sees the path, other than below /sys.
    const std::string hostPath = absolute.find("..") == std::string::npos ? "" : access_.path(absolute);
    putBefore(parts,
              !hostPath.empty() && isAtOrBelow(hostPath, root_) ? hostPath.substr(root_.size()) : absolute);
    std::string at = "/";
    keep(at, read(at, parts.empty()));
    for (int links = 0; !parts.empty();) {
        const std::string part = parts.front();
        parts.pop_front();
        if (part == "..") {
            at = parentOf(at);
            continue;
        }
        const std::string next = childOf(at, part);
        Entry entry = read(next, parts.empty());
        entry.asked = parts.empty();
        const Entry::Kind kind = entry.kind;
        const std::string target = entry.target;
        keep(next, std::move(entry));
        if (kind == Entry::Kind::link) {
            if (++links > mostLinks || target.empty()) return;
            if (target.front() == '/') at = "/";
            putBefore(parts, target);
            continue;
        }
        if (kind == Entry::Kind::absent && !parts.empty()) {
            Entry missing;
            missing.asked = true;
            std::string path = next;
            for (const std::string& rest : parts) path = childOf(path, rest);
            keep(path, missing);
        }
        if (kind != Entry::Kind::directory) return;
        at = next;
    }
}

void FileRecorder::keep(const std::string& path, Entry entry) {
    const std::size_t bytes = path.size() + entry.content.size() + entry.target.size();
    const std::lock_guard<std::mutex> lock(mutex_);
    const auto found = entries_.find(path);
    if (found != entries_.end() && (found->second.asked || !entry.asked)) return;
    if (!log_.take(bytes)) return;
    entries_[path] = std::move(entry);
}

FileRecorder::Entry FileRecorder::read(const std::string& path, bool whole) const {
    // A directory or link on the way is none that the agent asks the access for.
    const std::string hostPath = whole ? access_.path(path) : root_ + path;
    struct stat status {};
    if (::lstat(hostPath.c_str(), &status) != 0) return failed(errno);
    Entry entry;
    int follow = O_NOFOLLOW;
    if (S_ISLNK(status.st_mode)) {
        entry.target = targetOf(hostPath);
        entry.error = entry.target.empty() ? errno : 0;
        entry.kind = Entry::Kind::link;
        if (entry.error != 0 || isOfHost(entry.target)) return entry;
        // A directory of another place that stands for the host's, such as the machine's /sys.
        entry = {};
        follow = 0;
        if (::stat(hostPath.c_str(), &status) != 0) return failed(errno);
    }
    entry.kind = kindOf(status.st_mode);
    const bool isDirectory = entry.kind == Entry::Kind::directory;
    if (!whole || (!isDirectory && entry.kind != Entry::Kind::file)) return entry;
    vokOwnedDescriptor opened(::open(
        hostPath.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC | follow | (isDirectory ? O_DIRECTORY : 0)));
    if (!opened)
        entry.error = errno;
    else if (isDirectory)
        readDirectory(std::move(opened), entry);
    else
        readContent(opened.get(), entry);
    cutProgram(entry);
    if (entry.content.size() > longestFile) {
        entry.content.resize(longestFile);
        log_.remark(path + " is longer than 16 MiB; the rest is not recorded");
    }
    return entry;
}

bool FileRecorder::isOfHost(std::string& target) const {
    if (target.front() != '/' || root_.empty()) return true;
    if (!isAtOrBelow(target, root_)) return false;
    target.erase(0, root_.size());
    if (target.empty()) target = "/";
    return true;
}

void FileRecorder::remarkChanges() {
    std::vector<std::string> paths;
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        for (const auto& [path, entry] : entries_)
            if (entry.asked && changed_.count(path) == 0) paths.push_back(path);
    }
    for (const std::string& path : paths) {
        const Entry now = read(path, true);
        const std::lock_guard<std::mutex> lock(mutex_);
        if (!isEqual(entries_[path], now)) log_.remark(path + " changed meanwhile");
    }
}

std::map<std::string, FileEntry> FileRecorder::take() {
    const std::lock_guard<std::mutex> lock(mutex_);
    return std::exchange(entries_, {});
}
