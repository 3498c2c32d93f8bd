// The server's pipe: what already exists at its path, and what happens to it while the server runs.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <atomic>
#include <cerrno>
#include <thread>

#include "events/EventsFixture.h"

namespace vokServerPipeTest {
namespace {

using ::testing::IsEmpty;
using ::testing::Not;

class vokServerPipeTest : public ServerFixture {
protected:
    void expectServed() {
        TestClient client(host, ++lastClient_);
        EXPECT_EQ(client.ask(injectedEventCode, eventText(std::to_string(lastClient_))), 0);
        ASSERT_THAT(delivered(), Not(IsEmpty()));
        EXPECT_EQ(delivered().back(), sentText(std::to_string(lastClient_)));
    }
    mode_t mode() {
        struct stat status {};
        EXPECT_EQ(::lstat(serverPipe().c_str(), &status), 0);
        return status.st_mode;
    }
    std::string serverPipe() { return hostPath("/var/run/mevvok"); }
    int refusals(const std::string& reason) {
        return count(log(), "ERROR VOK_SERVER",
                     "Clients can't be served at /var/run/mevvok: " + reason + ".");
    }

private:
    int lastClient_ = 100;
};

TEST_F(vokServerPipeTest, ThePipeIsAccessibleToItsOwnerOnly) {
    ::umask(0);
    startServer();
    expectServed();
    EXPECT_EQ(mode(), mode_t{S_IFIFO | 0600});
}

TEST_F(vokServerPipeTest, AnExistingPipeIsUsedAndClosedToOthers) {
    ASSERT_EQ(::mkfifo(serverPipe().c_str(), 0600), 0);
    ASSERT_EQ(::chmod(serverPipe().c_str(), 0666), 0);
    startServer();
    expectServed();
    EXPECT_EQ(mode(), mode_t{S_IFIFO | 0600});
    EXPECT_EQ(count(debugLog(), "DEBUG VOK_MSGINFRA", "Creation of Pipe /var/run/mevvok failed."), 1);
}

TEST_F(vokServerPipeTest, AFileAtItsPathIsReportedOnceAndLeftAloneUntilItIsRemoved) {
    host.root.writeFile("/var/run/mevvok", "somebody's");
    startServer();
    waitUntil([&] { return count(log(), "INFO VOK_SERVER", "VOK Server Thread started") == 1; }, "the start");
    host.root.writeFile("/var/run/passing", "");
    // The removal of another file changes nothing.
    ASSERT_EQ(::unlink(hostPath("/var/run/passing").c_str()), 0);
    EXPECT_EQ(host.root.readFile("/var/run/mevvok"), "somebody's");
    ASSERT_EQ(::unlink(serverPipe().c_str()), 0);
    expectServed();
    EXPECT_EQ(count(debugLog(), "DEBUG VOK_SERVER", "Open of pipe /var/run/mevvok failed."), 1);
    EXPECT_EQ(refusals("the path is not a pipe"), 1);
}

TEST_F(vokServerPipeTest, ALinkAtItsPathIsReportedOnceAndNotFollowed) {
    ASSERT_EQ(::mkfifo(hostPath("/var/run/target").c_str(), 0666), 0);
    ASSERT_EQ(::symlink("target", serverPipe().c_str()), 0);
    startServer();
    waitUntil([&] { return count(log(), "INFO VOK_SERVER", "VOK Server Thread started") == 1; }, "the start");
    // Nobody reads the pipe that the link refers to.
    EXPECT_EQ(::open(hostPath("/var/run/target").c_str(), O_WRONLY | O_NONBLOCK), -1);
    EXPECT_EQ(errno, ENXIO);
    EXPECT_EQ(refusals("the path is a symbolic link"), 1);
    ASSERT_EQ(::unlink(serverPipe().c_str()), 0);
    expectServed();
}

TEST_F(vokServerPipeTest, ADanglingLinkCreatesNoFile) {
    ASSERT_EQ(::symlink("nowhere", serverPipe().c_str()), 0);
    startServer();
    waitUntil([&] { return count(log(), "INFO VOK_SERVER", "VOK Server Thread started") == 1; }, "the start");
    EXPECT_FALSE(host.root.exists("/var/run/nowhere"));
    EXPECT_EQ(refusals("the path is a symbolic link"), 1);
}

TEST_F(vokServerPipeTest, APipeOfAnotherUserIsNotUsed) {
    ASSERT_EQ(::mkfifo(serverPipe().c_str(), 0666), 0);
    if (::chown(serverPipe().c_str(), 65534, 65534) != 0)
        GTEST_SKIP() << "only root can change the owner of a file";
    startServer();
    waitUntil([&] { return count(log(), "INFO VOK_SERVER", "VOK Server Thread started") == 1; }, "the start");
    EXPECT_EQ(refusals("the pipe belongs to another user"), 1);
}

TEST_F(vokServerPipeTest, WithoutAPipeTheServerStillStops) {
    host.root.writeFile("/var/run/mevvok", "somebody's");
    startServer();
    stopServer();
    EXPECT_EQ(count(debugLog(), "DEBUG VOK_SERVER", "Signalled for stop"), 1);
    EXPECT_EQ(host.root.readFile("/var/run/mevvok"), "somebody's");
}

TEST_F(vokServerPipeTest, WithoutADirectoryTheServerStillStops) {
    ASSERT_EQ(::unlink(hostPath("/var/run/keep").c_str()), 0);
    ASSERT_EQ(::rmdir(hostPath("/var/run").c_str()), 0);
    startServer();
    stopServer();
    EXPECT_EQ(count(debugLog(), "DEBUG VOK_SERVER", "Open of pipe /var/run/mevvok failed."), 1);
    EXPECT_EQ(count(debugLog(), "DEBUG VOK_SERVER", "Signalled for stop"), 1);
}

TEST_F(vokServerPipeTest, ARemovedPipeIsCreatedAgain) {
    startServer();
    expectServed();
    for (int i = 0; i < 3; ++i) {
        ASSERT_EQ(::unlink(serverPipe().c_str()), 0);
        expectServed();
        EXPECT_EQ(mode(), mode_t{S_IFIFO | 0600});
    }
    EXPECT_EQ(count(log(), "WARNING VOK_SERVER", "Pipe /var/run/mevvok was removed. Creating it again."), 3);
}

TEST_F(vokServerPipeTest, APipeThatIsMovedAwayIsCreatedAgain) {
    startServer();
    expectServed();
    ASSERT_EQ(::rename(serverPipe().c_str(), hostPath("/var/run/moved").c_str()), 0);
    expectServed();
}

TEST_F(vokServerPipeTest, APipeThatReplacesItIsUsed) {
    startServer();
    expectServed();
    ASSERT_EQ(::mkfifo(hostPath("/var/run/other").c_str(), 0666), 0);
    ASSERT_EQ(::rename(hostPath("/var/run/other").c_str(), serverPipe().c_str()), 0);
    expectServed();
    EXPECT_EQ(mode(), mode_t{S_IFIFO | 0600});
}

TEST_F(vokServerPipeTest, ARequestInARemovedPipeIsStillServed) {
    startServer();
    expectServed();
    // The server is busy while the pipe with the second request is removed.
    std::atomic<bool> removed{false};
    TestClient busy(host, 1);
    TestClient waiting(host, 2);
    busy.makePipe();
    waiting.makePipe();
    std::atomic<int> pauses{0};
    clock.onPause = [&](unsigned long) {
        if (++pauses > 1) return;
        while (!removed) std::this_thread::yield();
    };
    busy.send(injectedEventCode, eventText("busy"));
    waitUntil([&] { return pauses > 0; }, "the first request");
    waiting.send(injectedEventCode, eventText("waiting"));
    ASSERT_EQ(::unlink(serverPipe().c_str()), 0);
    removed = true;
    EXPECT_EQ(busy.status(), 0);
    EXPECT_EQ(waiting.status(), 0);
    expectServed();
}

}  // namespace
}  // namespace vokServerPipeTest
