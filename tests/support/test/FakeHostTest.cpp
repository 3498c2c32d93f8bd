#include "support/FakeHost.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest-spi.h>
#include <linux/ipmi.h>
#include <sys/ioctl.h>
#include <unistd.h>
#include <cerrno>
#include <condition_variable>
#include <mutex>
#include <thread>

#include "platform/access/vokHostAccess.h"
#include "support/FakeClock.h"
#include "support/FakeCommands.h"
#include "support/FakeFiles.h"
#include "support/FakeIpmi.h"
#include "support/FakeLibraries.h"
#include "support/FakeNetwork.h"
#include "support/FakeThreads.h"

namespace FakeHostTest {
namespace {

using testing::ElementsAre;

// --- composition ---

TEST(FakeHost, AfterTheRequestToStopCommandsAreRefused) {
    const FakeHost host;
    auto& commands = host.part<FakeCommands>();
    commands.output["x"] = "";
    EXPECT_EQ(vokHostAccess().stopPhase(), vokStopPhase::none);
    vokHostAccess().requestStop();
    EXPECT_EQ(vokHostAccess().stopPhase(), vokStopPhase::withoutCommands);
    errno = 0;
    EXPECT_EQ(vokHostAccess().runCommand("x"), -1);
    EXPECT_EQ(errno, ECANCELED);
    EXPECT_EQ(vokHostAccess().openCommand("x"), nullptr);
}

TEST(FakeHost, TheSteadyClockStandsStillAndEndsTheWaitsThatItPasses) {
    const FakeHost host;
    auto& clock = host.part<FakeClock>();
    timespec begin{};
    ASSERT_EQ(vokHostAccess().steadyClock(&begin), 0);
    std::mutex mutex;
    std::condition_variable condition;
    const timespec deadline{begin.tv_sec + 10, begin.tv_nsec};
    std::thread waiting([&] {
        std::unique_lock<std::mutex> lock(mutex);
        EXPECT_EQ(vokHostAccess().steadyWait(condition.native_handle(), mutex.native_handle(), &deadline),
                  ETIMEDOUT);
        EXPECT_EQ(vokHostAccess().steadyWait(condition.native_handle(), mutex.native_handle(), &deadline),
                  ETIMEDOUT);
    });
    clock.waitForSteadyWaits(1);
    clock.advanceSteady(9);
    clock.advanceSteady(1);
    waiting.join();
    EXPECT_THAT(clock.steadilyWaitedSeconds(), ElementsAre(10, 0));
    timespec now{};
    ASSERT_EQ(vokHostAccess().steadyClock(&now), 0);
    EXPECT_EQ(now.tv_sec, begin.tv_sec + 10);
}

TEST(FakeHost, HasOnlyTheDevicesThatWereAdded) {
    const FakeHost host;
    EXPECT_EQ(vokHostAccess().openDevice(host.path("/dev/ipmi0"), O_RDWR), -1);
    EXPECT_EQ(errno, ENOENT);
    host.add<FakeIpmi>();
    EXPECT_GE(vokHostAccess().openDevice(host.path("/dev/ipmi0"), O_RDWR), 0);
}

TEST(FakeHost, ANodeWithoutADeviceIsAFileUnderItsRoot) {
    const FakeHost host;
    host.root.writeFile("/dev/other", "abc");
    const int descriptor = vokHostAccess().openDevice(host.path("/dev/other"), O_RDONLY | O_SYNC);
    char bytes[4] = {};
    EXPECT_EQ(::read(descriptor, bytes, sizeof(bytes)), 3);
    EXPECT_EQ(vokHostAccess().closeDevice(descriptor), 0);
    const auto opened = host.part<FakeFiles>().openedNodes();
    ASSERT_EQ(opened.size(), 1U);
    EXPECT_EQ(opened[0].path, "/dev/other");
    EXPECT_EQ(opened[0].flags, O_RDONLY | O_SYNC);
}

TEST(FakeHost, TheSetNumberOfOpensOfADeviceFails) {
    const FakeHost host;
    auto& ipmi = host.add<FakeIpmi>("/dev/ipmi1");
    ipmi.failOpens(2, EBUSY);
    for (int attempt = 0; attempt < 2; ++attempt) {
        EXPECT_EQ(vokHostAccess().openDevice(host.path("/dev/ipmi1"), O_RDWR), -1);
        EXPECT_EQ(errno, EBUSY);
    }
    EXPECT_EQ(ipmi.openDescriptors(), 0);
    EXPECT_GE(vokHostAccess().openDevice(host.path("/dev/ipmi1"), O_RDWR), 0);
    EXPECT_EQ(ipmi.opens(), 3);
    EXPECT_EQ(ipmi.openDescriptors(), 1);
}

TEST(FakeHost, APartOfADerivedClassReplacesThePlainPart) {
    class Unplugged : public FakeNetwork {
    public:
        int addresses(ifaddrs**) override {
            errno = ENODEV;
            return -1;
        }
    };
    const FakeHost host;
    const FakeNetwork& part = host.add<Unplugged>();
    EXPECT_EQ(&host.part<FakeNetwork>(), &part);
    ifaddrs* list = nullptr;
    EXPECT_EQ(vokHostAccess().interfaceAddresses(&list), -1);
    EXPECT_EQ(errno, ENODEV);
}

FakeHost hostWithAFile() {
    FakeHost host;
    host.root.writeFile("/etc/x", "1");
    return host;
}

TEST(FakeHost, CanBeReturnedByAFunctionAndStaysInstalledAfterItsDestruction) {
    {
        const auto host = hostWithAFile();
        EXPECT_EQ(host.root.readFile("/etc/x"), "1");
    }
    EXPECT_EQ(::access(vokHostAccess().path("/etc/x").c_str(), F_OK), 0);
}

TEST(FakeHost, TheNextHostReplacesIt) {
    const FakeHost first;
    const FakeHost second;
    EXPECT_EQ(vokHostAccess().path("/x"), second.path("/x"));
    EXPECT_NE(first.path("/x"), second.path("/x"));
    first.part<FakeClock>().set(1);  // without effect
    EXPECT_EQ(vokWallClockSeconds(), 1700000000);
}

// --- expected rows ---

TEST(FakeCommands, ExpectedCommandsPrintAndExitRowByRow) {
    const FakeHost host;
    host.part<FakeCommands>().expect({
        {"localcli list", "a\n"},
        {"modprobe x", "", 1},
        {"localcli list", "b\n"},
    });
    char line[4] = {};
    FILE* stream = vokHostAccess().openCommand("localcli list");
    EXPECT_STREQ(std::fgets(line, sizeof(line), stream), "a\n");
    EXPECT_EQ(vokHostAccess().closeCommand(stream), 0);
    EXPECT_EQ(vokHostAccess().runCommand("modprobe x"), 1 << 8);
    stream = vokHostAccess().openCommand("localcli list");
    EXPECT_STREQ(std::fgets(line, sizeof(line), stream), "b\n");
    EXPECT_EQ(host.part<FakeCommands>().openStreams(), 1);
    EXPECT_EQ(vokHostAccess().closeCommand(stream), 0);
    EXPECT_EQ(host.part<FakeCommands>().openStreams(), 0);
}

TEST(FakeCommands, ACommandThatDiffersFromTheNextRowFailsTheTestAtOnce) {
    const FakeHost host;
    host.part<FakeCommands>().expect({{"first"}, {"second"}});
    int status = 0;
    EXPECT_NONFATAL_FAILURE(status = vokHostAccess().runCommand("second"), "than second");
    EXPECT_EQ(status, 127 << 8);
    vokHostAccess().runCommand("first");
    vokHostAccess().runCommand("second");
    EXPECT_NONFATAL_FAILURE(vokHostAccess().runCommand("third"), "after all 2 expected rows: third");
}

TEST(FakeCommands, RowsThatWereNotUsedFailTheTestAtTheEnd) {
    EXPECT_NONFATAL_FAILURE(
        {
            const FakeHost host;
            host.part<FakeCommands>().expect({{"first"}, {"second"}});
            vokHostAccess().runCommand("first");
        },
        "commands: 1 of 2 expected rows were not used");
}

TEST(FakeIpmi, ExpectedRequestsAreAnsweredRowByRow) {
    const FakeHost host;
    auto& ipmi = host.add<FakeIpmi>();
    ipmi.expect({{0x06, 0x01, {}, {{0x00, 0x20}}}, {0x06, 0x36, {5}, FakeIpmiReply::sendFails()}});
    const int descriptor = vokHostAccess().openDevice(host.path("/dev/ipmi0"), O_RDWR);
    unsigned char sent[] = {5};
    ipmi_req request{};
    request.msg.netfn = 0x06;
    request.msg.cmd = 0x01;
    EXPECT_EQ(vokHostAccess().ioctlDevice(descriptor, IPMICTL_SEND_COMMAND, &request), 0);
    EXPECT_EQ(vokHostAccess().waitForDevice(descriptor), 1);
    unsigned char bytes[4] = {};
    ipmi_recv reply{};
    reply.msg.data = bytes;
    reply.msg.data_len = sizeof(bytes);
    EXPECT_EQ(vokHostAccess().ioctlDevice(descriptor, IPMICTL_RECEIVE_MSG_TRUNC, &reply), 0);
    EXPECT_EQ(reply.msg.data_len, 2);
    EXPECT_EQ(bytes[1], 0x20);
    request.msg.cmd = 0x36;
    EXPECT_NONFATAL_FAILURE(vokHostAccess().ioctlDevice(descriptor, IPMICTL_SEND_COMMAND, &request),
                            "row 1 expects another request than netfn 6 command 54 data");
    request.msg.data = sent;
    request.msg.data_len = 1;
    EXPECT_EQ(vokHostAccess().ioctlDevice(descriptor, IPMICTL_SEND_COMMAND, &request), -1);
    EXPECT_EQ(errno, EIO);
}

// --- threads, clock, libraries ---

void* returnAtOnce(void*) {
    return nullptr;
}

class FakeThreadsTest : public testing::Test {
protected:
    int start() { return vokHostAccess().startThread(&thread, returnAtOnce, nullptr); }
    int startAndJoin() {
        const int result = start();
        return result != 0 ? result : vokHostAccess().joinThread(thread);
    }

    FakeHost host;
    FakeThreads& threads = host.part<FakeThreads>();
    pthread_t thread{};
};

TEST_F(FakeThreadsTest, StartUntilTheSetNumberHasSucceeded) {
    threads.failStarts(2);
    EXPECT_EQ(startAndJoin(), 0);
    EXPECT_EQ(startAndJoin(), 0);
    EXPECT_EQ(startAndJoin(), EAGAIN);
    EXPECT_EQ(startAndJoin(), EAGAIN);
    EXPECT_EQ(threads.started(), 2);
    EXPECT_EQ(threads.joined().size(), 2U);
}

TEST_F(FakeThreadsTest, TheNextStartsFailWithTheSetErrorAndLaterOnesSucceed) {
    threads.failNextStarts(2, EPERM);
    EXPECT_EQ(startAndJoin(), EPERM);
    EXPECT_EQ(startAndJoin(), EPERM);
    EXPECT_EQ(startAndJoin(), 0);
    EXPECT_EQ(startAndJoin(), 0);
}

TEST_F(FakeThreadsTest, AFailedJoinIsRecordedAndJoinsNothing) {
    ASSERT_EQ(start(), 0);
    threads.failJoins(EDEADLK);
    EXPECT_EQ(vokHostAccess().joinThread(thread), EDEADLK);
    threads.failJoins(0);
    EXPECT_EQ(vokHostAccess().joinThread(thread), 0);
    EXPECT_THAT(threads.joined(), ElementsAre(thread, thread));
}

TEST(FakeClock, PausesTakeNoTimeAndAdvanceTheClock) {
    const FakeHost host;
    auto& clock = host.part<FakeClock>();
    clock.set(100, 7);
    vokHostAccess().pause(3500000);
    vokHostAccess().pause(10);
    EXPECT_THAT(clock.pauses(), ElementsAre(3500000U, 10U));
    EXPECT_EQ(clock.now().tv_sec, 103);
    EXPECT_EQ(clock.now().tv_nsec, 7);
    clock.advance(-4);
    EXPECT_EQ(vokWallClockSeconds(), 99);
}

TEST(FakeClock, ATimedWaitEndsAtItsDeadlineOrByASignalFromTheTest) {
    const FakeHost host;
    auto& clock = host.part<FakeClock>();
    pthread_cond_t condition = PTHREAD_COND_INITIALIZER;
    pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;
    const timespec deadline{1700000060, 0};
    clock.onTimedWait = [](const timespec&) { return true; };
    EXPECT_EQ(vokHostAccess().timedWait(&condition, &mutex, &deadline), 0);
    EXPECT_EQ(clock.now().tv_sec, 1700000000);
    clock.onTimedWait = nullptr;
    EXPECT_EQ(vokHostAccess().timedWait(&condition, &mutex, &deadline), ETIMEDOUT);
    EXPECT_EQ(clock.now().tv_sec, 1700000060);
    EXPECT_THAT(clock.waitedSeconds(), ElementsAre(60, 60));
}

TEST(FakeClock, TheSetNumberOfReadsFails) {
    const FakeHost host;
    host.part<FakeClock>().failReads(1);
    timespec now{};
    EXPECT_EQ(vokHostAccess().wallClock(&now), -1);
    EXPECT_EQ(errno, EINVAL);
    EXPECT_EQ(vokHostAccess().wallClock(&now), 0);
    EXPECT_EQ(now.tv_sec, 1700000000);
}

TEST(FakeLibraries, AreCountedAndReportAReasonOnce) {
    const FakeHost host;
    auto& libraries = host.part<FakeLibraries>();
    libraries.symbols["libx.so"] = {{"x", &libraries}};
    libraries.failure = "no such symbol";
    void* library = vokHostAccess().openLibrary("libx.so", 1);
    EXPECT_EQ(libraries.openCount(), 1);
    EXPECT_EQ(vokHostAccess().librarySymbol(library, "x"), &libraries);
    EXPECT_EQ(vokHostAccess().libraryError(), "");
    EXPECT_EQ(vokHostAccess().librarySymbol(library, "y"), nullptr);
    EXPECT_EQ(vokHostAccess().libraryError(), "no such symbol");
    EXPECT_EQ(vokHostAccess().libraryError(), "");
    EXPECT_EQ(vokHostAccess().closeLibrary(library), 0);
    EXPECT_EQ(libraries.openCount(), 0);
    EXPECT_EQ(vokHostAccess().openLibrary("liby.so", 2), nullptr);
    ASSERT_EQ(libraries.opened().size(), 2U);
    EXPECT_EQ(libraries.opened()[1].name, "liby.so");
    EXPECT_EQ(libraries.opened()[1].flags, 2);
}

}  // namespace
}  // namespace FakeHostTest
