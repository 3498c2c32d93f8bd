#include "modules/storage/StorageTree.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <algorithm>
#include <filesystem>

#include "common/Text.h"
#include "host/HostDescription.h"
#include "host/LayoutFiles.h"
#include "modules/pci/PciFunctions.h"
#include "modules/pci/PciTree.h"
#include "modules/storage/ScsiAnswers.h"

namespace fs = std::filesystem;

namespace simhost {

namespace {

// Those whose entries are links or directories of ours alone.
constexpr const char* ownDirectories[] = {"class/scsi_host", "class/scsi_device", "class/scsi_generic",
                                          "class/block", "block"};

std::string hostName(const StoragePort& port) {
    return "host" + std::to_string(port.host);
}

// Below the directory of its host. Only today's kernels show the ports of a SAS adapter.
std::string belowHost(const StorageController& controller, const StoragePort& port, const Disk& disk) {
    const std::string link = diskLink(port, disk);
    const std::string target = formatText("target%u:%u:%u/", port.host, disk.channel, disk.target);
    if (controller.classic || port.ata) return target + link;
    return formatText("port-%u:%u/end_device-%u:%u/", port.host, disk.target, port.host, disk.target) +
           target + link;
}

}  // namespace

// Below /sys.
struct StorageTree::Places {
    std::string outer;  // the directory that comes and goes with the port
    std::string host;
    std::string classEntry;  // the attributes of /sys/class/scsi_host/hostN
};

StorageTree::StorageTree(std::string root, const HostDescription& host)
    : sys_(std::move(root) + "/sys"), host_(host) {}

StorageTree::Places StorageTree::placesOf(const StorageController& controller,
                                          const StoragePort& port) const {
    const auto& functions = host_.part<PciFunctions>().all;
    const auto isIt = [&controller](const PciFunction& each) { return each.address == controller.address; };
    const auto function = std::find_if(functions.begin(), functions.end(), isIt);
    Places places;
    places.outer = pciDevicePlace(*function, functions) + "/" + hostName(port);
    places.host = places.outer;
    if (port.ata) {
        places.outer = pciDevicePlace(*function, functions) + "/ata" + std::to_string(*port.ata);
        places.host = places.outer + "/" + hostName(port);
    }
    places.classEntry = controller.classic ? "class/scsi_host/" + hostName(port)
                                           : places.host + "/scsi_host/" + hostName(port);
    return places;
}

void StorageTree::file(const std::string& place, const std::string& content) const {
    layOutFile(sys_ + "/" + place, content);
}

void StorageTree::link(const std::string& place, const std::string& target) const {
    const std::string relative = fs::path(target).lexically_relative(fs::path(place).parent_path()).string();
    writeLink(relative, sys_ + "/" + place);
}

void StorageTree::linkDevice(const std::string& place, const std::string& device) const {
    // Below its device a class's directory has the text that the kernel makes, which names the device again.
    if (place.compare(0, device.size() + 1, device + "/") == 0)
        return writeLink("../../../" + fs::path(device).filename().string(), sys_ + "/" + place + "/device");
    link(place + "/device", device);
}

void StorageTree::remove(const std::string& place) const {
    fs::remove_all(sys_ + "/" + place);  // of a link the link alone
}

void StorageTree::layOut() const {
    for (const char* directory : ownDirectories) remove(directory);
    const auto& controllers = host_.part<StorageControllers>().all;
    if (controllers.empty()) return;
    for (const char* directory : ownDirectories) fs::create_directories(sys_ + "/" + directory);
    for (const auto& controller : controllers) addController(controller);
}

void StorageTree::addController(const StorageController& controller) const {
    for (const auto& port : controller.ports)
        if (!controller.gone && !port.gone) addPort(controller, port);
}

void StorageTree::removeController(const StorageController& controller) const {
    for (const auto& port : controller.ports)
        if (!controller.gone && !port.gone) removePort(controller, port);
}

void StorageTree::addPort(const StorageController& controller, const StoragePort& port) const {
    const Places places = placesOf(controller, port);
    fs::create_directories(sys_ + "/" + places.host);
    file(places.classEntry + "/proc_name", controller.driver + "\n");
    file(places.classEntry + "/unique_id", std::to_string(port.host) + "\n");
    if (!controller.firmwareRevision.empty())
        file(places.classEntry + "/firmware_revision", controller.firmwareRevision + "\n");
    if (!controller.boardTracer.empty())
        file(places.classEntry + "/board_tracer", controller.boardTracer + "\n");
    writeState(controller, port);
    linkDevice(places.classEntry, places.host);
    if (!controller.classic) {
        link(places.classEntry + "/subsystem", "class/scsi_host");
        link("class/scsi_host/" + hostName(port), places.classEntry);
    }
    for (const auto& disk : port.disks)
        if (!disk.pulled) addDisk(controller, port, disk);
}

void StorageTree::removePort(const StorageController& controller, const StoragePort& port) const {
    for (const auto& disk : port.disks)
        if (!disk.pulled) removeDisk(controller, port, disk);
    remove("class/scsi_host/" + hostName(port));
    remove(placesOf(controller, port).outer);
}

void StorageTree::writeState(const StorageController& controller, const StoragePort& port) const {
    file(placesOf(controller, port).classEntry + "/state", port.state + "\n");
}

void StorageTree::writeState(const StorageController& controller, const StoragePort& port,
                             const Disk& disk) const {
    file(placesOf(controller, port).host + "/" + belowHost(controller, port, disk) + "/state",
         disk.state + "\n");
}

void StorageTree::addDisk(const StorageController& controller, const StoragePort& port,
                          const Disk& disk) const {
    const std::string device = placesOf(controller, port).host + "/" + belowHost(controller, port, disk);
    const std::string scsiLink = diskLink(port, disk);
    const std::string generic = genericName(disk), block = blockName(disk);
    const std::string inquiry = standardInquiry(disk);
    // Each text fills its field of the inquiry data.
    file(device + "/vendor", inquiry.substr(8, 8) + "\n");
    file(device + "/model", inquiry.substr(16, 16) + "\n");
    file(device + "/rev", inquiry.substr(32, 4) + "\n");
    file(device + "/type", std::to_string(disk.type) + "\n");
    file(device + "/inquiry", inquiry);
    file(device + "/vpd_pg80", serialNumberPage(disk));
    file(device + "/vpd_pg83", identificationPage(disk));
    writeState(controller, port, disk);

    const std::string genericPlace = device + "/scsi_generic/" + generic;
    file(genericPlace + "/dev", formatText("21:%u\n", disk.number));
    linkDevice(genericPlace, device);
    link(device + "/generic", genericPlace);
    link("class/scsi_generic/" + generic, genericPlace);

    const bool hasBlocks = disk.type == 0;
    const std::string blockPlace = controller.classic ? "block/" + block : device + "/block/" + block;
    if (hasBlocks) {
        file(blockPlace + "/size", std::to_string(disk.blocks) + "\n");
        file(blockPlace + "/dev", formatText("8:%u\n", disk.number * 16));
        file(blockPlace + "/queue/rotational", disk.rotation == 1 ? "0\n" : "1\n");
        linkDevice(blockPlace, device);
        link("class/block/" + block, blockPlace);
    }
    if (controller.classic) {
        if (hasBlocks) link(device + "/block:" + block, blockPlace);
        linkDevice("class/scsi_device/" + scsiLink, device);
        return;
    }
    if (hasBlocks) link("block/" + block, blockPlace);
    const std::string classPlace = device + "/scsi_device/" + scsiLink;
    linkDevice(classPlace, device);
    link(classPlace + "/subsystem", "class/scsi_device");
    link("class/scsi_device/" + scsiLink, classPlace);
}

void StorageTree::removeDisk(const StorageController& controller, const StoragePort& port,
                             const Disk& disk) const {
    for (const std::string& place :
         {"class/scsi_device/" + diskLink(port, disk), "class/scsi_generic/" + genericName(disk),
          "class/block/" + blockName(disk), "block/" + blockName(disk)})
        remove(place);
    // With the directories of its target and of its SAS port.
    const std::string below = belowHost(controller, port, disk);
    std::string place = placesOf(controller, port).host + "/" + below;
    remove(place);
    for (auto left = std::count(below.begin(), below.end(), '/'); left > 0; --left) {
        place = fs::path(place).parent_path().string();
        if (fs::is_empty(sys_ + "/" + place)) remove(place);
    }
}

void StorageTree::stamp(std::int64_t seconds, bool hosts) const {
    const timespec now{static_cast<time_t>(seconds), 0};
    const timespec times[] = {now, now};
    ::utimensat(AT_FDCWD, (sys_ + "/class/scsi_device").c_str(), times, 0);
    if (hosts) ::utimensat(AT_FDCWD, (sys_ + "/class/scsi_host").c_str(), times, 0);
}

}  // namespace simhost
