// --record: what is done with the recording of a host once its inventory is built.
#pragma once

#include <cstdint>
#include <iosfwd>
#include <string>
#include <vector>

#include "recording/Recording.h"

// Why the archive can't be created at `path`, which must not exist; empty if it probably can.
std::string vokdWhyNoArchiveAt(const std::string& path);

// The paths of the host that the agent itself writes to: its lock, logs, work files and pipes.
std::vector<std::string> vokdOwnPlaces();

// "i386" or "x86_64": of this program.
const char* vokdAbi();

// A random number that can't be predicted.
std::uint64_t vokdRandomSeed();

// Prints what was recorded, in 80 columns. `bytes`: the size of the archive at `path`.
void vokdPrintRecordingSummary(const recording::Recording& recording, const std::string& path,
                               std::uint64_t bytes, std::ostream& out);
