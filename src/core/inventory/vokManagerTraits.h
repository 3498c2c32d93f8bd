// The constants in which the managers differ. A manager fills a default one by name and so states what is its
// own; isComplete() says whether that was enough.
#pragma once

struct vokManagerTraits {
    // Each manager states these.
    const char* tag = nullptr;          // module tag of its log lines
    const char* moduleName = nullptr;   // its name in the configuration
    const char* buildText = nullptr;    // debug line at the start of a build
    const char* pushText = nullptr;     // debug line when a build asks for a push
    const char* readyText = nullptr;    // info line of isInventoryReady(), up to the number
    const char* recordsName = nullptr;  // the records that isRunning() counts, as its warning names them

    // What most have in common. A null text is not logged.
    const char* initText = "Entry init()";  // debug line of init()
    const char* activeText = nullptr;       // debug line when init() finds the manager active
    const char* recentText =                // debug line when a fresh cache needs no loop
        "cache was recently refreshed. skipping the current refresh cycle";
    const char* exitText = "Exiting CacheBuild";  // debug line at the end of a build
    const char* previousCopyText =                // debug line when a reader gets the previous inventory
        "Cache build is in progress. Returning previous copy of inventory.";
    const char* currentCopyText = nullptr;  // debug line when a reader gets the current one, up to its size
    const char* equalsBlank = "";           // after "=" before the last two numbers of isRunning()'s warning
    unsigned retryPauseSeconds = 3;         // between the passes of isRunning()
    bool stopIsDebug = false;               // the lines of the stop call are debug, otherwise info
    int inventories = 1;  // with several, getInventoryJsonObject2() offers types 1 to this; 0 is as 1

    constexpr bool isComplete() const {
        return tag && moduleName && buildText && pushText && readyText && recordsName;
    }
};
