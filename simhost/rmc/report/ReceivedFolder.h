// Reads the directory in which a controller keeps what it received (rmc/Keeper.h), as it is found: another
// process may be writing it, a dead one may have left it in the middle of a line, and its content may be
// anybody's.
#pragma once

#include <json/json.h>
#include <cstddef>
#include <string>
#include <vector>

namespace simhost {

struct ReceivedInventory {
    unsigned long number = 0;  // of its file
    std::string file;
    std::size_t bytes = 0;
    Json::Value document;  // null if it can't be read
};

struct ReceivedFolder {
    std::string path;
    std::vector<ReceivedInventory> inventories;  // the newest ones, ascending
    std::vector<Json::Value> events;             // objects, in the order of their arrival
    std::vector<Json::Value> transfers;
    std::vector<std::string> violations;
    std::vector<std::string> problems;  // what could not be read or was left out, for a person

    // The newest inventory that could be read, or null.
    const ReceivedInventory* newest() const;
};

// The most that is read: of inventories together and of each file of lines from its end.
inline constexpr std::size_t mostInventories = 50;
inline constexpr std::size_t mostInventoryBytes = 32u << 20;
inline constexpr std::size_t mostLineBytes = 8u << 20;
inline constexpr std::size_t mostLines = 5000;

// Throws std::runtime_error if it can't be read or holds none of a controller's files.
ReceivedFolder readFolder(const std::string& path);

}  // namespace simhost
