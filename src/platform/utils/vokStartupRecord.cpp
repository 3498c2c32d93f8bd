#include "platform/utils/vokStartupRecord.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <cerrno>
#include <cstdio>
#include <optional>

#include "core/base/vokLog.h"
#include "platform/access/vokHostAccess.h"
#include "platform/access/vokOwnedDescriptor.h"
#include "platform/access/vokSharedFile.h"
#include "platform/utils/platformCheck.h"
#include "platform/utils/vokStartupRecordText.h"

namespace {

constexpr char tag[] = "JOB_MGR";

// True for a regular file of root or this user with only one name. With a second name, writing to it would
// also change some other file of that owner.
bool isTrusted(int descriptor) {
    struct stat file {};
    return ::fstat(descriptor, &file) == 0 && S_ISREG(file.st_mode) && file.st_nlink == 1 &&
           (file.st_uid == 0 || file.st_uid == ::geteuid());
}

void warnOfForeignFile(const std::string& hostPath) {
    VOK_LOG_WARNING(tag, "%s is not a plain file of the agent's own user. It is not used.", hostPath.c_str());
}

bool readRecord(std::string& content) {
    const std::string hostPath = vokStartupRecord::recordPath();
    if (vokReadSharedFile(hostPath, content)) return true;
    if (errno == EPERM || errno == ELOOP || errno == ENXIO) warnOfForeignFile(hostPath);
    return false;
}

bool writeAll(int descriptor, const std::string& content) {
    std::size_t written = 0;
    while (written < content.size()) {
        const ssize_t count = ::pwrite(descriptor, content.data() + written, content.size() - written,
                                       static_cast<off_t>(written));
        if (count < 0 && errno == EINTR) continue;
        if (count <= 0) return false;
        written += static_cast<std::size_t>(count);
    }
    return true;
}

// Moves what is not a regular file into a directory of its own next to it, which no other user can reach: a
// directory, for one, can't be replaced by a rename. Without room for that directory the name is cleared,
// which fails for a directory that is not empty.
void moveAsideUnlessFile(const std::string& hostPath) {
    struct stat status {};
    if (::lstat(hostPath.c_str(), &status) != 0 || S_ISREG(status.st_mode)) return;
    std::string place = hostPath + ".moved-XXXXXX";
    if (::mkdtemp(place.data())) {
        const std::string moved = place + hostPath.substr(hostPath.rfind('/'));
        if (::rename(hostPath.c_str(), moved.c_str()) == 0) {
            VOK_LOG_WARNING(tag, "%s is not a regular file. It has been moved to %s.", hostPath.c_str(),
                            moved.c_str());
            return;
        }
        ::rmdir(place.c_str());
    }
    std::remove(hostPath.c_str());
}

// Otherwise a power cut within seconds of the rename could bring the former record back. Not every file
// system can do it, and the record is in its place anyhow.
void flushDirectoryOf(const std::string& hostPath) {
    const std::string directory = hostPath.substr(0, hostPath.rfind('/') + 1);
    const vokOwnedDescriptor opened(::open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (opened) ::fsync(opened.get());
}

// The new content is on the disk before it is renamed to the record, so that a power cut can't leave an empty
// record. A temporary file that an earlier run has left is removed unread.
bool replaceByRename(const std::string& content) {
    const std::string temporary = vokStartupRecord::temporaryPath();
    const std::string record = vokStartupRecord::recordPath();
    moveAsideUnlessFile(temporary);
    std::remove(temporary.c_str());
    {
        const vokOwnedDescriptor file(
            ::open(temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600));
        if (!file) return false;
        if (!writeAll(file.get(), content) || ::fsync(file.get()) != 0) {
            ::unlink(temporary.c_str());
            return false;
        }
    }
    if (::rename(temporary.c_str(), record.c_str()) == 0) {
        flushDirectoryOf(record);
        return true;
    }
    ::unlink(temporary.c_str());
    return false;
}

int openForWriting(int flags) {
    return ::open(vokStartupRecord::recordPath().c_str(),
                  O_WRONLY | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC | flags, 0600);
}

// For a directory in which no second file can be created. The old text is overwritten before the length
// changes, so that the lines can still be read by key if the process is killed in between.
bool replaceInPlace(const std::string& content) {
    vokOwnedDescriptor file(openForWriting(0));
    if (file && !isTrusted(file.get())) {
        if (std::remove(vokStartupRecord::recordPath().c_str()) != 0) return false;
        file.reset(openForWriting(O_EXCL));
    }
    if (!file) return false;
    if (writeAll(file.get(), content) && ::ftruncate(file.get(), static_cast<off_t>(content.size())) == 0 &&
        ::fsync(file.get()) == 0)
        return true;
    // If the disk was full, the file may be empty, and would count as a record without a start from then on.
    struct stat status {};
    if (::fstat(file.get(), &status) == 0 && status.st_size == 0)
        ::unlink(vokStartupRecord::recordPath().c_str());
    return false;
}

bool replaceRecord(const std::string& content) {
    moveAsideUnlessFile(vokStartupRecord::recordPath());
    return replaceByRename(content) || replaceInPlace(content);
}

}  // namespace

std::string vokStartupRecord::recordPath() {
    return vokHostAccess().path(platformCheck::getStartupFilePath() + "VOKStartup.txt");
}

std::string vokStartupRecord::temporaryPath() {
    return vokHostAccess().path(platformCheck::getStartupFilePath() + "VOKStartuptmp.txt");
}

bool vokStartupRecord::isReadable() {
    std::string content;
    return readRecord(content);
}

bool vokStartupRecord::create(time_t now) {
    return replaceRecord(vokStartupRecordText::ofFirstStart(now));
}

bool vokStartupRecord::replaceCurrentStart(time_t now) {
    std::string content;
    if (!readRecord(content)) return false;
    return replaceRecord(vokStartupRecordText::withCurrentStart(content, now));
}

bool vokStartupRecord::replaceLastStart(long start) {
    std::string content;
    if (!readRecord(content)) return false;
    return replaceRecord(vokStartupRecordText::withLastStart(content, start));
}

bool vokStartupRecord::writeGracefulStop(time_t start, time_t stop) {
    return replaceRecord(vokStartupRecordText::ofGracefulStop(start, stop));
}

bool vokStartupRecord::touch() {
    const vokOwnedDescriptor file(
        ::open(recordPath().c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    if (!file) return false;
    if (isTrusted(file.get())) return ::futimens(file.get(), nullptr) == 0;
    errno = EPERM;
    return false;
}

bool vokStartupRecord::readValue(const std::string& key, long& value, bool* found) {
    value = 0;
    if (found) *found = false;
    std::string content;
    if (!readRecord(content)) return false;
    const std::optional<long> number = vokStartupRecordText::valueOf(content, key);
    value = number.value_or(0);
    if (found) *found = number.has_value();
    return true;
}
