// The steps that a scenario may have: a row each, with the key that names it and its reader.
#pragma once

#include "scenario/Scenario.h"
#include "scenario/ScenarioSection.h"

namespace simhost {

struct StepKind {
    const char* verb;
    Step (*read)(Section& section, const ScenarioTexts& texts);
};

// By what they do; the arrays end with a null verb.
extern const StepKind changeSteps[];  // of the host, the controller and the agent
extern const StepKind waitSteps[];
extern const StepKind showSteps[];
extern const StepKind groupSteps[];

// Reads an array of steps; none when the key is not there.
std::vector<Step> readSteps(Section& section, const char* key, const ScenarioTexts& texts);
// A value, and how it is found; it is known to `texts` from then on.
ScenarioValue readValue(const Json::Value& value, const std::string& name, ScenarioTexts& texts);

}  // namespace simhost
