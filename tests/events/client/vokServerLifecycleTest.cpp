// Starting and stopping the server.
#include <fcntl.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/select.h>
#include <sys/syscall.h>
#include <unistd.h>
#include <atomic>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <thread>

#include "events/EventsFixture.h"
#include "events/client/vokServer.h"

namespace vokServerLifecycleTest {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::SizeIs;

class vokServerLifecycleTest : public ServerFixture {};

// From here on the kernel refuses to make a pipe of the stop pipe's flags for the calling thread and those
// that it starts, as if no descriptor was left. Other descriptors remain, as the sanitizers need some for
// their own checks.
bool refuseStopPipes() {
    constexpr auto number = static_cast<std::uint32_t>(offsetof(seccomp_data, nr));
    constexpr auto flags = static_cast<std::uint32_t>(offsetof(seccomp_data, args) + sizeof(std::uint64_t));
    sock_filter rules[] = {
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, number),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_pipe2, 0, 3),
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, flags),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, O_CLOEXEC | O_NONBLOCK, 0, 1),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | EMFILE),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
    };
    sock_fprog program{static_cast<unsigned short>(std::size(rules)), rules};
    return ::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 &&
           ::prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program, 0, 0) == 0;
}

TEST_F(vokServerLifecycleTest, AStopWithNoClientEndsTheThread) {
    EXPECT_EQ(serStopPipeFd[0], -1);
    EXPECT_EQ(serStopPipeFd[1], -1);
    startServer();
    stopServer();
    EXPECT_EQ(count(log(), "INFO VOK_SERVER", "Stopping VOK Server."), 1);
    EXPECT_EQ(count(debugLog(), "DEBUG VOK_SERVER", "For VOK Server to stop, write on serPipe"), 1);
    EXPECT_EQ(count(debugLog(), "DEBUG VOK_SERVER", "Signalled for stop"), 1);
    EXPECT_EQ(serStopPipeFd[0], -1);
    EXPECT_EQ(serStopPipeFd[1], -1);
    EXPECT_EQ(pipefd[0], -1);
    EXPECT_EQ(pipefd[1], -1);
}

TEST_F(vokServerLifecycleTest, AStopRightAfterTheStartIsNeverMissed) {
    for (int i = 0; i < 200; ++i) {
        VOKServer::initializeVOKServer();
        VOKServer::stopVOKServer();
    }
    EXPECT_EQ(count(debugLog(), "DEBUG VOK_SERVER", "Signalled for stop"), 200);
    EXPECT_THAT(log(), Not(HasSubstr("Invalid file descriptor")));
}

TEST_F(vokServerLifecycleTest, AStopWithoutAStartIsOneErrorLine) {
    VOKServer::stopVOKServer();
    EXPECT_EQ(count(log(), "INFO VOK_SERVER", "Stopping VOK Server."), 1);
    EXPECT_EQ(count(log(), "ERROR VOK_SERVER", "Invalid file descriptor"), 1);
    EXPECT_EQ(count(log(), "ERROR VOK_SERVER", "Unable to write to pipe fd"), 0);
    EXPECT_EQ(debugLog(), "");
}

TEST_F(vokServerLifecycleTest, ASecondStopIsLikeOneWithoutAStart) {
    startServer();
    stopServer();
    VOKServer::stopVOKServer();
    EXPECT_EQ(count(log(), "ERROR VOK_SERVER", "Invalid file descriptor"), 1);
    EXPECT_EQ(count(debugLog(), "DEBUG VOK_SERVER", "Signalled for stop"), 1);
}

TEST_F(vokServerLifecycleTest, TwoStopsAtOnceEndTheThreadOnce) {
    startServer();
    std::thread other([] { VOKServer::stopVOKServer(); });
    stopServer();
    other.join();
    EXPECT_EQ(count(debugLog(), "DEBUG VOK_SERVER", "Signalled for stop"), 1);
    EXPECT_EQ(count(log(), "ERROR VOK_SERVER", "Invalid file descriptor"), 1);
}

TEST_F(vokServerLifecycleTest, AStoppedServerCanBeStartedAgain) {
    startServer();
    stopServer();
    startServer();
    TestClient client(host, 1);
    EXPECT_EQ(client.ask(testEventCode, "356"), 0);
}

TEST_F(vokServerLifecycleTest, ASecondStartCreatesNoSecondThread) {
    startServer();
    startServer();
    stopServer();
    EXPECT_EQ(count(log(), "INFO VOK_SERVER", "VOK Server Thread started"), 1);
}

TEST_F(vokServerLifecycleTest, AThreadThatCannotBeCreatedIsADebugLineAndLeavesNothingToStop) {
    threads.failStarts();
    VOKServer::initializeVOKServer();
    EXPECT_EQ(count(debugLog(), "DEBUG VOK_SERVER", "Unable to spawn a thread to handle event."), 1);
    EXPECT_EQ(serStopPipeFd[1], -1);
    VOKServer::stopVOKServer();
    EXPECT_EQ(count(log(), "ERROR VOK_SERVER", "Invalid file descriptor"), 1);
}

TEST_F(vokServerLifecycleTest, WithoutAStopPipeTheThreadEndsWithAnErrorLine) {
    std::thread([] {
        ASSERT_TRUE(refuseStopPipes());
        VOKServer::initializeVOKServer();
    }).join();
    EXPECT_EQ(count(log(), "ERROR VOK_SERVER", "Unable to open a pipe for serStopPipeFd file descriptor"), 1);
    EXPECT_EQ(count(log(), "INFO VOK_SERVER", "VOK Server Thread started"), 0);
    VOKServer::stopVOKServer();
    EXPECT_EQ(count(log(), "ERROR VOK_SERVER", "Invalid file descriptor"), 1);

    startServer();  // with a pipe it runs
    TestClient client(host, 1);
    EXPECT_EQ(client.ask(testEventCode, "356"), 0);
}

TEST_F(vokServerLifecycleTest, AStopThatCannotWriteTriesThreeTimes) {
    const vokOwnedDescriptor readOnly(::open("/dev/null", O_RDONLY));
    serStopPipeFd[1] = readOnly.get();
    VOKServer::stopVOKServer();
    serStopPipeFd[1] = -1;
    EXPECT_EQ(count(log(), "ERROR VOK_SERVER",
                    "Unable to write to pipe fd, result: -1, Error: Bad file descriptor"),
              3);
    EXPECT_EQ(count(log(), "ERROR VOK_SERVER", "Unable to write to pipe fd"), 1);
    EXPECT_EQ(debugLog(), "");
}

TEST_F(vokServerLifecycleTest, ARequestInProgressIsFinishedBeforeTheStop) {
    std::atomic<bool> working{false};
    std::atomic<bool> goOn{false};
    clock.onPause = [&](unsigned long) {
        working = true;
        while (!goOn) std::this_thread::yield();
    };
    startServer();
    TestClient client(host, 1);
    client.makePipe();
    client.send(injectedEventCode, eventText("A"));
    waitUntil([&] { return working.load(); }, "the request");
    std::thread stopper([this] { stopServer(); });
    waitUntil(
        [&] {
            return count(debugLog(), "DEBUG VOK_SERVER", "For VOK Server to stop, write on serPipe") == 1;
        },
        "the stop");
    goOn = true;
    EXPECT_EQ(client.status(), 0);
    stopper.join();
    EXPECT_THAT(delivered(), ElementsAre(sentText("A")));
}

TEST_F(vokServerLifecycleTest, DescriptorsBeyondTheLimitOfSelectWork) {
    rlimit limit{};
    ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &limit), 0);
    limit.rlim_cur = limit.rlim_max;
    ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &limit), 0);
    if (limit.rlim_cur < FD_SETSIZE + 50) GTEST_SKIP() << "the limit allows too few descriptors";
    std::vector<vokOwnedDescriptor> many;
    while (many.empty() || many.back().get() < FD_SETSIZE) many.emplace_back(::open("/dev/null", O_RDONLY));
    startServer();
    TestClient client(host, 1);
    EXPECT_EQ(client.ask(testEventCode, "356"), 0);
    stopServer();
    EXPECT_EQ(count(debugLog(), "DEBUG VOK_SERVER", "Signalled for stop"), 1);
}

}  // namespace
}  // namespace vokServerLifecycleTest
