// What the stand-in library of the test host asks its module for, and the events that this posts.
#pragma once

#include <cstdint>

enum TestKind : std::uint32_t {
    echo = 0x7E570001,        // the bytes come back, with their number of bytes as the status
    postEvents = 0x7E570002,  // 32 bits: so many events are posted, numbered from 0, with 32 bits each
    die = 0x7E570003,         // the host ends at once, without a reply
    neverReply = 0x7E570004,
    numbered = 0x7E570010,  // an event
    named = 0x7E570011,     // an event: a text of the control command "test-event"
};
