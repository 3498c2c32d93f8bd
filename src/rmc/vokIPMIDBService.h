// Polls the door-bell with which the management controller requests a fresh inventory.
#pragma once

#include <pthread.h>
#include <condition_variable>
#include <mutex>

#include "platform/access/vokWait.h"

class vokIPMIDBService {
public:
    static vokIPMIDBService* getInstance();

    void startvokIPMIDBService();
    // Ends the thread and joins it; a poll in progress is finished first.
    void stopvokIPMIDBService();
    // Ends the thread's wait if the wall clock has been set back beyond its begin; a poll follows. Returns
    // true if the thread was woken.
    bool recheckWait();

    // The thread's body.
    void startMonitoring();

private:
    vokIPMIDBService() = default;

    static pthread_t thread;
    static bool threadCreated;
    static std::mutex cmutex;  // guards the two flags
    static std::condition_variable cond;
    static vokDeadline deadline;  // of the wait; under cmutex
    static bool stopMoni;
    static bool checkIPMIDevice;  // a poll is due
};
