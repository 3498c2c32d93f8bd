// Polls the door-bell with which the management controller requests a fresh inventory.
#pragma once

#include <pthread.h>
#include <condition_variable>
#include <mutex>

class vokIPMIDBService {
public:
    static vokIPMIDBService* getInstance();

    void startvokIPMIDBService();
    // Ends the thread and joins it; a poll in progress is finished first.
    void stopvokIPMIDBService();

    // The thread's body.
    void startMonitoring();

private:
    vokIPMIDBService() = default;

    static pthread_t thread;
    static bool threadCreated;
    static std::mutex cmutex;  // guards the two flags
    static std::condition_variable cond;
    static bool stopMoni;
    static bool checkIPMIDevice;  // a poll is due
};
