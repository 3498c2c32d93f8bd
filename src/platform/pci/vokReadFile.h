// Whole files in one malloc()ed buffer, for text that is longer than an attribute.
//
// Both functions take an absolute path on the host and read at most the first 4 MiB. They return null if the
// path is null or can't be opened (see vokOpenAttribute) or if there is no memory. The caller frees the one
// block that they return.
#pragma once

#include <cstdint>

inline constexpr std::uint32_t vokGreatestFile = 4u << 20;

// The number of bytes read as 32 bits, then the bytes, then unused room for 2048 more.
char* ReadFile(const char* path);
// The two parts of such a buffer.
std::uint32_t ReadFileLength(const char* buffer);
char* ReadFileData(char* buffer);

// The lines of a file without their newlines, `*count` of them and then a null pointer. Text after the last
// newline is a line, too. Lines and list are one block. `*count` is 0 on failure.
char** ReadFileLines(const char* path, int* count);
