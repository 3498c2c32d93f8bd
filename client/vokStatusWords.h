// The state of the agent for a person, in at most 80 columns.
#pragma once

#include <cstdint>
#include <string>

#include "core/status/vokStatusSnapshot.h"
#include "vokStatusVerdict.h"

// The verdict with its reasons, the worst first; ends with a newline.
std::string vokVerdictWords(const vokVerdict& verdict);
// All that the record shows, without the verdict; ends with a newline.
std::string vokStatusWords(const vokStatusSnapshot& status, std::int64_t now);
