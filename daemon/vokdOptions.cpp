#include "daemon/vokdOptions.h"

#include <CLI/CLI.hpp>
#include <cstdio>

#include "core/base/vokVersion.h"

namespace {

constexpr char footer[] = R"(
vokd stays in the foreground. SIGTERM or SIGINT stops it gracefully. That may take as long as the management
controller takes to answer; another signal, three or more seconds after the first, ends vokd at once, without
the record of a graceful stop. SIGHUP is ignored: settings are read only at the start.

Exit status:
  0    stopped gracefully, or printed the requested report
  1    a thread could not be created
  2    wrong command line
  3    the host root can't be used
  4    another vokd runs on this host
  5    ended at once by another signal during the stop
  6    --check-config: a value in the file was refused
  7    --check-config: there is no usable file; the built-in settings are used
  8    standard output can't be written
  245  the directory of the debug log can't be created
  246  the directory of the agent log can't be created

A crash ends vokd with the signal of the crash, after a stack trace when CaptureUnhandledExceptionStack is set.

Files:
  /etc/config/mev/vok/vok.conf    settings, a JSON object
  /var/run/vokd.pid               lock against a second vokd; holds the process id
  /opt/mev/vok/log                links to the logs; stack traces of crashes
  /var/tmp/mevVOKStartup.txt      shows the next start how the last run ended)";

}  // namespace

bool vokdOptions::parse(int argc, char** argv, int& exitStatus) {
    CLI::App app("vokd - hardware inventory and health-event agent", "vokd");
    app.footer(footer);
    bool checkConfig = false;
    bool printInventory = false;
    bool showPlatform = false;
    app.set_version_flag("--version", std::string("vokd ") + VOK_VERSION, "Print the version and exit");
    app.add_option("--host-root", hostRoot, "Use the files of the host under this directory")
        ->type_name("DIR")
        ->check([](const std::string& text) { return text.empty() ? "a directory is required" : ""; });
    auto* const check = app.add_flag("--check-config", checkConfig,
                                     "Print every setting with its effective value, and the refused values");
    auto* const print = app.add_flag("--print-inventory", printInventory,
                                     "Build one inventory and print the document; nothing is sent")
                            ->excludes(check);
    app.add_flag("--show-platform", showPlatform,
                 "Print the platform, and location and manufacturer of each PCI function; nothing is sent")
        ->excludes(check)
        ->excludes(print);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        exitStatus = app.exit(error) == 0 ? graceful : usage;
        return false;
    }
    if (checkConfig) action = Action::checkConfig;
    if (printInventory) action = Action::printInventory;
    if (showPlatform) action = Action::showPlatform;
    return true;
}
