#include "core/status/vokStatusFile.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>
#include <cerrno>
#include <cstring>

#include "core/status/vokOwnFile.h"
#include "platform/access/vokHostAccess.h"

namespace {

std::string clause(const char* what) {
    return std::string(what) + ": " + std::strerror(errno);
}

// Maps the new file. Its blocks are written first: a store to a page without a block would end the process on
// a full disk.
bool fill(vokMappedStatus& status, const vokStatusLayout::Shared& initial, std::string& reason) {
    constexpr std::size_t size = sizeof(vokStatusLayout::Shared);
    if (!vokWriteAll(status.file.get(), &initial, size, 0)) {
        reason = clause("it can't be written");
        return false;
    }
    if (::flock(status.file.get(), LOCK_EX | LOCK_NB) != 0) {
        reason = clause("it can't be locked");
        return false;
    }
    void* const mapped = ::mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED, status.file.get(), 0);
    if (mapped == MAP_FAILED) {
        reason = clause("it can't be mapped");
        return false;
    }
    status.record = static_cast<vokStatusLayout::Shared*>(mapped);
    return true;
}

vokMappedStatus makeFile(const std::string& name, const vokStatusLayout::Shared& initial,
                         std::string& reason) {
    const std::string temporary = name + ".new";
    ::unlink(temporary.c_str());  // of a start that was killed
    vokMappedStatus made;
    made.file.reset(::open(temporary.c_str(), O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600));
    if (!made.file) {
        reason = clause("it can't be made");
        return {};
    }
    if (fill(made, initial, reason)) {
        if (::rename(temporary.c_str(), name.c_str()) == 0) return made;
        reason = clause("it can't be renamed");
        ::munmap(made.record, sizeof(*made.record));
    }
    ::unlink(temporary.c_str());
    return {};
}

}  // namespace

vokMappedStatus vokMakeStatusFile(const vokStatusLayout::Shared& initial, std::string& reason) {
    const std::string name = vokHostAccess().path(vokStatusLayout::path);
    if (vokIsForeign(name)) {
        reason = "it is not a regular file of this user";
        return {};
    }
    vokMappedStatus made = makeFile(name, initial, reason);
    if (!made.record) ::unlink(name.c_str());  // it would say that this agent does not run
    return made;
}

vokOwnedDescriptor vokOpenStatusFile(std::string& reason) {
    return vokOpenOwnFile(vokHostAccess().path(vokStatusLayout::path), reason);
}

bool vokIsStatusHeld(int descriptor) {
    if (::flock(descriptor, LOCK_SH | LOCK_NB) != 0) return errno == EWOULDBLOCK;
    ::flock(descriptor, LOCK_UN);
    return false;
}
