#include "daemon/vokdOptions.h"

#include <CLI/CLI.hpp>
#include <cstdio>
#include <iostream>

#include "core/base/vokVersion.h"

namespace {

constexpr char footer[] = R"(
vokd stays in the foreground and has to run as root. SIGTERM or SIGINT stops it
gracefully. That may take as long as the management controller takes to answer;
another of them, three or more seconds after the first, ends vokd at once,
without the record of a graceful stop. SIGHUP makes it open its log files again;
settings are read only at the start. SIGUSR1, SIGUSR2 and SIGALRM do nothing.

Exit status:
  0    stopped gracefully, or printed the requested report
  1    a thread could not be created
  2    wrong command line
  3    the host root can't be used
  4    another vokd runs on this host
  5    ended at once by another signal during the stop
  6    --check-config: the file is used, but something in it is not accepted
       or not used as it is written
  7    --check-config: no usable file; the built-in settings are used
  8    standard output, or the file of --record, can't be written
  9    a report was ended by SIGTERM or SIGINT before it was printed
  10   --probe-disk: the node is missing or can't be opened
  11   --probe-disk: not a SCSI generic node, nor the block device of one
  12   --probe-disk: no permission: it needs root, or CAP_SYS_RAWIO
  13   a vendor's library has ended the process
  245  the directory of the debug log can't be created
  246  the directory of the agent log can't be created

Each other than 0 comes with a line on standard error, 6 and 7 with the report.
A crash ends vokd with the signal of the crash, after a stack trace when
CaptureUnhandledExceptionStack is set.

Files:
  /etc/config/mev/vok/vok.conf    settings, a JSON object
  /var/run/vokd.pid               lock of the running vokd; holds its process id
  /opt/mev/vok/log                links to the logs; stack traces of crashes
  /var/tmp/mevVOKStartup.txt      shows the next start how the last run ended)";

}  // namespace

int vokdOptions::reportOutputFailure() {
    std::perror("vokd: standard output");
    return outputFailed;
}

bool vokdOptions::parse(int argc, char** argv, int& exitStatus) {
    CLI::App app("vokd - hardware inventory and health-event agent", "vokd");
    app.footer(footer);
    bool checkConfig = false;
    bool printInventory = false;
    bool showPlatform = false;
    app.set_version_flag("--version", std::string("vokd ") + VOK_VERSION, "Print the version and exit");
    app.add_option("--host-root", hostRoot,
                   "Use the files of the host under this directory,\n"
                   "which nobody else may be able to write")
        ->type_name("DIR")
        ->check([](const std::string& text) { return text.empty() ? "a directory is required" : ""; });
    auto* const check = app.add_flag("--check-config", checkConfig,
                                     "Print every setting with its effective value,\n"
                                     "the resources that run, and the refused values");
    auto* const print = app.add_flag("--print-inventory", printInventory,
                                     "Build one inventory and print the document;\n"
                                     "nothing is sent")
                            ->excludes(check);
    auto* const show = app.add_flag("--show-platform", showPlatform,
                                    "Print the platform, and location and manufacturer\n"
                                    "of each PCI function; nothing is sent")
                           ->excludes(check)
                           ->excludes(print);
    app.add_option("--probe-disk", disk,
                   "Ask one disk everything that the agent can ask,\n"
                   "and print the answers; also while vokd runs")
        ->type_name("NODE")
        ->check([](const std::string& text) {
            return text.empty() || text.front() != '/' ? "an absolute path such as /dev/sg3 is required" : "";
        })
        ->excludes(check)
        ->excludes(print)
        ->excludes(show);
    // "-" is no file, as for --replay: standard output has the summary.
    const auto isFile = [](const std::string& text) {
        return text.empty() || text == "-" ? "a file is required" : "";
    };
    auto* const record = app.add_option("--record", recordTo,
                                        "Build one inventory; write what the host was asked\n"
                                        "for it, and answered, to the new file FILE")
                             ->type_name("FILE")
                             ->check(isFile);
    app.add_flag("--plain", plain,
                 "Keep serial numbers, addresses and names in it,\n"
                 "instead of replacing them by made-up ones")
        ->needs(record);
    try {
        app.parse(argc, argv);
        // Not excludes(), which would make the lines of the help too long.
        if (!recordTo.empty() && (checkConfig || printInventory || showPlatform || !disk.empty()))
            throw CLI::ExcludesError("--record", "any other report");
    } catch (const CLI::ParseError& error) {
        exitStatus = app.exit(error) == 0 ? graceful : usage;
        if (!std::cout.flush()) exitStatus = reportOutputFailure();
        return false;
    }
    if (checkConfig) action = Action::checkConfig;
    if (printInventory) action = Action::printInventory;
    if (showPlatform) action = Action::showPlatform;
    if (!disk.empty()) action = Action::probeDisk;
    if (!recordTo.empty()) action = Action::record;
    return true;
}
