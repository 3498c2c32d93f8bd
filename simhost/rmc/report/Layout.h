// Which unit sits where: the chassis of a host with their slots and bays, the enclosures behind RAID
// controllers, and what has no place.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "rmc/report/Device.h"

namespace simhost {

// One slot or bay. One that no unit of the inventory names is there because a higher number is.
struct Cell {
    std::string name;  // "Slot 03"
    std::string geoId;
    std::string code;
    std::vector<const Device*> devices;
};

// Cells side by side: the slots of a partition, its bays, an enclosure, the volumes behind controllers.
struct Bank {
    enum class Shape { slots, bays, volumes };
    Shape shape = Shape::slots;
    std::string name;
    std::vector<Cell> cells;
};

struct Chassis {
    std::string name;   // "r001u05"
    std::string words;  // "rack 1, unit 5"
    std::vector<Bank> banks;
};

struct Layout {
    std::vector<Chassis> chassis;  // by name
    std::vector<Bank> enclosures;
    std::vector<const Device*> unplaced;
};

// The layout points into `devices`.
Layout layOutDevices(const std::vector<Device>& devices);

}  // namespace simhost
