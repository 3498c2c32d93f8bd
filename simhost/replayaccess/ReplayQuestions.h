// The agent's end of a replayed host: asks vok-simhost, and counts how often this process has asked each
// question, since a repeated one has the next recorded answer.
#pragma once

#include <cstdint>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <utility>

#include "library/LibraryClient.h"
#include "replay/ReplayMessage.h"

namespace simhost {

class ReplayQuestions {
public:
    explicit ReplayQuestions(const std::string& root) : client_(root) {}

    // Not recorded when vok-simhost has ended.
    ReplayPath path(const std::string& absolute);

    struct Answer {
        ReplayAnswer status = ReplayAnswer::notRecorded;
        recording::Fields fields;

        explicit operator bool() const { return status == ReplayAnswer::recorded; }
    };
    Answer ask(const std::string& kind, const recording::Fields& question);

private:
    std::uint32_t nextOrdinal(const std::string& kind, const recording::Fields& question);

    LibraryClient client_;
    std::mutex mutex_;
    std::map<std::pair<std::string, recording::Fields>, std::uint32_t> asked_;
};

}  // namespace simhost
