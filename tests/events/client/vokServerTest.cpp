#include "events/client/vokServer.h"

#include <fcntl.h>
#include <pthread.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>
#include <atomic>
#include <chrono>
#include <mutex>
#include <thread>

#include "events/EventsFixture.h"

namespace vokServerTest {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

using vokServerTest = ServerFixture;

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
    EXPECT_EQ(count(log(), "ERROR VOK_SERVER", "Json packets are invalid"), 1);
}

TEST_F(vokServerTest, TheStartAndTheSizeOfAPacketAreLogged) {
    startServer();
    TestClient client(host, 4711);
    client.ask(injectedEventCode, eventText("A"));
    EXPECT_EQ(count(log(), "INFO VOK_SERVER", "VOK Server Thread started"), 1);
    EXPECT_EQ(count(debugLog(), "DEBUG VOK_SERVER", "done reading (4096 bytes)\n"), 1);
}

TEST_F(vokServerTest, AShortPacketIsServedWithWhatItHoldsAndNothingOfThePreviousOne) {
    startServer();
    TestClient first(host, 1);
    EXPECT_EQ(first.ask(injectedEventCode, eventText("FIRST") + std::string(3000, ' ') + "REST"), 0);

    TestClient second(host, 2);
    second.makePipe();
    const _VOK_MESSAGE_PACKET request = second.packet(injectedEventCode, eventText("SECOND"));
    second.send(&request, 17 + eventText("SECOND").size());
    EXPECT_EQ(second.status(), 0);
    EXPECT_THAT(delivered(), ElementsAre(sentText("FIRST"), sentText("SECOND")));
    EXPECT_EQ(count(debugLog(), "DEBUG VOK_SERVER", "msgFromClient->payload = " + eventText("SECOND")), 1);
    EXPECT_EQ(count(debugLog(), "DEBUG VOK_SERVER",
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
                return count(debugLog(), "DEBUG VOK_SERVER",
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

TEST_F(vokServerTest, SeveralPacketsInThePipeAreServedOneByOne) {
    TestClient client(host, 1);
    client.makePipe();
    ASSERT_TRUE(vokCreatePipe(vokServerPipePath));
    const vokOwnedDescriptor early(::open(hostPath(vokServerPipePath).c_str(), O_RDWR | O_NONBLOCK));
    for (const char* pad : {"A", "B", "C"}) client.send(injectedEventCode, eventText(pad));
    startServer();
    for (int i = 0; i < 3; ++i) EXPECT_EQ(client.status(), 0);
    EXPECT_THAT(delivered(), ElementsAre(sentText("A"), sentText("B"), sentText("C")));
}

// --- the outcome of the delivery ---

// A response with this status, and with this kind and text of a delivery.
std::string response(int status, int kind, const std::string& text) {
    std::string bytes(4096, '\0');
    bytes[0] = 9;
    bytes[5] = 8;
    bytes[17] = static_cast<char>(status);
    bytes[21] = static_cast<char>(kind);
    return bytes.replace(22, text.size(), text);
}

TEST_F(vokServerTest, AClientThatDoesNotAskGetsNothingAfterTheStatusWhateverItsOtherBytesAre) {
    startServer();
    TestClient client(host, 1);
    for (const std::uint32_t garbage : {0U, 1U, 0xFFFFFFFFU, 0xD7513E9CU, vokReportDelivery + 1})
        EXPECT_EQ(client.askWith(garbage, injectedEventCode, eventText("A")), response(0, 0, ""));
}

TEST_F(vokServerTest, AClientThatAsksGetsWhatCameOfAnInjectedEvent) {
    startServer();
    TestClient client(host, 1);
    const auto inject = [&] { return client.askWith(0x9C3E51D7, injectedEventCode, eventText("A")); };
    EXPECT_EQ(inject(), response(0, 1, "the controller accepted it"));
    ipmi.answer({{0xCE, 0, 0, 0, 0}});
    EXPECT_EQ(inject(), response(0, 2,
                                 "request 1 was answered with completion code 0xCE (response could not be "
                                 "provided); 3 of 3 requests without a proper answer"));
    refuseAll();
    EXPECT_EQ(inject(), response(1, 3,
                                 "the controller refused request 1: transfer status 0x05 (Provided command "
                                 "not supported), exit status 0x00"));
    ipmi.answer(FakeIpmiReply::sendFails());
    EXPECT_EQ(inject(), response(1, 4, "no answer to request 1: sending it failed: Input/output error"));
    EXPECT_EQ(client.askWith(0x9C3E51D7, injectedEventCode, "no JSON"),
              response(0, 7, "the text is not an event"));
}

TEST_F(vokServerTest, AClientThatAsksGetsWhatCameOfATestEventAlthoughItsStatusIsZero) {
    startServer();
    TestClient client(host, 1);
    const auto test = [&](const char* number) { return client.askWith(0x9C3E51D7, testEventCode, number); };
    EXPECT_EQ(test("356"), response(0, 1, "the controller accepted it"));
    EXPECT_EQ(test("708"), response(0, 6, "the first inventory push is still to come"));
    EXPECT_EQ(test("1337"), response(0, 7, "the agent does not know its number"));
    ipmi.failOpens(4);
    EXPECT_EQ(
        test("356"),
        response(0, 5, "the device can't be opened: No such file or directory; no IPMI driver is loaded"));
}

TEST_F(vokServerTest, TheDeliveryOfOneRequestIsNotReportedForTheNext) {
    startServer();
    TestClient client(host, 1);
    client.askWith(0x9C3E51D7, injectedEventCode, eventText("A"));
    EXPECT_EQ(client.askWith(0x9C3E51D7, injectedEventCode, "{}"),
              response(0, 7, "the text is not an event"));
}

// --- misbehaving clients ---

TEST_F(vokServerTest, ANegativeOrAbsurdProcessIdGetsNoAnswerAndTheNextIsServed) {
    startServer();
    for (const int id : {0, -1, -2147483647 - 1, 2147483647}) TestClient(host, id).send(testEventCode, "356");
    TestClient next(host, 2);
    EXPECT_EQ(next.ask(testEventCode, "356"), 0);
    EXPECT_THAT(delivered(), SizeIs(5));
}

TEST_F(vokServerTest, AClientThatCreatesItsPipeTooLateGetsNoAnswerAndTheServerGoesOn) {
    startServer();
    TestClient late(host, 1);
    late.send(testEventCode, "356");
    waitUntil(
        [&] {
            return count(debugLog(), "DEBUG VOK_MSGINFRA",
                         "vokWritePipe: Open of /var/run/mevvokcli1 failed while writing.") == 1;
        },
        "the attempt at an answer");
    TestClient next(host, 2);
    EXPECT_EQ(next.ask(testEventCode, "359"), 0);
}

TEST_F(vokServerTest, AClientThatNeverReadsDelaysTheNextByABoundedTime) {
    startServer();
    ASSERT_EQ(::mkfifo(hostPath("/var/run/mevvokcli1").c_str(), 0600), 0);
    TestClient(host, 1).send(injectedEventCode, "{}");
    TestClient next(host, 2);
    EXPECT_EQ(next.ask(injectedEventCode, "{}"), 0);
    EXPECT_EQ(clock.pauses(), std::vector<unsigned long>(199, 10000));  // two seconds
}

TEST_F(vokServerTest, AClientThatNeverReadsDoesNotPreventAStop) {
    ASSERT_EQ(::mkfifo(hostPath("/var/run/mevvokcli1").c_str(), 0600), 0);
    std::thread stopper;
    int pauses = 0;
    clock.onPause = [&](unsigned long) {
        if (++pauses == 1)
            stopper = std::thread([] { VOKServer::stopVOKServer(); });
        else
            std::this_thread::sleep_for(std::chrono::milliseconds(50));  // until the stop is requested
    };
    VOKServer::initializeVOKServer();
    TestClient(host, 1).send(injectedEventCode, "{}");
    waitUntil([&] { return count(debugLog(), "DEBUG VOK_SERVER", "Signalled for stop") == 1; }, "the stop");
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
    EXPECT_EQ(count(log(), "ERROR VOK_SERVER", "Json packets are invalid"), 1000);
}

// --- failures of the system ---

TEST_F(vokServerTest, AnInterruptedWaitIsLoggedAndTheNextRequestIsServed) {
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
            return count(log(), "ERROR VOK_SERVER", "select returned -1.") > 0;
        },
        "the interrupted wait");
    EXPECT_EQ(client.ask(injectedEventCode, "{}"), 0);
    EXPECT_THAT(clock.pauses(), IsEmpty());
}

TEST_F(vokServerTest, AfterAFailedReadAnErrorLineAndAPauseTheNextRequestIsServed) {
    // While the first event is delivered, the pipe's descriptor is replaced by one of a directory, which is
    // always reported as readable but cannot be read. The pause after the failure restores the pipe.
    int server = -1;
    vokOwnedDescriptor kept;
    clock.onPause = [&](unsigned long) {
        if (server >= 0) {
            if (kept) ::dup2(kept.get(), server);
            kept.reset();
            return;
        }
        const std::string pipe = hostPath(vokServerPipePath);
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
    EXPECT_EQ(count(log(), "ERROR VOK_SERVER", "recv failed"), 1);
    EXPECT_EQ(count(log(), "WARNING VOK_SERVER", "Pipe /var/run/mevvok was removed. Creating it again."), 0);
    EXPECT_EQ(clock.pauses(), (std::vector<unsigned long>{500000, 100000, 500000}));
    EXPECT_THAT(ipmi.remoteCommandPayloads(), ElementsAre(sentText("A"), sentText("B")));
}

}  // namespace
}  // namespace vokServerTest
