// Reads the keys "raidControllers" and "raidSimulation" of a description.
#pragma once

#include <string>

#include "modules/raid/RaidControllers.h"

namespace simhost {

class HostDescription;
class Section;

inline constexpr std::size_t mostRaidDisks = 256;    // of a controller
inline constexpr std::size_t mostRaidVolumes = 256;  // of a controller
inline constexpr std::size_t mostRaidMembers = 256;  // of a volume

// After the PCI functions are read. A controller's function that they lack is added to them. Throws
// std::runtime_error.
void parseRaidControllers(Section& root, HostDescription& into);

// A volume as an element of "volumes" describes it, for a controller whose disks are known. Throws
// std::runtime_error.
RaidVolume parseRaidVolume(Section& section, const RaidController& controller);

// A disk by its name "252:4" or its serial number, also one that was pulled; null for none.
const RaidDisk* findRaidDisk(const RaidController& controller, const std::string& name);

}  // namespace simhost
