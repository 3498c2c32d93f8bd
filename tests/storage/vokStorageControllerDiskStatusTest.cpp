#include <fcntl.h>
#include <gtest/gtest.h>
#include <cerrno>
#include <filesystem>
#include <functional>
#include <vector>

#include "storage/DiskStatus.h"
#include "support/FakeFiles.h"

namespace vokStorageControllerDiskStatusTest {
namespace {

// --- the descriptor ---

TEST_F(DiskStatus, OutsideAPassTheNodeIsOpenedAndClosed) {
    addSasDisk(Media::hdd);
    EXPECT_EQ(newStatus(), running);
    EXPECT_EQ(node->opens(), 1);
    EXPECT_EQ(node->openDescriptors(), 0);
    EXPECT_EQ(disk.getOSSGHandle(), -1);
}

TEST_F(DiskStatus, InAPassTheDescriptorOfTheRecordIsUsedAndStaysOpen) {
    addSasDisk(Media::hdd);
    const vokDevice held("/dev/sg0", O_RDWR);
    disk.setOSSGHandle(held.descriptor());
    EXPECT_EQ(newStatus(), running);
    EXPECT_EQ(node->opens(), 1);
    EXPECT_EQ(node->openDescriptors(), 1);
    EXPECT_EQ(disk.getOSSGHandle(), held.descriptor());
}

class ObservedScsi : public FakeScsi {
public:
    using FakeScsi::FakeScsi;

    std::function<void()> onRequest;

    int control(unsigned long request, void* argument) override {
        onRequest();
        return FakeScsi::control(request, argument);
    }
};

TEST_F(DiskStatus, ADiskIsAskedUnderTheLock) {
    addSasDisk(Media::hdd);
    auto& observed = host.add<ObservedScsi>("/dev/sg0");
    answerAsSas(observed);
    std::vector<bool> locked;
    observed.onRequest = [&] { locked.push_back(isLockedFor(*controller)); };
    EXPECT_EQ(newStatus(), running);
    EXPECT_EQ(locked, (std::vector<bool>{true, true}));
    EXPECT_FALSE(isLockedFor(*controller));
}

TEST_F(DiskStatus, TheNodeIsOpenedForReadingAndWritingWithoutWaiting) {
    addSasDisk(Media::hdd);
    tree.setDiskAttribute(link, "scsi_generic/sg/dev", "21:9\n");
    host.root.writeFile("/dev/sg", "");
    discover();
    const auto opened = host.part<FakeFiles>().openedNodes();
    ASSERT_EQ(opened.size(), 1u);
    EXPECT_EQ(opened[0].path, "/dev/sg");
    EXPECT_EQ(opened[0].flags, O_RDWR | O_NONBLOCK);
}

TEST_F(DiskStatus, AnInterruptedOpenIsRepeated) {
    addSasDisk(Media::hdd);
    node->failOpens(1, EINTR);
    EXPECT_EQ(newStatus(), running);
}

TEST_F(DiskStatus, ADiskWithoutAGenericNodeIsOffline) {
    addSasDisk(Media::hdd);
    std::filesystem::remove_all(host.path("/sys/" + tree.devicePath(link) + "/scsi_generic"));
    EXPECT_EQ(newStatus(), offline);
    EXPECT_EQ(text(), "SCSI generic device for SCSI link 0:0:0:0 not available.");
    EXPECT_TRUE(logged("0:0:0:0: Unable to find scsi generic device. Marking disk as offline."));
    EXPECT_EQ(requestedBuilds(), 0);
    EXPECT_EQ(node->opens(), 0);
}

TEST_F(DiskStatus, ADiskThatHasLeftIsOffline) {
    for (const int error : {6, 19}) {
        addSasDisk(Media::hdd);
        node->failOpens(1, error);
        EXPECT_EQ(newStatus(), offline);
        EXPECT_EQ(text(), "Unable to open SCSI generic device /dev/sg0 (SCSI link: 0:0:0:0). Error number: " +
                              std::to_string(error) + ".");
        EXPECT_TRUE(logged("0:0:0:0: Unable to open /dev/sg0: (-1 " + std::to_string(error) +
                           "). Marking disk as offline."));
        tree.removeDisk(link);
    }
    EXPECT_EQ(requestedBuilds(), 2);
}

// Required: any other error sets the state only.
TEST_F(DiskStatus, ADiskThatCannotBeOpenedIsFailedAndKeepsItsHealthAsRequired) {
    for (const int error : {EACCES, EBUSY, ENOENT, EIO}) {
        addSasDisk(Media::hdd);
        node->failOpens(2, error);
        disk.setHealth(VOK_HEALTH_OK);
        EXPECT_EQ(newStatus(), "Failed/OK");
        disk.setHealth(VOK_HEALTH_UNKNOWN);
        EXPECT_EQ(newStatus(), "Failed/Unknown");
        EXPECT_EQ(text(), "Unable to open SCSI generic device /dev/sg0 (SCSI link: 0:0:0:0). Error number: " +
                              std::to_string(error) + ".");
        tree.removeDisk(link);
    }
    EXPECT_EQ(requestedBuilds(), 8);
}

TEST_F(DiskStatus, TheCauseOfAFailedOpenIsAWarningOnceAndNotAtEachPoll) {
    addSasDisk(Media::hdd);
    const std::string denied = "0:0:0:0: Unable to open /dev/sg0: (-1 13). Marking disk as failed.";
    const std::string busy = "0:0:0:0: Unable to open /dev/sg0: (-1 16). Marking disk as failed.";
    const auto failOnce = [this](int error) {
        node->failOpens(1, error);
        // A synchronisation in between marks it as missing.
        disk.setState(VOK_STATE_OFFLINE);
        discover();
    };
    failOnce(EACCES);
    failOnce(EACCES);
    failOnce(EACCES);
    EXPECT_EQ(countLogged(host, "WARNING STOR_CTLR: " + denied), 1);
    EXPECT_EQ(timesLogged(denied), 2);
    failOnce(EBUSY);
    EXPECT_EQ(countLogged(host, "WARNING STOR_CTLR: " + busy), 1);
    discover();  // succeeds
    failOnce(EBUSY);
    EXPECT_EQ(countLogged(host, "WARNING STOR_CTLR: " + busy), 2);
    failOnce(ENXIO);
    failOnce(EBUSY);
    EXPECT_EQ(countLogged(host, "WARNING STOR_CTLR: " + busy), 3);
    const std::string generic = host.path("/sys/" + tree.devicePath(link) + "/scsi_generic");
    std::filesystem::rename(generic, generic + "-away");
    discover();
    std::filesystem::rename(generic + "-away", generic);
    failOnce(EBUSY);
    EXPECT_EQ(countLogged(host, "WARNING STOR_CTLR: " + busy), 4);
}

TEST_F(DiskStatus, AFailedOpenInThePassAndInThePollIsOneWarning) {
    addSasDisk(Media::hdd);
    node->failOpens(2, EACCES);
    std::vector<vokDiskInfo> disks;
    controller->discoverPhysicalDiskInventory(disks);
    discover();
    EXPECT_TRUE(warned("0:0:0:0: Unable to open /dev/sg0: (-1 13). Skipping device."));
    EXPECT_TRUE(logged("0:0:0:0: Unable to open /dev/sg0: (-1 13). Marking disk as failed."));
}

// --- the serial number ---

TEST_F(DiskStatus, ADiskOfAnotherSerialNumberIsOfflineAndNotAsked) {
    addSasDisk(Media::hdd);
    disk.setSerialNumber("OLD-0000");
    EXPECT_EQ(newStatus(), offline);
    EXPECT_EQ(text(),
              "Detected change in disk serial number (Current serial number: SERIAL-0001; Last known serial "
              "number: OLD-0000).");
    EXPECT_TRUE(logged("0:0:0:0: Disk serialnum from sysfs VPD page 80: SERIAL-0001"));
    EXPECT_TRUE(logged("0:0:0:0: Detected change in disk serial number: [SERIAL-0001, OLD-0000]."));
    EXPECT_EQ(requestedBuilds(), 1);
    EXPECT_TRUE(node->requests().empty());
    EXPECT_EQ(node->openDescriptors(), 0);
}

TEST_F(DiskStatus, TheSerialNumberIsComparedWithoutItsBlanks) {
    FakeDisk fake;
    fake.serial = "   SERIAL-0001  ";
    node = &tree.addDisk(fake);
    answerAsSas(*node);
    setRecord("SAS", Media::hdd);
    EXPECT_EQ(newStatus(), running);
}

// Required: a blank page is the empty serial number, although the record may have that of the inquiry data.
TEST_F(DiskStatus, ABlankPage80IsComparedAsAnEmptyTextAsRequired) {
    FakeDisk fake;
    fake.serial = "     ";
    fake.inquirySerial = "SERIAL-0001";
    node = &tree.addDisk(fake);
    answerAsSas(*node);
    setRecord("SAS", Media::hdd);
    EXPECT_EQ(newStatus(), offline);
    EXPECT_EQ(text(),
              "Detected change in disk serial number (Current serial number: ; Last known serial number: "
              "SERIAL-0001).");
    disk.setSerialNumber("");
    EXPECT_EQ(newStatus(), running);
}

TEST_F(DiskStatus, WithoutPage80TheSerialNumberIsNotCompared) {
    FakeDisk fake;
    fake.serial = "";
    fake.inquirySerial = "OTHER";
    node = &tree.addDisk(fake);
    answerAsSas(*node);
    setRecord("SAS", Media::hdd);
    EXPECT_EQ(newStatus(), running);
}

// --- other protocols ---

TEST_F(DiskStatus, ADiskOfAnotherProtocolIsUnknownAndNotAsked) {
    addSasDisk(Media::hdd);
    for (const char* const protocol : {"0xf", "Fibre Channel", "sas", "SATA "}) {
        setRecord(protocol, Media::hdd);
        disk.setHealth(VOK_HEALTH_OK);
        EXPECT_EQ(newStatus(), "Unknown/Unknown");
        EXPECT_EQ(text(), std::string("Unknown transport protocol (") + protocol +
                              ") for disk drive. (SCSI link: 0:0:0:0)");
        EXPECT_TRUE(logged(std::string("0:0:0:0: Unknown disk protocol [") + protocol + "]"));
    }
    EXPECT_TRUE(node->requests().empty());
}

TEST_F(DiskStatus, ADiskWithoutAProtocolIsFailedAndNotAsked) {
    addSasDisk(Media::hdd);
    disk.setProtocol("");
    EXPECT_EQ(newStatus(), failed);
    EXPECT_EQ(text(), "Unable to determine the transport protocol of the disk drive.");
    EXPECT_TRUE(node->requests().empty());
    EXPECT_EQ(node->openDescriptors(), 0);
}

}  // namespace
}  // namespace vokStorageControllerDiskStatusTest
