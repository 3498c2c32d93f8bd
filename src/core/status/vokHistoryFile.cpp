#include "core/status/vokHistory.h"

#include <fcntl.h>
#include <unistd.h>
#include <cerrno>
#include <cstring>
#include <mutex>

#include "core/base/vokLog.h"
#include "core/status/vokHistoryRing.h"
#include "core/status/vokOwnFile.h"
#include "platform/access/vokHostAccess.h"
#include "platform/access/vokOwnDirectory.h"
#include "platform/access/vokSharedFile.h"

namespace {

namespace ring = vokHistoryRing;

std::mutex guard;  // of what follows
bool isOpen = false;
std::uint64_t nextNumber = 0;  // 0: that of the file is not known yet
std::string knownFailure;      // logged once, until an entry has been written again

std::string hostPath() {
    return vokHostAccess().path(ring::path);
}

std::string clause(const char* what) {
    return std::string(what) + ": " + std::strerror(errno);
}

// A new file with a head alone, renamed to the history. False with a clause in `failure`.
bool makeFile(std::string& failure) {
    const std::string temporary = hostPath() + ".new";
    vokMakeOwnDirectory(temporary.substr(0, temporary.rfind('/')));
    ::unlink(temporary.c_str());  // of an agent that was killed
    const vokOwnedDescriptor file(
        ::open(temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600));
    if (!file) {
        failure = clause("it can't be made");
        return false;
    }
    const ring::SlotBytes head = ring::head();
    if (vokWriteAll(file.get(), head.data(), head.size(), 0) &&
        ::rename(temporary.c_str(), hostPath().c_str()) == 0)
        return true;
    failure = clause("it can't be made");
    ::unlink(temporary.c_str());
    return false;
}

// Opens the history for an entry and determines the next number; makes the file if there is none, or if the
// file is something else.
vokOwnedDescriptor openForEntry(std::string& failure) {
    const std::string name = hostPath();
    if (vokIsForeign(name)) {
        failure = "it is not a regular file of this user";
        return {};
    }
    vokOwnedDescriptor file(::open(name.c_str(), O_RDWR | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
    ring::SlotBytes head;
    const bool isHistory =
        file && vokReadAll(file.get(), head.data(), head.size(), 0) && head == ring::head();
    if (!isHistory) {
        if (!makeFile(failure)) return {};
        file.reset(::open(name.c_str(), O_RDWR | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
    }
    if (!file) failure = clause("it can't be opened");
    return file;
}

// 0 if the file can't be read: a number that is too low would overwrite newer entries.
std::uint64_t numberAfterThoseInTheFile() {
    std::string content;
    if (!vokReadSharedFile(hostPath(), content)) return 0;
    const std::vector<vokHistoryEntry> entries = ring::entriesOf(content);
    return entries.empty() ? 1 : entries.back().number + 1;
}

// Returns a clause on the failure; empty if the entry was written.
std::string append(vokHistoryEntry entry) {
    std::string failure;
    const vokOwnedDescriptor file = openForEntry(failure);
    if (!file) return failure;
    if (nextNumber == 0) nextNumber = numberAfterThoseInTheFile();
    if (nextNumber == 0) return clause("it can't be read");
    entry.number = nextNumber;
    const ring::SlotBytes slot = ring::slotOf(entry);
    if (!vokWriteAll(file.get(), slot.data(), slot.size(), ring::offsetOf(entry.number)))
        return clause("it can't be written");
    ++nextNumber;
    return "";
}

void reportChange(const std::string& failure) {
    if (failure == knownFailure) return;
    knownFailure = failure;
    if (failure.empty())
        VOK_LOG_INFO("STATUS", "The history %s is written again.", hostPath().c_str());
    else
        VOK_LOG_WARNING("STATUS", "The history %s gets no entries: %s", hostPath().c_str(), failure.c_str());
}

}  // namespace

void vokOpenHistory() {
    const std::lock_guard<std::mutex> lock(guard);
    isOpen = true;
}

void vokAppendHistory(vokHistoryEntry entry) {
    const std::lock_guard<std::mutex> lock(guard);
    if (isOpen) reportChange(append(std::move(entry)));
}

bool vokReadHistory(std::size_t most, std::vector<vokHistoryEntry>& entries, std::string& reason) {
    entries.clear();
    std::string content;
    if (!vokOpenOwnFile(hostPath(), reason)) return false;
    if (!vokReadSharedFile(hostPath(), content)) {
        reason = hostPath() + " can't be read: " + std::strerror(errno);
        return false;
    }
    if (!ring::hasHead(content)) {
        reason = hostPath() + " is not a history of the agent";
        return false;
    }
    entries = ring::entriesOf(content);
    if (entries.size() > most)
        entries.erase(entries.begin(), entries.end() - static_cast<std::ptrdiff_t>(most));
    return true;
}
