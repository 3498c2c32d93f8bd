#include "modules/storage/DisksModule.h"

#include <json/json.h>
#include <filesystem>

#include "host/HostLayout.h"
#include "host/LayoutFiles.h"
#include "host/SimulatedHost.h"
#include "modules/storage/DiskDescription.h"
#include "modules/storage/DiskState.h"
#include "modules/storage/Mdadm.h"

namespace fs = std::filesystem;

namespace simhost {

namespace {

constexpr StandIn binCommands[] = {{"mdadm", runMdadm}};

// Where mdadm lies on a host that has it.
constexpr char mdadmFile[] = "/usr/sbin/mdadm";

bool hasRaid(const StorageControllers& controllers) {
    for (const auto& each : controllers.all)
        if (!each.raidVersion.empty()) return true;
    return false;
}

// Nodes that an earlier host of the same root had.
void removeNodes(const std::string& root) {
    for (const auto& node : fs::directory_iterator(root + "/dev"))
        if (node.is_socket() && node.path().filename().string().compare(0, 2, "sg") == 0)
            fs::remove(node.path());
}

Json::Value shownDisk(const StorageController& controller, const StoragePort& port, const Disk& disk,
                      const SimulatedDisk& device) {
    Json::Value shown;
    shown["link"] = diskLink(port, disk);
    shown["node"] = genericName(disk);
    shown["controller"] = formatPciAddress(controller.address);
    shown["firmwareRaid"] = !controller.raidVersion.empty();
    shown["serial"] = disk.serial;
    shown["transport"] = isSata(disk) ? "SATA" : "SAS";
    shown["media"] = isSolidState(disk) ? "SSD" : "HDD";
    shown["present"] = isPresent(controller, port, disk);
    shown["wear"] = disk.wear;
    shown["temperature"] = disk.temperature;
    shown["commands"] = Json::UInt64(device.commands());
    return shown;
}

class DisksModule : public HostModule {
public:
    void parse(Section& root, const std::string& /*directory*/, HostDescription& into) const override {
        parseStorageControllers(root, into);
    }
    void layOut(const std::string& root, const HostDescription& host,
                const LayoutSources& sources) const override {
        removeNodes(root);
        fs::remove(root + mdadmFile);
        if (!sources.sysDirectory.empty()) return;
        StorageTree(root, host).layOut();
        if (hasRaid(host.part<StorageControllers>())) writeLink("../../bin/mdadm", root + mdadmFile);
    }
    Rows<ControlCommand> controls() const override { return diskCommands(); }
    Rows<StandIn> standIns() const override { return binCommands; }
    std::unique_ptr<ModuleState> start(SimulatedHost& host) const override {
        return std::make_unique<DiskState>(host);
    }
    void show(SimulatedHost& host, Json::Value& shown) const override {
        const DiskState& state = host.state<DiskState>();
        shown["disks"] = Json::arrayValue;
        for (const auto& controller : host.description().part<StorageControllers>().all)
            for (const auto& port : controller.ports)
                for (const auto& disk : port.disks)
                    shown["disks"].append(shownDisk(controller, port, disk, state.deviceOf(disk)));
    }
};

}  // namespace

const HostModule& disksModule() {
    static const DisksModule module;
    return module;
}

}  // namespace simhost
