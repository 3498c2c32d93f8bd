#include "platform/pci/vokSysfsReaders.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "platform/access/vokHostAccess.h"
#include "platform/access/vokMallocPtr.h"
#include "platform/access/vokOwnedDescriptor.h"

namespace {

template <typename Value>
Value readNumber(const char* path, const char* format) {
    Value value = 0;
    return _get_sysfs_numeric(path, format, &value) == 0 ? value : static_cast<Value>(-1);
}

}  // namespace

int vokOpenAttribute(const char* path) {
    if (!path) {
        errno = EFAULT;
        return -1;
    }
    const std::string hostPath = vokHostAccess().path(path);
    // Checked before it is opened as well: merely opening a device can have an effect.
    struct stat status {};
    if (::stat(hostPath.c_str(), &status) != 0) return -1;
    vokOwnedDescriptor file;
    if (S_ISREG(status.st_mode)) file.reset(::open(hostPath.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
    if (S_ISREG(status.st_mode) && !file) return -1;
    if (!file || ::fstat(file.get(), &status) != 0 || !S_ISREG(status.st_mode)) {
        errno = EINVAL;
        return -1;
    }
    return file.release();
}

std::string vokReadAttribute(const char* path) {
    const vokOwnedDescriptor file(vokOpenAttribute(path));
    char buffer[vokAttributeSize];
    const ssize_t count = file ? ::read(file.get(), buffer, sizeof(buffer)) : -1;
    return count > 0 ? std::string(buffer, static_cast<std::size_t>(count)) : std::string();
}

char* get_sysfs_str(const char* path) {
    const std::string text = vokReadAttribute(path);
    const std::size_t length = std::strcspn(text.c_str(), "\n");
    return length > 0 ? ::strndup(text.c_str(), length) : nullptr;
}

char* get_sysfs_buf(const char* path, ssize_t* length) {
    const std::string bytes = vokReadAttribute(path);
    auto* const copy = bytes.empty() ? nullptr : static_cast<char*>(std::malloc(bytes.size()));
    if (copy) bytes.copy(copy, bytes.size());
    if (length) *length = copy ? static_cast<ssize_t>(bytes.size()) : 0;
    return copy;
}

// The formats are this file's own and its callers'; none comes from outside.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
int _get_sysfs_numeric(const char* path, const char* format, void* out) {
    const vokMallocPtr<char> text(get_sysfs_str(path));
    if (!text) return -1;
    std::sscanf(text.get(), format, out);
    return 0;
}
#pragma GCC diagnostic pop

unsigned long long get_sysfs_llhex(const char* path) {
    return readNumber<unsigned long long>(path, "%llx");
}

std::uint32_t get_sysfs_lhex(const char* path) {
    return readNumber<std::uint32_t>(path, "%x");
}

std::uint32_t get_sysfs_ihex(const char* path) {
    return readNumber<std::uint32_t>(path, "%x");
}

std::uint16_t get_sysfs_shex(const char* path) {
    return readNumber<std::uint16_t>(path, "%hx");
}

std::uint8_t get_sysfs_chex(const char* path) {
    return readNumber<std::uint8_t>(path, "%hhx");
}

unsigned int get_sysfs_uint(const char* path) {
    return readNumber<unsigned int>(path, "%u");
}

int get_sysfs_int(const char* path) {
    return readNumber<int>(path, "%d");
}

unsigned long long get_sysfs_ullong(const char* path) {
    return readNumber<unsigned long long>(path, "%llu");
}

long long get_sysfs_llong(const char* path) {
    return readNumber<long long>(path, "%lld");
}
