// Whether the agent is healthy, from the state that its record shows. The rules are those of a monitoring
// plugin: what a person has to act on, and nothing that ends by itself.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "core/status/vokStatusSnapshot.h"

// The values are the exit statuses of "vokcli status".
enum class vokHealth { ok = 0, warning = 1, critical = 2 };

// How long past its time something counts as only late, in seconds: a start, a build, a push.
constexpr std::int64_t vokStatusGrace = 15 * 60;
// How long an event that was not delivered is a warning, in seconds.
constexpr std::int64_t vokUndeliveredEventAge = 24 * 3600;

struct vokFinding {
    vokHealth health;
    std::string text;  // a clause without a capital and a full stop
};

struct vokVerdict {
    vokHealth health = vokHealth::ok;
    std::vector<vokFinding> findings;  // the worst first; one with `ok` if there is nothing else to say
};

vokVerdict vokJudgeStatus(const vokStatusSnapshot& status, std::int64_t now);
// The verdict on a host without a record that can be read; `reason` is a clause.
vokVerdict vokJudgeNoStatus(const std::string& reason);

// "OK", "WARNING", "CRITICAL".
const char* vokHealthName(vokHealth health);
// "accepted", "refused", "no answer", ...; "none" before the first push.
const char* vokPushAnswerName(vokPushAnswer answer);
