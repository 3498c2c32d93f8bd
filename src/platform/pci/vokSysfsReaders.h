// Readers of single attribute files, as /sys has them. Each takes an absolute path of the host and makes one
// read of at most 4096 bytes.
//
// An attribute is a regular file, also through links; a pipe, a device or a directory in its place counts as
// one that can't be opened, so that no reader ever waits. What is handed out as malloc()ed belongs to the
// caller, who gives it to free(); vokMallocPtr does so. A null path can't be opened.
#pragma once

#include <sys/types.h>
#include <cstddef>
#include <cstdint>
#include <string>

inline constexpr std::size_t vokAttributeSize = 4096;

// A descriptor for reading a regular file, that never blocks; the caller closes it. -1 with errno otherwise.
int vokOpenAttribute(const char* path);
// What the one read gave; empty when it failed.
std::string vokReadAttribute(const char* path);

// The first line as malloc()ed text without its newline, at most 4096 characters. Null when the file can't
// be opened, nothing could be read, or the text is empty.
char* get_sysfs_str(const char* path);
// The bytes as they are, malloc()ed, without a NUL behind them; their count in `*length`. Null when the file
// can't be opened or nothing could be read, and then `*length` is 0.
char* get_sysfs_buf(const char* path, ssize_t* length);

// The text through sscanf(3) with one conversion into `*out`. -1 when there is no text. Otherwise 0, also
// when the text does not fit the format, and then `*out` is as it was.
int _get_sysfs_numeric(const char* path, const char* format, void* out);

// Numbers by base and width. A failed read gives -1, all bits set; a text that is no number gives 0.
unsigned long long get_sysfs_llhex(const char* path);
std::uint32_t get_sysfs_lhex(const char* path);
std::uint32_t get_sysfs_ihex(const char* path);
std::uint16_t get_sysfs_shex(const char* path);
std::uint8_t get_sysfs_chex(const char* path);
unsigned int get_sysfs_uint(const char* path);
int get_sysfs_int(const char* path);
unsigned long long get_sysfs_ullong(const char* path);
long long get_sysfs_llong(const char* path);
