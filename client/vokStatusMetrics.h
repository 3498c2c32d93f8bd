// The state of the agent in the text form that Prometheus and its collectors read.
#pragma once

#include <cstdint>
#include <string>

#include "core/status/vokStatusSnapshot.h"
#include "vokStatusVerdict.h"

// `status` may be null: then only what is known without it is there, with vok_up 0. Ends with a newline.
std::string vokStatusMetrics(const vokStatusSnapshot* status, const vokVerdict& verdict, std::int64_t now);
