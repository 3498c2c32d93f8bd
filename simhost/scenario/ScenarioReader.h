// Reads scenario files. Each is one JSON object; an unknown key or a wrong value is refused.
#pragma once

#include <string>
#include <vector>

#include "scenario/Scenario.h"

namespace simhost {

// The scenarios of one play: each may use the values of those before it. Throws std::runtime_error with the
// file and what is wrong.
std::vector<Scenario> readScenarios(const std::vector<std::string>& files);

// The files of a scenario: of the file itself; of the directory, all in the order of their names; of a name,
// the file or the directory of that name among those that come with the project. Throws std::runtime_error
// when there is none.
std::vector<std::string> scenarioFiles(const std::string& scenario, const std::string& directory);

}  // namespace simhost
