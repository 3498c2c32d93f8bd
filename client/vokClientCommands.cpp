#include "vokClientCommands.h"

#include <fcntl.h>
#include <unistd.h>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <exception>

#include "core/base/vokJsonText.h"
#include "events/client/vokInjectedEvent.h"
#include "events/client/vokMsgInfra.h"
#include "events/vokEventHandler.h"
#include "events/vokEventTable.h"
#include "platform/access/vokOwnedDescriptor.h"
#include "vokClientChannel.h"
#include "vokClientEventCheck.h"
#include "vokClientOutput.h"

namespace {

constexpr std::size_t longestPayload = sizeof(_VOK_MESSAGE_PACKET::payload) - 1;  // its NUL not counted
// A text that fits into one IPMI request overwrites the name of its remote command, so that the controller
// can't identify it.
constexpr std::size_t shortestEvent = 57;
constexpr std::uint16_t injectedEventMessage = 0x0101;  // any code that is not the test event's

constexpr std::size_t longestFile = 1 << 20;  // far more than an event on one line can come from

struct Explanation {
    vokAnswerKind kind;
    int exitStatus;
    const char* text;
};

// The messages for requests that were not carried out, and for those whose event was not delivered.
constexpr Explanation explanations[] = {
    {vokAnswerKind::refused, vokExitRefused,
     "The agent could not deliver the event: the controller refused it or did not answer."},
    {vokAnswerKind::noAgent, vokExitNoAgent, "No agent is running here; nothing was sent."},
    {vokAnswerKind::noPermission, vokExitNoPermission, "No permission to contact the agent; run as its user"},
    {vokAnswerKind::notInTime, vokExitNoAnswer,
     "No answer in time. The agent has the request and may still carry it out."},
    {vokAnswerKind::notTaken, vokExitNoAnswer,
     "The agent did not accept the request in time; nothing was sent."},
    {vokAnswerKind::agentLeft, vokExitNoAnswer,
     "The agent ended before it answered. The request may or may not have been carried out."},
    {vokAnswerKind::failed, vokExitFailed, "The request failed"},
};

struct DeliveryRow {
    vokDeliveryKind kind;
    int exitStatus;
    const char* text;  // follows the event and precedes the agent's reason

    constexpr vokDeliveryKind key() const { return kind; }
};

// The messages for events whose delivery the agent describes, except success.
constexpr DeliveryRow deliveries[] = {
    {vokDeliveryKind::unconfirmed, vokExitUnconfirmed,
     " was handed to the driver, but the controller did not confirm it: "},
    {vokDeliveryKind::refused, vokExitRefused, " was not delivered: "},
    {vokDeliveryKind::noAnswer, vokExitRefused, " was not delivered: "},
    {vokDeliveryKind::notSent, vokExitRefused, " was not sent: "},
    {vokDeliveryKind::dropped, vokExitDropped, " was dropped by the agent: "},
    {vokDeliveryKind::invalid, vokExitBadInput, " was not sent: "},
};
static_assert(vokKeysAscend(deliveries));

int reportError(const std::string& text) {
    vokClientComplain(text);
    return vokExitBadInput;
}

// What a request is about, for the messages.
struct Subject {
    std::string event;    // as in "the controller accepted EVENT"
    std::string capital;  // the same at the start of a sentence
    std::string handled;  // the message if the agent reports success and says no more
};

// Prints the result of a request; on standard error if it must, since the request can't be taken back.
int reportSuccess(const std::string& text) {
    if (vokClientPrint(text)) return vokExitDone;
    vokClientComplain(text);
    return vokExitFailed;
}

int reportDelivery(const vokAnswer& answer, const Subject& subject) {
    if (answer.delivery.kind == vokDeliveryKind::accepted)
        return reportSuccess("Delivered: the controller accepted " + subject.event + ".");
    const DeliveryRow* const row = vokFindRow(deliveries, answer.delivery.kind);
    if (!row) return reportSuccess(subject.handled);
    vokClientComplain(subject.capital + row->text + answer.delivery.text + ".");
    return row->exitStatus;
}

// Sends the request and prints the result.
int sendAndReport(std::uint16_t code, const std::string& payload, std::chrono::seconds timeout,
                  const Subject& subject) {
    vokClientSignals signals;
    const vokAnswer answer = vokAskAgent(code, payload, timeout, signals);
    if (answer.kind == vokAnswerKind::interrupted) signals.endByArrived();
    const bool isDescribed = answer.delivery.kind != vokDeliveryKind::unknown;
    if (answer.kind == vokAnswerKind::done || isDescribed) return reportDelivery(answer, subject);
    for (const Explanation& row : explanations) {
        if (row.kind != answer.kind) continue;
        reportError(answer.reason.empty() ? row.text : std::string(row.text) + " (" + answer.reason + ").");
        return row.exitStatus;
    }
    return vokExitFailed;
}

// Reads a whole file, or standard input for "-". 0 or an error number.
int readAll(const std::string& file, std::string& text) {
    vokOwnedDescriptor opened;
    if (file != "-") {
        opened.reset(::open(file.c_str(), O_RDONLY | O_CLOEXEC));
        if (!opened) return errno;
    }
    const int descriptor = opened ? opened.get() : STDIN_FILENO;
    char buffer[65536];
    for (;;) {
        const ssize_t count = ::read(descriptor, buffer, sizeof(buffer));
        if (count == 0) return 0;
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) return errno;
        text.append(buffer, static_cast<std::size_t>(count));
        if (text.size() > longestFile) return EFBIG;
    }
}

// Parses the text of an event as the agent does. False with a reason that may be empty.
bool readEvent(const std::string& text, Json::Value& event, std::string& reason) {
    try {
        return vokParseInjectedEvent(text, event, &reason) && event.isObject();
    } catch (const std::exception& failure) {
        reason = failure.what();
        return false;
    }
}

}  // namespace

const char vokClientExitHelp[] =
    "Exit status:\n"
    "  0  done: the controller accepted the event\n"
    "  1  nothing was sent: wrong usage, or an event that can't be sent\n"
    "  2  the controller refused the event, or the agent got no answer or could not\n"
    "     open its device\n"
    "  3  no agent is running\n"
    "  4  no permission\n"
    "  5  no answer from the agent in time\n"
    "  6  any other failure, also of writing the output\n"
    "  7  the event was handed to the driver, but the controller did not confirm it\n"
    "  8  the agent dropped the test event, before its first inventory push\n"
    "The commands status and history have their own: see their --help.\n"
    "If a signal ends the program, the shell reports 128 plus its number.";

int vokClientTest(int id, const std::string& location, std::chrono::seconds timeout) {
    const std::string number = std::to_string(id);
    if (!vokFindEventNumber(id))
        return reportError(number + " is not an event number; \"vokcli events\" lists them.");
    const std::string payload = location.empty() ? number : number + " " + location;
    if (payload.size() > longestPayload)
        return reportError("The location is too long: a request holds " + std::to_string(longestPayload) +
                           " bytes.");
    // The message for an agent that does not say the outcome of the delivery.
    const char* const beforeFirstPush =
        vokPassesBeforeFirstPush(id) ? "" : " Before its first inventory push the agent drops such an event.";
    return sendAndReport(
        vokTestEventMessage, payload, timeout,
        {"test event " + number, "Test event " + number,
         "The agent has handled test event " + number +
             "; only the agent's log shows whether the controller accepted it." + beforeFirstPush});
}

int vokClientInject(const std::string& file, std::chrono::seconds timeout) {
    std::string text;
    const std::string name = file == "-" ? "standard input" : file;
    if (const int reason = readAll(file, text)) return reportError(name + ": " + std::strerror(reason));
    if (text.find('\0') != std::string::npos)
        return reportError(name + " contains a NUL byte; nothing was sent.");
    Json::Value event;
    std::string reason;
    if (!readEvent(text, event, reason)) {
        while (!reason.empty() && reason.back() == '\n') reason.pop_back();
        return reportError(name + " does not contain a JSON object with members; nothing was sent." +
                           (reason.empty() ? "" : "\n" + reason));
    }
    const std::string written = text;
    // On one line the same event has fewer bytes.
    if (text.size() > longestPayload) text = vokJsonText(event);
    if (text.size() > longestPayload)
        return reportError("The event has " + std::to_string(written.size()) + " bytes, " +
                           std::to_string(text.size()) + " on one line; at most " +
                           std::to_string(longestPayload) + " can be sent.");
    event["Source"] = "VOK-CLI";
    const std::size_t onTheWire = vokJsonText(event).size();
    if (onTheWire < shortestEvent)
        return reportError(
            "The event is too short for the controller to recognize it: " + std::to_string(onTheWire) +
            " bytes with its Source; at least " + std::to_string(shortestEvent) + " are needed.");
    for (const std::string& finding : vokCheckEvent(written, event)) vokClientComplain("warning: " + finding);
    const std::string size = std::to_string(onTheWire) + " bytes";
    return sendAndReport(injectedEventMessage, text, timeout,
                         {"the event of " + size, "The event of " + size,
                          "The agent reports success for the event of " + size +
                              "; only its log shows whether the controller accepted it."});
}

int vokClientEvents() {
    std::string table;
    const auto add = [&table](const char* number, const char* owner, const char* meaning) {
        char start[32];
        std::snprintf(start, sizeof(start), "%6s  %-13s  ", number, owner);
        table.append(start).append(meaning);
    };
    add("Number", "Owner", "Meaning");
    for (const vokEventNumber& row : vokEventTable) {
        table += '\n';
        add(std::to_string(row.id).c_str(), vokFindEventOwner(row.type)->name, row.meaning);
    }
    return vokClientPrint(table) ? vokExitDone : vokExitFailed;
}
