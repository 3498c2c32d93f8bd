// --probe-disk: the questions to one disk, on a fake host.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <scsi/sg.h>
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "daemon/vokdDiskProbe.h"
#include "support/FakeHost.h"
#include "support/FakeScsi.h"
#include "support/LoggedLines.h"

namespace DiskProbeTest {

namespace fs = std::filesystem;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

namespace {

FakeScsiBytes filled(std::size_t size, std::initializer_list<std::pair<std::size_t, int>> values) {
    FakeScsiBytes bytes(size);
    for (const auto& [at, value] : values) bytes.at(at) = static_cast<unsigned char>(value);
    return bytes;
}

FakeScsiBytes withText(FakeScsiBytes bytes, std::size_t at, const std::string& text) {
    for (std::size_t i = 0; i < text.size(); ++i) bytes.at(at + i) = static_cast<unsigned char>(text[i]);
    return bytes;
}

// Texts of IDENTIFY DEVICE: the first character of each word is in its second byte.
FakeScsiBytes withWords(FakeScsiBytes bytes, std::size_t word, const std::string& text) {
    for (std::size_t i = 0; i < text.size(); ++i)
        bytes.at(2 * word + (i ^ 1)) = static_cast<unsigned char>(text[i]);
    return bytes;
}

const FakeScsiBytes inquiry = {0x12, 0, 0, 0, 0xFC, 0};
const FakeScsiBytes serialPage = {0x12, 1, 0x80, 0, 0xFC, 0};
const FakeScsiBytes characteristics = {0x12, 1, 0xB1, 0, 0xFC, 0};
const FakeScsiBytes healthPage = {0x4D, 0, 0x6F, 0, 0, 0, 0, 0, 0x62, 0};
const FakeScsiBytes wearPage = {0x4D, 0, 0x51, 0, 0, 0, 0, 0, 0x10, 0};
const FakeScsiBytes identify = {0x85, 8, 0x0E, 0, 0, 0, 1, 0, 0, 0, 0, 0, 0, 0, 0xEC, 0};
const FakeScsiBytes temperaturePage = {0x4D, 0, 0x4D, 0, 0, 0, 0, 0, 0x10, 0};

FakeScsiBytes statistics(int page) {
    return {0x85, 9, 0x0E, 0, 0, 0, 1, 0, 4, 0, static_cast<unsigned char>(page), 0, 0, 0, 0x2F, 0};
}

FakeScsiBytes defects(int format) {
    return {0x37, 0, static_cast<unsigned char>(format | 8), 0, 0, 0, 0, 0x10, 0, 0};
}

class DiskProbe : public testing::Test {
protected:
    DiskProbe() {
        logEverything(host);
        host.root.writeFile("/dev/sg3", "");
    }
    void attribute(const std::string& name, const std::string& content) const {
        host.root.writeFile("/sys/class/scsi_device/2:0:1:0/device/" + name, content);
    }
    void inSysfs() const { attribute("scsi_generic/sg3/dev", "21:3\n"); }
    void sasDisk();
    void sataDisk();

    int probe(const std::string& node = "/dev/sg3") {
        std::ostringstream out;
        std::ostringstream errors;
        const int status = vokdProbeDisk(node, out, errors);
        printed = out.str();
        said = errors.str();
        return status;
    }
    // The answer of the row with this name and source.
    std::string answer(const std::string& name, const std::string& source) const {
        constexpr std::size_t sourceColumn = 35;
        constexpr std::size_t answerColumn = 55;
        std::istringstream lines(printed);
        for (std::string line; std::getline(lines, line);)
            if (line.rfind("  " + name + "  ", 0) == 0 &&
                line.compare(sourceColumn, source.size() + 2, source + "  ") == 0)
                return line.substr(answerColumn);
        return "(no row)";
    }

    FakeHost host;
    FakeScsi& disk = host.add<FakeScsi>("/dev/sg3");
    std::string printed;
    std::string said;
};

void DiskProbe::sasDisk() {
    attribute("scsi_generic/sg3/dev", "21:3\n");
    attribute("type", "0\n");
    attribute("vendor", "SEAGATE \n");
    attribute("model", "ST1200MM0099    \n");
    attribute("rev", "ST31\n");
    attribute("state", "running\n");
    attribute("vpd_pg80", std::string("\0\x80\0\x08", 4) + "WFK0AB1C");
    attribute("block/sdb/size", "2344225968\n");
    host.root.writeFile("/sys/block/sdb/device/vpd_pg83",
                        std::string("\0\x83\0\x14\x01\x03\0\x10", 8) + std::string(16, '\xAB'));
    host.root.writeFile("/sys/class/scsi_host/host2/proc_name", "mpt3sas\n");

    const FakeScsiBytes standard =
        withText(filled(64, {{4, 60}}), 8, "SEAGATE ST1200MM0099    ST31WFK0AB1C            ");
    disk.answer(inquiry, {standard});
    disk.answer(serialPage, {withText(filled(12, {{1, 0x80}, {3, 8}}), 4, "WFK0AB1C")});
    disk.answer(characteristics, {filled(64, {{1, 0xB1}, {3, 60}, {4, 0x27}, {5, 0x10}})});
    disk.answer({0x5A, 0, 4, 0, 0, 0, 0, 0x10, 0, 0}, {filled(40, {{36, 0x28}, {37, 0x23}})});
    disk.answer({0x1A, 8, 0x19, 0, 0xFF, 0}, {filled(20, {{0, 19}, {4, 0x19}, {5, 14}, {6, 6}})});
    disk.answer({0x1A, 8, 0x1C, 0, 0xFF, 0}, {filled(24, {{3, 16}, {9, 0x11}})});
    disk.answer({0x25, 0, 0, 0, 0, 0, 0, 0, 0, 0}, {filled(8, {{0, 0x8B}, {1, 0xBA}, {2, 0x0C}, {3, 0xAF}})});
    disk.answer(defects(0), {filled(4, {{1, 8}, {3, 12}})});
    disk.answer(defects(4), {filled(4, {{1, 12}, {3, 16}})});
    disk.answer(defects(5), {filled(4, {{1, 13}})});
    disk.answer(temperaturePage, {filled(16, {{0, 0x0D}, {3, 12}, {9, 31}, {11, 1}, {15, 65}})});
    disk.answer({0x4D, 0, 0x55, 0, 0, 0, 0, 0, 0x20, 0},
                {filled(32, {{0, 0x15}, {3, 28}, {8, 0}, {9, 1}, {10, 0xD4}, {11, 0xC0}})});
    disk.answer(healthPage, {filled(12, {{0, 0x2F}, {3, 8}, {8, 0x5D}, {9, 0x10}, {10, 32}})});
}

TEST_F(DiskProbe, OfASasDiskShowsEveryQuestionAndItsAnswer) {
    sasDisk();
    EXPECT_EQ(probe(), 0);
    EXPECT_EQ(said, "");
    const std::string refused =
        "- VOK_SCSI_ILLEGAL_REQUEST: sense key 5h (ILLEGAL REQUEST), ASC/ASCQ 20h/00h\n";
    EXPECT_EQ(printed,
              "Node     /dev/sg3\n"
              "Entry    /sys/class/scsi_device/2:0:1:0, block device sdb\n"
              "Adapter  host2, driver mpt3sas\n"
              "\n"
              "SYSFS\n"
              "  Device type                      type                0: direct-access block device\n"
              "  Direct-access block device       type                yes\n"
              "  Vendor                           vendor              SEAGATE\n"
              "  Model                            model               ST1200MM0099\n"
              "  Revision                         rev                 ST31\n"
              "  State                            state               running\n"
              "  SCSI generic node                scsi_generic        sg3\n"
              "  Serial number                    vpd_pg80            WFK0AB1C\n"
              "  Serial number                    inquiry             - not there\n"
              "  Durable name                     vpd_pg83            ABABABABABABABABABABABABABABABAB\n"
              "  Size                             block/*/size        2344225968 blocks of 512 bytes "
              "(1200.244 GB)\n"
              "  Size, by the path of the device  /sys/devices        - not there\n"
              "\n"
              "SCSI\n"
              "  Device type                      INQUIRY             0: direct-access block device\n"
              "  Vendor                           INQUIRY             SEAGATE\n"
              "  Product                          INQUIRY             ST1200MM0099\n"
              "  Revision                         INQUIRY             ST31WFK0AB1C\n"
              "  Serial number                    INQUIRY             WFK0AB1C\n"
              "  Serial number                    VPD page 80h        WFK0AB1C\n"
              "  Solid state                      VPD page B1h        no\n"
              "  Rotation rate                    VPD page B1h        10000 per minute\n"
              "  Rotation rate, bytes exchanged   mode page 04h       2328h\n"
              "  Transport protocol               mode page 19h       6: SAS\n"
              "  Byte 11h in the page             mode page 1Ch       yes\n"
              "  Last block address               READ CAPACITY       block 2344225967\n"
              "  Grown defects, short block       READ DEFECT DATA 0  3\n"
              "  Grown defects, from index        READ DEFECT DATA 4  2\n"
              "  Grown defects, sector            READ DEFECT DATA 5  0\n"
              "  Grown defects, vendor's format   READ DEFECT DATA 6  " +
                  refused +
                  "  Temperature                      log page 0Dh        31 degrees Celsius\n"
                  "  Reference temperature            log page 0Dh        65 degrees Celsius\n"
                  "  Worn                             log page 11h        " +
                  refused +
                  "  Time with power                  log page 15h        2000 h\n"
                  "  Informational exception          log page 2Fh        5D10h: ASC 5Dh, ASCQ 10h\n"
                  "  Most recent temperature          log page 2Fh        32 degrees Celsius\n"
                  "\n"
                  "ATA\n"
                  "  Model                            IDENTIFY DEVICE     " +
                  refused + "  Serial number                    IDENTIFY DEVICE     " + refused +
                  "  Firmware revision                IDENTIFY DEVICE     " + refused +
                  "  Rotation rate                    IDENTIFY DEVICE     " + refused +
                  "  List of pages                    log 04h, page 0     " + refused +
                  "  General statistics               log 04h, page 1     " + refused +
                  "  Time with power                  log 04h, page 1     " + refused +
                  "  Temperature                      log 04h, page 5     " + refused +
                  "  Maximum operating temperature    log 04h, page 5     " + refused +
                  "  Solid-state statistics           log 04h, page 7     " + refused +
                  "  Worn                             log 04h, page 7     " + refused +
                  "  Index of the error log           log 03h             " + refused +
                  "  Vendor's log                     log D0h             " + refused +
                  "  SCT status                       SMART log E0h       " + refused +
                  "\n"
                  "30 of 48 questions were answered.\n");
}

void DiskProbe::sataDisk() {
    FakeScsiBytes words = filled(512, {{434, 1}});
    words = withWords(words, 10, "      S3YZNB0K123456");
    words = withWords(words, 23, "MVT01P6Q");
    words = withWords(words, 27, "Some solid-state disk                   ");
    disk.answer(identify, {words});
    disk.answer(statistics(0), {filled(512, {{0, 1}, {8, 4}, {9, 0}, {10, 1}, {11, 5}, {12, 7}})});
    disk.answer(statistics(1), {filled(512, {{0, 1}, {2, 1}, {16, 0x10}, {17, 0x27}, {23, 0xC0}})});
    disk.answer(statistics(5), {filled(512, {{0, 1}, {2, 5}, {8, 33}, {15, 0xC0}, {88, 70}, {95, 0xC0}})});
    disk.answer(statistics(7), {filled(512, {{0, 1}, {2, 7}, {8, 3}, {15, 0xC0}})});
    disk.answer({0x85, 8, 0x0E, 0, 0, 0, 1, 0, 3, 0, 0, 0, 0, 0, 0x2F, 0},
                {filled(512, {{0, 1}, {2, 2}, {3, 1}})});
    disk.answer({0x85, 8, 0x0E, 0, 0, 0, 1, 0, 0xD0, 0, 0, 0, 0, 0, 0x2F, 0},
                {filled(512, {{0, 0xD0}, {1, 9}})});
    disk.answer({0x85, 8, 0x0E, 0, 0xD5, 0, 1, 0, 0x0E, 0, 0x4F, 0, 0xC2, 0, 0xB0, 0},
                {filled(512, {{0, 3}})});
}

TEST_F(DiskProbe, OfASataDiskShowsItsIdentityStatisticsAndLogs) {
    sataDisk();
    EXPECT_EQ(probe(), 0);
    EXPECT_EQ(answer("Model", "IDENTIFY DEVICE"), "Some solid-state disk");
    EXPECT_EQ(answer("Serial number", "IDENTIFY DEVICE"), "S3YZNB0K123456");
    EXPECT_EQ(answer("Firmware revision", "IDENTIFY DEVICE"), "MVT01P6Q");
    EXPECT_EQ(answer("Rotation rate", "IDENTIFY DEVICE"), "1: no rotation, solid state");
    EXPECT_EQ(answer("List of pages", "log 04h, page 0"),
              "512 bytes: 01 00 00 00 00 00 00 00 04 00 01 05 07 00 00 00 ...");
    EXPECT_EQ(answer("General statistics", "log 04h, page 1"),
              "512 bytes: 01 00 01 00 00 00 00 00 00 00 00 00 00 00 00 00 ...");
    EXPECT_EQ(answer("Time with power", "log 04h, page 1"), "10000 h");
    EXPECT_EQ(answer("Temperature", "log 04h, page 5"), "33 degrees Celsius");
    EXPECT_EQ(answer("Maximum operating temperature", "log 04h, page 5"), "70 degrees Celsius");
    EXPECT_EQ(answer("Worn", "log 04h, page 7"), "3 %");
    EXPECT_EQ(answer("Index of the error log", "log 03h"), "258");
    EXPECT_EQ(answer("Vendor's log", "log D0h"),
              "512 bytes: D0 09 00 00 00 00 00 00 00 00 00 00 00 00 00 00 ...");
    EXPECT_EQ(answer("SCT status", "SMART log E0h"),
              "512 bytes: 03 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 ...");
}

TEST_F(DiskProbe, AStatisticsPageOfZerosIsOneThatTheDiskDoesNotHave) {
    disk.answer(statistics(5), {filled(512, {})});
    disk.answer(statistics(7), {filled(512, {})});
    probe();
    EXPECT_EQ(answer("Solid-state statistics", "log 04h, page 7"), "- the disk does not have the page");
    EXPECT_EQ(answer("Temperature", "log 04h, page 5"),
              "- VOK_SCSI_WRONG_REPLY: another page, or one without this value");
}

TEST_F(DiskProbe, ANegativeWearIsAnAnswer) {
    disk.answer(statistics(7), {filled(512, {{0, 1}, {2, 7}, {8, 0xFF}})});
    probe();
    EXPECT_EQ(answer("Worn", "log 04h, page 7"), "-1 %");
}

// --- why there is no answer ---

TEST_F(DiskProbe, NamesTheResultCodeOfEveryFailureAndItsCause) {
    disk.answer(serialPage, FakeScsiReply::ioctlFails(ENODEV));
    disk.answer(characteristics, FakeScsiReply::checkCondition(11, 0x47, 0x03));
    disk.answer(healthPage, FakeScsiReply::checkCondition(2, 0x04, 0x01));
    disk.answer(wearPage, {filled(11, {{0, 0x11}})});
    disk.answer(temperaturePage, {filled(8, {{0, 0x0D}, {3, 12}})});
    disk.answer(defects(0), {{}, 8});
    disk.answer(defects(4), {{}, 0, {}, {}, 3});
    probe();
    EXPECT_EQ(answer("Serial number", "VPD page 80h"), "- VOK_SCSI_IOCTL_FAILED: No such device");
    EXPECT_EQ(answer("Solid state", "VPD page B1h"),
              "- VOK_SCSI_ABORTED_COMMAND: sense key Bh (ABORTED COMMAND), ASC/ASCQ 47h/03h");
    EXPECT_EQ(answer("Most recent temperature", "log page 2Fh"),
              "- VOK_SCSI_COMMAND_FAILED: sense key 2h (NOT READY), ASC/ASCQ 04h/01h");
    EXPECT_EQ(answer("Worn", "log page 11h"), "- VOK_SCSI_REPLY_TOO_SHORT: 11 bytes, and 12 are needed");
    EXPECT_EQ(answer("Temperature", "log page 0Dh"),
              "- VOK_SCSI_REPLY_TOO_SHORT: 8 bytes, and 16 are needed");
    EXPECT_EQ(answer("Grown defects, short block", "READ DEFECT DATA 0"),
              "- VOK_SCSI_COMMAND_FAILED: status 8h (BUSY)");
    EXPECT_EQ(answer("Grown defects, from index", "READ DEFECT DATA 4"),
              "- VOK_SCSI_COMMAND_FAILED: host status 3h (time-out)");
}

TEST_F(DiskProbe, OfDescriptorSenseShowsTheSame) {
    disk.answer(characteristics, {{}, 2, {0x72, 3, 0x11, 0x0B, 0, 0, 0, 0}});
    probe();
    EXPECT_EQ(answer("Rotation rate", "VPD page B1h"),
              "- VOK_SCSI_COMMAND_FAILED: sense key 3h (MEDIUM ERROR), ASC/ASCQ 11h/0Bh");
}

TEST_F(DiskProbe, AnotherPageThanTheRequestedOneIsNamed) {
    disk.answer(wearPage, {filled(16, {{0, 0x91}, {3, 8}})});
    disk.answer(healthPage, {filled(98, {{0, 0x6F}})});
    disk.answer(serialPage, {filled(64, {{1, 0x83}})});
    probe();
    const std::string another = "- VOK_SCSI_WRONG_REPLY: another page, or one without this value";
    EXPECT_EQ(answer("Worn", "log page 11h"), another);
    EXPECT_EQ(answer("Informational exception", "log page 2Fh"), another);
    EXPECT_EQ(answer("Serial number", "VPD page 80h"), another);
}

TEST_F(DiskProbe, APassThroughThatTheKernelRefusesNamesTheCapability) {
    disk.answer(identify, FakeScsiReply::ioctlFails(EPERM));
    EXPECT_EQ(probe(), 0);
    EXPECT_EQ(answer("Model", "IDENTIFY DEVICE"),
              "- VOK_SCSI_IOCTL_FAILED: Operation not permitted (it needs CAP_SYS_RAWIO)");
}

TEST_F(DiskProbe, CharactersThatATerminalWouldInterpretAreDots) {
    attribute("scsi_generic/sg3/dev", "21:3\n");
    attribute("model", "\x1B[2Jx\xFFy\n");
    probe();
    EXPECT_EQ(answer("Model", "model"), ".[2Jx.y");
}

TEST_F(DiskProbe, AnotherKindOfDeviceIsAskedTheSame) {
    inSysfs();
    attribute("type", "13\n");
    disk.answer(inquiry, {filled(36, {{0, 0x0D}, {4, 31}})});
    EXPECT_EQ(probe(), 0);
    EXPECT_THAT(printed, HasSubstr("Entry    /sys/class/scsi_device/2:0:1:0, no block device\n"));
    EXPECT_EQ(answer("Device type", "type"), "13: enclosure services device");
    EXPECT_EQ(answer("Direct-access block device", "type"), "no");
    EXPECT_EQ(answer("Device type", "INQUIRY"), "13: enclosure services device");
    EXPECT_EQ(answer("Vendor", "INQUIRY"), "(blank)");
    EXPECT_EQ(answer("Size", "block/*/size"), "- not there");
    // 22 and 14 rows; seven share the reply of another row.
    EXPECT_EQ(disk.requests().size(), 29u);
}

TEST_F(DiskProbe, EachReplyThatAnswersSeveralRowsIsRequestedOnce) {
    sasDisk();
    sataDisk();
    probe();
    for (const FakeScsiBytes& command : {temperaturePage, statistics(0), statistics(5)}) {
        int count = 0;
        for (const FakeScsiRequest& request : disk.requests()) count += request.cdb == command ? 1 : 0;
        EXPECT_EQ(count, 1) << int(command[2]) << " " << int(command[10]);
    }
}

TEST_F(DiskProbe, ReadsOnlyAndClosesTheNode) {
    sasDisk();
    probe();
    for (const FakeScsiRequest& request : disk.requests()) EXPECT_EQ(request.direction, SG_DXFER_FROM_DEV);
    EXPECT_EQ(disk.openDescriptors(), 0);
    EXPECT_FALSE(host.root.exists("/var/run/vokd.pid"));
    EXPECT_FALSE(host.root.exists("/var/tmp/mevVOKStartup.txt"));
}

// --- the entry in sysfs ---

TEST_F(DiskProbe, WithoutAnEntryInSysfsAsksTheDiskAlone) {
    disk.answer(inquiry, {filled(36, {{4, 31}})});
    EXPECT_EQ(probe(), 0);
    EXPECT_THAT(printed, StartsWith("Node     /dev/sg3\nEntry    none in /sys/class/scsi_device/\n\nSCSI\n"));
    EXPECT_THAT(printed, Not(HasSubstr("SYSFS")));
    EXPECT_THAT(printed, EndsWith(" of 36 questions were answered.\n"));
}

TEST_F(DiskProbe, FindsTheEntryOfTheNodeAmongOthers) {
    host.root.writeFile("/sys/class/scsi_device/0:0:0:0/device/scsi_generic/sg0/dev", "21:0\n");
    host.root.writeFile("/sys/class/scsi_device/1:0:0:0/device/scsi_generic/sg30/dev", "21:30\n");
    inSysfs();
    probe();
    EXPECT_THAT(printed, HasSubstr("Entry    /sys/class/scsi_device/2:0:1:0, "));
}

TEST_F(DiskProbe, FindsTheEntryInTheFormOfOldKernels) {
    attribute("scsi_generic:sg3/dev", "21:3\n");
    attribute("block:sdc/size", "8\n");
    probe();
    EXPECT_THAT(printed, HasSubstr("Entry    /sys/class/scsi_device/2:0:1:0, block device sdc\n"));
}

TEST_F(DiskProbe, ShowsThePathOfTheDeviceAndItsSizeByIt) {
    const std::string device = "/sys/devices/pci0000:00/0000:00:1f.2/ata3/host2/target2:0:1/2:0:1:0";
    host.root.writeFile(device + "/scsi_generic/sg3/dev", "21:3\n");
    host.root.writeFile(device + "/block/sdb/size", "16\n");
    for (const char* directory : {"/sys/class/scsi_device/2:0:1:0", "/sys/block"})
        fs::create_directories(host.root.path() + directory);
    fs::create_directory_symlink("../../../.." + device,
                                 host.root.path() + "/sys/class/scsi_device/2:0:1:0/device");
    fs::create_directory_symlink("../.." + device + "/block/sdb", host.root.path() + "/sys/block/sdb");
    probe();
    EXPECT_THAT(printed, HasSubstr("Path     " + device + "\n"));
    EXPECT_EQ(answer("Size, by the path of the device", "/sys/devices"), "16 blocks of 512 bytes (0.000 GB)");
}

TEST_F(DiskProbe, ABlockDeviceStandsForItsGenericNode) {
    sasDisk();
    host.root.writeFile("/dev/sdb", "");
    host.root.writeFile("/sys/class/block/sdb/device/scsi_generic/sg3/dev", "21:3\n");
    EXPECT_EQ(probe("/dev/sdb"), 0);
    EXPECT_THAT(printed, StartsWith("Node     /dev/sg3, of /dev/sdb\n"));
    EXPECT_EQ(answer("Transport protocol", "mode page 19h"), "6: SAS");
}

TEST_F(DiskProbe, ALinkToANodeStandsForIt) {
    inSysfs();
    fs::create_symlink("sg3", host.root.path() + "/dev/changer");
    host.add<FakeScsi>("/dev/changer");
    EXPECT_EQ(probe("/dev/changer"), 0);
    EXPECT_THAT(printed, HasSubstr("Entry    /sys/class/scsi_device/2:0:1:0, "));
}

// --- errors, each with its status and one line ---

TEST_F(DiskProbe, AMissingNodeEndsWithTenAndIsNamed) {
    EXPECT_EQ(probe("/dev/sg4"), 10);
    EXPECT_EQ(said, "vokd: /dev/sg4 can't be opened: No such file or directory\n");
    EXPECT_EQ(printed, "");
}

TEST_F(DiskProbe, ADiskThatHasGoneEndsWithTen) {
    disk.failOpens(1, ENXIO);
    EXPECT_EQ(probe(), 10);
    EXPECT_EQ(said, "vokd: /dev/sg3 can't be opened: No such device or address\n");
}

TEST_F(DiskProbe, AnotherNodeEndsWithElevenAndIsNotOpened) {
    host.root.writeFile("/dev/watchdog", "");
    auto& watchdog = host.add<FakeScsi>("/dev/watchdog");
    EXPECT_EQ(probe("/dev/watchdog"), 11);
    EXPECT_EQ(said, "vokd: /dev/watchdog is not a SCSI generic node (/dev/sgN)\n");
    EXPECT_EQ(watchdog.opens(), 0);
}

TEST_F(DiskProbe, ANodeThatDoesNotKnowTheRequestEndsWithEleven) {
    for (const int error : {ENOTTY, EINVAL}) {
        disk.answer(inquiry, FakeScsiReply::ioctlFails(error));
        EXPECT_EQ(probe(), 11) << error;
        EXPECT_EQ(said, "vokd: /dev/sg3 is not a SCSI generic node (/dev/sgN)\n");
        EXPECT_EQ(printed, "");
    }
}

TEST_F(DiskProbe, WithoutPermissionEndsWithTwelveAndSaysWhatIsNeeded) {
    for (const int error : {EACCES, EPERM}) {
        disk.failOpens(1, error);
        EXPECT_EQ(probe(), 12) << error;
        EXPECT_THAT(said,
                    EndsWith(": asking a disk needs root, or CAP_SYS_RAWIO and the right to the node\n"));
    }
}

TEST_F(DiskProbe, OutputThatCannotBeWrittenEndsItAtTheFirstRow) {
    sasDisk();
    std::ofstream out("/dev/full");
    std::ostringstream errors;
    EXPECT_EQ(vokdProbeDisk("/dev/sg3", out, errors), 8);
    EXPECT_TRUE(disk.requests().empty());
}

}  // namespace
}  // namespace DiskProbeTest
