// The archive of a recorded host: a tar file (POSIX.1-1988 ustar) of regular files only. manifest.json comes
// first: version, agent, ABI, time, what was replaced, and name, length and CRC-32 of every other member.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "recording/Recording.h"

namespace recording {

// What a reader accepts at most.
struct ArchiveLimits {
    std::size_t bytes = std::size_t{256} << 20;  // of the archive
    std::size_t members = 500000;
    std::size_t pathLength = 4096;
};

// The archive as one string of bytes; the same recording gives the same bytes.
std::string writeArchive(const Recording& recording);

// Reads an archive from anywhere: every member is checked against the manifest, every path is absolute
// without "." or "..", no link of the host leads out of it, no file lies below a file. Nothing with a
// sentence in `error` otherwise.
std::optional<Recording> readArchive(std::string_view bytes, std::string& error,
                                     const ArchiveLimits& limits = {});

// Creates `path` with mode 0600 and writes the archive into it; an existing file is refused, a failed write
// leaves none. False with a sentence in `error`.
bool saveArchive(const Recording& recording, const std::string& path, std::string& error);
// Reads the file at `path`, "-" for standard input.
std::optional<Recording> loadArchive(const std::string& path, std::string& error);

}  // namespace recording
