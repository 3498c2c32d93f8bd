// Starts and stops the resource managers, and keeps the startup record.
#pragma once

#include <pthread.h>
#include <ctime>

class vokJobManager {
public:
    static vokJobManager* getInstance();

    // Records the start, then creates a thread for each resource that can have a manager. False when a
    // thread could not be created; those created before keep running, and stopResourceManagers() must not
    // be called then.
    bool startResourceManagers();
    // Stops and joins the managers' threads, then records a graceful stop. Must be called after all other
    // stops.
    void stopResourceManagers();
    // 0 records the start of the agent; any other value a graceful stop.
    void vokStartFileOperations(int mode);
    // The server of the client channel. Always returns true.
    bool startVOKServer();
    void stopVOKServer();

    // By position in the list of resources: the threads, and the result of creating each; -1 if there is no
    // thread to join.
    static constexpr int positions = 8;
    static pthread_t threads[positions];
    static int retval[positions];

private:
    vokJobManager() = default;

    time_t currentStartTime = 0;  // seconds since the Epoch
};

// Entry of every manager's thread; `id` is the resource id, cast to a pointer.
void* initializeResourceManager(void* id);
// Crashes the process on purpose if the configuration says so.
void simulateUnhandledExceptions();
