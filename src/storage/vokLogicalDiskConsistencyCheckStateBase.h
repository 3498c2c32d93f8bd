// The state of a consistency check of a volume. Each kind of controller derives its own.
#pragma once

#include <memory>
#include <string>

class vokLogicalDiskConsistencyCheckStateBase {
public:
    virtual std::unique_ptr<vokLogicalDiskConsistencyCheckStateBase> clone() const = 0;
    // What the check found, for the text of an event.
    virtual std::string getStateInfoString() const = 0;
    virtual ~vokLogicalDiskConsistencyCheckStateBase() = default;
};
