// A described disk for a test of its answers, and a command to it.
#pragma once

#include <json/json.h>
#include <sstream>
#include <string>

#include "host/HostDescription.h"
#include "modules/storage/Disks.h"
#include "modules/storage/ScsiAnswers.h"

inline simhost::HostDescription describedHost(const std::string& text) {
    Json::Value value;
    std::istringstream stream(text);
    stream >> value;
    return simhost::parseHostDescription(value);
}

inline const simhost::StorageControllers describedControllers(const std::string& text) {
    return describedHost(text).part<simhost::StorageControllers>();
}

// `keys` of a disk without its braces.
inline simhost::Disk describedDisk(const std::string& keys) {
    return describedControllers(R"({"pci":[{"Address":"0000:3b:00.0"}],"storageControllers":[
        {"address":"0000:3b:00.0","ports":[{"disks":[{)" +
                                keys + "}]}]}]}")
        .all.at(0)
        .ports.at(0)
        .disks.at(0);
}

inline simhost::ScsiReply ask(const simhost::Disk& disk, const std::string& command, std::uint32_t room) {
    simhost::ScsiRequest request;
    request.command = command;
    request.direction = simhost::ScsiDirection::fromDevice;
    request.room = room;
    return simhost::answerScsi(disk, request);
}

// Bytes of a literal, zeros included.
template <std::size_t Size>
std::string bytesOf(const unsigned char (&bytes)[Size]) {
    return std::string(reinterpret_cast<const char*>(bytes), Size);
}
