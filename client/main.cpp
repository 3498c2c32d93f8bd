// vokcli: makes the agent raise a test event or send an event of the caller, and reports the result.
#include <CLI/CLI.hpp>
#include <chrono>
#include <cstdio>
#include <exception>
#include <iostream>
#include <memory>
#include <string>
#include <utility>

#include "core/base/vokVersion.h"
#include "platform/access/vokHostAccess.h"
#include "platform/access/vokRootedHostAccess.h"
#include "vokClientCommands.h"

namespace {

int run(int argc, char** argv) {
    int timeoutSeconds = 60;
    std::string hostRoot;
    int id = 0;
    std::string location;
    std::string file;

    CLI::App app{"Sends requests to the hardware agent of this host."};
    app.set_version_flag("--version", std::string("vokcli ") + VOK_VERSION);
    app.add_option("--timeout", timeoutSeconds, "Seconds to wait for the agent's answer")
        ->check(CLI::Range(1, 86400))
        ->capture_default_str();
    app.add_option("--host-root", hostRoot, "Contact the agent of the host under this directory")
        ->type_name("DIR");
    app.require_subcommand(1);
    app.fallthrough();
    app.footer(vokClientExitHelp);

    CLI::App* const test = app.add_subcommand("test", "Make the agent raise a test event");
    test->add_option("ID", id, "Number of the event")->required();
    test->add_option("LOCATION", location, "Physical location that the event names");
    CLI::App* const inject = app.add_subcommand("inject", "Make the agent send an event of your own");
    inject->add_option("FILE", file, "File with the event, a JSON object; - is standard input")->required();
    app.add_subcommand("events", "List the numbers of all events");

    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& end) {
        return app.exit(end) == 0 ? vokExitDone : vokExitBadInput;
    }

    if (!hostRoot.empty()) {
        std::string error;
        std::unique_ptr<IvokHostAccess> access = vokOpenHostRoot(hostRoot, error);
        if (!access) {
            std::cerr << "vokcli: " << error << '\n';
            return vokExitBadInput;
        }
        vokSetHostAccess(std::move(access));
    }

    const std::chrono::seconds timeout(timeoutSeconds);
    if (test->parsed()) return vokClientTest(id, location, timeout);
    if (inject->parsed()) return vokClientInject(file, timeout);
    return vokClientEvents();
}

}  // namespace

int main(int argc, char** argv) {
    try {
        return run(argc, argv);
    } catch (const std::exception& failure) {  // memory ran out, or a stream failed
        std::fprintf(stderr, "vokcli: %s\n", failure.what());
        return vokExitFailed;
    }
}
