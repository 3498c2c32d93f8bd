// The description of a simulated host with RAID controllers of a given size.
#pragma once

#include <json/json.h>
#include <cstdio>
#include <iterator>
#include <string>

namespace raidHost {

// A quarter of the disks of each controller is of each kind, and each four disks that follow one another are
// a volume.
constexpr struct Kind {
    const char* interface;
    const char* media;
    bool hasInquirySerial;
} kinds[] = {{"SAS", "HDD", true}, {"SAS", "SSD", false}, {"SATA", "SSD", true}, {"NVMe", "SSD", true}};
constexpr int kindCount = static_cast<int>(std::size(kinds));
constexpr int disksOfVolume = 4;

inline Json::Value describe(int controllers, int disksEach) {
    Json::Value host(Json::objectValue);
    for (int i = 0; i < controllers; ++i) {
        Json::Value controller(Json::objectValue);
        char address[24];
        std::snprintf(address, sizeof(address), "0000:%02x:00.0", 0x10u + static_cast<unsigned>(i));
        controller["address"] = address;
        controller["vendor"] = controller["subsystemVendor"] = "0x1000";
        controller["device"] = "0x005d";
        controller["subsystemDevice"] = "0x9363";
        for (const Kind& kind : kinds) {
            Json::Value disk(Json::objectValue);
            disk["count"] = disksEach / kindCount;
            disk["interface"] = kind.interface;
            disk["media"] = kind.media;
            if (!kind.hasInquirySerial) disk["inquirySerial"] = "";
            controller["disks"].append(disk);
        }
        for (int first = 0; first < disksEach; first += disksOfVolume) {
            Json::Value volume(Json::objectValue);
            for (int slot = first; slot < first + disksOfVolume; ++slot)
                volume["members"].append("252:" + std::to_string(slot));
            controller["volumes"].append(volume);
        }
        host["raidControllers"].append(controller);
    }
    return host;
}

}  // namespace raidHost
