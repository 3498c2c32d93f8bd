#include "common/HostState.h"

#include <fcntl.h>
#include <sched.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <cerrno>
#include <system_error>

namespace simhost {

namespace {

constexpr char pageMagic[8] = {'V', 'O', 'K', 'H', 'O', 'S', 'T', '\0'};
constexpr std::uint32_t pageVersion = 1;
constexpr int mostTries = 1000;

HostStatePage* map(int descriptor, int protection) {
    void* place = ::mmap(nullptr, sizeof(HostStatePage), protection, MAP_SHARED, descriptor, 0);
    return place == MAP_FAILED ? nullptr : static_cast<HostStatePage*>(place);
}

template <class Record>
bool readRecord(const SharedRecord<Record>& shared, Record& record) {
    for (int i = 0; i < mostTries; ++i) {
        if (shared.load(record)) return true;
        ::sched_yield();
    }
    return false;
}

bool isPage(const HostStatePage& page) {
    return std::memcmp(page.magic, pageMagic, sizeof(pageMagic)) == 0 && page.version == pageVersion &&
           page.size == sizeof(HostStatePage);
}

}  // namespace

HostState::~HostState() {
    if (page_) ::munmap(page_, sizeof(HostStatePage));
}

HostState HostState::create(const std::string& path) {
    const FileDescriptor file(::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600));
    HostState state;
    if (!file || ::ftruncate(file.get(), sizeof(HostStatePage)) != 0)
        throw std::system_error(errno, std::generic_category(), path);
    // Its blocks are needed now: a page without one raises SIGBUS when the disk is full.
    const int full = ::posix_fallocate(file.get(), 0, sizeof(HostStatePage));
    if (full != 0) throw std::system_error(full, std::generic_category(), path);
    if (!(state.page_ = map(file.get(), PROT_READ | PROT_WRITE)))
        throw std::system_error(errno, std::generic_category(), path);
    state.writable_ = true;
    std::memcpy(state.page_->magic, pageMagic, sizeof(pageMagic));
    state.page_->version = pageVersion;
    state.page_->size = sizeof(HostStatePage);
    return state;
}

HostState HostState::open(const std::string& path, std::string& error) {
    const FileDescriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW));
    struct stat status {};
    HostState state;
    if (!file || ::fstat(file.get(), &status) != 0) {
        error = path + ": " + std::strerror(errno);
        return state;
    }
    if (status.st_size != sizeof(HostStatePage) || !(state.page_ = map(file.get(), PROT_READ))) {
        error = path + ": not the state of a simulated host of this version";
        return state;
    }
    if (!isPage(*state.page_)) {
        error = path + ": not the state of a simulated host of this version";
        return HostState();
    }
    return state;
}

bool HostState::readClock(ClockState& clock) const {
    return page_ && readRecord(page_->clock, clock);
}

bool HostState::readFacts(HostFacts& facts) const {
    return page_ && readRecord(page_->facts, facts);
}

void HostState::writeClock(const ClockState& clock) {
    if (writable_) page_->clock.store(clock);
}

void HostState::writeFacts(const HostFacts& facts) {
    if (writable_) page_->facts.store(facts);
}

FileDescriptor lockHost(const std::string& path) {
    FileDescriptor file(::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600));
    if (!file) throw std::system_error(errno, std::generic_category(), path);
    struct flock lock {};
    lock.l_type = F_WRLCK;
    lock.l_whence = SEEK_SET;
    if (::fcntl(file.get(), F_OFD_SETLK, &lock) == 0) return file;
    if (errno == EAGAIN || errno == EACCES) return {};
    throw std::system_error(errno, std::generic_category(), path);
}

bool hostIsLocked(const std::string& path) {
    const FileDescriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW));
    struct flock lock {};
    lock.l_type = F_RDLCK;
    lock.l_whence = SEEK_SET;
    return file && ::fcntl(file.get(), F_OFD_GETLK, &lock) == 0 && lock.l_type != F_UNLCK;
}

}  // namespace simhost
