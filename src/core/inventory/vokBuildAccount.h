// What the status record says of a build of a resource class.
#pragma once

#include <json/value.h>
#include <ctime>
#include <vector>

#include "platform/access/vokStopwatch.h"
#include "platform/access/vokWorkScope.h"

// Made at the begin of a build, on the thread that runs it; what fails or hangs until its destruction is
// counted to the class.
class vokBuildAccount {
public:
    // `classId` is that of vokModules.h, or -1 for a class that has none; that is not recorded.
    explicit vokBuildAccount(int classId);

    // The build has ended at `now`.
    void end(time_t now) const;
    // It has been cut short, and the inventory before it stays.
    void cutShort() const;

private:
    const int classId_;
    const vokWorkScope scope_;
    const vokStopwatch stopwatch_;
};

// The class has these documents from now on, a list for each type. Its `mlock` is held.
void vokAccountForInventory(int classId, const std::vector<std::vector<Json::Value>>& inventories);
