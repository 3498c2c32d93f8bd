// The history of the agent for a person, in at most 80 columns.
#pragma once

#include <string>
#include <vector>

#include "core/status/vokHistory.h"

// "event", "push", "start", "stop"; "unknown" for the kind of a later version.
const char* vokHistoryKindName(vokHistoryKind kind);
// "accepted", "refused", "no answer", "dropped", ... of an event or a push.
const char* vokOutcomeName(const vokHistoryEntry& entry);
// A few lines for each entry; ends with a newline.
std::string vokHistoryWords(const std::vector<vokHistoryEntry>& entries);
