// Turns the inventories of the resource managers into one document and sends it to the management
// controller: once when the managers are ready, then on a timer and on request.
#pragma once

#include <json/value.h>
#include <pthread.h>
#include <atomic>
#include <condition_variable>
#include <map>
#include <mutex>
#include <string>

#include "platform/access/vokWait.h"

class vokResourceManager;
struct vokResource;

class vokJsonAggregator {
public:
    static vokJsonAggregator* getInstance();

    // False: creates the aggregator's thread; called once, by the daemon. True: requests a push.
    void sendInventory(bool fromResourceManager);
    // Ends the thread and joins it; a push in progress is finished first.
    void stopvokJsonAggregator();
    // Ends the thread's wait if the wall clock has been set back beyond its begin: a push whose predecessor
    // is still to come by the clock is due. Returns true if the thread was woken.
    bool recheckWait();
    // True if the first push has been made, or had nothing to send.
    bool isInventorySent();

    // The thread's body: waits for the managers, then pushes at once, on the timer and on request.
    void initializeCachePush();
    // Gathers the enabled managers' sections and sends them.
    void createInventoryJsonString();
    // The current document as one line of text; empty if no manager has an inventory. Sends nothing.
    std::string getInventoryDocument();

private:
    vokJsonAggregator();

    bool checkIfInventoryReady(std::unique_lock<std::mutex>& lock);
    bool aggrThreadSleep(std::unique_lock<std::mutex>& lock, long long seconds);
    // The document's parts live only while its text is made: a host with hundreds of drives has megabytes.
    Json::Value gatherSections();  // by JSON key
    void gatherResource(const vokResource& resource, vokResourceManager& manager,
                        Json::Value& sections) const;
    void sendJsonString(const std::string& text);

    std::map<int, std::string> vok_RM_to_string;  // key of each resource that was bound at construction

    static std::atomic<bool> firstInventoryPushComplete;
    static bool pushInventory;
    static bool stopAggr;
    static pthread_t thread;
    static bool threadCreated;
    static std::mutex cmutex;  // guards the flags
    static std::condition_variable cond;
    static vokDeadline deadline;  // of the wait; under cmutex
};
