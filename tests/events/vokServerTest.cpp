#include "events/vokServer.h"

#include <fcntl.h>
#include <pthread.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/select.h>
#include <sys/stat.h>
#include <unistd.h>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <mutex>
#include <thread>

#include "EventsFixture.h"
#include "core/Logger.h"

namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::SizeIs;

using vokServerTest = ServerFixture;

std::string eventText(const std::string& pad) {
    return R"({"Pad":")" + pad + std::string(80, 'x') + R"("})";
}

std::string sentText(const std::string& pad) {
    return R"({"Pad":")" + pad + std::string(80, 'x') + R"(","Source":"VOK-CLI"})";
}

class vokServerPlaceTest : public ServerFixture {
protected:
    void expectServed() {
        TestClient client(host, ++lastClient_);
        EXPECT_EQ(client.ask(injectedEventCode, eventText(std::to_string(lastClient_))), 0);
        ASSERT_THAT(delivered(), Not(IsEmpty()));
        EXPECT_EQ(delivered().back(), sentText(std::to_string(lastClient_)));
    }
    mode_t mode() {
        struct stat status {};
        EXPECT_EQ(::lstat(serverPlace().c_str(), &status), 0);
        return status.st_mode;
    }
    std::string serverPlace() { return place("/var/run/mevvok"); }
    int refusals(const std::string& reason) {
        return count(log(), "VOK_SERVER", "Clients can't be served at /var/run/mevvok: " + reason + ".");
    }

private:
    int lastClient_ = 100;
};

// --- requests and answers ---

TEST_F(vokServerTest, ATestEventIsAnsweredWithStatusZeroAfterTheWork) {
    startServer();
    TestClient client(host, 4711);
    client.makePipe();
    client.send(testEventCode, "356");
    std::string expected(4096, '\0');
    expected[0] = 9;
    expected[5] = 8;
    EXPECT_EQ(client.answer(), expected);
    EXPECT_THAT(delivered(), SizeIs(1));
}

TEST_F(vokServerTest, AnInjectedEventThatIsNotSentIsAnsweredWithStatusOne) {
    refuseAll();
    startServer();
    TestClient client(host, 4711);
    EXPECT_EQ(client.ask(injectedEventCode, eventText("A")), 1);
}

TEST_F(vokServerTest, AParseFailureIsAnsweredWithStatusZero) {
    startServer();
    TestClient client(host, 4711);
    EXPECT_EQ(client.ask(injectedEventCode, "no JSON"), 0);
    EXPECT_EQ(count(log(), "VOK_SERVER", "Json packets are invalid"), 1);
}

TEST_F(vokServerTest, TheStartAndTheSizeOfAPacketAreLogged) {
    startServer();
    TestClient client(host, 4711);
    client.ask(injectedEventCode, eventText("A"));
    EXPECT_EQ(count(log(), "VOK_SERVER", "VOK Server Thread started"), 1);
    EXPECT_EQ(count(debugLog(), "VOK_SERVER", "done reading (4096 bytes)\n"), 1);
}

TEST_F(vokServerTest, AShortPacketIsServedWithWhatItHoldsAndNothingOfTheOneBefore) {
    startServer();
    TestClient first(host, 1);
    EXPECT_EQ(first.ask(injectedEventCode, eventText("FIRST") + std::string(3000, ' ') + "REST"), 0);

    TestClient second(host, 2);
    second.makePipe();
    const _VOK_MESSAGE_PACKET request = second.packet(injectedEventCode, eventText("SECOND"));
    second.send(&request, 17 + eventText("SECOND").size());
    EXPECT_EQ(second.status(), 0);
    EXPECT_THAT(delivered(), ElementsAre(sentText("FIRST"), sentText("SECOND")));
    EXPECT_EQ(count(debugLog(), "VOK_SERVER", "msgFromClient->payload = " + eventText("SECOND")), 1);
    EXPECT_EQ(count(debugLog(), "VOK_SERVER",
                    "done reading (" + std::to_string(17 + eventText("SECOND").size()) + " bytes)\n"),
              1);
}

TEST_F(vokServerTest, APacketThatEndsBeforeItsPayloadGetsNoAnswerAndTheNextIsServed) {
    startServer();
    TestClient client(host, 1);
    const _VOK_MESSAGE_PACKET request = client.packet(testEventCode, "356");
    for (const std::size_t size : {1U, 4U, 5U, 9U, 12U, 13U, 17U}) {
        client.send(&request, size);
        waitUntil(
            [&] {
                return count(debugLog(), "VOK_SERVER",
                             "done reading (" + std::to_string(size) + " bytes)\n") == 1;
            },
            "the packet");
    }
    TestClient next(host, 2);
    EXPECT_EQ(next.ask(testEventCode, "356"), 0);
    EXPECT_THAT(delivered(), SizeIs(1));
}

TEST_F(vokServerTest, APayloadWithoutANulIsServed) {
    startServer();
    const std::string longest = R"({"Pad":")" + std::string(4079 - 10, 'x') + R"("})";
    TestClient client(host, 1);
    EXPECT_EQ(client.ask(injectedEventCode, longest), 0);
    EXPECT_THAT(delivered(),
                ElementsAre(R"({"Pad":")" + std::string(4079 - 10, 'x') + R"(","Source":"VOK-CLI"})"));
}

TEST_F(vokServerTest, SeveralPacketsInThePipeAreTakenOneByOne) {
    TestClient client(host, 1);
    client.makePipe();
    ASSERT_TRUE(vokCreatePipe(vokServerPipePath));
    const vokOwnedDescriptor early(::open(place(vokServerPipePath).c_str(), O_RDWR | O_NONBLOCK));
    for (const char* pad : {"A", "B", "C"}) client.send(injectedEventCode, eventText(pad));
    startServer();
    for (int i = 0; i < 3; ++i) EXPECT_EQ(client.status(), 0);
    EXPECT_THAT(delivered(), ElementsAre(sentText("A"), sentText("B"), sentText("C")));
}

// --- clients that do not behave ---

TEST_F(vokServerTest, ANegativeOrAbsurdProcessIdGetsNoAnswerAndTheNextIsServed) {
    startServer();
    for (const int id : {0, -1, -2147483647 - 1, 2147483647}) TestClient(host, id).send(testEventCode, "356");
    TestClient next(host, 2);
    EXPECT_EQ(next.ask(testEventCode, "356"), 0);
    EXPECT_THAT(delivered(), SizeIs(5));
}

TEST_F(vokServerTest, AClientThatMakesItsPipeTooLateGetsNoAnswerAndTheAgentStaysUp) {
    startServer();
    TestClient late(host, 1);
    late.send(testEventCode, "356");
    waitUntil(
        [&] {
            return count(debugLog(), "VOK_MSGINFRA",
                         "vokWritePipe: Open of /var/run/mevvokcli1 failed while writing.") == 1;
        },
        "the attempt at an answer");
    TestClient next(host, 2);
    EXPECT_EQ(next.ask(testEventCode, "359"), 0);
}

TEST_F(vokServerTest, AClientThatNeverReadsDelaysTheNextByABoundedTime) {
    startServer();
    ASSERT_EQ(::mkfifo(place("/var/run/mevvokcli1").c_str(), 0600), 0);
    TestClient(host, 1).send(injectedEventCode, "{}");
    TestClient next(host, 2);
    EXPECT_EQ(next.ask(injectedEventCode, "{}"), 0);
    const std::lock_guard<std::mutex> lock(host.guard);
    EXPECT_EQ(host.pauses, std::vector<unsigned long>(199, 10000));  // two seconds
}

TEST_F(vokServerTest, AClientThatNeverReadsDoesNotPreventAStop) {
    ASSERT_EQ(::mkfifo(place("/var/run/mevvokcli1").c_str(), 0600), 0);
    std::thread stopper;
    int pauses = 0;
    host.onPause = [&](unsigned long) {
        if (++pauses == 1)
            stopper = std::thread([] { VOKServer::stopVOKServer(); });
        else
            std::this_thread::sleep_for(std::chrono::milliseconds(50));  // until the stop has been asked for
    };
    VOKServer::initializeVOKServer();
    TestClient(host, 1).send(injectedEventCode, "{}");
    waitUntil([&] { return count(debugLog(), "VOK_SERVER", "Signalled for stop") == 1; }, "the stop");
    stopper.join();
    EXPECT_LT(pauses, 190);
}

TEST_F(vokServerTest, AThousandClientsAtOnceAreAllAnswered) {
    startServer();
    std::atomic<int> answered{0};
    std::vector<std::thread> groups;
    for (int group = 0; group < 10; ++group)
        groups.emplace_back([this, group, &answered] {
            std::vector<TestClient> clients;
            for (int i = 0; i < 100; ++i) clients.emplace_back(host, 1000 + group * 100 + i);
            for (TestClient& client : clients) client.makePipe();
            for (TestClient& client : clients) client.send(injectedEventCode, "{}");
            for (TestClient& client : clients) answered += client.status() == 0;
        });
    for (std::thread& group : groups) group.join();
    EXPECT_EQ(answered, 1000);
    EXPECT_EQ(count(log(), "VOK_SERVER", "Json packets are invalid"), 1000);
}

// --- failures of the system ---

TEST_F(vokServerTest, AnInterruptedWaitIsAnErrorLineAndTheNextRequestIsServed) {
    struct sigaction action {};
    action.sa_handler = [](int) {};
    ASSERT_EQ(::sigaction(SIGUSR1, &action, nullptr), 0);
    startServer();
    TestClient client(host, 1);
    EXPECT_EQ(client.ask(injectedEventCode, "{}"), 0);
    sigset_t signals;
    ::sigemptyset(&signals);
    ::sigaddset(&signals, SIGUSR1);
    ASSERT_EQ(::pthread_sigmask(SIG_BLOCK, &signals, nullptr), 0);  // so that the server's thread takes it
    waitUntil(
        [&] {
            ::kill(::getpid(), SIGUSR1);
            return count(log(), "VOK_SERVER", "select returned -1.") > 0;
        },
        "the interrupted wait");
    EXPECT_EQ(client.ask(injectedEventCode, "{}"), 0);
    EXPECT_THAT(host.pauses, IsEmpty());
}

TEST_F(vokServerTest, AReadThatFailsIsAnErrorLineAndAPauseAndTheNextRequestIsServed) {
    // While the first request is being sent, a directory takes the place of the pipe's descriptor; that is
    // always readable, and reading it fails. The pause after the failure puts the pipe back.
    int server = -1;
    vokOwnedDescriptor kept;
    host.onPause = [&](unsigned long) {
        if (server >= 0) {
            if (kept) ::dup2(kept.get(), server);
            kept.reset();
            return;
        }
        const std::string pipe = place(vokServerPipePath);
        for (server = 0; server < 1024; ++server) {
            char found[4096] = {};
            const std::string link = "/proc/self/fd/" + std::to_string(server);
            if (::readlink(link.c_str(), found, sizeof(found) - 1) > 0 && found == pipe) break;
        }
        kept.reset(::dup(server));
        const vokOwnedDescriptor directory(::open("/", O_RDONLY | O_DIRECTORY));
        ::dup2(directory.get(), server);
    };
    startServer();
    TestClient client(host, 1);
    EXPECT_EQ(client.ask(injectedEventCode, eventText("A")), 0);
    EXPECT_EQ(client.ask(injectedEventCode, eventText("B")), 0);
    EXPECT_EQ(count(log(), "VOK_SERVER", "recv failed"), 1);
    EXPECT_EQ(count(log(), "VOK_SERVER", "Pipe /var/run/mevvok was removed. Making it anew."), 0);
    const std::lock_guard<std::mutex> lock(host.guard);
    EXPECT_EQ(host.pauses, (std::vector<unsigned long>{500000, 100000, 500000}));
    EXPECT_THAT(host.remoteCommandPayloads(), ElementsAre(sentText("A"), sentText("B")));
}

// --- the pipe's place ---

TEST_F(vokServerPlaceTest, ThePipeLetsItsOwnerInAlone) {
    ::umask(0);
    startServer();
    expectServed();
    EXPECT_EQ(mode(), mode_t{S_IFIFO | 0600});
}

TEST_F(vokServerPlaceTest, APipeThatIsThereIsTakenAndClosedToOthers) {
    ASSERT_EQ(::mkfifo(serverPlace().c_str(), 0600), 0);
    ASSERT_EQ(::chmod(serverPlace().c_str(), 0666), 0);
    startServer();
    expectServed();
    EXPECT_EQ(mode(), mode_t{S_IFIFO | 0600});
    EXPECT_EQ(count(debugLog(), "VOK_MSGINFRA", "Creation of Pipe /var/run/mevvok failed."), 1);
}

TEST_F(vokServerPlaceTest, AFileInItsPlaceIsToldOnceAndLeftAloneUntilItGoes) {
    host.root.writeFile("/var/run/mevvok", "somebody's");
    startServer();
    waitUntil([&] { return count(log(), "VOK_SERVER", "VOK Server Thread started") == 1; }, "the start");
    host.root.writeFile("/var/run/passing", "");
    ASSERT_EQ(::unlink(place("/var/run/passing").c_str()), 0);  // the going of another file changes nothing
    EXPECT_EQ(host.root.readFile("/var/run/mevvok"), "somebody's");
    ASSERT_EQ(::unlink(serverPlace().c_str()), 0);
    expectServed();
    EXPECT_EQ(count(debugLog(), "VOK_SERVER", "Open of pipe /var/run/mevvok failed."), 1);
    EXPECT_EQ(refusals("a file that is no pipe is in its place"), 1);
}

TEST_F(vokServerPlaceTest, ALinkInItsPlaceIsToldOnceAndNotFollowed) {
    ASSERT_EQ(::mkfifo(place("/var/run/target").c_str(), 0666), 0);
    ASSERT_EQ(::symlink("target", serverPlace().c_str()), 0);
    startServer();
    waitUntil([&] { return count(log(), "VOK_SERVER", "VOK Server Thread started") == 1; }, "the start");
    // Nobody reads the pipe behind the link.
    EXPECT_EQ(::open(place("/var/run/target").c_str(), O_WRONLY | O_NONBLOCK), -1);
    EXPECT_EQ(errno, ENXIO);
    EXPECT_EQ(refusals("a symbolic link is in its place"), 1);
    ASSERT_EQ(::unlink(serverPlace().c_str()), 0);
    expectServed();
}

TEST_F(vokServerPlaceTest, ALinkToNowhereMakesNoFile) {
    ASSERT_EQ(::symlink("nowhere", serverPlace().c_str()), 0);
    startServer();
    waitUntil([&] { return count(log(), "VOK_SERVER", "VOK Server Thread started") == 1; }, "the start");
    EXPECT_FALSE(host.root.exists("/var/run/nowhere"));
    EXPECT_EQ(refusals("a symbolic link is in its place"), 1);
}

TEST_F(vokServerPlaceTest, APipeOfAnotherUserInItsPlaceIsNotTaken) {
    ASSERT_EQ(::mkfifo(serverPlace().c_str(), 0666), 0);
    if (::chown(serverPlace().c_str(), 65534, 65534) != 0) GTEST_SKIP() << "only root can give files away";
    startServer();
    waitUntil([&] { return count(log(), "VOK_SERVER", "VOK Server Thread started") == 1; }, "the start");
    EXPECT_EQ(refusals("a pipe of another user is in its place"), 1);
}

TEST_F(vokServerPlaceTest, WithoutAPipeTheServerStillStops) {
    host.root.writeFile("/var/run/mevvok", "somebody's");
    startServer();
    stopServer();
    EXPECT_EQ(count(debugLog(), "VOK_SERVER", "Signalled for stop"), 1);
    EXPECT_EQ(host.root.readFile("/var/run/mevvok"), "somebody's");
}

TEST_F(vokServerPlaceTest, WithoutADirectoryTheServerStillStops) {
    ASSERT_EQ(::unlink(place("/var/run/keep").c_str()), 0);
    ASSERT_EQ(::rmdir(place("/var/run").c_str()), 0);
    startServer();
    stopServer();
    EXPECT_EQ(count(debugLog(), "VOK_SERVER", "Open of pipe /var/run/mevvok failed."), 1);
    EXPECT_EQ(count(debugLog(), "VOK_SERVER", "Signalled for stop"), 1);
}

TEST_F(vokServerPlaceTest, APipeThatIsRemovedIsMadeAnew) {
    startServer();
    expectServed();
    for (int i = 0; i < 3; ++i) {
        ASSERT_EQ(::unlink(serverPlace().c_str()), 0);
        expectServed();
        EXPECT_EQ(mode(), mode_t{S_IFIFO | 0600});
    }
    EXPECT_EQ(count(log(), "VOK_SERVER", "Pipe /var/run/mevvok was removed. Making it anew."), 3);
}

TEST_F(vokServerPlaceTest, APipeThatIsMovedAwayIsMadeAnew) {
    startServer();
    expectServed();
    ASSERT_EQ(::rename(serverPlace().c_str(), place("/var/run/moved").c_str()), 0);
    expectServed();
}

TEST_F(vokServerPlaceTest, APipeThatAnotherReplacesIsTaken) {
    startServer();
    expectServed();
    ASSERT_EQ(::mkfifo(place("/var/run/other").c_str(), 0666), 0);
    ASSERT_EQ(::rename(place("/var/run/other").c_str(), serverPlace().c_str()), 0);
    expectServed();
    EXPECT_EQ(mode(), mode_t{S_IFIFO | 0600});
}

TEST_F(vokServerPlaceTest, ARequestInARemovedPipeIsStillServed) {
    startServer();
    expectServed();
    // The server is busy while the pipe with the second request goes.
    std::atomic<bool> removed{false};
    TestClient busy(host, 1);
    TestClient waiting(host, 2);
    busy.makePipe();
    waiting.makePipe();
    std::atomic<int> pauses{0};
    host.onPause = [&](unsigned long) {
        if (++pauses > 1) return;
        while (!removed) std::this_thread::yield();
    };
    busy.send(injectedEventCode, eventText("busy"));
    waitUntil([&] { return pauses > 0; }, "the first request");
    waiting.send(injectedEventCode, eventText("waiting"));
    ASSERT_EQ(::unlink(serverPlace().c_str()), 0);
    removed = true;
    EXPECT_EQ(busy.status(), 0);
    EXPECT_EQ(waiting.status(), 0);
    expectServed();
}

// --- start and stop ---

TEST_F(vokServerTest, AStopWithNoClientEndsTheThread) {
    EXPECT_EQ(serStopPipeFd[0], -1);
    EXPECT_EQ(serStopPipeFd[1], -1);
    startServer();
    stopServer();
    EXPECT_EQ(count(log(), "VOK_SERVER", "Stopping VOK Server."), 1);
    EXPECT_EQ(count(debugLog(), "VOK_SERVER", "For VOK Server to stop, write on serPipe"), 1);
    EXPECT_EQ(count(debugLog(), "VOK_SERVER", "Signalled for stop"), 1);
    EXPECT_EQ(serStopPipeFd[0], -1);
    EXPECT_EQ(serStopPipeFd[1], -1);
    EXPECT_EQ(pipefd[0], -1);
    EXPECT_EQ(pipefd[1], -1);
}

TEST_F(vokServerTest, AStopRightAfterTheStartIsNeverMissed) {
    for (int i = 0; i < 200; ++i) {
        VOKServer::initializeVOKServer();
        VOKServer::stopVOKServer();
    }
    EXPECT_EQ(count(debugLog(), "VOK_SERVER", "Signalled for stop"), 200);
    EXPECT_THAT(log(), Not(HasSubstr("Invalid file descriptor")));
}

TEST_F(vokServerTest, AStopWithoutAStartIsOneErrorLine) {
    VOKServer::stopVOKServer();
    EXPECT_EQ(count(log(), "VOK_SERVER", "Stopping VOK Server."), 1);
    EXPECT_EQ(count(log(), "VOK_SERVER", "Invalid file descriptor"), 1);
    EXPECT_EQ(count(log(), "VOK_SERVER", "Unable to write to pipe fd"), 0);
    EXPECT_EQ(debugLog(), "");
}

TEST_F(vokServerTest, ASecondStopIsLikeOneWithoutAStart) {
    startServer();
    stopServer();
    VOKServer::stopVOKServer();
    EXPECT_EQ(count(log(), "VOK_SERVER", "Invalid file descriptor"), 1);
    EXPECT_EQ(count(debugLog(), "VOK_SERVER", "Signalled for stop"), 1);
}

TEST_F(vokServerTest, TwoStopsAtOnceEndTheThreadOnce) {
    startServer();
    std::thread other([] { VOKServer::stopVOKServer(); });
    stopServer();
    other.join();
    EXPECT_EQ(count(debugLog(), "VOK_SERVER", "Signalled for stop"), 1);
    EXPECT_EQ(count(log(), "VOK_SERVER", "Invalid file descriptor"), 1);
}

TEST_F(vokServerTest, AServerThatWasStoppedCanBeStartedAgain) {
    startServer();
    stopServer();
    startServer();
    TestClient client(host, 1);
    EXPECT_EQ(client.ask(testEventCode, "356"), 0);
}

TEST_F(vokServerTest, ASecondStartMakesNoSecondThread) {
    startServer();
    startServer();
    stopServer();
    EXPECT_EQ(count(log(), "VOK_SERVER", "VOK Server Thread started"), 1);
}

TEST_F(vokServerTest, AThreadThatCanNotBeMadeIsADebugLineAndLeavesNothingToStop) {
    makeThreadCreationFail();
    VOKServer::initializeVOKServer();
    EXPECT_EQ(count(debugLog(), "VOK_SERVER", "Unable to spawn a thread to handle event."), 1);
    EXPECT_EQ(serStopPipeFd[1], -1);
    VOKServer::stopVOKServer();
    EXPECT_EQ(count(log(), "VOK_SERVER", "Invalid file descriptor"), 1);
}

TEST_F(vokServerTest, WithoutAStopPipeTheThreadEndsWithAnErrorLine) {
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
    EXPECT_EQ(count(log(), "VOK_SERVER", "Unable to open a pipe for serStopPipeFd file descriptor"), 1);
    EXPECT_EQ(count(log(), "VOK_SERVER", "VOK Server Thread started"), 0);
    VOKServer::stopVOKServer();
    EXPECT_EQ(count(log(), "VOK_SERVER", "Invalid file descriptor"), 1);

    startServer();  // with descriptors to be had it runs
    TestClient client(host, 1);
    EXPECT_EQ(client.ask(testEventCode, "356"), 0);
}

TEST_F(vokServerTest, AStopThatCanNotWriteTriesThreeTimes) {
    const vokOwnedDescriptor readOnly(::open("/dev/null", O_RDONLY));
    serStopPipeFd[1] = readOnly.get();
    VOKServer::stopVOKServer();
    serStopPipeFd[1] = -1;
    EXPECT_EQ(
        count(log(), "VOK_SERVER", "Unable to write to pipe fd, result: -1, Error: Bad file descriptor"), 3);
    EXPECT_EQ(count(log(), "VOK_SERVER", "Unable to write to pipe fd"), 1);
    EXPECT_EQ(debugLog(), "");
}

TEST_F(vokServerTest, ARequestInProgressIsFinishedBeforeTheStop) {
    std::atomic<bool> working{false};
    std::atomic<bool> goOn{false};
    host.onPause = [&](unsigned long) {
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
        [&] { return count(debugLog(), "VOK_SERVER", "For VOK Server to stop, write on serPipe") == 1; },
        "the stop");
    goOn = true;
    EXPECT_EQ(client.status(), 0);
    stopper.join();
    EXPECT_THAT(delivered(), ElementsAre(sentText("A")));
}

TEST_F(vokServerTest, DescriptorsBeyondWhatSelectHoldsWork) {
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
    EXPECT_EQ(count(debugLog(), "VOK_SERVER", "Signalled for stop"), 1);
}

}  // namespace
