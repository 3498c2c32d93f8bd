#include "modules/storage/Mdadm.h"

#include <algorithm>

#include "common/Text.h"
#include "modules/pci/PciFunctions.h"
#include "modules/pci/PciTree.h"
#include "modules/storage/Disks.h"

namespace simhost {

namespace {

std::string line(const std::string& key, const std::string& value) {
    return formatText("%15s : ", key.c_str()) + value + "\n";
}

std::string attached(const StoragePort& port) {
    for (const auto& disk : port.disks)
        if (!port.gone && !disk.pulled) return "/dev/" + blockName(disk) + " (" + disk.serial + ")";
    return "- no device attached -";
}

std::string platformOf(const StorageController& controller, const std::vector<PciFunction>& functions) {
    const auto isIt = [&controller](const PciFunction& each) { return each.address == controller.address; };
    const auto function = std::find_if(functions.begin(), functions.end(), isIt);
    std::string text = line("Platform", "Intel(R) Rapid Storage Technology enterprise");
    text += line("Version", controller.raidVersion);
    text += line("RAID Levels", "raid0 raid1 raid10 raid5");
    text += line("Chunk Sizes", "4k 8k 16k 32k 64k 128k");
    text += line("2TB volumes", "supported");
    text += line("2TB disks", "supported");
    text += line("Max Disks", std::to_string(controller.ports.size()));
    text += line("Max Volumes", "2 per array, 8 per controller");
    text += line("I/O Controller", "/sys/" + pciDevicePlace(*function, functions) + " (SATA)");
    for (std::size_t i = 0; i < controller.ports.size(); ++i)
        text += line("Port" + std::to_string(i), attached(controller.ports[i]));
    return text;
}

}  // namespace

CommandResult runMdadm(const std::vector<std::string>& arguments, const CommandContext& context) {
    std::string text;
    bool known = false;
    for (const auto& controller : context.host.part<StorageControllers>().all) {
        known = known || !controller.raidVersion.empty();
        if (controller.raidVersion.empty() || controller.gone) continue;
        if (!text.empty()) text += "\n";
        text += platformOf(controller, context.host.part<PciFunctions>().all);
    }
    if (!known) return {{127, "", "sh: mdadm: not found\n"}, 0};
    if (arguments != std::vector<std::string>{"--detail-platform"})
        return {{2, "", "mdadm: only --detail-platform is there on this simulated host\n"}, 0};
    if (text.empty()) return {{1, "", "mdadm: no controller with firmware RAID is present\n"}, 0};
    return {{0, text, ""}, 0};
}

}  // namespace simhost
