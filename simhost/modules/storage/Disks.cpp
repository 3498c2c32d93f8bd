#include "modules/storage/Disks.h"

#include "common/Text.h"

namespace simhost {

std::string diskLink(const StoragePort& port, const Disk& disk) {
    return formatText("%u:%u:%u:%u", port.host, disk.channel, disk.target, disk.unit);
}

std::string genericName(const Disk& disk) {
    return "sg" + std::to_string(disk.number);
}

std::string blockName(const Disk& disk) {
    constexpr unsigned letters = 26;
    std::string name;
    for (unsigned left = disk.number + 1; left > 0; left = (left - 1) / letters)
        name.insert(name.begin(), static_cast<char>('a' + (left - 1) % letters));
    return "sd" + name;
}

bool isSata(const Disk& disk) {
    return disk.transport == DiskTransport::sata;
}

bool isSolidState(const Disk& disk) {
    return disk.media == DiskMedia::ssd;
}

bool isPresent(const StorageController& controller, const StoragePort& port, const Disk& disk) {
    return !controller.gone && !port.gone && !disk.pulled;
}

}  // namespace simhost
