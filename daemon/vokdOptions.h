// What vokd is asked to do on its command line.
#pragma once

#include <string>

struct vokdOptions {
    enum class Action { run, checkConfig, printInventory, showPlatform };

    Action action = Action::run;
    std::string hostRoot;  // empty: the host that it runs on

    // Exit statuses. The library has two of its own: 246 and 245, when a log directory can't be made.
    enum Exit {
        graceful = 0,        // stopped as told, or the asked-for look is printed
        startFailed = 1,     // a thread could not be created
        usage = 2,           // the command line is wrong
        noHostRoot = 3,      // the host root can't be used
        alreadyRunning = 4,  // another vokd runs on this host
        secondSignal = 5,    // told again to stop when the stop lasted long: ended at once
        configRefused = 6,   // --check-config: a value was refused
        configUnusable = 7,  // --check-config: no usable file, the built-in settings are used
        outputFailed = 8,    // what was asked for could not be written
    };

    // Reads the command line. True to go on; false to end with `exitStatus`, everything being said.
    bool parse(int argc, char** argv, int& exitStatus);
};
