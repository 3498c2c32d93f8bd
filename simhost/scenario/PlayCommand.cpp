#include "scenario/PlayCommand.h"

#include <csignal>
#include <filesystem>
#include <iostream>

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
    command_->add_option("--root", settings_.root, "Directory of the host's files")
        ->required()
        ->check(CLI::ExistingDirectory);
    command_
        ->add_option("--work", settings_.work, "Directory for the files of the play and the agent's output")
        ->required()
        ->check(CLI::ExistingDirectory);
    command_->add_option("--controller", settings_.controller, "Directory of the controller's files")
        ->check(CLI::ExistingDirectory);
    command_
        ->add_option("--controller-log", settings_.controllerLog,
                     "File to which the controller prints, which the viewer is shown")
        ->check(CLI::ExistingFile);
    command_
        ->add_option("--programs", settings_.programs, "Directory of vokd and vokcli (that of this program)")
        ->check(CLI::ExistingDirectory);
    command_->add_option("--program", programs_, "NAME=FILE: a further program that the scenario runs");
    command_->add_flag("--live", live_, "The host is the machine itself");
    command_->add_flag("--keep", settings_.keep, "Go on after the last scene, until SIGINT or SIGTERM comes");
    command_
        ->add_option("--for", limit_,
                     "Go on until so many seconds after the beginning; what does not fit is left out")
        ->check(CLI::Range(1, 99999));
    command_->add_flag("--rehearse", settings_.rehearsal,
                       "Only change the host, as each step would, without an agent and without waiting");
}

int PlayCommand::run() {
    if (limit_ > 0) settings_.limit = limit_;
    if (settings_.programs.empty())
        settings_.programs = fs::path(siblingProgram("vokd")).parent_path().string();
    for (const auto& program : programs_) {
        const std::size_t at = program.find('=');
        if (at == std::string::npos) throw std::runtime_error("--program \"" + program + "\" has no =");
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
