#include "rmc/GuestInterface.h"

#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>
#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <utility>

#include "common/UnixSocket.h"

namespace simhost {

namespace {

constexpr std::uint8_t fine = 0x00;
constexpr std::uint8_t notAvailable = 0x80;
constexpr std::uint8_t wrongLength = 0xC7;
constexpr std::uint8_t controllerStarts = 0xD2;

constexpr std::uint8_t application = 0x06;
constexpr std::uint8_t resetWatchdog = 0x22;
constexpr std::uint8_t setWatchdog = 0x24;
constexpr std::uint8_t setGlobalEnables = 0x2E;
constexpr std::uint8_t getGlobalEnables = 0x2F;
constexpr std::uint8_t clearMessageFlags = 0x30;
constexpr std::uint8_t getMessageFlags = 0x31;
constexpr std::uint8_t getMessage = 0x33;
constexpr std::uint8_t readEventBuffer = 0x35;
constexpr std::uint8_t receiveInterrupt = 0x01;  // of the global enables; also the interface's own interrupts

constexpr std::uint8_t remoteNetfn = 0x3A;
constexpr std::uint8_t remoteChunk = 0x80;
constexpr std::uint8_t firstChunkMark = 0x14;

bool beginsCommand(const GuestMessage& message) {
    return message.netfn == remoteNetfn && message.command == remoteChunk && message.data.size() > 2 &&
           message.data[2] == firstChunkMark;
}

bool hasHungUp(int connection) {
    pollfd end{connection, POLLRDHUP, 0};
    return ::poll(&end, 1, 0) == 1;
}

void note(const char* text) {
    std::fprintf(stderr, "vok-rmc: from the guest's interface: %s\n", text);
}

}  // namespace

GuestInterface::GuestInterface(EventLoop& loop, Sockets sockets) : loop_(loop), sockets_(std::move(sockets)) {
    guestListener_ = listenAt(sockets_.guest, SOCK_STREAM);
    guestListening_ = loop_.watch(guestListener_.get(), POLLIN, [this](short) { acceptGuest(); });
}

GuestInterface::~GuestInterface() {
    guestGone();
    loop_.forget(guestListening_);
    ::unlink(sockets_.guest.c_str());
}

void GuestInterface::acceptGuest() {
    FileDescriptor socket = acceptFrom(guestListener_.get(), loop_, guestListening_);
    if (!socket) return;
    if (guest_ && hasHungUp(guest_.get())) guestGone();
    if (guest_) return note("a second QEMU is refused");
    guest_ = std::move(socket);
    guestWatch_ = loop_.watch(guest_.get(), POLLIN, [this](short) { serveGuest(); });
    decoder_ = GuestDecoder();
    controllerListener_ = listenAt(sockets_.controller, SOCK_SEQPACKET);
    controllerListening_ =
        loop_.watch(controllerListener_.get(), POLLIN, [this](short) { acceptController(); });
}

void GuestInterface::guestGone() {
    if (!guest_) return;
    loop_.forget(guestWatch_);
    guest_.reset();
    loop_.forget(controllerListening_);
    controllerListener_.reset();
    ::unlink(sockets_.controller.c_str());
    controllerGone();
    ordinal_ = 1;
}

void GuestInterface::serveGuest() {
    std::uint8_t bytes[1024];
    const ssize_t count = ::recv(guest_.get(), bytes, sizeof(bytes), MSG_DONTWAIT);
    if (count < 0 && (errno == EAGAIN || errno == EINTR)) return;
    if (count <= 0) return guestGone();
    for (ssize_t i = 0; i < count && guest_; ++i)
        if (const auto arrival = decoder_.take(bytes[i])) take(*arrival);
}

void GuestInterface::take(const GuestArrival& arrival) {
    if (arrival.fault) return note(arrival.fault);
    if (arrival.message) return request(*arrival.message);
    const Bytes& command = arrival.command;
    if (command[0] == guestReset) reset();
    if (command[0] == guestVersion && (command.size() != 2 || command[1] != guestProtocolVersion))
        note("a version of the protocol that is not known here");
}

void GuestInterface::request(const GuestMessage& message) {
    // QEMU has answered in the controller's place, as it sends one message at a time.
    if (inFlight_) {
        ControllerPacket expired;
        expired.kind = ControllerPacketKind::expired;
        expired.sequence = lastSequence_;
        inFlight_.reset();
        toController(expired);
    }
    if (const auto answer = ownAnswer(message)) return reply(message, *answer);

    if (beginsCommand(message)) {
        ++descriptor_;
        ordinal_ = 0;
    }
    ControllerPacket packet;
    packet.sequence = ++lastSequence_;
    packet.descriptor = descriptor_;
    packet.ordinal = ordinal_++;
    packet.netfn = message.netfn;
    packet.command = message.command;
    packet.lun = message.lun;
    packet.data = message.data;
    if (!toController(packet)) return reply(message, {controllerStarts});
    inFlight_ = message;
}

// IPMI 2.0, chapters 22 and 27.
std::optional<Bytes> GuestInterface::ownAnswer(const GuestMessage& message) {
    if (message.netfn != application) return std::nullopt;
    switch (message.command) {
        case resetWatchdog:
            note("the guest starts its watchdog");
            return Bytes{fine};
        case setWatchdog:
            return Bytes{fine};
        case setGlobalEnables:
            if (message.data.size() != 1) return Bytes{wrongLength};
            globalEnables_ = message.data[0];
            setInterrupts((globalEnables_ & receiveInterrupt) != 0);
            return Bytes{fine};
        case getGlobalEnables:
            return Bytes{fine, globalEnables_};
        case clearMessageFlags:
            return Bytes{fine};
        case getMessageFlags:
            return Bytes{fine, 0};
        case getMessage:
        case readEventBuffer:
            return Bytes{notAvailable};
        default:
            return std::nullopt;
    }
}

void GuestInterface::setInterrupts(bool enabled) {
    toGuest(encodeGuestCommand(enabled ? guestEnableIrq : guestDisableIrq));
}

// What the guest had begun will not be continued.
void GuestInterface::reset() {
    globalEnables_ = 0;
    inFlight_.reset();
    ControllerPacket closed;
    closed.kind = ControllerPacketKind::closed;
    closed.descriptor = descriptor_;
    toController(closed);
    ++descriptor_;
    ordinal_ = 0;
}

void GuestInterface::reply(const GuestMessage& request, const Bytes& data) {
    GuestMessage reply = request;
    reply.netfn = request.netfn | 1;
    reply.data = data;
    toGuest(encodeGuestMessage(reply));
}

void GuestInterface::toGuest(const std::string& bytes) {
    const ssize_t sent = ::send(guest_.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
    if (sent != static_cast<ssize_t>(bytes.size())) guestGone();  // a part of a message is none
}

void GuestInterface::acceptController() {
    FileDescriptor socket = acceptFrom(controllerListener_.get(), loop_, controllerListening_);
    if (!socket || controller_) return;
    controller_ = std::move(socket);
    controllerWatch_ = loop_.watch(controller_.get(), POLLIN, [this](short) { serveController(); });
    const std::string name = "of the guest at " + sockets_.guest;
    ControllerPacket hello;
    hello.kind = ControllerPacketKind::hello;
    hello.data.assign(name.begin(), name.begin() + static_cast<std::ptrdiff_t>(
                                                       std::min<std::size_t>(name.size(), longestMessage)));
    toController(hello);
}

void GuestInterface::controllerGone() {
    loop_.forget(controllerWatch_);
    controller_.reset();
    inFlight_.reset();
}

void GuestInterface::serveController() {
    char bytes[largestPacket];
    const ssize_t size = ::recv(controller_.get(), bytes, sizeof(bytes), MSG_DONTWAIT);
    if (size < 0 && (errno == EAGAIN || errno == EINTR)) return;
    const auto packet =
        size > 0 ? ControllerPacket::decode(bytes, static_cast<std::size_t>(size)) : std::nullopt;
    if (!packet || packet->kind != ControllerPacketKind::reply) return controllerGone();
    if (!inFlight_ || packet->sequence != lastSequence_) return;  // it came too late
    const GuestMessage request = *std::exchange(inFlight_, std::nullopt);
    reply(request, packet->data);
}

bool GuestInterface::toController(const ControllerPacket& packet) {
    if (!controller_) return false;
    const std::string bytes = packet.encode();
    return ::send(controller_.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL | MSG_DONTWAIT) >= 0;
}

}  // namespace simhost
