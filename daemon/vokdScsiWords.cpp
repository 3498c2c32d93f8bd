#include "daemon/vokdScsiWords.h"

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <iterator>

#include "storage/scsi/vokScsiQuestion.h"
#include "storage/scsi/vokScsiResult.h"
#include "storage/scsi/vokScsiSense.h"

namespace {

struct Numbered {
    int number;
    const char* name;
};

constexpr Numbered peripheralTypes[] = {
    {0x00, "direct-access block device"},
    {0x01, "sequential-access device"},
    {0x03, "processor device"},
    {0x04, "write-once device"},
    {0x05, "CD/DVD device"},
    {0x07, "optical memory device"},
    {0x08, "media changer"},
    {0x0C, "storage array controller"},
    {0x0D, "enclosure services device"},
    {0x0E, "simplified direct-access device"},
    {0x10, "bridge controller"},
    {0x11, "object-based storage device"},
    {0x12, "automation/drive interface"},
    {0x14, "host-managed zoned block device"},
    {0x1E, "well-known logical unit"},
};

constexpr Numbered results[] = {
    {VOK_SCSI_WRONG_REPLY, "VOK_SCSI_WRONG_REPLY"},
    {VOK_SCSI_IOCTL_FAILED, "VOK_SCSI_IOCTL_FAILED"},
    {VOK_SCSI_COMMAND_FAILED, "VOK_SCSI_COMMAND_FAILED"},
    {VOK_SCSI_REPLY_TOO_SHORT, "VOK_SCSI_REPLY_TOO_SHORT"},
    {VOK_SCSI_OUT_OF_MEMORY, "VOK_SCSI_OUT_OF_MEMORY"},
    {VOK_SCSI_ILLEGAL_REQUEST, "VOK_SCSI_ILLEGAL_REQUEST"},
    {VOK_SCSI_ABORTED_COMMAND, "VOK_SCSI_ABORTED_COMMAND"},
};

// SPC-5; each at its number.
constexpr const char* senseKeys[] = {
    "NO SENSE",       "RECOVERED ERROR", "NOT READY",      "MEDIUM ERROR",
    "HARDWARE ERROR", "ILLEGAL REQUEST", "UNIT ATTENTION", "DATA PROTECT",
    "BLANK CHECK",    "vendor specific", "COPY ABORTED",   "ABORTED COMMAND",
    "reserved",       "VOLUME OVERFLOW", "MISCOMPARE",     "COMPLETED",
};

// SAM-5.
constexpr Numbered statuses[] = {
    {0x02, "CHECK CONDITION"},      {0x04, "CONDITION MET"}, {0x08, "BUSY"},
    {0x18, "RESERVATION CONFLICT"}, {0x28, "TASK SET FULL"}, {0x30, "ACA ACTIVE"},
    {0x40, "TASK ABORTED"},
};

// Of the kernel's adapter drivers.
constexpr Numbered hostStatuses[] = {
    {1, "no connection"},
    {2, "bus busy"},
    {3, "time-out"},
    {4, "bad target"},
    {5, "aborted"},
    {6, "parity error"},
    {7, "error"},
    {8, "reset"},
    {9, "bad interrupt"},
    {10, "passed through"},
    {11, "soft error"},
    {12, "retry at once"},
    {13, "requeue"},
    {14, "transport disrupted"},
    {15, "transport failed fast"},
};

template <std::size_t count>
const char* nameOf(const Numbered (&table)[count], int number) {
    for (const Numbered& each : table)
        if (each.number == number) return each.name;
    return nullptr;
}

std::string senseText(const vokScsiReply& reply) {
    const auto sense = vokReadScsiSense(reply.sense, reply.senseSize);
    if (!sense || !sense->key) return "";
    std::string text = vokdFormatted("sense key %Xh (%s)", *sense->key, senseKeys[*sense->key]);
    if (sense->additionalCode && sense->additionalQualifier)
        text += vokdFormatted(", ASC/ASCQ %02Xh/%02Xh", *sense->additionalCode, *sense->additionalQualifier);
    return text + (sense->isDeferred ? ", of an earlier command" : "");
}

// A number with its name if it has one: "host status 3 (time-out)".
std::string statusText(const char* what, unsigned number, const char* name) {
    return vokdFormatted("%s %Xh", what, number) + (name ? " (" + std::string(name) + ")" : "");
}

std::string failureText(const vokScsiReply& reply) {
    std::string sense = senseText(reply);
    if (!sense.empty()) return sense;
    std::string text;
    const auto add = [&text](const std::string& part) { text += (text.empty() ? "" : ", ") + part; };
    if (reply.status != 0) add(statusText("status", reply.status, nameOf(statuses, reply.status)));
    if (reply.hostStatus != 0)
        add(statusText("host status", reply.hostStatus,
                       nameOf(hostStatuses, static_cast<int>(reply.hostStatus))));
    if (reply.driverStatus != 0) add(statusText("driver status", reply.driverStatus, nullptr));
    return text.empty() ? "no status says why" : text;
}

}  // namespace

std::string vokdFormatted(const char* format, ...) {
    char text[160];
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(text, sizeof(text), format, arguments);
    va_end(arguments);
    return text;
}

std::string vokdPeripheralTypeText(unsigned type) {
    const char* const name = nameOf(peripheralTypes, static_cast<int>(type));
    return std::to_string(type) + ": " + (name ? name : "no known type");
}

std::string vokdPrintable(const char* text, std::size_t size) {
    std::string shown(text, ::strnlen(text, size));
    for (char& each : shown)
        if (each < ' ' || each > '~') each = '.';
    const std::size_t first = shown.find_first_not_of(' ');
    if (first == std::string::npos) return "(blank)";
    return shown.substr(first, shown.find_last_not_of(' ') - first + 1);
}

std::string vokdPrintable(const std::string& text) {
    return vokdPrintable(text.c_str(), text.size());
}

std::string vokdNoAnswerText(const vokScsiOutcome& outcome, int code) {
    const int reason = outcome.code != 0 ? outcome.code : code;
    const char* const name = nameOf(results, reason);
    const std::string start = (name ? name : "result " + std::to_string(reason)) + std::string(": ");
    switch (reason) {
        case VOK_SCSI_IOCTL_FAILED: {
            const int error = outcome.reply.error;
            const bool isRight = error == EPERM || error == EACCES;
            return start + std::strerror(error) + (isRight ? " (it needs CAP_SYS_RAWIO)" : "");
        }
        case VOK_SCSI_REPLY_TOO_SHORT:
            return start +
                   vokdFormatted("%zu bytes, and %zu are needed", outcome.reply.received, outcome.needed);
        case VOK_SCSI_WRONG_REPLY:
            return start + "another page, or one without this value";
        case VOK_SCSI_OUT_OF_MEMORY:
            return start + "no memory";
        default:
            return start + failureText(outcome.reply);
    }
}
