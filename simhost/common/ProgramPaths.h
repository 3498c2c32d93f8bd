// Where the parts of this project lie that a program needs beside itself.
#pragma once

#include <string>

namespace simhost {

// A program in the directory of the running one.
std::string siblingProgram(const std::string& name);
// The host-access module of the running program's ABI, in the "lib" beside the program's directory.
std::string hostAccessModule();
// The same of recorded hosts.
std::string replayAccessModule();
// The directory of the host descriptions that come with the project.
std::string hostDescriptions();
// The directory of the scenarios that come with the project.
std::string shippedScenarios();

}  // namespace simhost
