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

class vokJsonAggregator {
public:
    static vokJsonAggregator* getInstance();

    // False: creates the aggregator's thread; the daemon does that, once. True: requests a push.
    void sendInventory(bool fromResourceManager);
    // Ends the thread and joins it; a push in progress finishes first.
    void stopvokJsonAggregator();
    // Has the first push been made (or found nothing to send)?
    bool isInventorySent();

    // The thread's body.
    void initializeCachePush();
    // Gathers the enabled managers' sections and sends them.
    void createInventoryJsonString();
    // The document of the moment as one line of text, empty when no manager has anything. Sends nothing.
    std::string getInventoryDocument();

private:
    vokJsonAggregator();
};
