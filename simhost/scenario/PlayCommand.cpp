#include "scenario/PlayCommand.h"

#include <csignal>
#include <filesystem>
#include <iostream>

#include "common/CommandLine.h"
#include "common/ProgramPaths.h"
#include "scenario/Player.h"
#include "scenario/ScenarioReader.h"

namespace fs = std::filesystem;

namespace simhost {

PlayCommand::PlayCommand(CLI::App& app)
    : command_(app.add_subcommand("play", "Play a scenario on a host that runs")) {
    command_
        ->add_option("SCENARIO", scenario_,
                     "A name that comes with it, a .json file, or a directory of them, played by their names")
        ->required();
    addDirectory("--root", settings_.root, "Directory of the host's files")->required();
    addDirectory("--work", settings_.work, "Directory for the files of the play and the agent's output")
        ->required();
    addDirectory("--controller", settings_.controller, "Directory of the controller's files");
    command_
        ->add_option("--controller-log", settings_.controllerLog,
                     "File to which the controller prints; its lines are shown")
        ->option_text("FILE")
        ->check(CLI::ExistingFile);
    addDirectory("--programs", settings_.programs, "Directory of vokd and vokcli (that of this program)");
    command_->add_option("--program", programs_, "A further program that the scenario runs; may be repeated")
        ->option_text("NAME=FILE");
    command_->add_flag("--live", live_, "The host is the machine itself");
    command_->add_flag("--keep", settings_.keep, "Go on after the last scene, until SIGINT or SIGTERM comes");
    command_
        ->add_option("--for", limit_,
                     "Go on until so many seconds after the start, 1 to 99999; what does not fit is left out")
        ->option_text("S")
        ->check(wholeNumberWithin(1, 99999));
    command_->add_flag("--rehearse", settings_.rehearsal,
                       "Only change the host, as each step would, without an agent and without waiting");
    command_->footer(
        "Exit status: 0 played to the end, 1 failed, 2 wrong usage, 141 nobody reads\n"
        "standard output, 128 and the number of the signal that ended it.");
}

CLI::Option* PlayCommand::addDirectory(const char* name, std::string& into, const char* text) {
    return command_->add_option(name, into, text)->option_text("DIR")->check(CLI::ExistingDirectory);
}

int PlayCommand::run() {
    if (limit_ > 0) settings_.limit = limit_;
    if (settings_.programs.empty())
        settings_.programs = fs::path(siblingProgram("vokd")).parent_path().string();
    for (const auto& program : programs_) {
        const std::size_t at = program.find('=');
        if (at == std::string::npos || at == 0 || at + 1 == program.size())
            throw std::runtime_error("--program: \"" + program + "\" is not of the form NAME=FILE");
        settings_.named[program.substr(0, at)] = program.substr(at + 1);
    }
    const auto scenarios = readScenarios(scenarioFiles(scenario_, shippedScenarios()));
    try {
        Stage stage(settings_);
        Player player(stage, live_);
        for (const auto& scenario : scenarios) player.play(scenario);
        return 0;
    } catch (const StepFailed& error) {
        std::cerr << "vok-simhost play: " << error.what() << "\n";
        return 1;
    } catch (const Interrupted& interrupted) {
        return 128 + interrupted.signal;
    } catch (const OutputClosed&) {
        return 128 + SIGPIPE;
    }
}

}  // namespace simhost
