// What a volume remembers of a consistency check. The class of its controller derives the concrete state.
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
