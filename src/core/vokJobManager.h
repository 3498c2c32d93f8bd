// Brings the resource managers up and down, and keeps the startup record.
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
    // Stops and joins the managers' threads, then records a graceful stop. Comes after all other stops.
    void stopResourceManagers();
    // 0 records the start of the agent; any other value a graceful stop.
    void vokStartFileOperations(int mode);
    // The client channel. Always true.
    bool startVOKServer();
    void stopVOKServer();

    // By position in the list of resources: the threads, and the result of creating each. -1: there is no
    // thread to join.
    static constexpr int positions = 8;
    static pthread_t threads[positions];
    static int retval[positions];

private:
    vokJobManager() = default;

    time_t currentStartTime = 0;  // seconds since the Epoch
};

// Entry of every manager's thread; the resource id is carried in the pointer's value.
void* initializeResourceManager(void* id);
// Crashes the process on purpose when the configuration asks for it.
void simulateUnhandledExceptions();
// Deliberately empty: for signals whose arrival alone matters.
void sighdlr(int);
