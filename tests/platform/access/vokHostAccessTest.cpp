#include "platform/access/vokHostAccess.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <syslog.h>
#include <unistd.h>
#include <atomic>
#include <cerrno>
#include <climits>
#include <csignal>
#include <future>
#include <limits>
#include <thread>

#include "platform/access/vokCommandStream.h"
#include "platform/access/vokRootedHostAccess.h"
#include "platform/access/vokShell.h"
#include "platform/access/vokWait.h"
#include "support/FakeClock.h"
#include "support/FakeCommands.h"
#include "support/FakeHost.h"
#include "support/TemporaryDirectory.h"

namespace vokHostAccessTest {
namespace {

std::string outputOf(IvokHostAccess& host, const std::string& command) {
    FILE* stream = host.openCommand(command);
    std::string output;
    for (int c; (c = std::fgetc(stream)) != EOF;) output += static_cast<char>(c);
    host.closeCommand(stream);
    return output;
}

void makeStandIn(const TemporaryDirectory& root, const std::string& name, const std::string& script) {
    root.writeFile("bin/" + name, "#!/bin/sh\n" + script);
    ::chmod((root.path() + "/bin/" + name).c_str(), 0755);
}

TEST(KernelHostAccess, IsTheDefault) {
    EXPECT_NE(dynamic_cast<vokKernelHostAccess*>(&vokHostAccess()), nullptr);
    EXPECT_EQ(dynamic_cast<vokRootedHostAccess*>(&vokHostAccess()), nullptr);
}

TEST(KernelHostAccess, LeavesPathsUnchanged) {
    vokKernelHostAccess host;
    EXPECT_EQ(host.path("/dev/ipmi0"), "/dev/ipmi0");
    EXPECT_EQ(host.commandPath("/opt/mev/vok/data/vok-mem.txt"), "/opt/mev/vok/data/vok-mem.txt");
    EXPECT_EQ(host.commandPath("/a b'c"), "/a b'c");
}

TEST(KernelHostAccess, IoctlIsOneCallOnTheDescriptor) {
    vokKernelHostAccess host;
    int ends[2];
    ASSERT_EQ(::pipe(ends), 0);
    ASSERT_EQ(::write(ends[1], "abc", 3), 3);
    int readable = 0;
    EXPECT_EQ(host.ioctlDevice(ends[0], FIONREAD, &readable), 0);
    EXPECT_EQ(readable, 3);
    EXPECT_EQ(host.ioctlDevice(-1, FIONREAD, &readable), -1);
    EXPECT_EQ(errno, EBADF);
    ::close(ends[0]);
    ::close(ends[1]);
}

TEST(KernelHostAccess, WaitsForADeviceEvenBeyondTheSizeOfASelectSet) {
    vokKernelHostAccess host;
    int ends[2];
    ASSERT_EQ(::pipe(ends), 0);
    ASSERT_EQ(::write(ends[1], "x", 1), 1);
    EXPECT_EQ(host.waitForDevice(ends[0]), 1);
    const int high = ::fcntl(ends[0], F_DUPFD, FD_SETSIZE + 5);
    if (high >= 0) {  // the limit on descriptors may be lower
        EXPECT_EQ(host.waitForDevice(high), 1);
        ::close(high);
    }
    EXPECT_EQ(host.waitForDevice(-1), -1);
    ::close(ends[0]);
    ::close(ends[1]);
}

TEST(KernelHostAccess, OpensDevicesSoThatCommandsDoNotInheritThem) {
    vokKernelHostAccess host;
    const int descriptor = host.openDevice("/dev/null", O_RDWR);
    ASSERT_GE(descriptor, 0);
    EXPECT_TRUE(::fcntl(descriptor, F_GETFD) & FD_CLOEXEC);
    EXPECT_EQ(::fcntl(descriptor, F_GETFL) & O_ACCMODE, O_RDWR);
    EXPECT_EQ(host.closeDevice(descriptor), 0);
    EXPECT_EQ(host.openDevice("/dev/no-such-node", O_RDWR), -1);
    EXPECT_EQ(errno, ENOENT);
}

TEST(KernelHostAccess, RunsCommands) {
    vokKernelHostAccess host;
    EXPECT_EQ(outputOf(host, "echo one; echo two"), "one\ntwo\n");
    EXPECT_EQ(host.runCommand("exit 3"), 3 << 8);
}

TEST(KernelHostAccess, CommandsAreFoundInTheSafeElementsOfThePathOnly) {
    TemporaryDirectory planted;
    makeStandIn(planted, "grep", "echo planted\n");
    ASSERT_EQ(::chmod((planted.path() + "/bin").c_str(), 0777), 0);
    ASSERT_EQ(::setenv("PATH", (planted.path() + "/bin:/usr/bin:/bin:").c_str(), 1), 0);
    vokKernelHostAccess host;
    EXPECT_EQ(outputOf(host, "echo x | grep x; echo $PATH"), "x\n/usr/bin:/bin\n");
    EXPECT_EQ(host.runCommand("test \"$PATH\" = /usr/bin:/bin"), 0);
}

TEST(KernelHostAccess, AfterTheRequestToStopCommandsAndWaitsForDevicesEnd) {
    vokKernelHostAccess host;
    int ends[2];
    ASSERT_EQ(::pipe2(ends, O_CLOEXEC), 0);
    EXPECT_EQ(host.stopPhase(), vokStopPhase::none);
    host.requestStop();
    EXPECT_EQ(host.stopPhase(), vokStopPhase::requested);
    EXPECT_EQ(outputOf(host, "echo still"), "still\n") << "it has three seconds";
    ASSERT_EQ(::write(ends[1], "x", 1), 1);
    EXPECT_EQ(host.waitForDevice(ends[0]), 1);
    ::close(ends[0]);
    ::close(ends[1]);
}

TEST(KernelHostAccess, TheSteadyClockRunsAndItsWaitEndsAtAPastDeadline) {
    vokKernelHostAccess host;
    timespec now{};
    ASSERT_EQ(host.steadyClock(&now), 0);
    EXPECT_GT(now.tv_sec, 0);
    std::mutex mutex;
    std::condition_variable condition;
    std::unique_lock<std::mutex> lock(mutex);
    const timespec past{now.tv_sec - 1, 0};
    EXPECT_EQ(host.steadyWait(condition.native_handle(), mutex.native_handle(), &past), ETIMEDOUT);
    timespec after{};
    ASSERT_EQ(host.steadyClock(&after), 0);
    EXPECT_GE(after.tv_sec, now.tv_sec);
}

// A shell that is started with the signal blocked never returns from its own "wait".
TEST(KernelHostAccess, ACommandCanWaitForItsChildrenEvenIfThisThreadBlocksTheirSignal) {
    vokKernelHostAccess host;
    sigset_t childSignal;
    sigemptyset(&childSignal);
    sigaddset(&childSignal, SIGCHLD);
    ASSERT_EQ(::pthread_sigmask(SIG_BLOCK, &childSignal, nullptr), 0);
    constexpr char command[] = "sleep 0.01 & wait; sed -n 's/^SigBlk:[^1-9a-f]*//p' /proc/self/status";
    EXPECT_EQ(outputOf(host, command), "\n");
    EXPECT_EQ(host.runCommand("sleep 0.01 & wait; exit 4"), 4 << 8);
    sigset_t now;
    ASSERT_EQ(::pthread_sigmask(SIG_BLOCK, nullptr, &now), 0);
    EXPECT_EQ(sigismember(&now, SIGCHLD), 1) << "the thread itself still blocks it";
}

TEST(KernelHostAccess, ReportsSystemFacts) {
    vokKernelHostAccess host;
    utsname name{};
    EXPECT_EQ(host.systemName(&name), 0);
    EXPECT_STREQ(name.sysname, "Linux");
    struct sysinfo information {};
    EXPECT_EQ(host.systemInformation(&information), 0);
    EXPECT_GT(information.uptime, 0);
    ifaddrs* addresses = nullptr;
    EXPECT_EQ(host.interfaceAddresses(&addresses), 0);
    host.freeInterfaceAddresses(addresses);
    timespec now{};
    EXPECT_EQ(host.wallClock(&now), 0);
    EXPECT_NEAR(static_cast<double>(now.tv_sec), static_cast<double>(::time(nullptr)), 1.0);
}

TEST(KernelHostAccess, PausesForTheWholeTime) {
    vokKernelHostAccess host;
    timespec before{};
    timespec after{};
    ASSERT_EQ(::clock_gettime(CLOCK_MONOTONIC, &before), 0);
    host.pause(2000);
    ASSERT_EQ(::clock_gettime(CLOCK_MONOTONIC, &after), 0);
    EXPECT_GE((after.tv_sec - before.tv_sec) * 1000000LL + (after.tv_nsec - before.tv_nsec) / 1000, 2000);
}

TEST(KernelHostAccess, LoadsLibraries) {
    vokKernelHostAccess host;
    void* library = host.openLibrary("libm.so.6", RTLD_NOW);
    ASSERT_NE(library, nullptr);
    EXPECT_NE(host.librarySymbol(library, "cos"), nullptr);
    EXPECT_EQ(host.librarySymbol(library, "no_such_symbol"), nullptr);
    EXPECT_THAT(host.libraryFile(library), testing::MatchesRegex("/.*/libm\\.so\\.6"));
    EXPECT_EQ(host.closeLibrary(library), 0);
    EXPECT_EQ(host.openLibrary("libno-such.so", RTLD_NOW), nullptr);
}

TEST(KernelHostAccess, ReportsOnceWhyALibraryCallFailed) {
    vokKernelHostAccess host;
    host.libraryError();  // clears what another test of this process has left
    EXPECT_EQ(host.libraryError(), "");
    EXPECT_EQ(host.openLibrary("libno-such.so", RTLD_NOW), nullptr);
    EXPECT_THAT(host.libraryError(), testing::HasSubstr("libno-such.so"));
    EXPECT_EQ(host.libraryError(), "");
    void* library = host.openLibrary("libm.so.6", RTLD_NOW);
    ASSERT_NE(library, nullptr);
    EXPECT_EQ(host.librarySymbol(library, "no_such_symbol"), nullptr);
    EXPECT_THAT(host.libraryError(), testing::HasSubstr("no_such_symbol"));
    EXPECT_EQ(host.closeLibrary(library), 0);
    EXPECT_EQ(host.libraryError(), "");
}

TEST(KernelHostAccess, StartsAThreadAndJoinsIt) {
    vokKernelHostAccess host;
    std::atomic<int> argument{0};
    const auto body = [](void* passed) -> void* {
        *static_cast<std::atomic<int>*>(passed) = 1;
        return nullptr;
    };
    pthread_t thread{};
    ASSERT_EQ(host.startThread(&thread, body, &argument), 0);
    EXPECT_EQ(host.joinThread(thread), 0);
    EXPECT_EQ(argument, 1);
    EXPECT_EQ(host.joinThread(::pthread_self()), EDEADLK);
}

TEST(KernelHostAccess, AThreadHasTheDefaultAttributes) {
    // A stack larger than the address space can't be allocated.
    constexpr std::size_t all = ~std::size_t{0};
    pthread_attr_t attributes;
    ASSERT_EQ(::pthread_attr_init(&attributes), 0);
    ASSERT_EQ(::pthread_attr_setstacksize(&attributes, all - (all >> 4)), 0);
    ASSERT_EQ(::pthread_setattr_default_np(&attributes), 0);
    ::pthread_attr_destroy(&attributes);
    vokKernelHostAccess host;
    pthread_t thread{};
    const auto body = [](void*) -> void* { return nullptr; };
    EXPECT_EQ(host.startThread(&thread, body, nullptr), EAGAIN);
}

TEST(KernelHostAccess, TimedWaitEndsAtAPastDeadline) {
    vokKernelHostAccess host;
    std::mutex mutex;
    std::condition_variable condition;
    std::unique_lock<std::mutex> lock(mutex);
    const timespec past{1, 0};
    EXPECT_EQ(host.timedWait(condition.native_handle(), mutex.native_handle(), &past), ETIMEDOUT);
}

TEST(RootedHostAccess, PrefixesEveryPathWithTheRoot) {
    TemporaryDirectory root;
    vokRootedHostAccess host(root.path() + "/");
    EXPECT_EQ(host.path("/dev/ipmi0"), root.path() + "/dev/ipmi0");
    EXPECT_EQ(host.commandPath("/dev/ipmi0"), root.path() + "/dev/ipmi0");
}

TEST(RootedHostAccess, APathWithoutLeadingSlashDoesNotNameASiblingOfTheRoot) {
    TemporaryDirectory root;
    vokRootedHostAccess host(root.path());
    EXPECT_EQ(host.path("vok.log"), root.path() + "/vok.log");
}

TEST(RootedHostAccess, ItsSystemLogLiesUnderTheRootAndIsPrivate) {
    TemporaryDirectory root;
    vokRootedHostAccess host(root.path());
    host.systemLog(LOG_ERR, "[ERROR]  001 M: first");
    host.systemLog(LOG_WARNING, "100 % second");
    host.systemLog(LOG_INFO, "third");
    host.systemLog(LOG_DEBUG, "fourth");
    EXPECT_EQ(
        root.readFile("var/log/syslog.log"),
        "vok err: [ERROR]  001 M: first\nvok warning: 100 % second\nvok info: third\nvok debug: fourth\n");
    struct stat status {};
    ASSERT_EQ(::stat((root.path() + "/var/log/syslog.log").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0600U);
}

TEST(RootedHostAccess, ItsSystemLogFollowsNoLink) {
    TemporaryDirectory root;
    root.writeFile("var/log/keep", "");
    root.writeFile("target", "untouched");
    ASSERT_EQ(::symlink("../../target", (root.path() + "/var/log/syslog.log").c_str()), 0);
    vokRootedHostAccess(root.path()).systemLog(LOG_ERR, "text");
    EXPECT_EQ(root.readFile("target"), "untouched");
}

TEST(RootedHostAccess, WorksWithBlanksAndQuotesInItsPath) {
    TemporaryDirectory parent;
    parent.writeFile("it's a \"ro`ot$HOME\\/opt/file", "hello\n");
    vokRootedHostAccess host(parent.path() + "/it's a \"ro`ot$HOME\\");
    EXPECT_EQ(outputOf(host, "cat " + host.commandPath("/opt/file")), "hello\n");
    EXPECT_EQ(outputOf(host, "echo `cat " + vokBackquoted(host.commandPath("/opt/file")) + "`"), "hello\n");
}

TEST(RootedHostAccess, LooksForCommandsInItsOwnBinFirst) {
    TemporaryDirectory root;
    makeStandIn(root, "localcli", "echo stand-in \"$@\"\n");
    makeStandIn(root, "grep", "echo own grep\n");
    vokRootedHostAccess host(root.path());
    EXPECT_EQ(outputOf(host, "localcli system version get"), "stand-in system version get\n");
    EXPECT_EQ(outputOf(host, "echo x | grep x"), "own grep\n");
    EXPECT_EQ(host.runCommand("localcli > /dev/null"), 0);
    EXPECT_EQ(outputOf(host, "echo \"$PATH\""), root.path() + "/bin:/usr/bin:/bin\n");
}

TEST(RootedHostAccess, NeverRunsTheMachinesModuleAndNodeCommands) {
    TemporaryDirectory root;
    vokRootedHostAccess host(root.path());
    EXPECT_NE(host.runCommand("modprobe --version > /dev/null 2>&1"), 0);
    EXPECT_NE(host.runCommand("mknod --version > /dev/null 2>&1"), 0);
    makeStandIn(root, "modprobe", "exit 0\n");
    makeStandIn(root, "mknod", "exit 0\n");
    EXPECT_EQ(host.runCommand("modprobe ipmi_si"), 0);
    EXPECT_EQ(host.runCommand("mknod -m 0600 x c `echo 1 2` 0"), 0);
}

TEST(RootedHostAccess, LooksForLibrariesInItsOwnLibFirst) {
    TemporaryDirectory root;
    root.writeFile("lib/libm.so.6", "not a library");
    vokRootedHostAccess host(root.path());
    EXPECT_EQ(host.openLibrary("libm.so.6", RTLD_NOW), nullptr);
    void* other = host.openLibrary("libdl.so.2", RTLD_NOW);
    EXPECT_NE(other, nullptr);
    host.closeLibrary(other);
}

TEST(OpenHostRoot, SaysWhyARootCanNotBeUsed) {
    TemporaryDirectory root;
    std::string error;
    EXPECT_EQ(vokOpenHostRoot(root.path() + "/none", error), nullptr);
    EXPECT_THAT(error, testing::HasSubstr("No such file"));
    root.writeFile("file", "");
    EXPECT_EQ(vokOpenHostRoot(root.path() + "/file", error), nullptr);
    EXPECT_THAT(error, testing::HasSubstr("not a directory"));
    root.writeFile("a:b/file", "");
    EXPECT_EQ(vokOpenHostRoot(root.path() + "/a:b", error), nullptr);
    EXPECT_THAT(error, testing::HasSubstr("colon"));
    root.writeFile("broken/lib/libvok-hostaccess.so", "not a library");
    EXPECT_EQ(vokOpenHostRoot(root.path() + "/broken", error), nullptr);
    EXPECT_THAT(error, testing::HasSubstr("host-access module"));
}

TEST(OpenHostRoot, AcceptsAPlainDirectory) {
    TemporaryDirectory root;
    std::string error;
    const auto host = vokOpenHostRoot(root.path(), error);
    ASSERT_NE(host, nullptr);
    EXPECT_EQ(host->path("/etc/x"), root.path() + "/etc/x");
}

TEST(ShellQuote, LeavesPlainWordsUnquoted) {
    EXPECT_EQ(vokShellQuote("/opt/mev/vok/data/vok-mem.txt"), "/opt/mev/vok/data/vok-mem.txt");
    EXPECT_EQ(vokShellQuote(""), "''");
    EXPECT_EQ(vokShellQuote("a b"), "'a b'");
    EXPECT_EQ(vokShellQuote("it's"), "'it'\\''s'");
    EXPECT_EQ(vokShellQuote("a;b"), "'a;b'");
}

TEST(WaitFor, ReportsTimeOutSignalAndAFailingClock) {
    const FakeHost host;
    auto& clock = host.part<FakeClock>();
    std::mutex mutex;
    std::condition_variable condition;
    std::unique_lock<std::mutex> lock(mutex);
    vokDeadline deadline;
    EXPECT_EQ(vokWaitFor(condition, lock, deadline, 60), vokWaitResult::timedOut);
    EXPECT_EQ(clock.waitedSeconds(), std::vector<long long>{60});
    clock.onTimedWait = [](const timespec&) { return true; };
    EXPECT_EQ(vokWaitFor(condition, lock, deadline, 60), vokWaitResult::signalled);
    clock.failReads(1);
    EXPECT_EQ(vokWaitFor(condition, lock, deadline, 60), vokWaitResult::clockFailed);
}

TEST(WaitFor, AnIntervalBeyondTheClockIsClampedToItsEnd) {
    const FakeHost host;
    time_t deadlineSeconds = 0;
    host.part<FakeClock>().onTimedWait = [&](const timespec& end) {
        deadlineSeconds = end.tv_sec;
        return true;
    };
    std::mutex mutex;
    std::condition_variable condition;
    std::unique_lock<std::mutex> lock(mutex);
    vokDeadline deadline;
    vokWaitFor(condition, lock, deadline, std::numeric_limits<long long>::max());
    EXPECT_EQ(deadlineSeconds, std::numeric_limits<time_t>::max());
}

TEST(WaitFor, ANegativeIntervalIsZero) {
    const FakeHost host;
    std::mutex mutex;
    std::condition_variable condition;
    std::unique_lock<std::mutex> lock(mutex);
    vokDeadline deadline;
    EXPECT_EQ(vokWaitFor(condition, lock, deadline, -5), vokWaitResult::timedOut);
    EXPECT_EQ(host.part<FakeClock>().waitedSeconds(), std::vector<long long>{0});
}

// --- a clock that is set back ---

TEST(WaitFor, EndsAsTimedOutWhenTheClockWasSetBackBeyondItsBegin) {
    const FakeHost host;
    auto& clock = host.part<FakeClock>();
    std::mutex mutex;
    std::condition_variable condition;
    std::unique_lock<std::mutex> lock(mutex);
    vokDeadline deadline;
    for (const auto& [setBack, result] : {std::pair(0, vokWaitResult::signalled),
                                          {5, vokWaitResult::signalled},
                                          {6, vokWaitResult::timedOut},
                                          {86400, vokWaitResult::timedOut},
                                          {-86400, vokWaitResult::signalled}}) {
        clock.set(1700000000);
        clock.onTimedWait = [&, seconds = setBack](const timespec&) {
            clock.advance(-seconds);
            return true;
        };
        EXPECT_EQ(vokWaitFor(condition, lock, deadline, 60), result) << setBack;
        EXPECT_EQ(deadline.end().tv_sec, 1700000060);
    }
}

TEST(WaitFor, AClockThatCannotBeReadAfterASignalWasNotSetBack) {
    const FakeHost host;
    auto& clock = host.part<FakeClock>();
    clock.onTimedWait = [&](const timespec&) {
        clock.failReads(1);
        return true;
    };
    std::mutex mutex;
    std::condition_variable condition;
    std::unique_lock<std::mutex> lock(mutex);
    vokDeadline deadline;
    EXPECT_EQ(vokWaitFor(condition, lock, deadline, 60), vokWaitResult::signalled);
}

TEST(EndOvertakenWait, WakesOnlyAThreadThatWaitsSinceATimeStillToCome) {
    const FakeHost host;
    auto& clock = host.part<FakeClock>();
    clock.timedWaitsHold = true;
    std::mutex mutex;
    std::condition_variable condition;
    vokDeadline deadline;
    const auto endWait = [&] {
        const std::lock_guard<std::mutex> lock(mutex);
        return vokEndOvertakenWait(condition, deadline);
    };
    auto waiter = std::async(std::launch::async, [&] {
        std::unique_lock<std::mutex> lock(mutex);
        return vokWaitFor(condition, lock, deadline, 60);
    });
    while (clock.waitedSeconds().empty()) std::this_thread::yield();
    EXPECT_FALSE(endWait());
    clock.advance(-5);
    EXPECT_FALSE(endWait());
    clock.advance(-1);
    EXPECT_TRUE(endWait());
    EXPECT_EQ(waiter.get(), vokWaitResult::timedOut);
    EXPECT_FALSE(endWait()) << "nobody waits";
}

TEST(KernelHostAccess, WaitsForASignalOrTheTime) {
    vokKernelHostAccess host;
    sigset_t signals, before;
    sigemptyset(&signals);
    sigaddset(&signals, SIGUSR1);
    ::pthread_sigmask(SIG_BLOCK, &signals, &before);
    EXPECT_EQ(host.waitForSignal(&signals, 0), -1);
    EXPECT_EQ(errno, EAGAIN);
    ::pthread_kill(::pthread_self(), SIGUSR1);
    EXPECT_EQ(host.waitForSignal(&signals, 60), SIGUSR1);
    ::pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

TEST(CommandStream, ClosesItsStreamAndReturnsTheStatusOnce) {
    const FakeHost host;
    auto& commands = host.part<FakeCommands>();
    commands.onCommand = [](const std::string&, int& status) {
        status = 2 << 8;
        return std::string("text");
    };
    vokCommandStream stream("anything");
    ASSERT_TRUE(stream);
    EXPECT_EQ(stream.close(), 2 << 8);
    EXPECT_EQ(stream.close(), -1);
    commands.failToStart = true;
    EXPECT_FALSE(vokCommandStream("anything"));
}

}  // namespace
}  // namespace vokHostAccessTest
