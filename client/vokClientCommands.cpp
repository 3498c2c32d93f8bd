#include "vokClientCommands.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <exception>
#include <fstream>
#include <iostream>
#include <iterator>
#include <sstream>

#include "core/base/vokJsonText.h"
#include "events/client/vokInjectedEvent.h"
#include "events/client/vokMsgInfra.h"
#include "events/client/vokTestEvent.h"
#include "events/vokEventHandler.h"
#include "events/vokEventTable.h"
#include "vokClientChannel.h"

namespace {

constexpr std::size_t longestPayload = sizeof(_VOK_MESSAGE_PACKET::payload) - 1;  // its NUL not counted
// A text that fits into one IPMI request overwrites the name of its remote command, so that the controller
// can't identify it.
constexpr std::size_t shortestEvent = 57;
constexpr std::uint16_t injectedEventMessage = 0x0101;  // any code that is not the test event's

struct Explanation {
    vokAnswerKind kind;
    int exitStatus;
    const char* text;
};

// The messages for requests that were not carried out.
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

int reportError(const std::string& text) {
    std::cerr << "vokcli: " << text << '\n';
    return vokExitBadInput;
}

// Sends the request and prints the result; `success` is the message for success.
int sendAndReport(std::uint16_t code, const std::string& payload, std::chrono::seconds timeout,
                  const std::string& success) {
    vokClientSignals signals;
    const vokAnswer answer = vokAskAgent(code, payload, timeout, signals);
    if (answer.kind == vokAnswerKind::interrupted) signals.endByArrived();
    if (answer.kind == vokAnswerKind::done) {
        std::cout << success << '\n';
        return vokExitDone;
    }
    for (const Explanation& row : explanations) {
        if (row.kind != answer.kind) continue;
        reportError(answer.reason.empty() ? row.text : std::string(row.text) + " (" + answer.reason + ").");
        return row.exitStatus;
    }
    return vokExitFailed;
}

// Reads a whole file, or standard input for "-". False with errno.
bool readAll(const std::string& file, std::string& text) {
    std::ostringstream content;
    if (file == "-") {
        content << std::cin.rdbuf();
    } else {
        errno = 0;
        std::ifstream stream(file, std::ios::binary);
        if (!stream) return false;
        content << stream.rdbuf();
        if (stream.bad()) return false;
    }
    text = content.str();
    return true;
}

// Parses the text of an event as the agent does. False with a reason that may be empty.
bool readEvent(const std::string& text, Json::Value& event, std::string& reason) {
    try {
        return vokParseInjectedEvent(text, event, &reason);
    } catch (const std::exception& failure) {
        reason = failure.what();
        return false;
    }
}

}  // namespace

const char vokClientExitHelp[] =
    "Exit status:\n"
    "  0  done: the event was delivered, or the test event was handed to its owner\n"
    "  1  nothing was sent: wrong usage, or an event that can't be sent\n"
    "  2  the controller refused the event or did not answer the agent\n"
    "  3  no agent is running\n"
    "  4  no permission\n"
    "  5  no answer from the agent in time\n"
    "  6  any other failure\n"
    "If a signal ends the program, the shell reports 128 plus its number.";

int vokClientTest(int id, const std::string& location, std::chrono::seconds timeout) {
    const std::string number = std::to_string(id);
    const int type = getEventType(id);
    const vokEventOwner* const owner = vokFindEventOwner(type);
    if (!owner) return reportError(number + " is not an event number; \"vokcli events\" lists them.");
    if (!vokTestEventHasRaiser(type))
        return reportError("Event " + number + " belongs to the " + owner->name +
                           " manager, which this agent does not have; nothing was sent.");
    const std::string payload = location.empty() ? number : number + " " + location;
    if (payload.size() > longestPayload)
        return reportError("The location is too long: a request holds " + std::to_string(longestPayload) +
                           " bytes.");
    // The agent's answer does not depend on the delivery of a test event.
    const char* const beforeFirstPush =
        vokPassesBeforeFirstPush(id) ? "" : " Before its first inventory push the agent drops such an event.";
    return sendAndReport(vokTestEventMessage, payload, timeout,
                         "The agent has handled test event " + number +
                             "; only the agent's log shows whether the controller accepted it." +
                             beforeFirstPush);
}

int vokClientInject(const std::string& file, std::chrono::seconds timeout) {
    std::string text;
    if (!readAll(file, text)) return reportError(file + ": " + std::strerror(errno));
    if (text.find('\0') != std::string::npos)
        return reportError(file + " contains a NUL byte; nothing was sent.");
    Json::Value event;
    std::string reason;
    if (!readEvent(text, event, reason)) {
        while (!reason.empty() && reason.back() == '\n') reason.pop_back();
        return reportError(file + " does not contain a JSON object with members; nothing was sent." +
                           (reason.empty() ? "" : "\n" + reason));
    }
    const std::size_t asWritten = text.size();
    // On one line the same event has fewer bytes.
    if (asWritten > longestPayload) text = vokJsonText(event);
    if (text.size() > longestPayload)
        return reportError("The event has " + std::to_string(asWritten) + " bytes, " +
                           std::to_string(text.size()) + " on one line; at most " +
                           std::to_string(longestPayload) + " can be sent.");
    event["Source"] = "VOK-CLI";
    const std::size_t onTheWire = vokJsonText(event).size();
    if (onTheWire < shortestEvent)
        return reportError(
            "The event is too short for the controller to recognize it: " + std::to_string(onTheWire) +
            " bytes with its Source; at least " + std::to_string(shortestEvent) + " are needed.");
    return sendAndReport(
        injectedEventMessage, text, timeout,
        "Delivered: the controller accepted the event of " + std::to_string(onTheWire) + " bytes.");
}

int vokClientEvents() {
    std::printf("%-6s  %-13s  %s\n", "Number", "Owner", "Meaning");
    for (const vokEventNumber& row : vokEventTable) {
        std::printf("%6d  %-13s  %s%s\n", row.id, vokFindEventOwner(row.type)->name, row.meaning,
                    vokTestEventHasRaiser(row.type) ? "" : " (not in this agent yet)");
    }
    return vokExitDone;
}
