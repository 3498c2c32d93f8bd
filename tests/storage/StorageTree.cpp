#include "storage/StorageTree.h"

#include <cstdio>
#include <filesystem>

namespace fs = std::filesystem;

namespace {

std::string hexadecimal(unsigned int number) {
    char text[16];
    std::snprintf(text, sizeof(text), "0x%04x\n", number);
    return text;
}

// VPD page 80h as the disk sends it.
std::string serialPage(const std::string& serial) {
    std::string page("\x00\x80\x00", 3);
    page += static_cast<char>(serial.size());
    return page + serial;
}

// Standard inquiry data with the serial number from byte 36 on.
std::string inquiryData(const std::string& serial) {
    std::string data(56, '\0');
    data[4] = 91;
    return data.replace(36, serial.size(), serial);
}

}  // namespace

void StorageTree::addController(const FakeController& controller) {
    function_ = "devices/pci0000:00/" + (controller.bridge.empty() ? "" : controller.bridge + "/") +
                controller.location;
    const std::string directory = "/sys/" + function_;
    host_.root.writeFile(directory + "/vendor", hexadecimal(controller.chipset & 0xFFFF));
    host_.root.writeFile(directory + "/device", hexadecimal(controller.chipset >> 16));
    host_.root.writeFile(directory + "/subsystem_vendor", hexadecimal(controller.board & 0xFFFF));
    host_.root.writeFile(directory + "/subsystem_device", hexadecimal(controller.board >> 16));
}

std::string StorageTree::addPort(const FakePort& port) {
    const std::string name = "host" + std::to_string(port.host);
    ports_[port.host] = function_ + "/" + (port.ata > 0 ? "ata" + std::to_string(port.ata) + "/" : "") + name;
    addClassEntry("scsi_host", name, ports_[port.host]);
    setPortState(port.host, port.state);
    setPortAttribute(port.host, "proc_name", port.driver + "\n");
    return "/sys/class/scsi_host/" + name;
}

FakeScsi& StorageTree::addDisk(const FakeDisk& disk) {
    const std::string device = devicePath(disk.link);
    addClassEntry("scsi_device", disk.link, device);
    setDiskAttribute(disk.link, "vendor", disk.vendor + "\n");
    setDiskAttribute(disk.link, "model", disk.model + "\n");
    setDiskAttribute(disk.link, "rev", disk.revision + "\n");
    setDiskAttribute(disk.link, "type", disk.type + "\n");
    setDiskAttribute(disk.link, "scsi_generic/" + disk.generic + "/dev", "21:0\n");
    if (!disk.serial.empty()) setDiskAttribute(disk.link, "vpd_pg80", serialPage(disk.serial));
    if (!disk.inquirySerial.empty()) setDiskAttribute(disk.link, "inquiry", inquiryData(disk.inquirySerial));
    const std::string directory = layout == SysfsLayout::current ? "block/" : "block:";
    if (!disk.block.empty())
        setDiskAttribute(disk.link, directory + disk.block + "/size", std::to_string(disk.blocks) + "\n");
    return host_.add<FakeScsi>("/dev/" + disk.generic);
}

std::string StorageTree::devicePath(const std::string& link) const {
    const std::string target = "target" + link.substr(0, link.rfind(':'));
    return devicePath(std::stoi(link)) + "/" + target + "/" + link;
}

void StorageTree::setPortState(int host, const std::string& state) const {
    setPortAttribute(host, "state", state + "\n");
}

void StorageTree::setPortAttribute(int host, const std::string& attribute, const std::string& text) const {
    host_.root.writeFile("/sys/class/scsi_host/host" + std::to_string(host) + "/" + attribute, text);
}

void StorageTree::setDiskAttribute(const std::string& link, const std::string& attribute,
                                   const std::string& bytes) const {
    host_.root.writeFile("/sys/" + devicePath(link) + "/" + attribute, bytes);
}

void StorageTree::removePort(int host) {
    removeClassEntry("scsi_host", "host" + std::to_string(host), ports_.at(host));
    ports_.erase(host);
}

void StorageTree::removeDisk(const std::string& link) {
    removeClassEntry("scsi_device", link, devicePath(link));
}

void StorageTree::addClassEntry(const std::string& className, const std::string& entry,
                                const std::string& device) {
    const fs::path sys = host_.path("/sys");
    const fs::path classEntry = sys / "class" / className / entry;
    fs::create_directories(classEntry.parent_path());
    fs::create_directories(sys / device);
    if (layout == SysfsLayout::older) {
        fs::create_directories(classEntry);
        fs::create_symlink("../../../" + device, classEntry / "device");
        return;
    }
    const fs::path ownDirectory = sys / device / className / entry;
    fs::create_directories(ownDirectory);
    fs::create_symlink("../../../" + fs::path(device).filename().string(), ownDirectory / "device");
    fs::create_symlink("../../" + device + "/" + className + "/" + entry, classEntry);
}

void StorageTree::removeClassEntry(const std::string& className, const std::string& entry,
                                   const std::string& device) {
    const fs::path sys = host_.path("/sys");
    fs::remove_all(sys / "class" / className / entry);
    fs::remove_all(sys / device);
}
