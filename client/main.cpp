// vokcli: makes the agent raise a test event or send an event of the caller, and reports the result; prints
// the state of the agent and its history.
#include <CLI/CLI.hpp>
#include <chrono>
#include <exception>
#include <memory>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "core/base/vokVersion.h"
#include "platform/access/vokHostAccess.h"
#include "platform/access/vokRootedHostAccess.h"
#include "platform/access/vokStandardStreams.h"
#include "vokClientCommands.h"
#include "vokClientOutput.h"
#include "vokStatusCommands.h"

namespace {

// The commands of the program as "test, inject, events".
std::string commandNames(const CLI::App& app) {
    std::string names;
    for (const CLI::App* command : app.get_subcommands([](const CLI::App*) { return true; }))
        names += (names.empty() ? "" : ", ") + command->get_name();
    return names;
}

// What is wrong with the command line, in the parser's words where they name it.
std::string usageError(const CLI::App& app, const CLI::ParseError& error) {
    const std::vector<std::string> unknown = app.remaining();
    const bool hasCommand = !app.get_subcommands().empty();
    if (!hasCommand && unknown.empty() && dynamic_cast<const CLI::RequiredError*>(&error))
        return "a command is missing; the commands are " + commandNames(app);
    if (hasCommand || unknown.empty()) return error.what();
    if (unknown.front().rfind('-', 0) == 0) return "there is no option '" + unknown.front() + "'";
    return "there is no command '" + unknown.front() + "'; the commands are " + commandNames(app);
}

// Prints help, the version or what is wrong. Returns the exit status.
int endOfParsing(const CLI::App& app, const CLI::ParseError& end) {
    if (end.get_exit_code() != 0) {
        vokClientComplain(usageError(app, end) + "\nRun with --help for more information.");
        return vokExitBadInput;
    }
    std::ostringstream text;
    app.exit(end, text, text);
    std::string printed = text.str();
    while (!printed.empty() && printed.back() == '\n') printed.pop_back();
    return vokClientPrint(printed) ? vokExitDone : vokExitFailed;
}

vokStatusForm formOf(bool asJson, bool asMetrics) {
    if (asMetrics) return vokStatusForm::prometheus;
    return asJson ? vokStatusForm::json : vokStatusForm::words;
}

int run(int argc, char** argv) {
    int timeoutSeconds = 60;
    std::string hostRoot;
    int id = 0;
    std::string location;
    std::string file;
    bool asJson = false;
    bool asMetrics = false;
    std::string output;
    unsigned entries = 20;

    CLI::App app{"Sends requests to the hardware agent of this host, and shows its state.", "vokcli"};
    app.set_help_flag("-h,--help", "Print this help and exit");
    app.set_version_flag("--version", std::string("vokcli ") + VOK_VERSION, "Print the version and exit");
    app.add_option("--timeout", timeoutSeconds, "Wait this long for the agent's answer (60)")
        ->check(CLI::Range(1, 86400))
        ->type_name("SECONDS")
        ->option_text("SECONDS");
    app.add_option("--host-root", hostRoot, "Contact the agent of the host under this directory")
        ->type_name("DIR");
    app.require_subcommand(1);
    app.fallthrough();
    app.footer(vokClientExitHelp);

    CLI::App* const test = app.add_subcommand("test", "Make the agent raise a test event");
    test->add_option("ID", id, "Number of the event")->required();
    test->add_option("LOCATION", location, "Physical location that the event names");
    CLI::App* const inject = app.add_subcommand("inject", "Make the agent send an event of your own");
    inject->add_option("FILE", file, "File with the event as JSON; - is standard input")->required();
    app.add_subcommand("events", "List the numbers of all events");
    CLI::App* const status = app.add_subcommand("status", "Show the state of the agent");
    CLI::Option* const json = status->add_flag("--json", asJson, "Print it as JSON");
    json->option_text(" ");
    status->add_flag("--prometheus", asMetrics, "Print it as metrics for Prometheus")
        ->excludes(json)
        ->option_text(" ");
    status->add_option("--output", output, "Replace this file instead of printing")
        ->type_name("FILE")
        ->option_text("FILE");
    status->footer(vokStatusExitHelp);
    CLI::App* const history = app.add_subcommand("history", "Show the last events and pushes");
    history->add_option("N", entries, "How many (20)")
        ->check(CLI::Range(1U, 1000000U))
        ->type_name("N")
        ->option_text(" ");
    history->add_flag("--json", asJson, "Print them as JSON");
    history->footer(vokHistoryExitHelp);

    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& end) {
        return endOfParsing(app, end);
    }

    if (!hostRoot.empty()) {
        std::string error;
        std::unique_ptr<IvokHostAccess> access = vokOpenHostRoot(hostRoot, error);
        if (!access) {
            vokClientComplain(error);
            return vokExitBadInput;
        }
        vokSetHostAccess(std::move(access));
    }

    const std::chrono::seconds timeout(timeoutSeconds);
    if (test->parsed()) return vokClientTest(id, location, timeout);
    if (inject->parsed()) return vokClientInject(file, timeout);
    if (history->parsed()) return vokClientHistory(entries, asJson);
    if (status->parsed()) return vokClientStatus(formOf(asJson, asMetrics), output);
    return vokClientEvents();
}

}  // namespace

int main(int argc, char** argv) {
    vokOccupyClosedStandardStreams();
    try {
        return vokClientEnd(run(argc, argv));
    } catch (const std::exception& failure) {  // memory ran out, or a stream failed
        vokClientComplain(failure.what());
        return vokExitFailed;
    }
}
