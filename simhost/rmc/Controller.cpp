#include "rmc/Controller.h"

#include <poll.h>
#include <sys/socket.h>
#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <system_error>
#include <utility>

#include "common/Files.h"
#include "common/UnixSocket.h"
#include "rmc/JsonMembers.h"
#include "rmc/PayloadForm.h"

namespace simhost {

namespace {

constexpr std::uint8_t fine = 0x00;
constexpr std::uint8_t invalidCommand = 0xC1;
constexpr auto retryInterval = std::chrono::milliseconds(200);
constexpr unsigned zeroIndexOneIn = 16;  // an index of 0 is as good as any, and worth trying often

constexpr std::uint8_t remoteNetfn = 0x3A;
constexpr std::uint8_t remoteChunk = 0x80;
constexpr std::uint8_t doorBell = 0x81;
constexpr std::uint8_t doorBellSecond = 0x82;

struct FixedAnswer {
    std::uint8_t netfn;
    std::uint8_t command;
    Bytes reply;
};

const FixedAnswer fixedAnswers[] = {
    // Get Device ID (IPMI 2.0, 20.1): device, revision, firmware 2.21, IPMI 2.0, support, maker, product,
    // more
    {0x06, 0x01, {fine, 0x20, 0x01, 0x02, 0x15, 0x02, 0x8D, 0x7F, 0x01, 0x00, 0x20, 0x03, 1, 0, 0, 0}},
    // Interface capabilities: one request at a time, buffers, seconds to answer, retries
    {0x06, 0x36, {fine, 0x01, 0xFF, 0xFF, 0x05, 0x00}},
    {0x34, 0x08, {fine, 0x01, 0x00, 0x00, 0x00}},
};

}  // namespace

IndexScheme IndexScheme::parse(const std::string& text) {
    if (text == "sequential") return {Kind::sequential, 0};
    if (text == "random") return {Kind::random, 0};
    const std::string constant = "constant:";
    if (text.compare(0, constant.size(), constant) == 0)
        return {Kind::constant,
                static_cast<std::uint16_t>(toNumber(text.substr(constant.size()), "constant", 0, 0xFFFF))};
    throw UsageError("\"" + text + "\" is none of sequential, random, constant:N");
}

Controller::Controller(EventLoop& loop, const Settings& settings, Keeper& keeper, Report& report,
                       std::function<void()> changed)
    : loop_(loop),
      settings_(settings),
      keeper_(keeper),
      report_(report),
      changed_(std::move(changed)),
      random_(std::random_device{}()),
      receiver_([this](std::size_t chunk) { return nextIndex(chunk); }, settings.sizeLimit) {}

Controller::~Controller() {
    loop_.cancel(retry_);
    loop_.forget(hostWatch_);
}

std::uint16_t Controller::nextIndex(std::size_t chunk) {
    switch (settings_.index.kind) {
        case IndexScheme::Kind::sequential:
            return static_cast<std::uint16_t>(chunk);
        case IndexScheme::Kind::constant:
            return settings_.index.constant;
        case IndexScheme::Kind::random:
            break;
    }
    return random_() % zeroIndexOneIn == 0 ? std::uint16_t{0} : static_cast<std::uint16_t>(random_());
}

void Controller::attach() {
    FileDescriptor socket = connectTo(settings_.hostSocket, SOCK_SEQPACKET);
    if (!socket) {
        sayWhatIsMissing(errno);
        return retryLater();
    }
    waitTold_ = true;
    host_ = std::move(socket);
    hostWatch_ = loop_.watch(host_.get(), POLLIN, [this](short) { serveHost(); });
}

// At the first attempt: a host that went away later has been reported then.
void Controller::sayWhatIsMissing(int reason) {
    if (std::exchange(waitTold_, true)) return;
    if (reason != ENOENT && reason != ECONNREFUSED)
        throw std::system_error(reason, std::generic_category(), settings_.hostSocket);
    notice("no simulated host runs under " + settings_.hostRoot + " yet; waiting for it");
}

void Controller::retryLater() {
    retry_ = loop_.after(retryInterval, [this] { attach(); });
}

void Controller::detach() {
    loop_.forget(hostWatch_);
    host_.reset();
    if (const auto account = receiver_.hostGone()) notice(*account);
    keepAbandoned();
    retryLater();
}

void Controller::serveHost() {
    char bytes[largestPacket];
    const ssize_t size = ::recv(host_.get(), bytes, sizeof(bytes), MSG_DONTWAIT);
    if (size < 0 && (errno == EAGAIN || errno == EINTR)) return;
    const auto packet =
        size > 0 ? ControllerPacket::decode(bytes, static_cast<std::size_t>(size)) : std::nullopt;
    if (!packet) {
        if (!refusalTold_) notice("the host is gone; waiting for it");
        return detach();
    }
    switch (packet->kind) {
        case ControllerPacketKind::hello:
            refusalTold_ = false;
            ++counts_.attachments;
            notice("attached to host " + std::string(packet->data.begin(), packet->data.end()));
            break;
        case ControllerPacketKind::refused:
            if (!refusalTold_) notice("another controller is attached to the host; waiting for it to go");
            refusalTold_ = true;
            break;
        case ControllerPacketKind::request:
            serveRequest(*packet);
            break;
        case ControllerPacketKind::expired:
            if (packet->sequence == lastChunkSequence_) receiver_.replyLost();
            notice("the driver waited no longer for an answer");
            break;
        case ControllerPacketKind::closed:
            if (const auto account = receiver_.closed(packet->descriptor)) notice(*account);
            break;
        case ControllerPacketKind::reply:
            break;
    }
    keepAbandoned();
    changed_();
}

void Controller::serveRequest(const ControllerPacket& request) {
    ++counts_.requests;
    receiver_.noteRequest(request);
    if (request.lun != 0) violation("a request to LUN " + std::to_string(request.lun) + ", not 0");
    if (request.netfn == remoteNetfn && request.command == remoteChunk) return serveChunk(request);
    const Bytes reply = answer(request);
    const bool isPoll = request.netfn == remoteNetfn && reply[0] == fine;
    deliver(request, reply, isPoll ? faults_.take({true, "", 0}) : std::nullopt);
}

Bytes Controller::answer(const ControllerPacket& request) {
    for (const auto& each : fixedAnswers)
        if (each.netfn == request.netfn && each.command == request.command) return each.reply;
    Bytes reply{fine};
    if (request.netfn == remoteNetfn && request.command == doorBell) {
        ++counts_.polls;
        if (!request.data.empty()) violation("a door-bell poll with data");
        if (rings_ == 0) return reply;
        --rings_;
        reply.insert(reply.end(), ringText_.begin(), ringText_.end());
        return reply;
    }
    if (request.netfn == remoteNetfn && request.command == doorBellSecond) {
        ++counts_.pollsOfSecondKind;
        if (!request.data.empty()) violation("a door-bell poll with data");
        const bool rung = secondRings_ > 0;
        if (rung) --secondRings_;
        reply.insert(reply.end(), {std::uint8_t{rung}, 0, 0, 0});
        return reply;
    }
    char text[96];
    std::snprintf(text, sizeof(text), "a request that is not known here: NetFn 0x%02x, command 0x%02x",
                  request.netfn, request.command);
    notice(text);
    return {invalidCommand};
}

void Controller::serveChunk(const ControllerPacket& request) {
    const bool begins = !receiver_.inProgress();
    ChunkOutcome outcome = receiver_.take(request);
    keepAbandoned();  // with the start of the transfer that this chunk ended
    if (begins || outcome.chunk == 1) {
        transferStart_ = EventLoop::Clock::now();
        transferFaults_ = 0;
    }
    lastChunkSequence_ = request.sequence;
    for (const auto& text : outcome.violations) violation(text);
    for (const auto& text : outcome.notices) notice(text);
    if (outcome.completionCode != fine) return deliver(request, {outcome.completionCode}, std::nullopt);

    const auto fault = faults_.take({false, outcome.name, outcome.chunk});
    if (fault && fault->kind == Fault::Kind::status) {
        outcome.status = static_cast<std::uint8_t>(fault->value);
        notice("chunk " + std::to_string(outcome.chunk) + " answered with status " +
               std::to_string(outcome.status) + " on request");
        if (outcome.status > 2) {
            receiver_.refused();
            outcome.completed.reset();
        }
    }
    if (fault && fault->kind != Fault::Kind::status) ++transferFaults_;
    if (outcome.status > 2) {
        ++counts_.refusedChunks;
        keepRefusal(request, outcome);
    }
    if (outcome.completed) completed(*outcome.completed);
    const Bytes reply{fine, outcome.status, static_cast<std::uint8_t>(outcome.nextIndex & 0xFF),
                      static_cast<std::uint8_t>(outcome.nextIndex >> 8), 0};
    deliver(request, reply, fault);
}

void Controller::deliver(const ControllerPacket& request, Bytes reply, const std::optional<Fault>& fault) {
    if (!fault || fault->kind == Fault::Kind::status) return send(request, reply);
    switch (fault->kind) {
        case Fault::Kind::completion:
            reply[0] = static_cast<std::uint8_t>(fault->value);
            return send(request, reply);
        case Fault::Kind::onlyCode:
            receiver_.replyLost();
            return send(request, {static_cast<std::uint8_t>(fault->value)});
        case Fault::Kind::late:
            loop_.after(std::chrono::milliseconds(fault->value),
                        [this, request, reply] { send(request, reply); });
            return;
        case Fault::Kind::never:
        case Fault::Kind::status:
            return;
    }
}

void Controller::send(const ControllerPacket& request, const Bytes& reply) {
    if (!host_) return;
    ControllerPacket packet = request;
    packet.kind = ControllerPacketKind::reply;
    packet.netfn = static_cast<std::uint8_t>(request.netfn | 1);
    packet.data = reply;
    const std::string bytes = packet.encode();
    ::send(host_.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
}

template <class Keep>
void Controller::keep(Keep keep) {
    try {
        keep();
    } catch (const std::runtime_error& error) {
        ++counts_.notKept;
        report_.problem(reasonOf(error));
    }
}

KeptTransfer Controller::timed(KeptTransfer transfer) const {
    transfer.seconds = std::chrono::duration<double>(EventLoop::Clock::now() - transferStart_).count();
    transfer.faults = transferFaults_;
    return transfer;
}

void Controller::keepRefusal(const ControllerPacket& request, const ChunkOutcome& outcome) {
    KeptTransfer transfer;
    transfer.outcome = "refused";
    transfer.command = outcome.name;
    transfer.chunks = outcome.chunk == 0 ? 0 : outcome.chunk - 1;
    transfer.status = outcome.status;
    transfer.process = request.process;
    keep([&] { keeper_.keepTransfer(timed(transfer)); });
}

void Controller::keepAbandoned() {
    for (const AbandonedCommand& command : receiver_.takeAbandoned()) {
        KeptTransfer transfer;
        transfer.outcome = "abandoned";
        transfer.command = command.name;
        transfer.bytes = command.bytes;
        transfer.length = command.length;
        transfer.chunks = command.chunks;
        transfer.process = command.process;
        transfer.reason = command.reason;
        keep([&] { keeper_.keepTransfer(timed(transfer)); });
    }
}

void Controller::completed(const ReceivedCommand& command) {
    KeptTransfer transfer;
    transfer.command = command.name;
    transfer.bytes = transfer.length = command.payload.size();
    transfer.chunks = command.chunks;
    transfer.process = command.process;
    Report::Arrival arrival;
    arrival.size = command.payload.size();
    arrival.chunks = command.chunks;
    arrival.process = command.process;
    arrival.seconds = std::chrono::duration<double>(EventLoop::Clock::now() - transferStart_).count();
    if (command.isShort) {
        arrival.number = ++counts_.shortPayloads;
        keep([&] {
            keeper_.keepShortPayload(command.payload);
            keeper_.keepTransfer(timed(transfer));
        });
        return report_.shortPayload(arrival, command.payload);
    }
    const bool isInventory = command.name == "WriteInventory";
    const FormFindings findings = isInventory ? checkInventory(command.payload) : checkEvent(command.payload);
    if (isInventory) {
        arrival.number = ++counts_.inventories;
        arrival.file = "not kept";
        keep([&] {
            transfer.file = arrival.file = keeper_.keepInventory(command.payload);
            keeper_.keepTransfer(timed(transfer));
        });
        report_.inventory(arrival, findings.value);
    } else {
        arrival.number = ++counts_.events;
        transfer.event["ID"] = textOf(findings.value, {"ID"});
        transfer.event["EventTime"] = textOf(findings.value, {"EventTime"});
        keep([&] {
            keeper_.keepEvent(command.payload);
            keeper_.keepTransfer(timed(transfer));
        });
        report_.event(arrival, findings.value);
    }
    for (const auto& text : findings.violations)
        violation((isInventory ? "inventory " : "event ") + std::to_string(arrival.number) + ": " + text);
}

void Controller::violation(const std::string& text) {
    ++counts_.violations;
    keep([&] { keeper_.keepViolation(text); });
    report_.violation(text);
}

void Controller::notice(const std::string& text) {
    report_.notice(text);
}

void Controller::ring(const std::string& text, unsigned long times) {
    ringText_ = text;
    rings_ += times;
}

}  // namespace simhost
