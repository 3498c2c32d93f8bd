// The fake host of the storage tests reads like a real one.
#include <gtest/gtest.h>
#include <filesystem>

#include "platform/access/vokDevice.h"
#include "platform/pci/vokSysfsReaders.h"
#include "platform/places/vokPhysLocFactory.h"
#include "storage/StorageFixture.h"
#include "storage/scsi/ScsiDisk.h"
#include "storage/scsi/scsi_info.h"

namespace StorageFixtureTest {
namespace {

namespace fs = std::filesystem;

class StorageHost : public StorageFixture {
protected:
    std::string linkOf(const std::string& path) const { return fs::read_symlink(host.path(path)); }
    static std::string attribute(const std::string& path) { return takenText(get_sysfs_str(path.c_str())); }
};

TEST_F(StorageHost, InTheCurrentLayoutAClassEntryIsALinkWithThePathOfItsDevice) {
    tree.addController({"0000:3b:00.0", "0000:3a:00.0"});
    FakePort port;
    port.host = 3;
    port.ata = 4;
    EXPECT_EQ(tree.addPort(port), "/sys/class/scsi_host/host3");
    tree.addDisk({"3:0:0:0", "sg7"});
    EXPECT_EQ(linkOf("/sys/class/scsi_host/host3"),
              "../../devices/pci0000:00/0000:3a:00.0/0000:3b:00.0/ata4/host3/scsi_host/host3");
    EXPECT_EQ(linkOf("/sys/class/scsi_host/host3/device"), "../../../host3");
    EXPECT_EQ(linkOf("/sys/class/scsi_device/3:0:0:0"),
              "../../devices/pci0000:00/0000:3a:00.0/0000:3b:00.0/ata4/host3/target3:0:0/3:0:0:0/scsi_device/"
              "3:0:0:0");
    EXPECT_EQ(attribute("/sys/class/scsi_host/host3/device/../../vendor"), "0x8086");
}

TEST_F(StorageHost, InTheOlderLayoutTheDeviceOfAClassEntryIsTheLinkWithThePath) {
    tree.layout = SysfsLayout::older;
    tree.addController({});
    tree.addPort({});
    tree.addDisk({});
    EXPECT_FALSE(fs::is_symlink(host.path("/sys/class/scsi_host/host0")));
    EXPECT_EQ(linkOf("/sys/class/scsi_host/host0/device"), "../../../devices/pci0000:00/0000:3b:00.0/host0");
    EXPECT_EQ(linkOf("/sys/class/scsi_device/0:0:0:0/device"),
              "../../../devices/pci0000:00/0000:3b:00.0/host0/target0:0:0/0:0:0:0");
    EXPECT_EQ(attribute("/sys/class/scsi_host/host0/device/../device"), "0x2826");
}

TEST_F(StorageHost, ADiskIsReadInBothLayouts) {
    for (const SysfsLayout layout : {SysfsLayout::older, SysfsLayout::current}) {
        tree.layout = layout;
        tree.addController({});
        tree.addPort({});
        answerAsSas(tree.addDisk({}));
        EXPECT_EQ(takenText(get_ScsiGeneric("0:0:0:0")), "sg0");
        EXPECT_EQ(takenText(get_DiskVendor("0:0:0:0")), "MAKER   ");
        EXPECT_EQ(takenText(get_unit_sn_from_sysfs_vpd_pg80("0:0:0:0")), "SERIAL-0001");
        EXPECT_EQ(get_BlockSize("0:0:0:0"), 2097152u);
        const vokDevice device("/dev/sg0", O_RDWR | O_NONBLOCK);
        EXPECT_EQ(get_scsi_transport_protocol(device.descriptor()), 6);
        EXPECT_EQ(get_sas_health(device.descriptor()), 0);
        EXPECT_EQ(attribute("/sys/class/scsi_host/host0/state"), "running");
        tree.removeDisk("0:0:0:0");
        tree.removePort(0);
        EXPECT_FALSE(host.root.exists("/sys/class/scsi_device/0:0:0:0"));
        EXPECT_FALSE(host.root.exists("/sys/class/scsi_host/host0"));
    }
}

TEST_F(StorageHost, ASataDiskAnswersWhatItsRepliesSay) {
    tree.addController({});
    tree.addPort({});
    SataReplies replies;
    replies.temperature = 41;
    replies.wear = 12;
    replies.errors = 258;
    answerAsSata(tree.addDisk({}), replies);
    const vokDevice device("/dev/sg0", O_RDWR | O_NONBLOCK);
    EXPECT_EQ(takenText(get_sata_DiskRev(device.descriptor())), "FW01    ");
    EXPECT_EQ(get_sata_ssd_wear(device.descriptor()), 12);
    EXPECT_EQ(get_sata_health(device.descriptor()), 258);
    char* page = nullptr;
    std::size_t size = 0;
    EXPECT_EQ(get_sata_temp(device.descriptor(), page, size), 0);
    const vokMallocPtr<char> owned(page);
    int temperature = 0;
    EXPECT_TRUE(sata_parse_current(page, size, temperature));
    EXPECT_EQ(temperature, 41);
}

TEST_F(StorageHost, TheSlotsOfAPlatformHaveLocations) {
    start(firstFamily);
    vokPhysLocInterface& places = *vokPhysLocFactory::getPhysLocInterface();
    EXPECT_EQ(places.getPhysLocForIOSlot("0000:3b:00.0"), slotLocation);
    EXPECT_EQ(places.getPhysLocForChassisDriveSlot("0000:3b:00.0", 2), firstBayLocation);
    EXPECT_EQ(places.checkIfPCICardIsOnBoard("0000:00:17.0"), 2);
}

TEST_F(StorageHost, TheBaysOfTheSecondPlatformHaveLocations) {
    start(secondFamily);
    vokPhysLocInterface& places = *vokPhysLocFactory::getPhysLocInterface();
    EXPECT_EQ(places.getPhysLocForIOSlot("0000:3b:00.0"), slotLocation);
    EXPECT_EQ(places.getPhysLocForChassisDriveSlot("0000:3b:00.0", 2), secondBayLocation);
}

TEST_F(StorageHost, AControllerIsDeletedWithItsLastReference) {
    bool deleted = false;
    auto controller = newController();
    controller->deleted = &deleted;
    controller.reset();
    EXPECT_TRUE(deleted);
}

}  // namespace
}  // namespace StorageFixtureTest
