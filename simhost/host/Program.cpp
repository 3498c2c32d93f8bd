#include "host/Program.h"

#include <sys/stat.h>
#include <unistd.h>
#include <CLI/CLI.hpp>
#include <cstdio>
#include <filesystem>
#include <iostream>
#include <memory>

#include "common/HostPaths.h"
#include "common/ProgramPaths.h"
#include "common/RequestServer.h"
#include "core/base/vokVersion.h"
#include "host/HostControl.h"
#include "host/HostDescription.h"
#include "host/HostLayout.h"
#include "host/SimulatedHost.h"
#include "live/LiveMachine.h"
#include "scenario/PlayCommand.h"

namespace fs = std::filesystem;
using namespace simhost;

namespace {

constexpr int ok = 0;
constexpr int failed = 1;
constexpr int badUsage = 2;

struct RunOptions {
    std::string host;
    bool live = false;
    std::string machine;  // a directory with a machine's files instead of "/"
    std::string root;
    std::string module;
    std::string configuration;
    HostSettings settings;
    double ipmiTimeout = 5;
};

// A name stands for the description of that name beside the program.
std::string descriptionFile(const std::string& host) {
    const bool isFile = host.find('/') != std::string::npos || fs::path(host).extension() == ".json";
    return isFile ? host : hostDescriptions() + "/" + host + ".json";
}

std::string existing(const std::string& file, const char* what) {
    if (!fs::exists(file)) throw std::runtime_error(file + ": " + what + " is not there");
    return fs::canonical(file).string();
}

int run(const RunOptions& options) {
    std::unique_ptr<LiveMachine> live;
    if (options.live) live = std::make_unique<LiveMachine>(options.machine);
    const HostDescription description =
        live ? live->describe() : readHostDescription(descriptionFile(options.host));
    ::umask(077);
    LayoutSources sources;
    sources.module = existing(options.module.empty() ? hostAccessModule() : options.module,
                              "the host-access module (--module)");
    sources.commandClient = existing(siblingProgram("vok-simcmd"), "the client of the stand-ins");
    sources.configuration = options.configuration;
    if (live) sources.sysDirectory = live->sysDirectory();
    if (options.settings.machinesIpmi) sources.ipmiDevice = live->ipmiDevice();

    const std::string root = claimRoot(options.root);
    const FileDescriptor lock = lockHost(HostPaths(root).lock());
    if (!lock) throw std::runtime_error(root + ": another vok-simhost serves it");
    layOutHost(root, description, sources);

    EventLoop loop;
    loop.stopOnSignals();
    SimulatedHost host(loop, root, description, options.settings, std::move(live));
    HostControl control(loop, host);
    std::printf("vok-simhost: ready: host %s under %s, process %d, speed %g\n", description.nodeName.c_str(),
                root.c_str(), static_cast<int>(::getpid()), host.speed());
    std::fflush(stdout);
    loop.run();
    return ok;
}

int control(const std::string& root, const std::vector<std::string>& words) {
    std::string error;
    const auto answer = askServer(HostPaths(root).controlSocket(), words, error);
    if (!answer) {
        std::cerr << "vok-simhost control: no simulated host runs under " << root << " (" << error << ")\n";
        return failed;
    }
    std::cout << answer->output << std::flush;
    std::cerr << answer->error;
    return answer->status;
}

int runProgram(int count, char** arguments) {
    CLI::App app(
        "A whole host, simulated: its files, commands, clock and management device.\n"
        "The agent runs on it with --host-root DIR; nothing outside DIR is written.",
        "vok-simhost");
    app.require_subcommand(1);
    app.set_version_flag("--version", VOK_VERSION);
    app.footer("Exit status: 0 in order, 1 failed, 2 wrong usage. See \"vok-simhost control --help\".");

    RunOptions options;
    CLI::App* runCommand = app.add_subcommand("run", "Be a host until SIGTERM or SIGINT comes");
    CLI::Option_group* what = runCommand->add_option_group("what the host is");
    what->add_option("--host", options.host, "Description: a name that comes with it, or a .json file");
    CLI::Option* live = what->add_flag("--live", options.live, "No description: this machine, as it is");
    what->require_option(1);
    runCommand->add_flag("--ipmi", options.settings.machinesIpmi, "With --live: the machine's own /dev/ipmi0")
        ->needs(live);
    runCommand
        ->add_option("--machine", options.machine,
                     "With --live: a directory with a copy of a machine's files, instead of /")
        ->needs(live)
        ->check(CLI::ExistingDirectory);
    runCommand->add_option("--root", options.root, "Directory of the host's files, empty or used before")
        ->required();
    // The machine's clock is no simulated one.
    runCommand->add_option("--speed", options.settings.speed, "Simulated seconds in a real one (1)")
        ->excludes(live)
        ->check(CLI::Range(0.001, 10000.0));
    runCommand
        ->add_option("--start-time", options.settings.startTime,
                     "Wall clock at the start, seconds since 1970 (now)")
        ->excludes(live)
        ->check(CLI::Range(std::int64_t{0}, std::int64_t{4102444800}));
    runCommand
        ->add_option("--uptime", options.settings.uptime, "Seconds since the boot (from the description)")
        ->excludes(live)
        ->check(CLI::Range(std::int64_t{0}, std::int64_t{4102444800}));
    runCommand->add_option("--config", options.configuration, "The agent's configuration file to lay out");
    runCommand->add_option("--module", options.module, "Host-access module, for an agent of another ABI");
    runCommand
        ->add_option("--ipmi-timeout", options.ipmiTimeout,
                     "Real seconds the driver waits for the controller")
        ->capture_default_str()
        ->check(CLI::Range(0.01, 3600.0));

    std::string root;
    CLI::App* controlCommand = app.add_subcommand("control", "Change a host that runs");
    controlCommand->add_option("--root", root, "Directory of the host's files")->required();
    controlCommand->prefix_command();
    controlCommand->footer(hostControlHelp());
    PlayCommand play(app);

    try {
        app.parse(count, arguments);
    } catch (const CLI::ParseError& error) {
        const int status = app.exit(error);
        return status == 0 ? ok : badUsage;
    }
    if (play.wasGiven()) return play.run();
    if (*controlCommand) return control(root, controlCommand->remaining());
    options.settings.ipmiPatience = std::chrono::milliseconds(static_cast<long>(options.ipmiTimeout * 1000));
    return run(options);
}

}  // namespace

int simhost::runVokSimhost(int count, char** arguments) {
    try {
        return runProgram(count, arguments);
    } catch (const std::exception& error) {
        std::cerr << "vok-simhost: " << error.what() << "\n";
        return failed;
    }
}
