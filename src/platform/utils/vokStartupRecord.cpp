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

// A regular file that nobody but root or this user has made. With a second name, a write to it would be one
// to some other file of theirs.
bool isTrusted(int descriptor) {
    struct stat file {};
    return ::fstat(descriptor, &file) == 0 && S_ISREG(file.st_mode) && file.st_nlink == 1 &&
           (file.st_uid == 0 || file.st_uid == ::geteuid());
}

void warnOfForeignFile(const std::string& place) {
    VOK_LOG_WARNING(tag, "%s is not a plain file of the agent's own user. It is not used.", place.c_str());
}

bool readRecord(std::string& content) {
    const std::string place = vokStartupRecord::recordPath();
    if (vokReadSharedFile(place, content)) return true;
    if (errno == EPERM || errno == ELOOP || errno == ENXIO) warnOfForeignFile(place);
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

// The new content is on the disk before it gets the record's name, so that a power cut can't leave the name
// with nothing behind it. What an earlier run left under the temporary name is thrown away unread.
bool replaceByRename(const std::string& content) {
    const std::string temporary = vokStartupRecord::temporaryPath();
    const std::string record = vokStartupRecord::recordPath();
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
    if (::rename(temporary.c_str(), record.c_str()) == 0) return true;
    // A directory in the record's place: gone if it is empty.
    if (::rmdir(record.c_str()) == 0 && ::rename(temporary.c_str(), record.c_str()) == 0) return true;
    ::unlink(temporary.c_str());
    return false;
}

int openForWriting(int flags) {
    return ::open(vokStartupRecord::recordPath().c_str(),
                  O_WRONLY | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC | flags, 0600);
}

// Where no second file can be made beside the record. The old text is overwritten before the length
// changes, so that a kill between the two leaves lines that can still be read by key.
bool replaceInPlace(const std::string& content) {
    vokOwnedDescriptor file(openForWriting(0));
    if (file ? !isTrusted(file.get()) : errno == ELOOP || errno == ENXIO) {
        if (std::remove(vokStartupRecord::recordPath().c_str()) != 0) return false;
        file.reset(openForWriting(O_EXCL));
    }
    if (!file) return false;
    if (writeAll(file.get(), content) && ::ftruncate(file.get(), static_cast<off_t>(content.size())) == 0 &&
        ::fsync(file.get()) == 0)
        return true;
    // An empty file, where the disk had no room, would be a record that tells of no start ever after.
    struct stat left {};
    if (::fstat(file.get(), &left) == 0 && left.st_size == 0)
        ::unlink(vokStartupRecord::recordPath().c_str());
    return false;
}

bool replaceRecord(const std::string& content) {
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

bool vokStartupRecord::readValue(const std::string& key, long& value, bool* found) {
    value = 0;
    if (found) *found = false;
    std::string content;
    if (!readRecord(content)) return false;
    const std::optional<long> told = vokStartupRecordText::valueOf(content, key);
    value = told.value_or(0);
    if (found) *found = told.has_value();
    return true;
}
