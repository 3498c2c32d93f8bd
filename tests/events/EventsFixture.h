// What the tests of this folder share: a fake host whose agent logs everything into files under its root,
// and a client of the server.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "events/client/vokMsgInfra.h"
#include "platform/access/vokOwnedDescriptor.h"
#include "support/FakeClock.h"
#include "support/FakeCommands.h"
#include "support/FakeHost.h"
#include "support/FakeIpmi.h"
#include "support/FakeThreads.h"

class EventsFixture : public ::testing::Test {
protected:
    // `enabled`: the enabled resources as JSON; by default only one whose manager finds no adapters, which
    // takes no time. `cliMode`: the setting of that name.
    explicit EventsFixture(const std::string& enabled = R"(["FibreChannelDevices"])",
                           const std::string& cliMode = "test");

    std::string log() const { return host.root.readFile("/log/vok.log"); }
    std::string debugLog() const { return host.root.readFile("/log/vok_debug.log"); }
    // The number of lines in a log with this level and module, such as "ERROR VOK_SERVER", and exactly this
    // message.
    static int count(const std::string& log, const std::string& levelAndModule, const std::string& message);

    // Lets ordinary events pass from here on.
    void openGate();
    // The texts that the controller has received, in order.
    std::vector<std::string> delivered();
    // Makes the controller refuse everything from here on.
    void refuseAll();

    // The location of an absolute path of the agent.
    std::string hostPath(const std::string& absolute) const { return host.path(absolute); }

    FakeHost host;
    FakeClock& clock = host.part<FakeClock>();
    FakeCommands& commands = host.part<FakeCommands>();
    FakeThreads& threads = host.part<FakeThreads>();
    FakeIpmi& ipmi = host.add<FakeIpmi>();
};

// Starts the server, and stops it at the end if the test has not.
class ServerFixture : public EventsFixture {
protected:
    using EventsFixture::EventsFixture;
    ~ServerFixture() override;

    void startServer();
    void stopServer();
    // Returns when the condition holds; fails the test after a time that only a broken machine takes.
    static void waitUntil(const std::function<bool()>& condition, const char* what);

private:
    bool started_ = false;
};

// A client as the agent sees it: a process id, and a pipe for the answer.
class TestClient {
public:
    TestClient(const FakeHost& host, int number) : host_(host), number_(number) {}

    // Creates the pipe for the answer and opens it.
    void makePipe();
    void openPipe();
    std::string pipePath() const { return vokClientPipePrefix + std::to_string(number_); }

    _VOK_MESSAGE_PACKET packet(int messageCode, const std::string& payload) const;
    // Writes to the server's pipe, waiting for the server to open it.
    void send(const void* bytes, std::size_t size) const;
    void send(int messageCode, const std::string& payload) const;

    // The answer's 4096 bytes; fewer when the agent does not answer.
    std::string answer();
    // The answer's status; -1 when the agent does not answer.
    int status();

    // Sends a request and returns the status of the answer.
    int ask(int messageCode, const std::string& payload);
    // Sends a request with `options` in the bytes that ask for the delivery, and returns the answer's 4096
    // bytes.
    std::string askWith(std::uint32_t options, int messageCode, const std::string& payload);

private:
    const FakeHost& host_;
    int number_;
    vokOwnedDescriptor pipe_;
};

inline constexpr int testEventCode = 0x0102;
inline constexpr int injectedEventCode = 0x0103;

// An event as a client injects it, of a size that takes several requests, and as the controller receives it.
std::string eventText(const std::string& pad);
std::string sentText(const std::string& pad);
