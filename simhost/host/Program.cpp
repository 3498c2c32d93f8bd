#include "host/Program.h"

#include <sys/stat.h>
#include <unistd.h>
#include <algorithm>
#include <filesystem>
#include <iostream>
#include <memory>
#include <optional>

#include "common/CommandLine.h"
#include "common/Files.h"
#include "common/HostPaths.h"
#include "common/ProgramPaths.h"
#include "common/RequestServer.h"
#include "common/Text.h"
#include "core/base/vokVersion.h"
#include "host/ClaimedRoot.h"
#include "host/HostControl.h"
#include "host/HostDescription.h"
#include "host/HostLayout.h"
#include "host/SimulatedHost.h"
#include "live/LiveMachine.h"
#include "replay/ReplayProgram.h"
#include "scenario/PlayCommand.h"

namespace fs = std::filesystem;
using namespace simhost;

namespace {

constexpr int ok = 0;
constexpr int failed = 1;

struct RunOptions {
    std::string host;
    bool live = false;
    std::string replay;   // an archive
    std::string machine;  // a directory with a machine's files instead of "/"
    std::string root;
    std::string module;
    std::optional<std::string> configuration;
    HostSettings settings;
    double ipmiTimeout = 5;
};

// A name stands for the description of that name beside the program.
std::string descriptionFile(const std::string& host) {
    const bool isFile = host.find('/') != std::string::npos || fs::path(host).extension() == ".json";
    if (isFile) return host;
    const auto known = jsonNamesIn(hostDescriptions());
    if (std::find(known.begin(), known.end(), host) == known.end())
        throw std::runtime_error("there is no host \"" + host +
                                 "\"; those that come with it: " + listed(known));
    return hostDescriptions() + "/" + host + ".json";
}

std::string existing(const std::string& file, const char* what) {
    if (!fs::exists(file)) throw std::runtime_error(file + ": " + what + " is not there");
    return fs::canonical(file).string();
}

// Checks all that can be checked before anything is written.
LayoutSources layoutSources(const RunOptions& options, const LiveMachine* live) {
    LayoutSources sources;
    sources.module = existing(options.module.empty() ? hostAccessModule() : options.module,
                              "the host-access module (--module)");
    sources.commandClient = existing(siblingProgram("vok-simcmd"), "the client of the stand-ins");
    if (options.configuration) sources.configuration = readFile(*options.configuration);
    if (live) sources.sysDirectory = live->sysDirectory();
    if (live) sources.deviceDirectory = live->deviceDirectory();
    if (options.settings.machinesIpmi) sources.ipmiDevice = live->ipmiDevice();
    return sources;
}

int replay(const RunOptions& options) {
    ReplayOptions given;
    given.archive = options.replay;
    given.root = options.root;
    given.module = options.module;
    given.configuration = options.configuration;
    given.settings = {options.settings.speed.value_or(0), options.settings.ipmiPatience};
    runReplay(given);
    return ok;
}

int run(const RunOptions& options) {
    std::unique_ptr<LiveMachine> live;
    if (options.live) live = std::make_unique<LiveMachine>(options.machine);
    const HostDescription description =
        live ? live->describe() : readHostDescription(descriptionFile(options.host));
    ::umask(077);
    const LayoutSources sources = layoutSources(options, live.get());
    ClaimedRoot root(options.root);
    layOutHost(root.path(), description, sources);

    EventLoop loop;
    loop.stopOnSignals();
    SimulatedHost host(loop, root.path(), description, options.settings, std::move(live));
    HostControl control(loop, host);
    printOut("vok-simhost: ready: host " + description.nodeName + " under " + root.path() +
             formatText(", process %d, speed %g\n", static_cast<int>(::getpid()), host.speed()));
    root.keep();
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
    printOut(answer->output);
    std::cerr << answer->error;
    return answer->status;
}

void addRunOptions(CLI::App& command, RunOptions& options) {
    CLI::Option_group* what = command.add_option_group("what the host is");
    what->add_option("--host", options.host, "A description: a name that comes with it, or a .json file")
        ->option_text("NAME|FILE.json");
    CLI::Option* live = what->add_flag("--live", options.live, "No description: this machine, as it is");
    CLI::Option* replay =
        what->add_option("--replay", options.replay,
                         "A host that \"vokd --record\" has recorded; - reads standard input")
            ->option_text("FILE");
    what->require_option(1);
    command.add_flag("--ipmi", options.settings.machinesIpmi, "With --live: the machine's own /dev/ipmi0")
        ->needs(live);
    command
        .add_option("--machine", options.machine,
                    "With --live: a directory with a copy of a machine's files, instead of /")
        ->needs(live)
        ->option_text("DIR")
        ->check(CLI::ExistingDirectory);
    command
        .add_option("--root", options.root,
                    "Directory of the host's files: missing, empty, or the root of a simulated host before")
        ->option_text("DIR")
        ->required();
    // The machine's clock is no simulated one.
    command
        .add_option("--speed", options.settings.speed,
                    "Simulated seconds per real second, 0.001 to 10000 (1; with --replay the\n"
                    "clock stands unless it is given); not with --live")
        ->excludes(live)
        ->option_text("N")
        ->check(numberWithin(0.001, 10000));
    command
        .add_option("--start-time", options.settings.startTime,
                    "Wall clock at the start, seconds since 1970 (now); not with --live, --replay")
        ->excludes(live)
        ->excludes(replay)
        ->option_text("EPOCH")
        ->check(wholeNumberWithin(0, 4102444800));
    command
        .add_option("--uptime", options.settings.uptime,
                    "Seconds since the boot (the description's); not with --live, --replay")
        ->excludes(live)
        ->excludes(replay)
        ->option_text("S")
        ->check(wholeNumberWithin(0, 4102444800));
    command
        .add_option("--config", options.configuration,
                    "The agent's configuration file to install (the description's, unless the root has one)")
        ->option_text("FILE");
    command.add_option("--module", options.module, "The host-access module, for an agent of another ABI")
        ->option_text("FILE");
    command
        .add_option("--ipmi-timeout", options.ipmiTimeout,
                    "Real seconds that the driver waits for the controller, 0.01 to 3600 (5)")
        ->option_text("S")
        ->check(numberWithin(0.01, 3600));
}

int runProgram(int count, char** arguments) {
    CLI::App app(
        "A whole host, simulated: its files, commands, clock and management device.\n"
        "The agent runs on it with --host-root DIR; nothing outside DIR is written.",
        "vok-simhost");
    formatHelp(app);
    app.require_subcommand(1);
    app.set_version_flag("--version", VOK_VERSION);
    app.footer(
        "Exit status: 0 in order, 1 failed, 2 wrong usage.\n"
        "The commands of \"control\" are in \"vok-simhost control --help\".");

    RunOptions options;
    addRunOptions(*app.add_subcommand("run", "Be a host until SIGTERM or SIGINT comes"), options);
    std::string root;
    CLI::App* controlCommand = app.add_subcommand("control", "Change a host that runs");
    controlCommand->add_option("--root", root, "Directory of the host's files")
        ->option_text("DIR")
        ->required();
    controlCommand->prefix_command();
    controlCommand->footer(hostControlHelp());
    PlayCommand play(app);

    if (const auto status = parseCommandLine(app, count, arguments)) return *status;
    if (play.wasGiven()) return play.run();
    if (*controlCommand) return control(root, controlCommand->remaining());
    options.settings.ipmiPatience = std::chrono::milliseconds(static_cast<long>(options.ipmiTimeout * 1000));
    return options.replay.empty() ? run(options) : replay(options);
}

}  // namespace

int simhost::runVokSimhost(int count, char** arguments) {
    try {
        return runProgram(count, arguments);
    } catch (const std::exception& error) {
        std::cerr << "vok-simhost: " << reasonOf(error) << "\n";
        return failed;
    }
}
