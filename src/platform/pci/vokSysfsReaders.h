// Readers of single attribute files, as /sys has them. Each takes an absolute path on the host and makes one
// read of at most 4096 bytes.
//
// An attribute is a regular file, also through links; a pipe, a device or a directory counts as one that
// can't be opened, so that no reader ever waits. The caller frees a malloc()ed result, best with
// vokMallocPtr. A null path can't be opened.
#pragma once

#include <sys/types.h>
#include <cstddef>
#include <cstdint>
#include <string>

inline constexpr std::size_t vokAttributeSize = 4096;

// A descriptor for reading a regular file that never blocks; the caller closes it. -1 with errno on failure.
int vokOpenAttribute(const char* path);
// The bytes of the one read; empty if it failed.
std::string vokReadAttribute(const char* path);

// The first line as malloc()ed text without its newline, at most 4096 characters. Null if the file can't be
// opened, nothing could be read, or the text is empty.
char* get_sysfs_str(const char* path);
// The bytes unchanged, malloc()ed, without a NUL after them; their number in `*length`. Null if the file
// can't be opened or nothing could be read, and then `*length` is 0.
char* get_sysfs_buf(const char* path, ssize_t* length);

// Converts the text with sscanf(3), one conversion into `*out`. Returns -1 if there is no text, otherwise 0,
// even if the text does not match the format and `*out` is unchanged.
int _get_sysfs_numeric(const char* path, const char* format, void* out);

// Numbers by base and width. -1, all bits set, if the read failed; 0 for a text that is not a number.
unsigned long long get_sysfs_llhex(const char* path);
std::uint32_t get_sysfs_lhex(const char* path);
std::uint32_t get_sysfs_ihex(const char* path);
std::uint16_t get_sysfs_shex(const char* path);
std::uint8_t get_sysfs_chex(const char* path);
unsigned int get_sysfs_uint(const char* path);
int get_sysfs_int(const char* path);
unsigned long long get_sysfs_ullong(const char* path);
long long get_sysfs_llong(const char* path);
