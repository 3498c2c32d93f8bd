// "vok-simhost play": the options, and the exit status.
#pragma once

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

#include "scenario/Stage.h"

namespace simhost {

class PlayCommand {
public:
    explicit PlayCommand(CLI::App& app);

    bool wasGiven() const { return command_->parsed(); }
    // 0 played to the end, 1 failed, 128 and the number of the signal that broke it off; that of SIGPIPE when
    // nobody reads the output any more. Throws std::runtime_error when a scenario is refused.
    int run();

private:
    CLI::Option* addDirectory(const char* name, std::string& into, const char* text);

    CLI::App* command_;
    std::string scenario_;
    std::vector<std::string> programs_;
    int limit_ = 0;
    bool live_ = false;
    StageSettings settings_;
};

}  // namespace simhost
