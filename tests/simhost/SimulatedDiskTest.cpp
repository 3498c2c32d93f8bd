// The disks of a simulated host through the agent's own questions, and what control commands do to them.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <scsi/sg.h>
#include <sys/stat.h>
#include <cerrno>
#include <cstring>

#include "platform/access/vokCommandStream.h"
#include "platform/access/vokMallocPtr.h"
#include "platform/pci/vokSysfsReaders.h"
#include "simhost/SimulatedMachine.h"
#include "storage/scsi/scsi_info.h"
#include "storage/vokSysfsLink.h"

namespace SimulatedDiskTest {
namespace {

using testing::HasSubstr;

// SAS and SATA, rotating and solid-state; sg2 and sg3 are those of a SATA RAID controller.
constexpr char described[] = R"({"pci":[{"Address":"0000:00:17.0","Vendor ID":"0x8086","Device ID":"0x2826"}],
  "storageControllers":[
    {"address":"0000:3b:00.0","vendor":"0x9005","device":"0x028f","subsystemVendor":"0x9005",
     "subsystemDevice":"0x0608","layout":"LAYOUT","ports":[{"disks":[
       {"vendor":"MEV","model":"SAS HDD","serial":"SASHDD01","revision":"A001","rotation":10500,"defects":3,
        "capacityBytes":4000787030016,"temperature":34,"maxTemperature":60,"powerOnHours":1000,"asc":93,"ascq":16},
       {"media":"SSD","serial":"SASSSD01","wear":7,"sense":"descriptor","capacityBytes":1048576}]}]},
    {"address":"0000:00:17.0","raidVersion":"5.3.0.1052","layout":"LAYOUT","ports":[
       {"ata":1,"disks":[{"model":"SATA HDD","serial":"SATAHDD01","revision":"AB01CD02","errors":5,
        "temperature":38,"maxTemperature":65,"powerOnHours":70000}]},
       {"ata":2,"disks":[{"media":"SSD","serial":"SATASSD01","wear":42,"logD0":"MVD0","sense":"descriptor"}]}]}]})";

class DescribedDisks : public SimulatedMachine {
protected:
    ~DescribedDisks() override {
        if (fd >= 0) vokHostAccess().closeDevice(fd);
    }
    void start(const std::string& layout = "today", const std::vector<std::string>& options = {}) {
        std::string text = described;
        for (std::size_t at = 0; (at = text.find("LAYOUT")) != std::string::npos;)
            text.replace(at, 6, layout);
        directory.writeFile("disks.json", text);
        startHost(options, directory.path() + "/disks.json");
        vokSetHostAccess(access());
    }
    int openNode(const std::string& node) {
        errno = 0;
        return vokHostAccess().openDevice(vokHostAccess().path("/dev/" + node), O_RDWR | O_NONBLOCK);
    }
    // The disk that the questions go to from now on.
    void use(const std::string& node) {
        if (fd >= 0) vokHostAccess().closeDevice(fd);
        fd = openNode(node);
        ASSERT_GE(fd, 0) << node;
    }
    std::string disk(std::vector<std::string> words) {
        words.insert(words.begin(), "disk");
        return hostControl(words);
    }
    int refusal(std::vector<std::string> words) {
        words.insert(words.begin(), {VOK_SIMHOST_PROGRAM, "control", "--root", root()});
        return runProgram(words).status;
    }
    static std::string text(char* owned) {
        const vokMallocPtr<char> owner(owned);
        return owner ? owner.get() : "(none)";
    }
    static std::string trimmed(char* owned) {
        std::string found = text(owned);
        found.erase(found.find_last_not_of(' ') + 1);
        return found.substr(std::min(found.find_first_not_of(' '), found.size()));
    }
    bool isThere(const std::string& path) {
        struct stat status {};
        return ::stat(vokHostAccess().path(path).c_str(), &status) == 0;
    }

    int fd = -1;
};

class Questions : public DescribedDisks {
protected:
    void expectIdentity(const char* vendor, const char* model, const char* revision, const char* serial) {
        const vokMallocPtr<unsigned char> inquiry(get_identify_info(fd));
        ASSERT_TRUE(inquiry);
        EXPECT_EQ(text(inq_parse_vendor(inquiry.get())), vendor);
        EXPECT_EQ(text(inq_parse_prodID(inquiry.get())), model);
        EXPECT_EQ(trimmed(inq_parse_rev(inquiry.get())).substr(0, std::strlen(revision)), revision);
        EXPECT_EQ(inq_parse_type(inquiry.get()), 0);
        EXPECT_EQ(trimmed(get_unit_sn_from_device_vpd_pg80(fd)), serial);
    }
    void expectNoAtaCommands() {
        unsigned char bytes[512];
        std::size_t size = sizeof(bytes);
        EXPECT_EQ(get_ata_identify_device_info(fd, bytes, size), VOK_SCSI_ILLEGAL_REQUEST);
        EXPECT_EQ(get_sata_health(fd), VOK_SCSI_ILLEGAL_REQUEST);
        EXPECT_EQ(get_sata_ssd_wear(fd), VOK_SCSI_ILLEGAL_REQUEST);
    }
    void expectTemperature(int current, int most) {
        const vokMallocPtr<unsigned char> page(get_sas_temp(fd));
        ASSERT_TRUE(page);
        EXPECT_EQ(sas_parse_current(page.get()), current);
        EXPECT_EQ(sas_parse_mcot(page.get()), most);
        EXPECT_EQ(get_unit_temp(fd), current);
    }
    void expectAtaTemperature(int current, int most) {
        char* bytes = nullptr;
        std::size_t size = 0;
        EXPECT_EQ(get_sata_temp(fd, bytes, size), 0);
        const vokMallocPtr<char> page(bytes);
        int value = 0;
        EXPECT_EQ(size, 512u);
        EXPECT_TRUE(sata_parse_current(page.get(), size, value));
        EXPECT_EQ(value, current);
        EXPECT_TRUE(sata_parse_mcot(page.get(), size, value));
        EXPECT_EQ(value, most);
    }
};

TEST_F(Questions, ToASasDiskThatRotates) {
    start();
    use("sg0");
    expectIdentity("MEV", "SAS HDD", "A001", "SASHDD01");
    EXPECT_EQ(text(get_unit_sn_from_device_inquiry(fd)), "SASHDD01");
    expectTemperature(34, 60);
    EXPECT_EQ(get_sas_health(fd), 0x5D10);
    EXPECT_EQ(get_sas_ssd_wear(fd), VOK_SCSI_ILLEGAL_REQUEST);
    EXPECT_EQ(get_sas_pwron(fd), 1000);
    EXPECT_EQ(get_scsi_disk_medium_rotation_rate(fd), 10500);
    EXPECT_EQ(get_unit_speed(fd), 0x0429) << "10500 with its bytes exchanged";
    EXPECT_EQ(is_unit_ssd(fd), 0);
    EXPECT_EQ(is_unit_smart(fd), 0);
    EXPECT_STREQ(SCSI_Protocol_Identifiers[get_scsi_transport_protocol(fd)], "SAS");
    EXPECT_EQ(get_disk_capacity(fd), 0u) << "READ CAPACITY (16) with an allocation length of 0 has no data";
    EXPECT_EQ(get_defect_data_size(fd, 0), 3);
    EXPECT_EQ(get_defect_data_size(fd, 5), 3);
    EXPECT_EQ(get_defect_data_size(fd, 1), VOK_SCSI_ILLEGAL_REQUEST);
    expectNoAtaCommands();
}

TEST_F(Questions, ToASolidStateSasDisk) {
    start();
    use("sg1");
    expectIdentity("MEV", "MEV0900ES3M", "MV01", "SASSSD01");
    expectTemperature(31, 70);
    EXPECT_EQ(get_sas_health(fd), 0);
    EXPECT_EQ(get_sas_ssd_wear(fd), 7);
    EXPECT_EQ(get_scsi_disk_medium_rotation_rate(fd), 1);
    EXPECT_EQ(get_unit_speed(fd), VOK_SCSI_ILLEGAL_REQUEST);
    EXPECT_EQ(is_unit_ssd(fd), 1);
    EXPECT_STREQ(SCSI_Protocol_Identifiers[get_scsi_transport_protocol(fd)], "SAS");
    EXPECT_EQ(get_disk_capacity(fd), 2047u);
    EXPECT_EQ(get_defect_data_size(fd, 0), 0);
    expectNoAtaCommands();
}

TEST_F(Questions, ToASataDiskThatRotates) {
    start();
    use("sg2");
    expectIdentity("ATA", "SATA HDD", "CD02", "SATAHDD01");
    unsigned char bytes[512];
    std::size_t size = sizeof(bytes);
    EXPECT_EQ(get_ata_identify_device_info(fd, bytes, size), 0);
    EXPECT_EQ(size, 512u);
    EXPECT_EQ(bytes[434] | bytes[435] << 8, 7200);
    EXPECT_EQ(text(get_sata_DiskRev(fd)), "AB01CD02");
    expectAtaTemperature(38, 65);
    int hours = 0;
    EXPECT_EQ(get_sata_pwron(fd, hours), 0);
    EXPECT_EQ(hours, 70000);
    EXPECT_EQ(get_sata_health(fd), 5);
    EXPECT_EQ(get_sata_ssd_wear(fd), 0) << "a page of zeros";
    EXPECT_EQ(get_sata_log_vpd_pgD0(fd, bytes, size), VOK_SCSI_ABORTED_COMMAND);
    EXPECT_EQ(get_sata_sct_stat(fd), nullptr) << "log 0Eh is none of SCT";
    EXPECT_EQ(get_scsi_transport_protocol(fd), VOK_SCSI_ILLEGAL_REQUEST);
    EXPECT_EQ(get_scsi_disk_medium_rotation_rate(fd), 7200);
    EXPECT_EQ(get_defect_data_size(fd, 0), VOK_SCSI_ILLEGAL_REQUEST);
    EXPECT_EQ(text(get_unit_sn_from_device_inquiry(fd)), "") << "it is not in the inquiry data";
}

TEST_F(Questions, ToASolidStateSataDisk) {
    start();
    use("sg3");
    expectAtaTemperature(31, 70);
    EXPECT_EQ(get_sata_ssd_wear(fd), 42);
    EXPECT_EQ(get_sata_health(fd), 0);
    EXPECT_EQ(is_unit_ssd(fd), 1);
    unsigned char bytes[512] = {};
    std::size_t size = 0;
    EXPECT_EQ(get_sata_log_vpd_pgD0(fd, bytes, size), 0);
    EXPECT_EQ(size, 512u);
    EXPECT_EQ(std::memcmp(bytes + 24, "MVD0", 4), 0);
}

class QuestionsToSysfs : public DescribedDisks, public testing::WithParamInterface<const char*> {};

INSTANTIATE_TEST_SUITE_P(Layout, QuestionsToSysfs, testing::Values("today", "classic"),
                         [](const auto& layout) { return layout.param; });

TEST_P(QuestionsToSysfs, TellTheSameInBothLayouts) {
    start(GetParam());
    const char* const sata = "1:0:0:0";
    EXPECT_EQ(get_DiskType(sata), 0u);
    EXPECT_TRUE(is_direct_access_block_device(sata));
    EXPECT_EQ(text(get_DiskModel(sata)), "SATA HDD        ");
    EXPECT_EQ(text(get_DiskVendor(sata)), "ATA     ");
    EXPECT_EQ(text(get_sas_DiskRev(sata)), "CD02");
    EXPECT_EQ(text(get_DiskState(sata)), "running");
    EXPECT_EQ(text(get_ScsiGeneric(sata)), "sg2");
    EXPECT_EQ(text(get_unit_sn_from_sysfs_vpd_pg80(sata)), "SATAHDD01           ");
    EXPECT_EQ(text(get_unit_sn_from_sysfs_inquiry("0:0:0:0")), "SASHDD01");
    EXPECT_EQ(get_BlockSize(sata), 7814037168u);
    EXPECT_EQ(get_BlockSize("0:0:1:0"), 2048u);
    EXPECT_EQ(std::string(get_durableName_from_block_vpd_pg83("sda").text).substr(0, 8), "5000C500");
    EXPECT_STREQ(get_durableName_from_block_vpd_pg83("sdc").text, "53415441484444303120202020202020");
}

TEST_P(QuestionsToSysfs, LeadToThePciFunctionInBothLayouts) {
    start(GetParam());
    EXPECT_THAT(vokDeviceLink("/sys/class/scsi_device/1:0:0:0", "/0000:00:17.0/"),
                HasSubstr("/pci0000:00/0000:00:17.0/ata1/host1/target1:0:0/1:0:0:0"));
    EXPECT_THAT(vokDeviceLink("/sys/class/scsi_device/0:0:0:0", "/0000:3b:00.0/"),
                HasSubstr("/pci0000:3b/0000:3b:00.0/host0/"));
    EXPECT_THAT(vokResolvedPath("/sys/class/scsi_host/host1/device"),
                testing::EndsWith("/devices/pci0000:00/0000:00:17.0/ata1/host1"));
    EXPECT_EQ(get_sysfs_shex("/sys/class/scsi_host/host0/device/../device"), 0x028Fu);
    EXPECT_EQ(get_sysfs_shex("/sys/class/scsi_host/host1/device/../../device"), 0x2826u);
}

class DiskControl : public DescribedDisks {};

TEST_F(DiskControl, WearsAndHeatsADiskAndFailsItsHealth) {
    start();
    use("sg3");
    EXPECT_EQ(disk({"sg3", "wear", "96"}), "ok\n");
    EXPECT_EQ(get_sata_ssd_wear(fd), 96);
    disk({"SATASSD01", "errors", "2"});
    EXPECT_EQ(get_sata_health(fd), 2);
    disk({"2:0:0:0", "page", "ata:04/07", "unsupported"});
    EXPECT_EQ(get_sata_ssd_wear(fd), VOK_SCSI_ABORTED_COMMAND);
    disk({"2:0:0:0", "page", "ata:04/07", "supported"});
    EXPECT_EQ(get_sata_ssd_wear(fd), 96);
    use("sg0");
    disk({"sg0", "health", "0"});
    EXPECT_EQ(get_sas_health(fd), 0);
    disk({"sg0", "health", "0x5D", "0x32"});
    EXPECT_EQ(get_sas_health(fd), 0x5D32);
    disk({"sg0", "temperature", "71"});
    EXPECT_EQ(get_unit_temp(fd), 71);
    disk({"sg0", "defects", "9"});
    EXPECT_EQ(get_defect_data_size(fd, 4), 9);
    disk({"sg0", "hours", "2000"});
    EXPECT_EQ(get_sas_pwron(fd), 2000);
}

TEST_F(DiskControl, PulledItIsGoneEverywhereAndReturnsAtItsPlace) {
    start();
    use("sg2");
    disk({"sg2", "pull"});
    EXPECT_EQ(get_sata_health(fd), VOK_SCSI_IOCTL_FAILED);
    EXPECT_EQ(openNode("sg2"), -1);
    EXPECT_EQ(errno, ENOENT);
    EXPECT_FALSE(isThere("/sys/class/scsi_device/1:0:0:0"));
    EXPECT_FALSE(isThere("/sys/block/sdc"));
    EXPECT_TRUE(isThere("/sys/class/scsi_host/host1"));
    EXPECT_FALSE(hostState()["disks"][2]["present"].asBool());
    disk({"sg2", "return"});
    use("sg2");
    EXPECT_EQ(get_sata_health(fd), 5);
    EXPECT_EQ(text(get_ScsiGeneric("1:0:0:0")), "sg2");
}

TEST_F(DiskControl, ReplacedItHasAnotherSerialNumberEverywhere) {
    start();
    disk({"sg2", "replace", "NEWDISK7"});
    use("sg2");
    EXPECT_EQ(trimmed(get_unit_sn_from_device_vpd_pg80(fd)), "NEWDISK7");
    EXPECT_EQ(trimmed(get_unit_sn_from_sysfs_vpd_pg80("1:0:0:0")), "NEWDISK7");
    EXPECT_EQ(hostState()["disks"][2]["serial"].asString(), "NEWDISK7");
    EXPECT_EQ(disk({"NEWDISK7", "pull"}), "ok\n");
    disk({"sg2", "replace", "THIRD"});
    EXPECT_TRUE(hostState()["disks"][2]["present"].asBool()) << "what replaces a pulled disk is there";
}

TEST_F(DiskControl, HangingItAnswersNothingUntilTheTimeOut) {
    start("today", {"--speed", "1000"});
    use("sg0");
    disk({"sg0", "hang"});
    unsigned char command[6] = {};
    sg_io_hdr_t header{};
    header.interface_id = 'S';
    header.cmdp = command;
    header.cmd_len = sizeof(command);
    header.dxfer_direction = SG_DXFER_NONE;
    header.timeout = 60000;
    ASSERT_EQ(vokHostAccess().ioctlDevice(fd, SG_IO, &header), 0);
    EXPECT_EQ(header.host_status, 3);  // DID_TIME_OUT
    EXPECT_GE(header.duration, 59900u);
    EXPECT_EQ(get_sas_health(fd), VOK_SCSI_COMMAND_FAILED);
    disk({"sg0", "answer"});
    EXPECT_EQ(get_sas_health(fd), 0x5D10);
}

TEST_F(DiskControl, OpeningFailsWithTheErrorNumberThatWasAskedFor) {
    start();
    use("sg1");
    disk({"sg1", "open", "fail", "19"});
    EXPECT_EQ(openNode("sg1"), -1);
    EXPECT_EQ(errno, ENODEV);
    EXPECT_EQ(get_sas_ssd_wear(fd), 7) << "what is open stays open";
    disk({"sg1", "open", "fail", "5"});
    EXPECT_EQ(openNode("sg1"), -1);
    EXPECT_EQ(errno, EIO);
    disk({"sg1", "pull"});
    EXPECT_EQ(openNode("sg1"), -1);
    EXPECT_EQ(errno, ENOENT);
    disk({"sg1", "return"});
    EXPECT_EQ(openNode("sg1"), -1);
    EXPECT_EQ(errno, EIO);
    disk({"sg1", "open", "normal"});
    use("sg1");
    EXPECT_EQ(get_sas_ssd_wear(fd), 7);
}

TEST_F(DiskControl, APortAndAControllerGoWithTheirDisksAndComeBack) {
    start();
    hostControl({"scsi-host", "1", "remove"});
    EXPECT_FALSE(isThere("/sys/class/scsi_host/host1"));
    EXPECT_FALSE(isThere("/dev/sg2"));
    EXPECT_TRUE(isThere("/dev/sg3"));
    hostControl({"storage-controller", "0000:00:17.0", "remove"});
    EXPECT_FALSE(isThere("/sys/class/scsi_host/host2"));
    EXPECT_FALSE(isThere("/dev/sg3"));
    EXPECT_TRUE(isThere("/sys/bus/pci/devices/0000:00:17.0/vendor")) << "the function stays";
    hostControl({"storage-controller", "0000:00:17.0", "return"});
    EXPECT_TRUE(isThere("/dev/sg3"));
    EXPECT_FALSE(isThere("/dev/sg2")) << "its port is still gone";
    hostControl({"scsi-host", "1", "state", "recovery"});
    hostControl({"scsi-host", "1", "return"});
    use("sg2");
    EXPECT_EQ(get_sata_health(fd), 5);
    EXPECT_EQ(directory.readFile("it's a \"host\"/sys/class/scsi_host/host1/state"), "recovery\n");
    hostControl({"scsi-host", "1", "state", "running"});
    EXPECT_EQ(directory.readFile("it's a \"host\"/sys/class/scsi_host/host1/state"), "running\n");
}

TEST_F(DiskControl, TheStateOfADiskIsAText) {
    start();
    disk({"sg0", "state", "offline"});
    EXPECT_EQ(text(get_DiskState("0:0:0:0")), "offline");
    disk({"sg0", "pull"});
    disk({"sg0", "state", "blocked"});
    disk({"sg0", "return"});
    EXPECT_EQ(text(get_DiskState("0:0:0:0")), "blocked");
}

TEST_F(DiskControl, TheDirectoriesChangeAtTheHostsTimeAndOnlyThoseThatDo) {
    start("today", {"--start-time", "1700000000", "--speed", "0.001"});
    const auto modified = [](const char* place) {
        struct stat status {};
        EXPECT_EQ(::stat(vokHostAccess().path(place).c_str(), &status), 0);
        return status.st_mtime;
    };
    EXPECT_EQ(modified("/sys/class/scsi_host"), 1700000000);
    hostControl({"clock", "jump", "+60"});
    disk({"sg0", "wear", "1"});
    EXPECT_EQ(modified("/sys/class/scsi_device"), 1700000000);
    disk({"sg0", "pull"});
    EXPECT_EQ(modified("/sys/class/scsi_device"), 1700000060);
    EXPECT_EQ(modified("/sys/class/scsi_host"), 1700000000);
    hostControl({"clock", "jump", "+60"});
    hostControl({"scsi-host", "1", "remove"});
    EXPECT_EQ(modified("/sys/class/scsi_host"), 1700000120);
}

TEST_F(DiskControl, CommandsThatAreWrongChangeNothing) {
    start();
    EXPECT_EQ(refusal({"disk", "sg9", "pull"}), 2);
    EXPECT_EQ(refusal({"disk", "sg0", "explode"}), 2);
    EXPECT_EQ(refusal({"disk", "sg0", "wear", "256"}), 2);
    EXPECT_EQ(refusal({"disk", "sg0", "wear", "1", "2"}), 2);
    EXPECT_EQ(refusal({"disk", "sg0", "page", "log:0d", "gone"}), 2);
    EXPECT_EQ(refusal({"disk", "sg0", "page", "log", "unsupported"}), 2);
    EXPECT_EQ(refusal({"disk", "sg0", "replace", "a serial number of 21"}), 2);
    EXPECT_EQ(refusal({"disk", "sg0", "open", "fail", "0"}), 2);
    EXPECT_EQ(refusal({"scsi-host", "77", "remove"}), 2);
    EXPECT_EQ(refusal({"scsi-host", "1", "vanish"}), 2);
    EXPECT_EQ(refusal({"storage-controller", "0000:99:00.0", "remove"}), 2);
    EXPECT_EQ(refusal({"storage-controller", "99:00.0", "remove"}), 2);
    for (const auto& each : hostState()["disks"]) EXPECT_TRUE(each["present"].asBool());
    use("sg0");
    EXPECT_EQ(get_sas_health(fd), 0x5D10);
}

TEST_F(DiskControl, AWrongNameIsRefusedWithTheRightOnes) {
    start();
    const auto messageOf = [this](std::vector<std::string> words) {
        words.insert(words.begin(), {VOK_SIMHOST_PROGRAM, "control", "--root", root()});
        return runProgram(words).output;
    };
    EXPECT_THAT(messageOf({"disk", "sg9", "pull"}), HasSubstr("no disk \"sg9\"; it has "));
    EXPECT_THAT(messageOf({"disk", "sg9", "pull"}), HasSubstr("(sg0, "));
    EXPECT_THAT(messageOf({"disks", "sg0", "pull"}),
                HasSubstr("no command \"disks\"; the commands are help, show, "));
    EXPECT_THAT(
        messageOf({"disk", "sg0", "explode"}),
        HasSubstr("disk: \"explode\" is none of wear, temperature, errors, defects, hours, health, page, "
                  "replace, pull, return, hang, answer, open, state"));
    EXPECT_THAT(messageOf({"scsi-host", "77", "remove"}), HasSubstr("no SCSI host 77; it has "));
    EXPECT_THAT(messageOf({"scsi-host", "1", "vanish"}),
                HasSubstr("\"vanish\" is none of remove, return, state"));
    EXPECT_THAT(messageOf({"storage-controller", "0000:99:00.0", "remove"}),
                HasSubstr("no storage controller at 0000:99:00.0; it has 0000:"));
    EXPECT_THAT(messageOf({"storage-controller", "99:00.0", "remove"}),
                HasSubstr("storage-controller: \"99:00.0\" is not of the form"));
}

class Mdadm : public DescribedDisks {
protected:
    static std::string outputOf(const std::string& command) {
        FILE* const stream = vokHostAccess().openCommand(command);
        std::string output;
        for (int c; (c = std::fgetc(stream)) != EOF;) output += static_cast<char>(c);
        vokHostAccess().closeCommand(stream);
        return output;
    }
};

TEST_F(Mdadm, ReportsTheRaidOfTheFirmware) {
    start();
    disk({"sg3", "pull"});
    EXPECT_EQ(outputOf(vokHostAccess().commandPath("/usr/sbin/mdadm") + " --detail-platform"),
              "       Platform : Intel(R) Rapid Storage Technology enterprise\n"
              "        Version : 5.3.0.1052\n"
              "    RAID Levels : raid0 raid1 raid10 raid5\n"
              "    Chunk Sizes : 4k 8k 16k 32k 64k 128k\n"
              "    2TB volumes : supported\n"
              "      2TB disks : supported\n"
              "      Max Disks : 2\n"
              "    Max Volumes : 2 per array, 8 per controller\n"
              " I/O Controller : /sys/devices/pci0000:00/0000:00:17.0 (SATA)\n"
              "          Port0 : /dev/sdc (SATAHDD01)\n"
              "          Port1 : - no device attached -\n");
    hostControl({"storage-controller", "0000:00:17.0", "remove"});
    EXPECT_EQ(vokHostAccess().runCommand("mdadm --detail-platform 2> " +
                                         vokHostAccess().commandPath("/dev/null")) >>
                  8,
              1);
    EXPECT_EQ(
        vokHostAccess().runCommand("mdadm --create 2> " + vokHostAccess().commandPath("/dev/null")) >> 8, 2);
}

TEST_F(Mdadm, IsNotOnAHostWithoutSuchAController) {
    startHost({}, "bare");
    vokSetHostAccess(access());
    EXPECT_FALSE(isThere("/usr/sbin/mdadm"));
    EXPECT_FALSE(isThere("/sys/class/scsi_host"));
    EXPECT_EQ(vokHostAccess().runCommand("mdadm --detail-platform 2> " +
                                         vokHostAccess().commandPath("/dev/null")) >>
                  8,
              127);
}

}  // namespace
}  // namespace SimulatedDiskTest
