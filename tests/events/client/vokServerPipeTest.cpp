// The place of the server's pipe: what stands there already, and what happens to it while the server runs.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <atomic>
#include <cerrno>
#include <thread>

#include "events/EventsFixture.h"

namespace vokServerPlaceTest {
namespace {

using ::testing::IsEmpty;
using ::testing::Not;

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
        return count(log(), "ERROR VOK_SERVER",
                     "Clients can't be served at /var/run/mevvok: " + reason + ".");
    }

private:
    int lastClient_ = 100;
};

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
    EXPECT_EQ(count(debugLog(), "DEBUG VOK_MSGINFRA", "Creation of Pipe /var/run/mevvok failed."), 1);
}

TEST_F(vokServerPlaceTest, AFileInItsPlaceIsToldOnceAndLeftAloneUntilItGoes) {
    host.root.writeFile("/var/run/mevvok", "somebody's");
    startServer();
    waitUntil([&] { return count(log(), "INFO VOK_SERVER", "VOK Server Thread started") == 1; }, "the start");
    host.root.writeFile("/var/run/passing", "");
    ASSERT_EQ(::unlink(place("/var/run/passing").c_str()), 0);  // the going of another file changes nothing
    EXPECT_EQ(host.root.readFile("/var/run/mevvok"), "somebody's");
    ASSERT_EQ(::unlink(serverPlace().c_str()), 0);
    expectServed();
    EXPECT_EQ(count(debugLog(), "DEBUG VOK_SERVER", "Open of pipe /var/run/mevvok failed."), 1);
    EXPECT_EQ(refusals("the path is not a pipe"), 1);
}

TEST_F(vokServerPlaceTest, ALinkInItsPlaceIsToldOnceAndNotFollowed) {
    ASSERT_EQ(::mkfifo(place("/var/run/target").c_str(), 0666), 0);
    ASSERT_EQ(::symlink("target", serverPlace().c_str()), 0);
    startServer();
    waitUntil([&] { return count(log(), "INFO VOK_SERVER", "VOK Server Thread started") == 1; }, "the start");
    // Nobody reads the pipe behind the link.
    EXPECT_EQ(::open(place("/var/run/target").c_str(), O_WRONLY | O_NONBLOCK), -1);
    EXPECT_EQ(errno, ENXIO);
    EXPECT_EQ(refusals("the path is a symbolic link"), 1);
    ASSERT_EQ(::unlink(serverPlace().c_str()), 0);
    expectServed();
}

TEST_F(vokServerPlaceTest, ALinkToNowhereMakesNoFile) {
    ASSERT_EQ(::symlink("nowhere", serverPlace().c_str()), 0);
    startServer();
    waitUntil([&] { return count(log(), "INFO VOK_SERVER", "VOK Server Thread started") == 1; }, "the start");
    EXPECT_FALSE(host.root.exists("/var/run/nowhere"));
    EXPECT_EQ(refusals("the path is a symbolic link"), 1);
}

TEST_F(vokServerPlaceTest, APipeOfAnotherUserInItsPlaceIsNotTaken) {
    ASSERT_EQ(::mkfifo(serverPlace().c_str(), 0666), 0);
    if (::chown(serverPlace().c_str(), 65534, 65534) != 0) GTEST_SKIP() << "only root can give files away";
    startServer();
    waitUntil([&] { return count(log(), "INFO VOK_SERVER", "VOK Server Thread started") == 1; }, "the start");
    EXPECT_EQ(refusals("the pipe belongs to another user"), 1);
}

TEST_F(vokServerPlaceTest, WithoutAPipeTheServerStillStops) {
    host.root.writeFile("/var/run/mevvok", "somebody's");
    startServer();
    stopServer();
    EXPECT_EQ(count(debugLog(), "DEBUG VOK_SERVER", "Signalled for stop"), 1);
    EXPECT_EQ(host.root.readFile("/var/run/mevvok"), "somebody's");
}

TEST_F(vokServerPlaceTest, WithoutADirectoryTheServerStillStops) {
    ASSERT_EQ(::unlink(place("/var/run/keep").c_str()), 0);
    ASSERT_EQ(::rmdir(place("/var/run").c_str()), 0);
    startServer();
    stopServer();
    EXPECT_EQ(count(debugLog(), "DEBUG VOK_SERVER", "Open of pipe /var/run/mevvok failed."), 1);
    EXPECT_EQ(count(debugLog(), "DEBUG VOK_SERVER", "Signalled for stop"), 1);
}

TEST_F(vokServerPlaceTest, APipeThatIsRemovedIsMadeAnew) {
    startServer();
    expectServed();
    for (int i = 0; i < 3; ++i) {
        ASSERT_EQ(::unlink(serverPlace().c_str()), 0);
        expectServed();
        EXPECT_EQ(mode(), mode_t{S_IFIFO | 0600});
    }
    EXPECT_EQ(count(log(), "WARNING VOK_SERVER", "Pipe /var/run/mevvok was removed. Creating it again."), 3);
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
    clock.onPause = [&](unsigned long) {
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

}  // namespace
}  // namespace vokServerPlaceTest
