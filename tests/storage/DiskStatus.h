// One disk with a record, asked for its status on a fake host.
#pragma once

#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "storage/StorageFixture.h"

enum class Media { hdd, ssd };

class DiskStatus : public StorageFixture {
protected:
    static constexpr char link[] = "0:0:0:0";  // of the disk

    DiskStatus() {
        tree.addController({});
        tree.addPort({});
    }

    void addSasDisk(Media media, const SasReplies& replies = {}) {
        node = &tree.addDisk({});
        answerAsSas(*node, replies);
        setRecord("SAS", media);
    }
    // An ATA disk of ACS-2 or later.
    void addSataDisk(Media media, const SataReplies& replies = {}) {
        node = &tree.addDisk({});
        answerAsSata(*node, replies);
        setRecord("SATA", media);
        disk.setATAMajorRevision(0x0200);
    }
    // The previous status differs from every one that a rule sets, except Unknown.
    void setRecord(const std::string& protocol, Media media) {
        disk = vokDiskInfo();
        disk.setOSSCSILink(link);
        disk.setOSDeviceName("/dev/sg0");
        disk.setSerialNumber("SERIAL-0001");
        disk.setProtocol(protocol);
        disk.setMediaType(media == Media::ssd ? "SSD" : "HDD");
        disk.setState(VOK_STATE_DOWN);
        disk.setHealth(VOK_HEALTH_UNKNOWN);
        disk.setEventInfoString("before");
    }
    void discover() { controller->discoverPhysicalDiskStatus(disk); }

    std::string status() const {
        return std::string(vokResourceStateMap[disk.getState()]) + "/" +
               vokResourceHealthMap[disk.getHealth()];
    }
    // After asking the disk.
    std::string newStatus() {
        discover();
        return status();
    }
    std::string text() const { return disk.getEventInfoString(); }
    std::vector<FakeScsiBytes> commands() const {
        std::vector<FakeScsiBytes> sent;
        for (const FakeScsiRequest& request : node->requests()) sent.push_back(request.cdb);
        return sent;
    }
    bool warned(const std::string& line) const { return hasLogged(host, "WARNING STOR_CTLR: " + line); }
    long requestedBuilds() const { return countLogged(host, "DEBUG SAS_RM: Invalidating inventory cache."); }

    static inline const std::string running = "Running/OK";
    static inline const std::string predictive = "Predictive failure/Warning";
    static inline const std::string failed = "Failed/Critical";
    static inline const std::string offline = "Offline/Critical";

    static std::string longText(int wear, int current, int max, int errors) {
        return "[SSD Wear percentage (" + std::to_string(wear) + "); Threshold (95)], [Current Temp (" +
               std::to_string(current) + " C); Max Operating Temperature (" + std::to_string(max) +
               " C)], [" + std::to_string(errors) +
               " errors reported in Summary SMART error log / Informational Exceptions log page.]";
    }

    static inline const FakeScsiReply illegalRequest = FakeScsiReply::checkCondition(5, 0x24, 0);
    static inline const FakeScsiReply aborted = FakeScsiReply::checkCondition(11, 0, 0);
    static inline const FakeScsiReply hardwareError = FakeScsiReply::checkCondition(4, 0, 0);

    Held<TestController> controller = newController();
    FakeScsi* node = nullptr;
    vokDiskInfo disk;
};
