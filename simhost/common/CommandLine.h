// What the command lines of vok-simhost and vok-rmc share: numbers within limits, and a help text of at most
// 80 columns.
#pragma once

#include <CLI/CLI.hpp>
#include <optional>
#include <string>

namespace simhost {

// Set it before options are added: subcommands inherit it.
void formatHelp(CLI::App& app);
// Refuses what is no number (also "nan") or is outside of the limits.
CLI::Validator numberWithin(double least, double most);
CLI::Validator wholeNumberWithin(long long least, long long most);

// Parses; prints help, version or the error. Returns the exit status if the program is to end: 0 or 2. Throws
// std::runtime_error if standard output can't be written.
std::optional<int> parseCommandLine(CLI::App& app, int count, char** arguments);

}  // namespace simhost
