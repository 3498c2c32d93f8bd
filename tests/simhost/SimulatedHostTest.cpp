#include <arpa/inet.h>
#include <gmock/gmock.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>
#include <cerrno>
#include <condition_variable>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <future>
#include <map>
#include <mutex>

#include "platform/access/vokRootedHostAccess.h"
#include "platform/access/vokWait.h"
#include "simhost/SimulatedMachine.h"

namespace SimulatedHostTest {

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::StartsWith;

namespace {

using SimulatedHostProcess = SimulatedMachine;

std::string outputOf(IvokHostAccess& host, const std::string& command) {
    FILE* stream = host.openCommand(command);
    std::string output;
    for (int c; (c = std::fgetc(stream)) != EOF;) output += static_cast<char>(c);
    host.closeCommand(stream);
    return output;
}

TEST_F(SimulatedHostProcess, LaysOutARootAndEndsCleanly) {
    startHost();
    EXPECT_THAT(hostProgram.output(), StartsWith("vok-simhost: ready: host rack42-node07 under "));
    for (const char* place : {"/bin/localcli", "/bin/mdadm", "/lib/libvok-hostaccess.so", "/var/tmp",
                              "/etc/config/mev/vok/vok.conf", "/opt/mev/vok/data/esxtopconf",
                              "/opt/mev/vok/log", "/var/log/vmksummary.log", "/scratch/log"})
        EXPECT_TRUE(fs::exists(root() + place)) << place;
    EXPECT_TRUE(fs::is_socket(root() + "/dev/ipmi0"));
    struct stat status {};
    ASSERT_EQ(::stat((root() + "/run/simhost/control.sock").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777, 0600u);
    EXPECT_EQ(hostProgram.end(SIGTERM), 0);
    for (const char* place : {"/dev/ipmi0", "/run/simhost/control.sock", "/run/simhost/command.sock",
                              "/run/simhost/controller.sock"})
        EXPECT_FALSE(fs::exists(fs::symlink_status(root() + place))) << place;
}

TEST_F(SimulatedHostProcess, RefusesADirectoryThatHoldsSomethingElse) {
    directory.writeFile("mine/letter.txt", "dear");
    const Ran ran =
        runProgram({VOK_SIMHOST_PROGRAM, "run", "--host", "bare", "--root", directory.path() + "/mine"});
    EXPECT_EQ(ran.status, 1);
    EXPECT_THAT(ran.output, HasSubstr("did not make"));
    EXPECT_EQ(runProgram({VOK_SIMHOST_PROGRAM, "run", "--host", "bare", "--root", "/"}).status, 1);
    const Ran colon =
        runProgram({VOK_SIMHOST_PROGRAM, "run", "--host", "bare", "--root", directory.path() + "/a:b"});
    EXPECT_EQ(colon.status, 1);
    EXPECT_THAT(colon.output, HasSubstr("colon"));
}

TEST_F(SimulatedHostProcess, IsTheOnlyOneOnItsRoot) {
    startHost();
    const Ran second = runProgram({VOK_SIMHOST_PROGRAM, "run", "--host", "bare", "--root", root()});
    EXPECT_EQ(second.status, 1);
    EXPECT_THAT(second.output, HasSubstr("another vok-simhost"));
    EXPECT_EQ(hostState()["nodeName"].asString(), "rack42-node07");
}

TEST_F(SimulatedHostProcess, UsesItsRootAgainAfterItWasKilled) {
    startHost({"--start-time", "1794731902", "--uptime", "1000"});
    directory.writeFile("it's a \"host\"/var/tmp/mevVOKStartup.txt", "current_start 1\n");
    directory.writeFile("it's a \"host\"/etc/config/mev/vok/vok.conf", "{}");
    hostProgram.end(SIGKILL);
    EXPECT_TRUE(fs::exists(root() + "/dev/ipmi0"));
    startHost();
    EXPECT_EQ(directory.readFile("it's a \"host\"/var/tmp/mevVOKStartup.txt"), "current_start 1\n");
    EXPECT_EQ(directory.readFile("it's a \"host\"/etc/config/mev/vok/vok.conf"), "{}");
    EXPECT_NEAR(hostState()["epoch"].asDouble(), 1794731902, 30);  // its clock went on
    EXPECT_NEAR(hostState()["uptimeSeconds"].asDouble(), 1000, 30);
    const auto host = access();
    EXPECT_GE(DeviceUser(*host).descriptor(), 0);
}

TEST_F(SimulatedHostProcess, SaysWhatIsWrongWithACall) {
    EXPECT_EQ(runProgram({VOK_SIMHOST_PROGRAM}).status, 2);
    EXPECT_EQ(runProgram({VOK_SIMHOST_PROGRAM, "run", "--host", "bare"}).status, 2);
    EXPECT_EQ(runProgram({VOK_SIMHOST_PROGRAM, "--help"}).status, 0);
    const Ran none = runProgram({VOK_SIMHOST_PROGRAM, "run", "--host", "no-such", "--root", root()});
    EXPECT_EQ(none.status, 1);
    EXPECT_THAT(none.output, HasSubstr("there is no host \"no-such\""));
    const Ran nobody = runProgram({VOK_SIMHOST_PROGRAM, "control", "--root", root(), "show"});
    EXPECT_EQ(nobody.status, 1);
    EXPECT_THAT(nobody.output, HasSubstr("no simulated host runs"));
    startHost();
    for (const std::vector<std::string>& words : {std::vector<std::string>{"dance"},
                                                  {"clock"},
                                                  {"clock", "jump"},
                                                  {"clock", "jump", "far"},
                                                  {"clock", "speed", "0"},
                                                  {"clock", "set", "1", "2"},
                                                  {"memory", "total"},
                                                  {"ipmi", "maybe"},
                                                  {"command", "ls", "fail", "1"},
                                                  {"command", "localcli", "sing"},
                                                  {"interface", "add", "vmk9"},
                                                  {"interface", "add", "vmk9", "300.1.1.1"},
                                                  {"interface", "remove", "vmk9"},
                                                  {"memory", "total", "10", "free", "20"},
                                                  {"reboot", "--down", "-1"},
                                                  {"show", "me"}}) {
        std::vector<std::string> command{VOK_SIMHOST_PROGRAM, "control", "--root", root()};
        command.insert(command.end(), words.begin(), words.end());
        const Ran ran = runProgram(command);
        EXPECT_EQ(ran.status, 2) << words[0];
        EXPECT_THAT(ran.output, StartsWith("vok-simhost control: ")) << words[0];
    }
}

TEST_F(SimulatedHostProcess, RunsCommandsInARootWithBlanksAndQuotes) {
    startHost();
    const auto host = access();
    EXPECT_THAT(outputOf(*host, "localcli system version get | grep -i Product"),
                HasSubstr("   Product: VMware ESXi\n"));
    EXPECT_EQ(host->runCommand("esxtop -c " + host->commandPath("/opt/mev/vok/data/esxtopconf") +
                               " -b -n 1 >> " + host->commandPath("/opt/mev/vok/data/vok-mem.txt")),
              0);
    EXPECT_THAT(directory.readFile("it's a \"host\"/opt/mev/vok/data/vok-mem.txt"),
                StartsWith("\"(PDH-CSV 4.0) (UTC)(0)\","));
    EXPECT_EQ(host->runCommand("localcli no such thing 2> " + host->commandPath("/dev/null")), 1 << 8);
    EXPECT_EQ(host->runCommand("printf %s \"a 'b' \\$c\" > " + host->commandPath("/tmp/x")), 0);
    EXPECT_EQ(host->runCommand("modprobe 'a \"b'"), 1 << 8);
    EXPECT_THAT(directory.readFile("it's a \"host\"/run/simhost/commands.log"),
                HasSubstr("status 1: modprobe 'a \"b'\n"));
}

TEST_F(SimulatedHostProcess, CommandsFailHangOrPrintNonsenseOnRequest) {
    startHost({"--speed", "100"});
    const auto host = access();
    hostControl({"command", "localcli", "fail", "7", "--count", "1"});
    EXPECT_EQ(host->runCommand("localcli system version get 2> " + host->commandPath("/dev/null")), 7 << 8);
    EXPECT_THAT(outputOf(*host, "localcli system version get"), HasSubstr("Product"));
    hostControl({"command", "localcli", "garbage"});
    EXPECT_GT(outputOf(*host, "localcli system version get").size(), 5000u);
    EXPECT_GT(outputOf(*host, "localcli system version get").size(), 5000u);
    hostControl({"command", "localcli", "normal"});
    timespec before{}, after{};
    hostControl({"command", "localcli", "hang", "20", "--count", "1"});
    host->wallClock(&before);
    EXPECT_THAT(outputOf(*host, "localcli system version get"), HasSubstr("Product"));
    host->wallClock(&after);
    EXPECT_GE(after.tv_sec - before.tv_sec, 19);
}

TEST_F(SimulatedHostProcess, CommandsSayWhenTheHostIsGone) {
    startHost();
    hostProgram.end(SIGTERM);
    const Ran ran = runProgram({root() + "/bin/localcli", "system", "version", "get"});
    EXPECT_EQ(ran.status, 127);
    EXPECT_THAT(ran.output, HasSubstr("no simulated host answers"));
}

TEST_F(SimulatedHostProcess, TellsItsNameUptimeAndAddresses) {
    startHost({"--uptime", "5000", "--start-time", "1794731902"});
    const auto host = access();
    utsname name{};
    ASSERT_EQ(host->systemName(&name), 0);
    EXPECT_STREQ(name.sysname, "VMkernel");
    EXPECT_STREQ(name.nodename, "rack42-node07");
    EXPECT_STREQ(name.machine, "x86_64");
    struct sysinfo information {};
    ASSERT_EQ(host->systemInformation(&information), 0);
    EXPECT_NEAR(static_cast<double>(information.uptime), 5000, 20);
    EXPECT_EQ(information.mem_unit, 1u << 20);
    EXPECT_EQ(information.totalram, 524188u);
    timespec now{};
    ASSERT_EQ(host->wallClock(&now), 0);
    EXPECT_NEAR(static_cast<double>(now.tv_sec), 1794731902, 20);

    ifaddrs* addresses = nullptr;
    ASSERT_EQ(host->interfaceAddresses(&addresses), 0);
    std::vector<std::string> found;
    for (const ifaddrs* each = addresses; each; each = each->ifa_next) {
        if (each->ifa_addr->sa_family != AF_INET) continue;
        char text[INET_ADDRSTRLEN], mask[INET_ADDRSTRLEN];
        ::inet_ntop(AF_INET, &reinterpret_cast<sockaddr_in*>(each->ifa_addr)->sin_addr, text, sizeof(text));
        ::inet_ntop(AF_INET, &reinterpret_cast<sockaddr_in*>(each->ifa_netmask)->sin_addr, mask,
                    sizeof(mask));
        found.push_back(std::string(each->ifa_name) + " " + text + " " + mask);
    }
    host->freeInterfaceAddresses(addresses);
    EXPECT_THAT(found, ElementsAre("lo 127.0.0.1 255.0.0.0", "vmk0 10.42.7.11 255.255.255.0",
                                   "vmk1 192.168.107.11 255.255.255.0"));
}

std::vector<std::string> ipv4Of(IvokHostAccess& host) {
    ifaddrs* addresses = nullptr;
    host.interfaceAddresses(&addresses);
    std::vector<std::string> found;
    for (const ifaddrs* each = addresses; each; each = each->ifa_next) {
        if (each->ifa_addr->sa_family != AF_INET) continue;
        char text[INET_ADDRSTRLEN];
        ::inet_ntop(AF_INET, &reinterpret_cast<sockaddr_in*>(each->ifa_addr)->sin_addr, text, sizeof(text));
        found.push_back(text);
    }
    host.freeInterfaceAddresses(addresses);
    return found;
}

TEST_F(SimulatedHostProcess, InterfacesComeAndGo) {
    startHost({}, "bare");
    const auto host = access();
    EXPECT_THAT(ipv4Of(*host), ElementsAre("127.0.0.1"));
    hostControl({"interface", "add", "vmk0", "10.0.0.5/16"});
    hostControl({"interface", "add", "vmk1", "10.1.0.5"});
    hostControl({"interface", "add", "vmk0", "10.0.0.6"});
    EXPECT_THAT(ipv4Of(*host), ElementsAre("127.0.0.1", "10.0.0.5", "10.0.0.6", "10.1.0.5"));
    hostControl({"interface", "remove", "vmk0", "10.0.0.5"});
    EXPECT_THAT(ipv4Of(*host), ElementsAre("127.0.0.1", "10.0.0.6", "10.1.0.5"));
    hostControl({"interface", "remove", "vmk0"});
    EXPECT_THAT(ipv4Of(*host), ElementsAre("127.0.0.1", "10.1.0.5"));
    hostControl({"interface", "remove", "lo"});
    hostControl({"interface", "remove", "vmk1"});
    EXPECT_THAT(ipv4Of(*host), ElementsAre());
}

TEST_F(SimulatedHostProcess, MemoryChangesShowInTheNextSample) {
    startHost();
    const auto host = access();
    hostControl({"memory", "total", "1024", "free", "7"});
    EXPECT_THAT(outputOf(*host, "esxtop -b -n 1"), HasSubstr("\"7\""));
    hostControl({"memory", "free", "9"});
    EXPECT_EQ(hostState()["memory"]["totalMBytes"].asInt(), 1024);
    hostControl({"esxtop", "final-comma", "off"});
    EXPECT_THAT(outputOf(*host, "esxtop -b -n 1"), testing::EndsWith("\"\n"));
}

TEST_F(SimulatedHostProcess, ARebootStartsTheUptimeAnewAndPassesTime) {
    startHost({"--uptime", "5000", "--start-time", "1794731902"});
    const auto host = access();
    const std::string log = "it's a \"host\"/var/log/vmksummary.log";
    const std::size_t before = directory.readFile(log).size();
    DeviceUser user(*host);
    hostControl({"reboot", "--down", "600"});
    struct sysinfo information {};
    host->systemInformation(&information);
    EXPECT_LT(information.uptime, 30);
    timespec now{};
    host->wallClock(&now);
    EXPECT_NEAR(static_cast<double>(now.tv_sec), 1794731902 + 600, 20);
    const std::string added = directory.readFile(log).substr(before);
    EXPECT_THAT(added, testing::MatchesRegex("2026-11-15T08:[0-9:]*Z bootstop: Host is rebooting\n"
                                             "2026-11-15T08:[0-9:]*Z bootstop: Host has booted\n"));
    EXPECT_EQ(user.send(0x06, 0x01, {}), -1);  // what was open before is gone
    EXPECT_EQ(errno, ENODEV);
    hostControl({"power-cut"});
    EXPECT_THAT(directory.readFile(log).substr(before + added.size()),
                testing::MatchesRegex("2026-11-15T08:[0-9:]*Z bootstop: Host has booted\n"));
}

// --- the clock while somebody waits ---

struct Waiting {
    std::mutex mutex;
    std::condition_variable condition;
    bool told = false;
};

timespec inSeconds(IvokHostAccess& host, long seconds) {
    timespec instant{};
    host.wallClock(&instant);
    instant.tv_sec += seconds;
    return instant;
}

// Seconds of the host's wall clock until the wait ended, and how.
std::pair<double, int> waitUntil(IvokHostAccess& host, Waiting& waiting, const timespec& deadline) {
    timespec begin{}, end{};
    std::unique_lock<std::mutex> lock(waiting.mutex);
    host.wallClock(&begin);
    int result = 0;
    while (!waiting.told && result == 0)
        result = host.timedWait(waiting.condition.native_handle(), waiting.mutex.native_handle(), &deadline);
    host.wallClock(&end);
    return {static_cast<double>(end.tv_sec - begin.tv_sec), result};
}

std::pair<double, int> waitOn(IvokHostAccess& host, Waiting& waiting, long seconds) {
    return waitUntil(host, waiting, inSeconds(host, seconds));
}

TEST_F(SimulatedHostProcess, AWaitEndsAtItsInstantOfTheFasterClock) {
    startHost({"--speed", "200"});
    const auto host = access();
    Waiting waiting;
    const auto [seconds, result] = waitOn(*host, waiting, 60);
    EXPECT_EQ(result, ETIMEDOUT);
    EXPECT_GE(seconds, 60);
    EXPECT_LT(seconds, 120);
}

TEST_F(SimulatedHostProcess, AWaitEndsAtOnceForAnInstantThatIsOver) {
    startHost();
    const auto host = access();
    Waiting waiting;
    EXPECT_EQ(waitOn(*host, waiting, 0).second, ETIMEDOUT);
    EXPECT_EQ(waitOn(*host, waiting, -100).second, ETIMEDOUT);
}

TEST_F(SimulatedHostProcess, AWaitSeesAJumpOfTheClock) {
    startHost();
    const auto host = access();
    Waiting waiting;
    const timespec deadline = inSeconds(*host, 3600);
    auto ended = std::async(std::launch::async, [&] { return waitUntil(*host, waiting, deadline); });
    hostControl({"clock", "jump", "+7200"});
    EXPECT_EQ(ended.get().second, ETIMEDOUT);
    EXPECT_LT(deadline.tv_sec, inSeconds(*host, 0).tv_sec);
}

TEST_F(SimulatedHostProcess, AWaitGrowsLongerWhenTheClockIsSetBack) {
    startHost({"--speed", "100"});
    const auto host = access();
    Waiting waiting;
    struct sysinfo before {
    }, after{};
    host->systemInformation(&before);
    // From before the jump, however late the thread starts.
    const timespec deadline = inSeconds(*host, 200);
    auto ended = std::async(std::launch::async, [&] { return waitUntil(*host, waiting, deadline); });
    hostControl({"clock", "jump", "-100"});
    EXPECT_EQ(ended.get().second, ETIMEDOUT);
    host->systemInformation(&after);
    EXPECT_GE(after.uptime - before.uptime, 280);  // of the host's own time
}

TEST_F(SimulatedHostProcess, NoSignalIsLostWhileTheClockIsWatched) {
    startHost({"--speed", "1000"});
    const auto host = access();
    Waiting waiting;
    for (int i = 0; i < 300; ++i) {
        waiting.told = false;
        auto ended = std::async(std::launch::async, [&] { return waitOn(*host, waiting, 86400); });
        {
            const std::lock_guard<std::mutex> lock(waiting.mutex);
            waiting.told = true;
            waiting.condition.notify_one();
        }
        ASSERT_EQ(ended.wait_for(std::chrono::seconds(10)), std::future_status::ready);
        ASSERT_LT(ended.get().first, 86400);
    }
}

TEST_F(SimulatedHostProcess, TwoWaitersHaveEachTheirOwnInstant) {
    startHost({"--speed", "100"});
    const auto host = access();
    Waiting one, two;
    auto first = std::async(std::launch::async, [&] { return waitOn(*host, one, 20); });
    auto second = std::async(std::launch::async, [&] { return waitOn(*host, two, 40); });
    EXPECT_EQ(first.get().second, ETIMEDOUT);
    EXPECT_GE(second.get().first, 40);
}

TEST_F(SimulatedHostProcess, APauseTakesTheHostsTimeAndNoNoticeOfJumps) {
    startHost({"--speed", "100"});
    const auto host = access();
    struct sysinfo before {
    }, after{};
    host->systemInformation(&before);
    hostControl({"clock", "jump", "+100000"});
    host->pause(30000000);
    host->systemInformation(&after);
    EXPECT_GE(after.uptime - before.uptime, 29);
    EXPECT_LT(after.uptime - before.uptime, 1000);
}

TEST_F(SimulatedHostProcess, AWaitForASignalTakesTheHostsTime) {
    startHost({"--speed", "100"});
    const auto host = access();
    sigset_t signals, before;
    sigemptyset(&signals);
    sigaddset(&signals, SIGUSR1);
    ::pthread_sigmask(SIG_BLOCK, &signals, &before);
    struct sysinfo begin {
    }, end{};
    host->systemInformation(&begin);
    EXPECT_EQ(host->waitForSignal(&signals, 60), -1);
    EXPECT_EQ(errno, EAGAIN);
    host->systemInformation(&end);
    EXPECT_GE(end.uptime - begin.uptime, 59);
    EXPECT_LT(end.uptime - begin.uptime, 1000);
    ::pthread_kill(::pthread_self(), SIGUSR1);
    EXPECT_EQ(host->waitForSignal(&signals, 86400), SIGUSR1);
    ::pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

TEST_F(SimulatedHostProcess, TheClockGoesOnWhenTheHostProcessIsGone) {
    startHost({"--speed", "1000"});
    const auto host = access();
    hostProgram.end(SIGKILL);
    Waiting waiting;
    EXPECT_EQ(waitOn(*host, waiting, 100).second, ETIMEDOUT);
}

TEST_F(SimulatedHostProcess, AWallClockBeyondThe32BitTimeFailsWhereTimeIs32Bit) {
    startHost();
    const auto host = access();
    hostControl({"clock", "set", "4000000000"});
    timespec now{};
    if (sizeof(now.tv_sec) == 8) {
        EXPECT_EQ(host->wallClock(&now), 0);
        EXPECT_GE(static_cast<long long>(now.tv_sec), 4000000000LL);
    } else {
        EXPECT_EQ(host->wallClock(&now), -1);
        EXPECT_EQ(errno, EOVERFLOW);
    }
}

TEST_F(SimulatedHostProcess, TheModuleServesNoRootWithoutItsHost) {
    startHost();
    hostProgram.end(SIGTERM);
    std::string error;
    EXPECT_EQ(vokOpenHostRoot(root(), error), nullptr);
    EXPECT_THAT(error, HasSubstr("can't serve"));
}

TEST_F(SimulatedHostProcess, IsFoundUnderAVeryLongPath) {
    const std::string deep = directory.path() + "/" + std::string(120, 'd') + "/" + std::string(120, 'e');
    RunningProgram other(directory.path(), "deep",
                         {VOK_SIMHOST_PROGRAM, "run", "--host", "bare", "--root", deep}, "ready");
    std::string error;
    const auto host = vokOpenHostRoot(deep, error);
    ASSERT_NE(host, nullptr) << error;
    EXPECT_GE(DeviceUser(*host).descriptor(), 0);
    EXPECT_THAT(outputOf(*host, "localcli system version get"), HasSubstr("8.0.2"));
}

TEST_F(SimulatedHostProcess, TheDeviceNodeAppearsAfterTheBringUp) {
    startHost();
    const auto host = access();
    hostControl({"ipmi", "absent"});
    EXPECT_EQ(DeviceUser(*host).descriptor(), -1);
    EXPECT_EQ(errno, ENOENT);
    hostControl({"ipmi", "appears-after-bringup"});
    for (const char* module : {"ipmi_msghandler", "ipmi_si", "ipmi_devintf", "ipmi_watchdog"}) {
        EXPECT_EQ(host->runCommand(std::string("modprobe ") + module), 0);
        EXPECT_EQ(DeviceUser(*host).descriptor(), -1);
    }
    EXPECT_EQ(host->runCommand("modprobe ipmi_ssif > /dev/null 2>&1"), 0);
    EXPECT_EQ(host->runCommand("mknod -m 0600 " + host->commandPath("/dev/ipmi0") + " c `cat " +
                               host->commandPath("/proc/devices") +
                               " | grep ipmidev |cut -d \" \" -f 1` 0 > /dev/null 2>&1"),
              0);
    EXPECT_GE(DeviceUser(*host).descriptor(), 0);
    EXPECT_THAT(directory.readFile("it's a \"host\"/run/simhost/commands.log"), HasSubstr(" c 247 0\n"));
    hostControl({"ipmi", "present"});
}

}  // namespace
}  // namespace SimulatedHostTest
