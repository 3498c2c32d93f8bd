// What the host-access module of replayed hosts asks of vok-simhost, over the socket and in the messages of
// library/LibraryMessage.h.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "recording/Recording.h"

namespace simhost {

enum class ReplayRequest : std::uint32_t {
    // The bytes are an absolute path of the recorded host. The reply's status is a ReplayPath.
    path = 1,
    // The bytes are a RecordedQuestion. The reply's status is a ReplayAnswer, its bytes the fields of one
    // that is recorded.
    question = 2,
};

enum class ReplayPath : std::int32_t {
    known = 0,        // as laid out, be it there or not
    notRecorded = 1,  // to the agent it is not there
    notOpened = 2,    // opening it fails
    notRead = 3,      // a file that can be opened, but not read
};

enum class ReplayAnswer : std::int32_t {
    recorded = 0,
    notRecorded = 1,
    simulated = 2,  // the opening of a device node that vok-simhost serves itself
};

struct RecordedQuestion {
    std::string kind;
    recording::Fields fields;
    // How often the process has asked it before.
    std::uint32_t ordinal = 0;

    std::string encode() const;
    static std::optional<RecordedQuestion> decode(const std::string& bytes);
};

std::string encodeFields(const recording::Fields& fields);
std::optional<recording::Fields> decodeFields(const std::string& bytes);

// Below the root: a regular file. What has a path below it is not there and can't be made.
inline constexpr char replayNowhere[] = "/run/simhost/not-recorded";

}  // namespace simhost
