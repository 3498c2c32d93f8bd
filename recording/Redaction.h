// Replaces what identifies a host and its parts in a recording: serial numbers, WWNs, MAC and IP addresses,
// host names, file-system labels, system UUIDs.
//
// An identity becomes a made-up one of the same form and length, the same one everywhere: in texts of any
// case and separator, in the bytes of replies, in paths and in the document. Stand-ins sort as the originals
// do, so the agent's comparisons and orders come out alike. They differ from one recording to the next.
#pragma once

#include <cstdint>

#include "recording/Recording.h"

namespace recording {

// Replaces all identities and fills in `redacted` and `replaced`. `seed`: of the stand-ins; from the
// system's random numbers, or fixed in a test.
void redact(Recording& recording, std::uint64_t seed);

}  // namespace recording
