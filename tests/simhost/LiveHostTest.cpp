// vok-simhost --live, as an agent finds it. The machine is one of files that the test made up.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/sysinfo.h>
#include <sys/utsname.h>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <map>
#include <memory>

#include "platform/firmware/smbios_vmw.h"
#include "simhost/MadeUpMachine.h"
#include "simhost/SimulatedMachine.h"
#include "support/SmBiosTable.h"

namespace LiveHostTest {

namespace fs = std::filesystem;
using testing::HasSubstr;
using testing::MatchesRegex;

namespace {

class LiveHost : public SimulatedMachine {
protected:
    void SetUp() override {
        machine.interface("eth0", machine.pciFunction("0000:00:03.0", {{"vendor", "0x8086"}}),
                          {{"type", "1"}, {"flags", "0x1003"}, {"operstate", "up"}, {"speed", "1000"}});
        machine.file("/proc/sys/kernel/random/boot_id", "first\n");
    }
    std::vector<std::string> liveCommand(const std::vector<std::string>& options = {}) const {
        std::vector<std::string> command{VOK_SIMHOST_PROGRAM, "run", "--live", "--root", root()};
        command.insert(command.end(), options.begin(), options.end());
        return command;
    }
    void startLive(std::vector<std::string> options = {}) {
        options.insert(options.end(), {"--machine", machine.root()});
        hostProgram = RunningProgram(directory.path(), "simhost", liveCommand(options), "ready");
        host = access();
    }
    std::string outputOf(const std::string& command) {
        FILE* const stream = host->openCommand(command);
        std::string output;
        for (int c; (c = std::fgetc(stream)) != EOF;) output += static_cast<char>(c);
        host->closeCommand(stream);
        return output;
    }
    Ran refusal(std::vector<std::string> words) {
        words.insert(words.begin(), {VOK_SIMHOST_PROGRAM, "control", "--root", root()});
        return runProgram(words);
    }
    // Every file of the machine's with its content, every directory and link.
    std::map<std::string, std::string> machineFiles() const {
        std::map<std::string, std::string> files;
        for (const auto& entry : fs::recursive_directory_iterator(machine.root()))
            files[entry.path().string()] = entry.is_symlink()
                                               ? "-> " + fs::read_symlink(entry.path()).string()
                                           : entry.is_regular_file() ? machineFile(entry.path().string())
                                                                     : "";
        return files;
    }
    static std::string machineFile(const std::string& place) {
        std::ifstream stream(place, std::ios::binary);
        return {std::istreambuf_iterator<char>(stream), {}};
    }
    int boots() const {
        const std::string log = directory.readFile("it's a \"host\"/var/log/vmksummary.log");
        int count = 0;
        for (auto at = log.find("Host has booted"); at != std::string::npos;
             at = log.find("Host has booted", at + 1))
            ++count;
        return count;
    }

    MadeUpMachine machine;
    std::unique_ptr<IvokHostAccess> host;
};

TEST_F(LiveHost, EachAnswerIsTheMachinesOfThatMoment) {
    startLive();
    EXPECT_THAT(outputOf("localcli network nic list | grep eth0"),
                MatchesRegex("eth0 +0000:00:03\\.0 +None +Up +Up +1000 +Unknown .*\n"));
    machine.set("eth0", "operstate", "down");
    EXPECT_THAT(outputOf("localcli network nic list | grep eth0"), HasSubstr(" Up            Down "));
    EXPECT_THAT(outputOf("localcli network nic get -n eth0"), HasSubstr("Link Detected: false\n"));
    EXPECT_EQ(host->runCommand("localcli network nic get -n eth7 2> /dev/null"), 1 << 8);
    machine.file("/proc/meminfo", "MemTotal: 2097152 kB\nMemFree: 1048576 kB\n");
    EXPECT_THAT(outputOf("esxtop -b -n 1"), HasSubstr("\"2048\",\"1024\",\n"));
    machine.pciFunction("0000:00:04.0", {{"vendor", "0x1af4"}});
    EXPECT_THAT(outputOf("localcli hardware pci list | grep -c 'Address:'"), testing::StrEq("2\n"));
    EXPECT_EQ(hostState()["pciFunctions"].asInt(), 2);
}

TEST_F(LiveHost, ClockNameUptimeAndAddressesAreTheKernels) {
    startLive();
    timespec now{};
    ASSERT_EQ(host->wallClock(&now), 0);
    EXPECT_NEAR(static_cast<double>(now.tv_sec), static_cast<double>(std::time(nullptr)), 2);
    utsname told{}, real{};
    ::uname(&real);
    ASSERT_EQ(host->systemName(&told), 0);
    EXPECT_STREQ(told.nodename, real.nodename);
    EXPECT_STREQ(told.release, real.release);
    struct sysinfo toldInformation {
    }, realInformation{};
    ::sysinfo(&realInformation);
    ASSERT_EQ(host->systemInformation(&toldInformation), 0);
    EXPECT_NEAR(static_cast<double>(toldInformation.uptime), static_cast<double>(realInformation.uptime), 2);
    EXPECT_EQ(toldInformation.totalram, realInformation.totalram);
}

TEST_F(LiveHost, TheAgentReadsItsFirmwaresTable) {
    SmBiosTable table;
    table.addSystem("A Maker", "A Family").addEnd();
    machine.file("/sys/firmware/dmi/tables/DMI", table.contents().substr(31));
    machine.file("/sys/firmware/dmi/tables/smbios_entry_point", std::string("_SM3_\0\x18\x03\x05", 9));
    startLive();
    vokSetHostAccess(access());
    ASSERT_EQ(SmBiosInit(), 0);
    void* records = nullptr;
    std::size_t count = 0;
    ASSERT_EQ(getSmbiosRecordsByType(smbiosSystemInfoType, &records, &count), 0);
    const std::unique_ptr<void, decltype(&std::free)> owner(records, std::free);
    ASSERT_EQ(count, 1u);
    EXPECT_STREQ(static_cast<const DmiSystemInfo*>(records)->family, "A Family");
    SmBiosDeinit();
}

TEST_F(LiveHost, SysIsTheMachinesAndNobodyWritesOrRemovesAnythingInIt) {
    machine.file("/sys/firmware/dmi/tables/DMI", "none");
    const auto before = machineFiles();
    startLive();
    EXPECT_EQ(fs::read_symlink(root() + "/sys"), fs::canonical(machine.root()) / "sys");
    EXPECT_EQ(directory.readFile("it's a \"host\"/sys/class/net/eth0/speed"), "1000\n");
    EXPECT_EQ(hostProgram.end(SIGTERM), 0);
    // The same root for hosts of other kinds: each takes the other's tree away.
    startHost();
    EXPECT_FALSE(fs::is_symlink(root() + "/sys"));
    EXPECT_TRUE(fs::exists(root() + "/sys/bus/pci/devices/0000:3b:00.0"));
    EXPECT_EQ(hostProgram.end(SIGTERM), 0);
    startLive();
    EXPECT_TRUE(fs::is_symlink(root() + "/sys"));
    EXPECT_EQ(hostProgram.end(SIGTERM), 0);
    startHost({}, "bare");
    EXPECT_EQ(hostProgram.end(SIGTERM), 0);
    startLive();
    EXPECT_EQ(hostProgram.end(SIGKILL), 128 + SIGKILL);
    fs::remove_all(root());
    EXPECT_EQ(machineFiles(), before);
}

TEST_F(LiveHost, WhatWouldChangeTheMachineIsRefused) {
    startLive();
    for (const std::vector<std::string>& words : {std::vector<std::string>{"clock", "jump", "+5"},
                                                  {"clock", "set", "5"},
                                                  {"clock", "speed", "2"},
                                                  {"memory", "total", "5"},
                                                  {"interface", "add", "lo", "10.0.0.1"},
                                                  {"interface", "remove", "lo"},
                                                  {"nic", "eth0", "link", "down"},
                                                  {"nic", "eth0", "remove"},
                                                  {"nic", "eth9", "add", "0000:d8:00.0"},
                                                  {"reboot"},
                                                  {"power-cut"}}) {
        const Ran ran = refusal(words);
        EXPECT_EQ(ran.status, 2) << words[0];
        EXPECT_THAT(ran.output, HasSubstr("this host is the machine it runs on")) << words[0];
    }
    EXPECT_EQ(hostControl({"command", "localcli", "fail", "3"}), "ok\n") << "a command may still be spoiled";
    EXPECT_EQ(host->runCommand("localcli network nic list 2> /dev/null"), 3 << 8);
    EXPECT_EQ(hostControl({"ipmi", "absent"}), "ok\n");
}

TEST_F(LiveHost, ABootOfTheMachineIsToldOnceAndNothingOfItsPast) {
    startLive();
    EXPECT_EQ(boots(), 1);
    EXPECT_EQ(hostProgram.end(SIGTERM), 0);
    startLive();
    EXPECT_EQ(boots(), 1) << "the same boot";
    EXPECT_EQ(hostProgram.end(SIGTERM), 0);
    machine.file("/proc/sys/kernel/random/boot_id", "second\n");
    startLive();
    EXPECT_EQ(boots(), 2);
    EXPECT_EQ(outputOf("grep -c rebooting " + host->commandPath("/var/log/vmksummary.log")), "0\n");
}

TEST_F(LiveHost, ItsOwnSettingsAreLaidOutAndKept) {
    startLive();
    const std::string settings = "it's a \"host\"/etc/config/mev/vok/vok.conf";
    EXPECT_THAT(directory.readFile(settings), HasSubstr("\"EnableResources\": [\"All\"]"));
    directory.writeFile(settings, "mine");
    EXPECT_EQ(hostProgram.end(SIGTERM), 0);
    startLive();
    EXPECT_EQ(directory.readFile(settings), "mine");
}

TEST_F(LiveHost, TheMachinesOwnIpmiDeviceIsOpenedByTheKernel) {
    machine.link("/dev/ipmi0", "/dev/null");  // a device node, if not of a controller
    startLive({"--ipmi"});
    const int device = host->openDevice(host->path("/dev/ipmi0"), O_RDWR);
    ASSERT_GE(device, 0);
    EXPECT_EQ(host->ioctlDevice(device, IPMICTL_SEND_COMMAND, nullptr), -1);
    EXPECT_EQ(errno, ENOTTY);
    EXPECT_EQ(host->closeDevice(device), 0);
    EXPECT_EQ(refusal({"ipmi", "absent"}).status, 2);
    EXPECT_EQ(refusal({"ipmi", "present"}).status, 2);
    EXPECT_EQ(hostProgram.end(SIGTERM), 0);
    startLive();
    EXPECT_TRUE(fs::is_socket(fs::symlink_status(root() + "/dev/ipmi0"))) << "the simulated one again";
    EXPECT_TRUE(fs::is_symlink(machine.root() + "/dev/ipmi0")) << "and the machine's stays";
}

TEST_F(LiveHost, WithoutAnIpmiDeviceItSaysSoAndDoesNotStart) {
    const Ran ran = runProgram(liveCommand({"--ipmi", "--machine", machine.root()}));
    EXPECT_EQ(ran.status, 1);
    EXPECT_THAT(ran.output, HasSubstr("no management controller to be reached: "));
    EXPECT_THAT(ran.output, HasSubstr("/dev/ipmi0: No such file or directory"));
    machine.file("/dev/ipmi0", "a plain file");
    EXPECT_THAT(runProgram(liveCommand({"--ipmi", "--machine", machine.root()})).output,
                HasSubstr("/dev/ipmi0: not a device node"));
}

TEST_F(LiveHost, OptionsOfADescribedHostDoNotGoWithIt) {
    for (const std::vector<std::string>& options : {std::vector<std::string>{"--host", "bare"},
                                                    {"--speed", "2"},
                                                    {"--start-time", "5"},
                                                    {"--uptime", "5"},
                                                    {"--machine", "/no/such/directory"}})
        EXPECT_EQ(runProgram(liveCommand(options)).status, 2) << options[0];
    for (const char* option : {"--ipmi", "--machine=/tmp"})
        EXPECT_EQ(runProgram({VOK_SIMHOST_PROGRAM, "run", "--host", "bare", "--root", root(), option}).status,
                  2)
            << option;
    EXPECT_EQ(runProgram({VOK_SIMHOST_PROGRAM, "run", "--root", root()}).status, 2);
}

}  // namespace
}  // namespace LiveHostTest
