// The command line of vokd.
#pragma once

#include <string>

struct vokdOptions {
    enum class Action { run, checkConfig, printInventory, showPlatform, probeDisk, record };

    Action action = Action::run;
    std::string hostRoot;  // empty: the machine that it runs on
    std::string disk;      // of probeDisk: an absolute path
    std::string recordTo;  // of record: the archive, a path of the machine
    bool plain = false;    // of record: what identifies the host is kept

    // Exit statuses. Each other than 0 is explained by a line on standard error or by the report. The library
    // adds 246 and 245, if a log directory can't be created.
    enum Exit {
        graceful = 0,        // stopped gracefully, or the requested report was printed
        startFailed = 1,     // a thread could not be created
        usage = 2,           // the command line is wrong
        noHostRoot = 3,      // the host root can't be used
        alreadyRunning = 4,  // another vokd runs on this host
        secondSignal = 5,    // a later signal during the stop: ended at once
        configRefused = 6,   // --check-config: there are findings on the file, which is used
        configUnusable = 7,  // --check-config: no usable file, the built-in settings are used
        outputFailed = 8,    // standard output or the archive of --record could not be written
        interrupted = 9,     // a report was ended by a signal before it was printed
        noDisk = 10,         // --probe-disk: the node is missing, or can't be opened
        notADisk = 11,       // --probe-disk: not a SCSI generic node, nor the block device of one
        diskRefused = 12,    // --probe-disk: no permission to use the node
        libraryExit = 13,    // a vendor's library has ended the process by exit(3)
    };

    // Reads the command line. True to continue; false to end with `exitStatus`, after all messages are
    // printed.
    bool parse(int argc, char** argv, int& exitStatus);

    // Reports errno as the reason why standard output can't be written, and returns the exit status.
    static int reportOutputFailure();
};
