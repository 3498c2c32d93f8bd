// Whole files in one malloc()ed buffer, for text that is longer than an attribute.
//
// Both functions take an absolute path of the host, give null when it is null or can't be opened (see
// vokOpenAttribute for what can) or when there is no memory, and read at most the first 4 MiB. The caller
// gives the one block that they return to free().
#pragma once

#include <cstdint>

inline constexpr std::uint32_t vokGreatestFile = 4u << 20;

// The count of bytes read as 32 bits, then the bytes; room for 2048 bytes more lies behind them.
char* ReadFile(const char* path);
// The two parts of such a buffer.
std::uint32_t ReadFileLength(const char* buffer);
char* ReadFileData(char* buffer);

// The lines of a file without their newlines, `*count` of them and then a null pointer. Text behind the last
// newline is a line, too. Lines and list are one block. `*count` is 0 on failure.
char** ReadFileLines(const char* path, int* count);
