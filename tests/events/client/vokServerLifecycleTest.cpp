// Starting and stopping the server.
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/select.h>
#include <unistd.h>
#include <atomic>
#include <thread>

#include "core/base/Logger.h"
#include "events/EventsFixture.h"
#include "events/client/vokServer.h"

namespace vokServerLifecycleTest {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::SizeIs;

class vokServerLifecycleTest : public ServerFixture {};

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

TEST_F(vokServerLifecycleTest, AServerThatWasStoppedCanBeStartedAgain) {
    startServer();
    stopServer();
    startServer();
    TestClient client(host, 1);
    EXPECT_EQ(client.ask(testEventCode, "356"), 0);
}

TEST_F(vokServerLifecycleTest, ASecondStartMakesNoSecondThread) {
    startServer();
    startServer();
    stopServer();
    EXPECT_EQ(count(log(), "INFO VOK_SERVER", "VOK Server Thread started"), 1);
}

TEST_F(vokServerLifecycleTest, AThreadThatCanNotBeMadeIsADebugLineAndLeavesNothingToStop) {
    threads.failStarts();
    VOKServer::initializeVOKServer();
    EXPECT_EQ(count(debugLog(), "DEBUG VOK_SERVER", "Unable to spawn a thread to handle event."), 1);
    EXPECT_EQ(serStopPipeFd[1], -1);
    VOKServer::stopVOKServer();
    EXPECT_EQ(count(log(), "ERROR VOK_SERVER", "Invalid file descriptor"), 1);
}

TEST_F(vokServerLifecycleTest, WithoutAStopPipeTheThreadEndsWithAnErrorLine) {
    Logging::Logger::getInstance();  // its files are open before the descriptors run out
    const int lowest = ::dup(0);
    ASSERT_GE(lowest, 0);
    ::close(lowest);
    rlimit limit{};
    ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &limit), 0);
    const rlimit before = limit;
    limit.rlim_cur = static_cast<rlim_t>(lowest) + 1;  // one descriptor: an anonymous pipe needs two
    ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &limit), 0);
    VOKServer::initializeVOKServer();
    ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &before), 0);
    EXPECT_EQ(count(log(), "ERROR VOK_SERVER", "Unable to open a pipe for serStopPipeFd file descriptor"), 1);
    EXPECT_EQ(count(log(), "INFO VOK_SERVER", "VOK Server Thread started"), 0);
    VOKServer::stopVOKServer();
    EXPECT_EQ(count(log(), "ERROR VOK_SERVER", "Invalid file descriptor"), 1);

    startServer();  // with descriptors to be had it runs
    TestClient client(host, 1);
    EXPECT_EQ(client.ask(testEventCode, "356"), 0);
}

TEST_F(vokServerLifecycleTest, AStopThatCanNotWriteTriesThreeTimes) {
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

TEST_F(vokServerLifecycleTest, DescriptorsBeyondWhatSelectHoldsWork) {
    rlimit limit{};
    ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &limit), 0);
    limit.rlim_cur = limit.rlim_max;
    ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &limit), 0);
    if (limit.rlim_cur < FD_SETSIZE + 50) GTEST_SKIP() << "so many descriptors are not to be had";
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
