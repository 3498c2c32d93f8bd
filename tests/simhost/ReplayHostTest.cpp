// The agent's view of a recorded host: each kind of answer, and each question that was not recorded.
#include <arpa/inet.h>
#include <dirent.h>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <scsi/sg.h>
#include <sys/stat.h>
#include <unistd.h>
#include <cerrno>
#include <csignal>
#include <fstream>

#include "platform/access/vokScsi.h"
#include "platform/places/vokPhysLocPlatform.h"
#include "simhost/ReplayedMachine.h"

namespace ReplayHostTest {
using testing::HasSubstr;

namespace {

class ReplayHost : public ReplayedMachine {
protected:
    // Starts it and returns the agent's way to it.
    IvokHostAccess& host(const std::vector<std::string>& options = {}) {
        if (!host_) {
            startReplay(options);
            host_ = access();
        }
        return *host_;
    }
    static std::string content(const std::string& hostPath) {
        std::ifstream file(hostPath, std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }
    static std::string outputOf(IvokHostAccess& host, const std::string& command, int& status) {
        FILE* const stream = host.openCommand(command);
        if (!stream) return "not opened";
        std::string output;
        for (int c; (c = std::fgetc(stream)) != EOF;) output += static_cast<char>(c);
        status = host.closeCommand(stream);
        return output;
    }

private:
    std::unique_ptr<IvokHostAccess> host_;
};

// --- paths ---

TEST_F(ReplayHost, FilesLinksAndListsAreReadUnderTheRoot) {
    recorded.files = {{"/sys/class/net", recordedList({{"eth0", RecordedKind::link}})},
                      {"/sys/class/net/eth0", recordedLink("/sys/devices/eth0")},
                      {"/sys/devices/eth0/address", recordedFile("02:00:00:00:00:01\n")}};
    EXPECT_EQ(content(host().path("/sys/class/net/eth0/address")), "02:00:00:00:00:01\n");
    EXPECT_EQ(::access(host().path("/sys/class/net/eth1").c_str(), F_OK), -1);
    EXPECT_EQ(host().path("/"), root() + "/");
    EXPECT_EQ(hostState()["notRecorded"].size(), 0u);
}

TEST_F(ReplayHost, APathThatWasNotRecordedIsNotThereAndIsNamed) {
    const std::string hostPath = host().path("/sys/class/dmi");
    EXPECT_EQ(::access(hostPath.c_str(), F_OK), -1);
    EXPECT_EQ(::mkdir(hostPath.c_str(), 0700), -1);
    EXPECT_EQ(timesNotRecorded("path /sys/class/dmi"), 1);
    EXPECT_THAT(hostProgram.errors(), HasSubstr("vok-simhost: not in the recording: path /sys/class/dmi\n"));
}

TEST_F(ReplayHost, ANameOfAListWithoutAnEntryOfItsOwnIsListedButFailsByItself) {
    recorded.files = {{"/d", recordedList({{"f", RecordedKind::file}})}};
    struct stat status {};
    EXPECT_EQ(::stat((host().path("/d") + "/f").c_str(), &status), 0);
    EXPECT_EQ(::stat(host().path("/d/f").c_str(), &status), -1);
    EXPECT_EQ(timesNotRecorded("path /d/f"), 1);
}

TEST_F(ReplayHost, AnAttributeThatCouldNotBeReadOpensAndFailsOnReading) {
    recorded.files = {{"/sys/speed", recordedFile("", EINVAL)}};
    const int file = ::open(host().path("/sys/speed").c_str(), O_RDONLY);
    ASSERT_GE(file, 0);
    struct stat status {};
    EXPECT_EQ(::fstat(file, &status), 0);
    EXPECT_TRUE(S_ISREG(status.st_mode));
    char byte = 0;
    EXPECT_EQ(::read(file, &byte, 1), -1);
    ::close(file);
    EXPECT_EQ(hostState()["notRecorded"].size(), 0u);
}

TEST_F(ReplayHost, AFileOrAListThatCouldNotBeOpenedFailsToOpen) {
    recorded.files = {{"/f", recordedFile("", EACCES)}, {"/d", recordedList({}, EACCES)}};
    EXPECT_LT(::open(host().path("/f").c_str(), O_RDONLY), 0);
    EXPECT_EQ(::opendir(host().path("/d").c_str()), nullptr);
}

TEST_F(ReplayHost, TheAgentWritesToItsOwnPlaces) {
    const std::string record = host().path("/var/tmp/mevVOKStartup.txt");
    std::ofstream(record) << "1";
    EXPECT_EQ(content(root() + "/var/tmp/mevVOKStartup.txt"), "1");
}

// --- commands ---

TEST_F(ReplayHost, ACommandGivesItsRecordedOutputAndStatusAndIsNotRun) {
    const std::string text = "touch " + directory.path() + "/ran";
    addExchange("command-read", {{"text", text}},
                {{{"status", "256"}, {"error", "0"}, {"opened", "1"}, {"output", std::string("a\0b\n", 4)}}});
    int status = -1;
    EXPECT_EQ(outputOf(host(), text, status), std::string("a\0b\n", 4));
    EXPECT_EQ(status, 256);
    EXPECT_EQ(::access((directory.path() + "/ran").c_str(), F_OK), -1);
}

TEST_F(ReplayHost, ACommandThatCouldNotBeOpenedFailsWithItsError) {
    addExchange("command-read", {{"text", "x"}}, {{{"status", "-1"}, {"error", "11"}, {"opened", "0"}}});
    EXPECT_EQ(host().openCommand("x"), nullptr);
    EXPECT_EQ(errno, EAGAIN);
}

TEST_F(ReplayHost, ACommandsTextHasThePathsOfTheRecordedHost) {
    EXPECT_EQ(host().commandPath("/opt/mev/vok/data/x"), "/opt/mev/vok/data/x");
}

TEST_F(ReplayHost, ACommandPutsTheFilesInPlaceThatItWrote) {
    addExchange("command-run", {{"text", "x"}},
                {{{"status", "0"}, {"error", "0"}, {"file:/opt/mev/vok/data/out.txt", "written"}},
                 {{"status", "-1"}, {"error", "12"}}});
    EXPECT_EQ(host().runCommand("x"), 0);
    EXPECT_EQ(content(host().path("/opt/mev/vok/data/out.txt")), "written");
    EXPECT_EQ(host().runCommand("x"), -1);
    EXPECT_EQ(errno, ENOMEM);
}

TEST_F(ReplayHost, ACommandNeverWritesOverTheSimulation) {
    addExchange("command-run", {{"text", "x"}},
                {{{"status", "0"}, {"error", "0"}, {"file:/lib/libvok-hostaccess.so", "evil"}}});
    EXPECT_EQ(host().runCommand("x"), 0);
    EXPECT_NE(content(root() + "/lib/libvok-hostaccess.so"), "evil");
}

TEST_F(ReplayHost, ACommandThatWasNotRecordedFailsAndIsNamed) {
    EXPECT_EQ(host().openCommand("esxtop -b"), nullptr);
    EXPECT_EQ(errno, EIO);
    EXPECT_EQ(host().runCommand("esxtop -b"), -1);
    EXPECT_EQ(errno, EIO);
    EXPECT_EQ(timesNotRecorded("command \"esxtop -b\""), 2);
}

TEST_F(ReplayHost, AProcessThatStartsAnewGetsTheFirstAnswersAgain) {
    addExchange("command-run", {{"text", "x"}},
                {{{"status", "0"}, {"error", "0"}}, {{"status", "256"}, {"error", "0"}}});
    EXPECT_EQ(host().runCommand("x"), 0);
    EXPECT_EQ(host().runCommand("x"), 256);
    EXPECT_EQ(host().runCommand("x"), 256);
    EXPECT_EQ(access()->runCommand("x"), 0);
}

// --- device nodes ---

TEST_F(ReplayHost, ADeviceThatIsReadGivesItsRecordedContent) {
    recorded.files = {{"/dev/smbios", recordedEntry(RecordedKind::other)}};
    addExchange("open", {{"device", "/dev/smbios"}, {"flags", std::to_string(O_RDONLY)}},
                {{{"error", "0"}, {"content", std::string("_SM3_\0", 6)}}});
    const int device = host().openDevice(host().path("/dev/smbios"), O_RDONLY);
    ASSERT_GE(device, 0);
    char bytes[16];
    EXPECT_EQ(::read(device, bytes, sizeof(bytes)), 6);
    EXPECT_EQ(::read(device, bytes, sizeof(bytes)), 0);
    EXPECT_EQ(host().closeDevice(device), 0);
    EXPECT_EQ(host().ioctlDevice(device, SG_IO, nullptr), -1);
}

class ReplayDisk : public ReplayHost {
protected:
    int open() {
        recorded.files = {{"/dev/sg3", recordedEntry(RecordedKind::other)}};
        addExchange("open", {{"device", "/dev/sg3"}, {"flags", std::to_string(O_RDWR)}}, {{{"error", "0"}}});
        return host().openDevice(host().path("/dev/sg3"), O_RDWR);
    }
    static vokScsiReply inquire(IvokHostAccess& host, int device, std::vector<unsigned char>& data) {
        unsigned char command[6] = {0x12, 0, 0, 0, 8, 0};
        unsigned char sense[32] = {};
        sg_io_hdr_t header{};
        header.interface_id = 'S';
        header.cmdp = command;
        header.cmd_len = sizeof(command);
        header.dxfer_direction = SG_DXFER_FROM_DEV;
        header.dxferp = data.data();
        header.dxfer_len = static_cast<unsigned>(data.size());
        header.sbp = sense;
        header.mx_sb_len = sizeof(sense);
        const int result = host.ioctlDevice(device, SG_IO, &header);
        vokScsiReply reply = vokReadScsiCompletion(header);
        reply.result = result;
        reply.error = result < 0 ? errno : 0;
        return reply;
    }
};

TEST_F(ReplayDisk, ACommandGetsItsRecordedDataAndStatus) {
    addExchange("scsi",
                {{"device", "/dev/sg3"},
                 {"command", std::string("\x12\0\0\0\x08\0", 6)},
                 {"direction", "from-device"},
                 {"length", "8"}},
                {{{"result", "0"}, {"error", "0"}, {"residual", "3"}, {"data", std::string("DISK\0", 5)}},
                 {{"result", "-1"}, {"error", "5"}}});
    const int device = open();
    std::vector<unsigned char> data(8, 0xEE);
    vokScsiReply reply = inquire(host(), device, data);
    EXPECT_EQ(reply.result, 0);
    EXPECT_EQ(reply.received, 5u);
    EXPECT_EQ(std::string(data.begin(), data.begin() + 5), std::string("DISK\0", 5));
    reply = inquire(host(), device, data);
    EXPECT_EQ(reply.result, -1);
    EXPECT_EQ(reply.error, EIO);
}

TEST_F(ReplayDisk, ACommandThatWasNotRecordedFailsAndIsNamed) {
    const int device = open();
    std::vector<unsigned char> data(8);
    EXPECT_EQ(inquire(host(), device, data).error, EIO);
    EXPECT_EQ(timesNotRecorded("SCSI command [12 00 00 00 08 00] to /dev/sg3"), 1);
}

TEST_F(ReplayDisk, ACsmiRequestThatWasNotRecordedFailsAndIsNamed) {
    const int device = open();
    unsigned char block[20] = {20};
    EXPECT_EQ(host().ioctlDevice(device, 0xCC77001E, block), -1);
    EXPECT_EQ(errno, EIO);
    EXPECT_EQ(hostState()["notRecorded"].size(), 1u);
    EXPECT_THAT(hostProgram.errors(), HasSubstr("not in the recording: CSMI request 0xcc77001e"));
}

TEST_F(ReplayHost, ADeviceThatCouldNotBeOpenedFailsWithItsErrorAndOneThatWasNotRecordedIsNamed) {
    recorded.files = {{"/dev/sg4", recordedEntry(RecordedKind::other)}};
    addExchange("open", {{"device", "/dev/sg4"}, {"flags", std::to_string(O_RDWR)}}, {{{"error", "16"}}});
    EXPECT_EQ(host().openDevice(host().path("/dev/sg4"), O_RDWR), -1);
    EXPECT_EQ(errno, EBUSY);
    EXPECT_EQ(host().openDevice(host().path("/dev/sg5"), O_RDWR), -1);
    EXPECT_EQ(timesNotRecorded("opening of device /dev/sg5"), 1);
}

TEST_F(ReplayHost, TheControllersDeviceIsSimulatedUnlessTheRecordingHoldsIt) {
    startReplay();
    startController();
    const auto agent = access();
    DeviceUser user(*agent);
    ASSERT_GE(user.descriptor(), 0);
    EXPECT_GT(user.exchange(0x06, 0x01, {}).data.size(), 0u);
    EXPECT_EQ(hostState()["ipmi"]["exchanges"].asInt(), 1);
    EXPECT_EQ(hostState()["notRecorded"].size(), 0u);
}

TEST_F(ReplayHost, AMessageToARecordedControllerGetsItsRecordedAnswer) {
    recorded.files = {{"/dev/ipmi0", recordedEntry(RecordedKind::other)}};
    addExchange("open", {{"device", "/dev/ipmi0"}, {"flags", std::to_string(O_RDWR)}}, {{{"error", "0"}}});
    addExchange("ipmi",
                {{"device", "/dev/ipmi0"}, {"function", "6"}, {"command", "1"}, {"lun", "0"}, {"data", ""}},
                {{{"sent", "0"},
                  {"wait", "1"},
                  {"received", "0"},
                  {"type", "1"},
                  {"function", "7"},
                  {"command", "1"},
                  {"lun", "0"},
                  {"data", std::string("\0\x20", 2)}}});
    DeviceUser user(host());
    EXPECT_EQ(user.receiveNow().error, EAGAIN) << "nothing was sent";
    ASSERT_EQ(user.send(6, 1, {}, 42), 0);
    const DeviceReply reply = user.receive();
    EXPECT_EQ(reply.result, 0);
    EXPECT_EQ(reply.messageId, 42);
    EXPECT_EQ(reply.data, (std::vector<unsigned char>{0, 0x20}));
    EXPECT_EQ(user.receiveNow().error, EAGAIN);
    EXPECT_EQ(user.send(6, 2, {}), -1);
    EXPECT_EQ(timesNotRecorded("IPMI request 6/2 []"), 1);
}

// --- libraries ---

TEST_F(ReplayHost, AnEntryPointReturnsWhatWasRecordedForItsParameters) {
    constexpr char library[] = "libvkloc0202.so";
    addExchange("library", {{"library", library}}, {{{"error", ""}}});
    addExchange("symbol", {{"library", library}, {"symbol", "physloc_encode"}},
                {{{"found", "1"}, {"error", ""}}});
    std::string bytes(16, '\0');
    bytes[4] = 7;
    addExchange("call", {{"library", library}, {"entry", "physloc_encode"}, {"record", bytes}},
                {{{"result", "0"}, {"code", "2316"}}});
    void* const handle = host().openLibrary(library, 0);
    ASSERT_NE(handle, nullptr) << host().libraryError();
    const auto encode = reinterpret_cast<vokPhysLocEncode>(host().librarySymbol(handle, "physloc_encode"));
    ASSERT_NE(encode, nullptr);
    vokPhysLocRecord record{};
    record.rack = 7;
    std::uint64_t code = 0;
    EXPECT_EQ(encode(&record, &code), 0);
    EXPECT_EQ(code, 2316u);

    record.rack = 8;
    EXPECT_NE(encode(&record, &code), 0) << "it was not recorded";
    EXPECT_THAT(hostProgram.errors(), HasSubstr("not in the recording: call physloc_encode(record="));
    EXPECT_EQ(host().libraryFile(handle), "") << "nothing was loaded";
    EXPECT_EQ(host().closeLibrary(handle), 0);
}

TEST_F(ReplayHost, ALibraryThatCouldNotBeLoadedFailsWithItsReasonAndOneThatWasNotRecordedIsNamed) {
    addExchange("library", {{"library", "a.so"}}, {{{"error", "a.so: no such file"}}});
    addExchange("library", {{"library", "b.so"}}, {{{"error", ""}}});
    addExchange("symbol", {{"library", "b.so"}, {"symbol", "f"}}, {{{"found", "0"}, {"error", "no f"}}});
    EXPECT_EQ(host().openLibrary("a.so", 0), nullptr);
    EXPECT_EQ(host().libraryError(), "a.so: no such file");
    EXPECT_EQ(host().libraryError(), "");
    EXPECT_EQ(host().openLibrary("c.so", 0), nullptr);
    EXPECT_EQ(timesNotRecorded("library c.so"), 1);
    void* const handle = host().openLibrary("b.so", 0);
    ASSERT_NE(handle, nullptr);
    host().libraryError();
    EXPECT_EQ(host().librarySymbol(handle, "f"), nullptr);
    EXPECT_EQ(host().libraryError(), "no f");
    EXPECT_EQ(host().librarySymbol(handle, "g"), nullptr);
    EXPECT_EQ(timesNotRecorded("symbol g of b.so"), 1);
}

// --- the system ---

TEST_F(ReplayHost, NamesSizesAndAddressesAreThoseOfTheRecordedHost) {
    addExchange("system-name", {}, {{{"error", "0"}, {"system", "VMkernel"}, {"node", "rack42"}}});
    addExchange("system-information", {},
                {{{"error", "0"}, {"uptime", "77"}, {"total-ram", "1024"}, {"unit", "1048576"}}});
    addExchange("interface-addresses", {},
                {{{"error", "0"},
                  {"count", "1"},
                  {"0.name", "vmk0"},
                  {"0.flags", "1"},
                  {"0.family", "inet"},
                  {"0.address", "192.0.2.1"}}});
    utsname name{};
    EXPECT_EQ(host().systemName(&name), 0);
    EXPECT_STREQ(name.nodename, "rack42");
    struct sysinfo information {};
    EXPECT_EQ(host().systemInformation(&information), 0);
    EXPECT_EQ(information.uptime, 77);
    ifaddrs* addresses = nullptr;
    ASSERT_EQ(host().interfaceAddresses(&addresses), 0);
    ASSERT_NE(addresses, nullptr);
    EXPECT_STREQ(addresses->ifa_name, "vmk0");
    const auto* const address = reinterpret_cast<sockaddr_in*>(addresses->ifa_addr);
    EXPECT_EQ(address->sin_addr.s_addr, htonl(0xC0000201));
    host().freeInterfaceAddresses(addresses);
    EXPECT_THAT(hostProgram.output(), HasSubstr("ready: recorded host rack42 under "));
}

TEST_F(ReplayHost, WhatTheSystemWasNotAskedFailsAndIsNamed) {
    utsname name{};
    EXPECT_EQ(host().systemName(&name), -1);
    struct sysinfo information {};
    EXPECT_EQ(host().systemInformation(&information), -1);
    ifaddrs* addresses = nullptr;
    EXPECT_EQ(host().interfaceAddresses(&addresses), -1);
    for (const char* each : {"system-name", "system-information", "interface-addresses"})
        EXPECT_EQ(timesNotRecorded(each), 1) << each;
}

// --- the clock ---

TEST_F(ReplayHost, TheClockStandsAtTheRecordedInstantAndAPauseDoesNotLast) {
    timespec now{};
    EXPECT_EQ(host().wallClock(&now), 0);
    EXPECT_EQ(now.tv_sec, 1794731902);
    EXPECT_EQ(now.tv_nsec, 0);
    timespec before{}, after{};
    ::clock_gettime(CLOCK_MONOTONIC, &before);
    host().pause(3600ul * 1000 * 1000);
    ::clock_gettime(CLOCK_MONOTONIC, &after);
    EXPECT_LT(after.tv_sec - before.tv_sec, 5);
    EXPECT_EQ(host().wallClock(&now), 0);
    EXPECT_EQ(now.tv_sec, 1794731902);
}

TEST_F(ReplayHost, AWaitUntilThePresentOfAStandingClockEndsAtOnce) {
    pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;
    pthread_cond_t condition = PTHREAD_COND_INITIALIZER;
    timespec now{};
    host().wallClock(&now);
    ::pthread_mutex_lock(&mutex);
    EXPECT_EQ(host().timedWait(&condition, &mutex, &now), ETIMEDOUT);
    ::pthread_mutex_unlock(&mutex);
}

TEST_F(ReplayHost, WithASpeedTheClockRunsFromTheRecordedInstant) {
    timespec now{};
    EXPECT_EQ(host({"--speed", "1000"}).wallClock(&now), 0);
    EXPECT_GE(now.tv_sec, 1794731902);
    EXPECT_LT(now.tv_sec, 1794731902 + 100000);
    const timespec first = now;
    host().pause(2000000);
    host().wallClock(&now);
    EXPECT_GE(now.tv_sec, first.tv_sec + 1);
    EXPECT_THAT(hostProgram.output(), HasSubstr("speed 1000\n"));
}

// --- the program ---

TEST_F(ReplayHost, AtItsEndItCountsWhatWasAskedInVain) {
    host().path("/x");
    host().path("/x");
    host().runCommand("ls");
    EXPECT_EQ(hostProgram.end(SIGTERM), 0);
    EXPECT_THAT(hostProgram.errors(), HasSubstr("\nvok-simhost: asked 1 time: command \"ls\"\n"
                                                "vok-simhost: asked 2 times: path /x\n"));
}

TEST_F(ReplayHost, ARecordedHostIsShownButNotChanged) {
    recorded.remarks = {"/sys/x changed meanwhile"};
    startReplay();
    const Json::Value state = hostState();
    EXPECT_EQ(state["recording"]["abi"].asString(), "i386");
    EXPECT_EQ(state["recording"]["time"].asInt64(), 1794731902);
    EXPECT_EQ(state["recording"]["remarks"][0].asString(), "/sys/x changed meanwhile");
    EXPECT_THAT(hostControl({"help"}), HasSubstr("  show "));
    const Ran ran = runProgram({VOK_SIMHOST_PROGRAM, "control", "--root", root(), "nic", "vmnic0", "remove"});
    EXPECT_EQ(ran.status, 2);
    EXPECT_EQ(ran.output,
              "vok-simhost control: a recorded host is not changed; its commands are help and show\n");
}

TEST_F(ReplayHost, AnArchiveThatIsRefusedLeavesNothing) {
    directory.writeFile("host.tar", "no archive");
    const Ran ran = runProgram({VOK_SIMHOST_PROGRAM, "run", "--replay", archive(), "--root", root()});
    EXPECT_EQ(ran.status, 1);
    EXPECT_THAT(ran.output, HasSubstr("vok-simhost: "));
    EXPECT_EQ(::access(root().c_str(), F_OK), -1);
    const Ran none =
        runProgram({VOK_SIMHOST_PROGRAM, "run", "--replay", archive() + ".none", "--root", root()});
    EXPECT_EQ(none.status, 1);
    EXPECT_THAT(none.output, HasSubstr("host.tar.none"));
}

TEST_F(ReplayHost, OptionsOfOtherHostsAreRefused) {
    ASSERT_NO_FATAL_FAILURE(save());
    for (const std::vector<std::string>& options :
         {std::vector<std::string>{"--host", "bare"}, {"--live"}, {"--start-time", "1"}, {"--uptime", "1"}}) {
        std::vector<std::string> command{VOK_SIMHOST_PROGRAM, "run", "--replay", archive(), "--root", root()};
        command.insert(command.end(), options.begin(), options.end());
        EXPECT_EQ(runProgram(command).status, 2) << options[0];
    }
}

}  // namespace
}  // namespace ReplayHostTest
