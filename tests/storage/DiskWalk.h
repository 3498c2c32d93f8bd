// A walk of a controller's disks on a fake host, for the tests of what the walk finds, reads and closes.
#pragma once

#include <gtest/gtest.h>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "storage/StorageFixture.h"

// Synchronises and validates as the test says, by default not at all.
class WalkController : public TestController {
public:
    WalkController(const std::string& location, unsigned int chipset)
        : TestController(chipset, 0x00018086, location, 1, true) {}

    std::function<void()> onSynchronize;
    std::function<bool(vokDiskInfo& disk)> onValidate;

    void synchronizePhysicalDrivesInventory() override {
        if (onSynchronize) onSynchronize();
    }
    bool validatePhysicalDisk(vokDiskInfo& disk) override {
        return onValidate ? onValidate(disk) : vokStorageController::validatePhysicalDisk(disk);
    }

protected:
    ~WalkController() override = default;
};

inline Held<WalkController> walkController(const std::string& location = "0000:3b:00.0",
                                           unsigned int chipset = 0x28268086) {
    return Held<WalkController>(new WalkController(location, chipset));
}

inline FakeDisk ataDisk() {
    FakeDisk disk;
    disk.vendor = "ATA     ";
    disk.model = "SATA DISK       ";
    return disk;
}

class DiskWalk : public StorageFixture {
protected:
    static constexpr char link[] = "0:0:0:0";  // of the disk

    void addPort(SysfsLayout layout = SysfsLayout::current, int ata = 0) {
        tree.layout = layout;
        tree.addController({});
        FakePort port;
        port.ata = ata;
        tree.addPort(port);
    }
    FakeScsi& addSasDisk(const FakeDisk& disk = {}) {
        FakeScsi& node = tree.addDisk(disk);
        answerAsSas(node);
        return node;
    }
    FakeScsi& addAtaDisk(const SataReplies& replies = {}) {
        FakeScsi& node = tree.addDisk(ataDisk());
        answerAsSata(node, replies);
        return node;
    }

    std::vector<vokDiskInfo> walk() {
        std::vector<vokDiskInfo> disks(1);
        EXPECT_EQ(controller->discoverPhysicalDiskInventory(disks), 1);
        return disks;
    }
    // The only disk.
    vokDiskInfo walkOne() {
        const std::vector<vokDiskInfo> disks = walk();
        EXPECT_EQ(disks.size(), 1u);
        return disks.empty() ? vokDiskInfo() : disks[0];
    }
    std::vector<std::string> linksWalked() {
        std::vector<std::string> links;
        for (const vokDiskInfo& disk : walk()) links.push_back(disk.getOSSCSILink());
        return links;
    }
    static std::vector<FakeScsiBytes> commandsTo(const FakeScsi& node) {
        std::vector<FakeScsiBytes> commands;
        for (const FakeScsiRequest& request : node.requests()) commands.push_back(request.cdb);
        return commands;
    }
    void write(const std::string& attribute, const std::string& bytes) {
        tree.setDiskAttribute(link, attribute, bytes);
    }
    void remove(const std::string& attribute) {
        std::filesystem::remove_all(host.path("/sys/" + tree.devicePath(link) + "/" + attribute));
    }

    Held<WalkController> controller = walkController();
};
