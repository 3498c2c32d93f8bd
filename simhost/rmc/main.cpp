// vok-rmc: the rack management controller of a simulated host. "run" is the controller; "control" speaks to
// one that runs; "report" turns what one received into a page.
#include <sys/stat.h>
#include <unistd.h>
#include <cerrno>
#include <chrono>
#include <ctime>
#include <filesystem>
#include <iostream>
#include <memory>
#include <system_error>
#include <thread>

#include "common/CommandLine.h"
#include "common/Files.h"
#include "common/HostPaths.h"
#include "common/RequestServer.h"
#include "common/Text.h"
#include "core/base/vokVersion.h"
#include "rmc/Controller.h"
#include "rmc/GuestInterface.h"
#include "rmc/RmcControl.h"
#include "rmc/report/Page.h"
#include "rmc/report/ReceivedFolder.h"

using namespace simhost;

namespace {

constexpr int ok = 0;
constexpr int failed = 1;
constexpr int badUsage = 2;
constexpr int violationsSeen = 3;

struct RunOptions {
    std::string root;
    std::string guest;
    std::string out;
    std::string index = "random";
    std::size_t sizeLimit = 16u << 20;
    bool quiet = false;
};

// A root whose host has not started yet has no socket; anything else that is wrong with it stays so.
void checkThatAHostCanRunAt(const std::string& socket) {
    if (::access(socket.c_str(), F_OK) != 0 && errno != ENOENT)
        throw std::system_error(errno, std::generic_category(), socket);
}

int run(const RunOptions& options) {
    ::umask(077);
    Controller::Settings settings;
    settings.index = IndexScheme::parse(options.index);
    settings.sizeLimit = options.sizeLimit;

    Keeper keeper(options.out);
    if (options.guest.empty()) {
        settings.hostRoot = std::filesystem::absolute(options.root).string();
        settings.hostSocket = HostPaths(settings.hostRoot).controllerSocket();
        checkThatAHostCanRunAt(settings.hostSocket);
    } else {
        settings.hostRoot = options.guest;
        settings.hostSocket = keeper.directory() + "/guest.sock";
    }
    Report report(options.quiet);
    std::string ignored;
    if (askServer(keeper.controlSocket(), {"status"}, ignored))
        throw std::runtime_error(keeper.directory() + ": another vok-rmc keeps its files there");
    EventLoop loop;
    loop.stopOnSignals();
    std::unique_ptr<GuestInterface> guest;
    if (!options.guest.empty())
        guest = std::make_unique<GuestInterface>(loop,
                                                 GuestInterface::Sockets{options.guest, settings.hostSocket});
    RmcControl control(loop, keeper.controlSocket());
    Controller controller(loop, settings, keeper, report, [&control] { control.changed(); });
    control.setController(controller);
    printOut("vok-rmc: ready: files in " + keeper.directory() + ", process " + std::to_string(::getpid()) +
             "\n");
    controller.start();
    loop.run();
    const ControllerCounts& counts = controller.counts();
    printOut(formatText("vok-rmc: %lu inventories, %lu events, %lu violations", counts.inventories,
                        counts.events, counts.violations) +
             (counts.notKept == 0 ? "" : formatText(", %lu not kept", counts.notKept)) + "\n");
    if (counts.violations != 0) return violationsSeen;
    return counts.notKept == 0 && report.allPrinted() ? ok : failed;
}

// One who waits for the controller may have come before it.
bool mayComeYet(const std::vector<std::string>& words, std::chrono::steady_clock::time_point begin) {
    if (words.empty() || words[0] != "wait") return false;
    const std::chrono::seconds patience(RmcControl::checkedWait(Words(words)));
    return std::chrono::steady_clock::now() - begin < patience;
}

int control(const std::string& out, const std::vector<std::string>& words) {
    const std::string socket = out + "/control.sock";
    const auto begin = std::chrono::steady_clock::now();
    std::string error;
    auto answer = askServer(socket, words, error);
    while (!answer && (errno == ENOENT || errno == ECONNREFUSED) && mayComeYet(words, begin)) {
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        answer = askServer(socket, words, error);
    }
    if (!answer) {
        std::cerr << "vok-rmc control: no controller keeps its files in " << out << " (" << error << ")\n";
        return failed;
    }
    printOut(answer->output);
    std::cerr << answer->error;
    return answer->status;
}

int report(const std::string& folder) {
    const std::time_t now = std::time(nullptr);
    std::tm parts{};
    ::gmtime_r(&now, &parts);
    char text[40];
    std::strftime(text, sizeof(text), "%Y-%m-%d %H:%M:%S UTC", &parts);
    printOut(reportPage(readFolder(folder), text));
    return ok;
}

int runProgram(int count, char** arguments) {
    CLI::App app(
        "The rack management controller of a simulated host: receives inventories and\n"
        "events from the agent, checks every byte against the protocol, and rings the\n"
        "door-bell.",
        "vok-rmc");
    formatHelp(app);
    app.require_subcommand(1);
    app.set_version_flag("--version", VOK_VERSION);
    app.footer(
        "Exit status: 0 in order, 1 failed, 2 wrong usage, 3 at the end of a run in which\n"
        "the protocol was violated, 4 of a wait whose time was over.\n"
        "The commands of \"control\" are in \"vok-rmc control --help\".");

    RunOptions options;
    CLI::App* runCommand = app.add_subcommand("run", "Be the controller until SIGTERM, SIGINT or \"quit\"");
    CLI::Option_group* host = runCommand->add_option_group("whose controller it is");
    host->add_option("--root", options.root, "Directory of the simulated host; it may start later")
        ->option_text("DIR");
    host->add_option("--guest", options.guest,
                     "Socket at which QEMU's ipmi-bmc-extern is to connect: that of a "
                     "virtual machine")
        ->option_text("SOCKET");
    host->require_option(1);
    runCommand->add_option("--out", options.out, "Directory for what is received")
        ->option_text("DIR")
        ->required();
    runCommand->add_flag("--quiet", options.quiet, "Print violations only");
    runCommand
        ->add_option("--size-limit", options.sizeLimit,
                     "Longest payload in bytes, 1 to 1073741824 (16777216); a longer one gets status 8")
        ->option_text("N")
        ->check(wholeNumberWithin(1, 1LL << 30));
    runCommand
        ->add_option("--index", options.index,
                     "The index of each reply: sequential, random or constant:N (random)")
        ->option_text("SCHEME");

    std::string out;
    CLI::App* controlCommand = app.add_subcommand("control", "Speak to a controller that runs");
    controlCommand->add_option("--out", out, "Directory of that controller's files")
        ->option_text("DIR")
        ->required();
    controlCommand->prefix_command();
    controlCommand->footer(rmcControlHelp);

    std::string folder;
    CLI::App* reportCommand = app.add_subcommand(
        "report", "Print what a controller received as one HTML page, which needs no network");
    reportCommand->add_option("FOLDER", folder, "Directory of its files; it may still run")->required();

    if (const auto status = parseCommandLine(app, count, arguments)) return *status;
    if (*reportCommand) return report(folder);
    return *controlCommand ? control(out, controlCommand->remaining()) : run(options);
}

}  // namespace

int main(int count, char** arguments) {
    try {
        return runProgram(count, arguments);
    } catch (const UsageError& error) {
        std::cerr << "vok-rmc: " << error.what() << "\n";
        return badUsage;
    } catch (const std::exception& error) {
        std::cerr << "vok-rmc: " << reasonOf(error) << "\n";
        return failed;
    }
}
