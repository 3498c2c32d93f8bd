#include "events/EventsFixture.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <thread>

#include "events/client/vokServer.h"
#include "rmc/vokJsonAggregator.h"

namespace {

using Clock = std::chrono::steady_clock;
constexpr std::chrono::seconds longestWait(60);

}  // namespace

EventsFixture::EventsFixture(const std::string& enabled, const std::string& cliMode) {
    host.root.writeFile("/etc/config/mev/vok/vok.conf",
                        R"({"EnableResources": )" + enabled + R"(, "CliMode": ")" + cliMode +
                            R"(", "LoggingLevel": "Info", "EnableDebugLog": "true",
                            "VOKLogLocation": "/log/vok.log", "DebugLogLocation": "/log/vok_debug.log"})");
    host.root.writeFile("/log/keep", "");
    host.root.writeFile("/var/run/keep", "");
    commands.output["localcli system version get | grep -i Version:"] = "   Version: 7.0.3\n";
}

int EventsFixture::count(const std::string& log, const std::string& levelAndModule,
                         const std::string& message) {
    const std::size_t blank = levelAndModule.find(' ');
    const std::string level = "[" + levelAndModule.substr(0, blank) + "]";
    const std::string end = levelAndModule.substr(blank) + ": " + message + "\n";
    int found = 0;
    for (std::size_t at = log.find(end); at != std::string::npos; at = log.find(end, at + 1)) {
        const std::size_t line = at == 0 ? 0 : log.rfind('\n', at - 1) + 1;
        found += log.substr(line, at - line).find(level) != std::string::npos;
    }
    return found;
}

void EventsFixture::openGate() {
    vokJsonAggregator::getInstance()->createInventoryJsonString();
    ASSERT_TRUE(vokJsonAggregator::getInstance()->isInventorySent());
}

std::vector<std::string> EventsFixture::delivered() {
    return ipmi.remoteCommandPayloads();
}

void EventsFixture::refuseAll() {
    ipmi.answer({{0, 5, 0, 0, 0}});
}

ServerFixture::~ServerFixture() {
    if (started_) VOKServer::stopVOKServer();
}

void ServerFixture::startServer() {
    VOKServer::initializeVOKServer();
    started_ = true;
}

void ServerFixture::stopServer() {
    VOKServer::stopVOKServer();
    started_ = false;
}

void ServerFixture::waitUntil(const std::function<bool()>& condition, const char* what) {
    const auto end = Clock::now() + longestWait;
    while (!condition()) {
        ASSERT_LT(Clock::now(), end) << "timed out waiting for: " << what;
        std::this_thread::sleep_for(std::chrono::microseconds(200));
    }
}

void TestClient::makePipe() {
    ASSERT_EQ(::mkfifo(host_.path(pipePath()).c_str(), 0600), 0) << std::strerror(errno);
    openPipe();
}

void TestClient::openPipe() {
    // Also for writing, so that the pipe does not end with an answer.
    pipe_.reset(::open(host_.path(pipePath()).c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC));
    ASSERT_TRUE(pipe_) << std::strerror(errno);
}

_VOK_MESSAGE_PACKET TestClient::packet(int messageCode, const std::string& payload) const {
    _VOK_MESSAGE_PACKET packet{};
    packet.header.messageCode = static_cast<std::uint16_t>(messageCode);
    packet.clientPID = number_;
    payload.copy(packet.payload, sizeof(packet.payload));
    return packet;
}

void TestClient::send(const void* bytes, std::size_t size) const {
    const auto end = Clock::now() + longestWait;
    vokOwnedDescriptor server;
    while (!server) {
        server.reset(::open(host_.path(vokServerPipePath).c_str(), O_WRONLY | O_NONBLOCK | O_CLOEXEC));
        ASSERT_LT(Clock::now(), end) << "no server: " << std::strerror(errno);
    }
    ASSERT_EQ(::fcntl(server.get(), F_SETFL, O_WRONLY), 0);  // from here on, writing waits for room
    ASSERT_EQ(::write(server.get(), bytes, size), static_cast<ssize_t>(size)) << std::strerror(errno);
}

void TestClient::send(int messageCode, const std::string& payload) const {
    const _VOK_MESSAGE_PACKET request = packet(messageCode, payload);
    send(&request, sizeof(request));
}

std::string TestClient::answer() {
    std::string bytes;
    const auto end = Clock::now() + longestWait;
    while (bytes.size() < sizeof(_VOK_MESSAGE_PACKET) && Clock::now() < end) {
        pollfd readable{pipe_.get(), POLLIN, 0};
        if (::poll(&readable, 1, 1000) <= 0) continue;
        char buffer[sizeof(_VOK_MESSAGE_PACKET)];
        const ssize_t got = ::read(pipe_.get(), buffer, sizeof(buffer) - bytes.size());
        if (got > 0) bytes.append(buffer, static_cast<std::size_t>(got));
    }
    return bytes;
}

int TestClient::status() {
    const std::string bytes = answer();
    if (bytes.size() != sizeof(_VOK_MESSAGE_PACKET)) return -1;
    std::int32_t status = 0;
    std::memcpy(&status, bytes.data() + 17, sizeof(status));
    return status;
}

int TestClient::ask(int messageCode, const std::string& payload) {
    if (!pipe_) makePipe();
    send(messageCode, payload);
    return status();
}

std::string TestClient::askWith(std::uint32_t options, int messageCode, const std::string& payload) {
    if (!pipe_) makePipe();
    _VOK_MESSAGE_PACKET request = packet(messageCode, payload);
    request.options = options;
    send(&request, sizeof(request));
    return answer();
}

std::string eventText(const std::string& pad) {
    return R"({"Pad":")" + pad + std::string(80, 'x') + R"("})";
}

std::string sentText(const std::string& pad) {
    return R"({"Pad":")" + pad + std::string(80, 'x') + R"(","Source":"VOK-CLI"})";
}
