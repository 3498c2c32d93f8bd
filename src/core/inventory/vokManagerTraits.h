// The constants in which the managers differ. A manager sets the fields that differ from the defaults by
// name; isComplete() is true if all required fields are set.
#pragma once

struct vokManagerTraits {
    // Required: each manager sets these.
    const char* tag = nullptr;          // module tag of its log lines
    const char* moduleName = nullptr;   // name in the configuration
    const char* buildText = nullptr;    // debug line at the start of a build
    const char* pushText = nullptr;     // debug line when a build requests a push
    const char* readyText = nullptr;    // info line of isInventoryReady(), up to the number
    const char* recordsName = nullptr;  // name of the counted records in isRunning()'s warning

    // Common defaults. A null text is not logged.
    const char* initText = "Entry init()";           // debug line of init()
    const char* activeText = nullptr;                // debug line when init() finds the manager active
    const char* startText = "Entry startInventory";  // debug line of startInventory()
    const char* recentText =                         // debug line when a fresh cache needs no loop
        "cache was recently refreshed. skipping the current refresh cycle";
    const char* exitText = "Exiting CacheBuild";  // debug line at the end of a build
    const char* previousCopyText =                // debug line when a reader gets the previous inventory
        "Cache build is in progress. Returning previous copy of inventory.";
    const char* currentCopyText = nullptr;  // debug line when a reader gets the current one, up to its size
    const char* equalsBlank = "";           // after "=" before the last two numbers of isRunning()'s warning
    unsigned retryPauseSeconds = 3;         // between the passes of isRunning()
    bool stopIsDebug = false;               // level of the stop call's lines: debug if set, otherwise info
    int inventories = 1;  // with several, getInventoryJsonObject2() has types 1 to this; type 0 means 1

    constexpr bool isComplete() const {
        return tag && moduleName && buildText && pushText && readyText && recordsName;
    }
};
