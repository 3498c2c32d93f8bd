// The state and the history of the agent as JSON for programs; docs/monitoring.md lists the keys.
#pragma once

#include <json/value.h>
#include <cstdint>
#include <string>
#include <vector>

#include "core/status/vokHistory.h"
#include "core/status/vokStatusSnapshot.h"
#include "vokStatusVerdict.h"

// `status` may be null: then only the verdict is there.
Json::Value vokStatusJson(const vokStatusSnapshot* status, const vokVerdict& verdict, std::int64_t now);
Json::Value vokHistoryJson(const std::vector<vokHistoryEntry>& entries);

// `value` over several lines, members sorted by key, without a final newline.
std::string vokStyledJson(const Json::Value& value);
