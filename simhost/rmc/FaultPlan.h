// How the controller is told to misbehave: which answers come with another status, late, or not at all.
#pragma once

#include <cstdint>
#include <list>
#include <optional>
#include <string>

#include "common/Words.h"

namespace simhost {

struct Fault {
    enum class Kind {
        status,      // `value` as the transfer status
        completion,  // `value` as the completion code, the rest of the reply as ever
        onlyCode,    // the reply is the completion code `value` and nothing else
        late,        // the right reply, `value` real milliseconds late
        never,       // no reply
    };
    Kind kind = Kind::status;
    unsigned value = 0;
};

// What an answer is to.
struct AnswerPlace {
    bool isPoll = false;
    std::string command;    // the remote command's name
    std::size_t chunk = 0;  // from 1
};

class FaultPlan {
public:
    // Adds what the words behind "answer" say, or with "normal" forgets everything. Throws UsageError.
    void add(Words& words);
    // The fault for this answer, which is thereby used once.
    std::optional<Fault> take(const AnswerPlace& place);
    std::size_t size() const { return plan_.size(); }

private:
    enum class Target { anyCommand, inventory, event, poll };
    struct Entry {
        Fault fault;
        Target target = Target::anyCommand;
        std::size_t chunk = 0;  // 0: any
        long long left = 1;     // 0: for ever
    };
    static bool matches(const Entry& entry, const AnswerPlace& place);

    std::list<Entry> plan_;
};

}  // namespace simhost
