// Polls the door-bell by which the management controller asks for a fresh inventory.
#pragma once

#include <pthread.h>
#include <condition_variable>
#include <mutex>

class vokIPMIDBService {
public:
    static vokIPMIDBService* getInstance();

    void startvokIPMIDBService();
    // Ends the thread and joins it; a poll in progress ends first.
    void stopvokIPMIDBService();

    // The thread's body.
    void startMonitoring();

private:
    vokIPMIDBService() = default;
};
