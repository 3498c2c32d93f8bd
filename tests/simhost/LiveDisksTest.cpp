// The disks of a live host: the SCSI generic nodes and the /sys of the machine. The machine is one of files
// that the test made up, and its disk that of another simulated host.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <cerrno>
#include <csignal>
#include <filesystem>

#include "platform/access/vokRootedHostAccess.h"
#include "simhost/MadeUpMachine.h"
#include "simhost/TestHost.h"

namespace LiveDisksTest {

namespace fs = std::filesystem;
using testing::HasSubstr;
using testing::StartsWith;

namespace {

constexpr char device[] = "/sys/devices/pci0000:00/0000:00:1f.2/ata3/host2/target2:0:0/2:0:0:0";

class LiveDisks : public TestHost {
protected:
    void SetUp() override {
        startTestHost();
        machine.pciFunction("0000:00:1f.2", {{"vendor", "0x8086"},
                                             {"device", "0x2826"},
                                             {"subsystem_vendor", "0x8086"},
                                             {"subsystem_device", "0x7270"}});
        machine.file("/proc/sys/kernel/random/boot_id", "first\n");
        start({"--live", "--machine", machine.root()});
    }
    std::string liveRoot() const { return directory.path() + "/live"; }
    void start(std::vector<std::string> options) {
        live = RunningProgram();
        options.insert(options.begin(), {VOK_SIMHOST_PROGRAM, "run", "--root", liveRoot()});
        live = RunningProgram(directory.path(), "live", options, "ready");
        std::string error;
        host = vokOpenHostRoot(liveRoot(), error);
        ASSERT_TRUE(host) << error;
    }
    // The disk as today's kernels show it.
    void plugDisk() const {
        machine.link("/dev/sg9", root() + "/dev/sg9");
        machine.file("/dev/sdb", "");
        machine.file(std::string(device) + "/model", "A DISK\n");
        machine.file(std::string(device) + "/scsi_generic/sg9/dev", "21:9\n");
        machine.file(std::string(device) + "/block/sdb/size", "4096\n");
        machine.link(std::string(device) + "/block/sdb/device", "../../../2:0:0:0");
        machine.link(std::string(device) + "/scsi_device/2:0:0:0/device", "../../../2:0:0:0");
        for (const char* each : {"/sys/class/block/sdb", "/sys/block/sdb"})
            machine.link(each, std::string(each[5] == 'c' ? "../.." : "..") + (device + 4) + "/block/sdb");
        machine.link("/sys/class/scsi_device/2:0:0:0",
                     std::string("../..") + (device + 4) + "/scsi_device/2:0:0:0");
    }
    int opened(const std::string& node) const {
        const int descriptor = host->openDevice(host->path(node), O_RDWR | O_NONBLOCK);
        const int reason = errno;
        if (descriptor < 0) return reason;
        host->closeDevice(descriptor);
        return 0;
    }
    Ran probe(const std::string& node) const {
        return runProgram({VOKD_PROGRAM, "--probe-disk", node, "--host-root", liveRoot()});
    }

    MadeUpMachine machine;
    RunningProgram live;
    std::unique_ptr<IvokHostAccess> host;
};

TEST_F(LiveDisks, AreTheNodesOfTheMachineAlsoThoseThatComeAndGo) {
    EXPECT_EQ(opened("/dev/sg9"), ENOENT);
    plugDisk();
    EXPECT_EQ(opened("/dev/sg9"), 0);
    machine.remove("/dev/sg9");
    EXPECT_EQ(opened("/dev/sg9"), ENOENT);
}

TEST_F(LiveDisks, NoOtherNodeIsTheMachines) {
    for (const char* node : {"/dev/sga", "/dev/sg", "/dev/sd1", "/dev/watchdog", "/dev/sr0"}) {
        machine.file(node, "");
        EXPECT_EQ(opened(node), ENOENT) << node;
    }
    machine.file("/dev/ipmi0", "");
    EXPECT_EQ(host->path("/dev/ipmi0"), liveRoot() + "/dev/ipmi0");
    EXPECT_EQ(host->path("/var/dev/sg9"), liveRoot() + "/var/dev/sg9");
}

TEST_F(LiveDisks, AreProbedAtTheirNodeAndInTheSysOfTheMachine) {
    plugDisk();
    for (const char* node : {"/dev/sg9", "/dev/sdb"}) {
        const Ran ran = probe(node);
        EXPECT_EQ(ran.status, 0) << ran.output;
        EXPECT_THAT(ran.output, StartsWith("Node     /dev/sg9"));
        EXPECT_THAT(ran.output,
                    HasSubstr("Entry    /sys/class/scsi_device/2:0:0:0, block device sdb\nPath     " +
                              std::string(device) + "\n"));
        EXPECT_THAT(ran.output, HasSubstr("  model               A DISK\n"));
        EXPECT_THAT(ran.output, HasSubstr("  block/*/size        4096 blocks of 512 bytes (0.002 GB)\n"));
        EXPECT_THAT(ran.output, HasSubstr("  /sys/devices        4096 blocks of 512 bytes (0.002 GB)\n"));
        EXPECT_THAT(ran.output, HasSubstr("  INQUIRY             0: direct-access block device\n"));
    }
}

TEST_F(LiveDisks, AreInTheInventoryWithTheirController) {
    plugDisk();
    const std::string port = std::string(device).substr(0, std::string(device).find("/target"));
    machine.file(port + "/scsi_host/host2/state", "running\n");
    machine.link(port + "/scsi_host/host2/device", "../../../host2");
    machine.link("/sys/class/scsi_host/host2", "../.." + port.substr(4) + "/scsi_host/host2");
    machine.file(std::string(device) + "/type", "0\n");
    const Ran ran = runProgram({VOKD_PROGRAM, "--print-inventory", "--host-root", liveRoot()});
    EXPECT_EQ(ran.status, 0);
    EXPECT_THAT(ran.output, HasSubstr("\"Intel C600/X79 series chipset SATA RAID Controller\""));
    EXPECT_THAT(ran.output, HasSubstr("\"A DISK\""));
    EXPECT_THAT(ran.output, HasSubstr("\"CapacityBytes\":2097152"));
}

TEST_F(LiveDisks, AreGoneWhenTheRootIsUsedForAnotherHost) {
    plugDisk();
    live.end(SIGTERM);
    start({"--host", "bare"});
    EXPECT_EQ(host->path("/dev/sg9"), liveRoot() + "/dev/sg9");
    EXPECT_EQ(opened("/dev/sg9"), ENOENT);
    EXPECT_TRUE(fs::exists(machine.root() + "/dev/sg9"));
}

}  // namespace
}  // namespace LiveDisksTest
