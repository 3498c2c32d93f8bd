#include "platform/access/vokLongOperation.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>
#include <atomic>
#include <cerrno>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "platform/access/vokCommandStream.h"
#include "platform/access/vokLibrary.h"
#include "platform/access/vokOwnedDescriptor.h"
#include "platform/access/vokScsi.h"
#include "support/FakeClock.h"
#include "support/FakeCommands.h"
#include "support/FakeHost.h"
#include "support/FakeThreads.h"

namespace vokLongOperationTest {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

// The reports so far, as "after 30 s: TEXT" and "ended after 31 s: TEXT".
class Reports {
public:
    static void add(const char* description, long seconds, bool hasEnded) {
        const std::lock_guard<std::mutex> lock(guard_);
        texts_.push_back((hasEnded ? "ended after " : "after ") + std::to_string(seconds) +
                         " s: " + description);
        changed_.notify_all();
        errno = EDOM;
    }
    static std::vector<std::string> texts() {
        const std::lock_guard<std::mutex> lock(guard_);
        return texts_;
    }
    static void waitFor(std::size_t count) {
        std::unique_lock<std::mutex> lock(guard_);
        changed_.wait(lock, [count] { return texts_.size() >= count; });
    }

private:
    inline static std::mutex guard_;
    inline static std::condition_variable changed_;
    inline static std::vector<std::string> texts_;
};

class LongOperation : public testing::Test {
protected:
    LongOperation() { vokBindLongOperationReport(Reports::add); }
    // Lets the time pass once the watch waits with a time-out for the `waits`th time.
    void pass(long long seconds, std::size_t waits) {
        clock.waitForSteadyWaits(waits);
        clock.advanceSteady(seconds);
    }

    FakeHost host;
    FakeClock& clock = host.part<FakeClock>();
};

TEST_F(LongOperation, IsReportedOnceAfterThirtySecondsAndAtItsEnd) {
    const vokLongOperationWatch watch;
    ASSERT_TRUE(watch.isRunning());
    {
        const vokLongOperation operation(vokOperationKind::command, "localcli list");
        pass(29, 1);
        EXPECT_THAT(Reports::texts(), IsEmpty());
        clock.advanceSteady(3);
        Reports::waitFor(1);
        clock.advanceSteady(3600);
        EXPECT_THAT(Reports::texts(), ElementsAre("after 32 s: command \"localcli list\""));
    }
    EXPECT_THAT(Reports::texts(), ElementsAre("after 32 s: command \"localcli list\"",
                                              "ended after 3632 s: command \"localcli list\""));
}

TEST_F(LongOperation, BelowThirtySecondsIsNotReported) {
    const vokLongOperationWatch watch;
    {
        const vokLongOperation operation(vokOperationKind::command, "quick");
        pass(29, 1);
    }
    const vokLongOperation next(vokOperationKind::command, "slow");
    pass(2, 1);
    pass(29, 2);
    Reports::waitFor(1);
    EXPECT_THAT(Reports::texts(), ElementsAre("after 31 s: command \"slow\""));
}

TEST_F(LongOperation, EachOfSeveralIsReportedAtItsOwnTime) {
    const vokLongOperationWatch watch;
    const vokLongOperation first(vokOperationKind::libraryCall, "first");
    pass(20, 1);
    const vokLongOperation second(vokOperationKind::libraryCall, "second");
    pass(11, 1);
    Reports::waitFor(1);
    EXPECT_THAT(Reports::texts(), ElementsAre("after 31 s: library call first"));
    pass(20, 2);
    Reports::waitFor(2);
    EXPECT_THAT(Reports::texts(),
                ElementsAre("after 31 s: library call first", "after 31 s: library call second"));
}

TEST_F(LongOperation, AnIdleWatchSleepsWithoutATimeOut) {
    const vokLongOperationWatch watch;
    {
        const vokLongOperation operation(vokOperationKind::command, "one");
        clock.waitForSteadyWaits(1);
    }
    pass(31, 1);  // its one look after an operation that has ended
    clock.advanceSteady(100000);
    const vokLongOperation operation(vokOperationKind::command, "two");
    clock.waitForSteadyWaits(2);
    EXPECT_EQ(clock.steadilyWaitedSeconds().size(), 2U);
}

TEST_F(LongOperation, ManyThatFollowEachOtherWakeTheWatchOnce) {
    const vokLongOperationWatch watch;
    {
        const vokLongOperation operation(vokOperationKind::command, "first");
        clock.waitForSteadyWaits(1);
    }
    for (int i = 0; i < 1000; ++i) const vokLongOperation operation(vokOperationKind::command, "quick");
    EXPECT_THAT(clock.steadilyWaitedSeconds(), ElementsAre(30));
}

TEST_F(LongOperation, PartOfAnotherIsReportedBesideIt) {
    const vokLongOperationWatch watch;
    const vokLongOperation outer(vokOperationKind::libraryCall, "outer");
    const vokLongOperation inner(vokOperationKind::deviceRequest, "/dev/ipmi0", 0x3A80);
    pass(31, 1);
    Reports::waitFor(2);
    EXPECT_THAT(Reports::texts(), ElementsAre("after 31 s: library call outer",
                                              "after 31 s: device /dev/ipmi0, request 0x3a80"));
}

TEST_F(LongOperation, OnAnOpenDeviceIsReportedWithThePathThatIsOpen) {
    host.root.writeFile("/dev/sg3", "");
    const vokOwnedDescriptor device(::open(host.path("/dev/sg3").c_str(), O_RDONLY | O_CLOEXEC));
    const vokLongOperationWatch watch;
    {
        const vokLongOperation operation({vokOperationKind::scsiCommand, nullptr, 0x12, device.get()});
        pass(31, 1);
        Reports::waitFor(1);
    }
    EXPECT_THAT(Reports::texts(),
                ElementsAre("after 31 s: device " + host.path("/dev/sg3") + ", SCSI command 0x12",
                            "ended after 31 s: device " + host.path("/dev/sg3") + ", SCSI command 0x12"));
}

TEST_F(LongOperation, OnADescriptorWithoutAPathIsReportedWithItsNumber) {
    const vokLongOperationWatch watch;
    const vokLongOperation operation({vokOperationKind::scsiCommand, nullptr, 0x12, 1 << 20});
    pass(31, 1);
    Reports::waitFor(1);
    EXPECT_THAT(Reports::texts(), ElementsAre("after 31 s: device at descriptor 1048576, SCSI command 0x12"));
}

TEST_F(LongOperation, PreservesErrnoAtItsEnd) {
    const vokLongOperationWatch watch;
    {
        const vokLongOperation operation(vokOperationKind::command, "slow");
        pass(31, 1);
        Reports::waitFor(1);
        errno = ENOTTY;
    }
    EXPECT_EQ(errno, ENOTTY);
    EXPECT_EQ(Reports::texts().size(), 2U);
}

TEST_F(LongOperation, WithoutAWatchIsNotReported) {
    host.part<FakeThreads>().failStarts();
    const vokLongOperationWatch watch;
    EXPECT_FALSE(watch.isRunning());
    {
        const vokLongOperation operation(vokOperationKind::command, "slow");
        clock.advanceSteady(100);
    }
    EXPECT_THAT(Reports::texts(), IsEmpty());
    EXPECT_THAT(host.part<FakeThreads>().joined(), IsEmpty());
}

TEST_F(LongOperation, TheWatchEndsDuringAnOperation) {
    auto watch = std::make_unique<vokLongOperationWatch>();
    const vokLongOperation operation(vokOperationKind::command, "endless");
    clock.waitForSteadyWaits(1);
    watch.reset();
    EXPECT_EQ(host.part<FakeThreads>().joined().size(), 1U);
}

TEST_F(LongOperation, MoreThanTheWatchHasRoomForAreNotReported) {
    const vokLongOperationWatch watch;
    std::vector<std::unique_ptr<vokLongOperation>> operations(100);
    for (auto& each : operations)
        each = std::make_unique<vokLongOperation>(vokOperationKind::command, "each");
    pass(31, 1);
    Reports::waitFor(64);
    operations.clear();
    EXPECT_EQ(Reports::texts().size(), 128U);
    const vokLongOperation next(vokOperationKind::command, "next");
    pass(31, 2);
    Reports::waitFor(129);
    EXPECT_EQ(Reports::texts().back(), "after 31 s: command \"next\"");
}

TEST_F(LongOperation, OfSeveralThreadsAreReportedEachOnceAndEndWhileTheWatchLooks) {
    const vokLongOperationWatch watch;
    std::atomic<bool> end{false};
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i)
        threads.emplace_back([&end] {
            while (!end) const vokLongOperation operation(vokOperationKind::libraryCall, "busy");
        });
    for (int i = 0; i < 200; ++i) {
        clock.advanceSteady(31);
        std::this_thread::yield();
    }
    end = true;
    for (std::thread& thread : threads) thread.join();
    int begun = 0;
    int ended = 0;
    for (const std::string& text : Reports::texts()) ++(text.compare(0, 5, "ended") == 0 ? ended : begun);
    EXPECT_EQ(begun, ended);
}

// --- what is guarded ---

// A host whose libraries and devices take 31 seconds.
class SlowHost : public vokKernelHostAccess {
public:
    int steadyClock(timespec* now) override { return clock.steadyClock(now); }
    int steadyWait(pthread_cond_t* condition, pthread_mutex_t* mutex, const timespec* deadline) override {
        return clock.steadyWait(condition, mutex, deadline);
    }
    void* openLibrary(const std::string&, int) override {
        takeLong();
        return nullptr;
    }
    std::string libraryError() override { return "none"; }
    int ioctlDevice(int, unsigned long, void*) override {
        takeLong();
        return -1;
    }

private:
    void takeLong() {
        clock.waitForSteadyWaits(1);
        clock.advanceSteady(31);
        Reports::waitFor(1);
    }
    FakeClock clock;
};

TEST(SlowOperation, OpeningALibraryIsOne) {
    vokSetHostAccess(std::make_unique<SlowHost>());
    vokBindLongOperationReport(Reports::add);
    const vokLongOperationWatch watch;
    vokLibrary library;
    EXPECT_FALSE(library.open("libvendor.so", 0));
    EXPECT_THAT(Reports::texts(), ElementsAre("after 31 s: library call libvendor.so",
                                              "ended after 31 s: library call libvendor.so"));
}

TEST(SlowOperation, ASCSICommandIsOne) {
    vokSetHostAccess(std::make_unique<SlowHost>());
    vokBindLongOperationReport(Reports::add);
    const vokLongOperationWatch watch;
    const vokScsiRequest inquiry(vokScsiCommand({0x12, 0x00, 0x00, 0x00, 0x24, 0x00}));
    EXPECT_FALSE(vokSendScsi(1 << 20, inquiry).wasSent());
    EXPECT_THAT(Reports::texts(),
                ElementsAre("after 31 s: device at descriptor 1048576, SCSI command 0x12",
                            "ended after 31 s: device at descriptor 1048576, SCSI command 0x12"));
}

TEST_F(LongOperation, ACommandWhoseStreamIsOpenIsOne) {
    const vokLongOperationWatch watch;
    host.part<FakeCommands>().output["localcli x"] = "";
    vokCommandStream stream("localcli x");
    pass(31, 1);
    Reports::waitFor(1);
    stream.close();
    EXPECT_THAT(Reports::texts(), ElementsAre("after 31 s: command \"localcli x\"",
                                              "ended after 31 s: command \"localcli x\""));
}

TEST_F(LongOperation, ACommandThatRunsIsOne) {
    const vokLongOperationWatch watch;
    host.part<FakeCommands>().onCommand = [this](const std::string&, int& status) {
        pass(31, 1);
        Reports::waitFor(1);
        status = 3 << 8;
        return std::string();
    };
    EXPECT_EQ(vokRunCommand("modprobe ipmi_si"), 3 << 8);
    EXPECT_THAT(Reports::texts(), ElementsAre("after 31 s: command \"modprobe ipmi_si\"",
                                              "ended after 31 s: command \"modprobe ipmi_si\""));
}

}  // namespace
}  // namespace vokLongOperationTest
