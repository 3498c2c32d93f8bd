// What every storage record has in common, so that an event can have any of them as its subject. Records are
// values: they are copied, held in vectors and replaced as a whole; they discover nothing themselves.
#pragma once

#include <json/value.h>

class vokInventoryBase {
public:
    // The variable data of an event about this item.
    virtual Json::Value getVariableData() const = 0;
    // What the item adds to the inventory document by itself; null for most.
    virtual Json::Value getInventoryData() const = 0;
    virtual ~vokInventoryBase() = default;
};
