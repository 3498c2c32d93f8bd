// Lets a reader that makes several requests to a manager get all results from one build.
#pragma once

#include <json/value.h>
#include <vector>

// A manager's inventory as one reader sees it: all results come from the same build, even if builds begin
// or end between two requests. The requests and their results are those of vokResourceManager. For use by
// one thread.
class vokInventoryReader {
public:
    virtual ~vokInventoryReader() = default;
    vokInventoryReader(const vokInventoryReader&) = delete;
    vokInventoryReader& operator=(const vokInventoryReader&) = delete;

    virtual bool getInventoryJsonObject(std::vector<Json::Value>& out) = 0;
    virtual int getInventoryJsonObject2(int type, std::vector<Json::Value>& out) = 0;

protected:
    vokInventoryReader() = default;
};
