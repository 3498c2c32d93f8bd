// How a reader that asks a manager several questions gets all answers from one build.
#pragma once

#include <json/value.h>
#include <vector>

// A manager's inventory as one reader sees it, for as long as the reader needs it: whatever builds begin and
// end between two questions, all answers are of the same build. The questions and their results are those of
// vokResourceManager. It belongs to one thread.
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
