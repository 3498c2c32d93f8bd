#include <cstring>
#include <string>

#include "core/base/vokLog.h"
#include "core/status/vokStatusRecord.h"
#include "platform/access/vokHostAccess.h"
#include "rmc/ipmi/vokIpmiReport.h"
#include "rmc/ipmi/vokRmcChunk.h"
#include "rmc/ipmi/vokipmi.h"

namespace ipmi {
namespace {

constexpr char inventoryRequest[] = "WriteInventory";
constexpr unsigned char doorBellSize = 254;

struct DoorBell {
    int type;
    unsigned char command;
};

constexpr DoorBell doorBells[] = {{1, 0x81}, {2, 0x82}};

// The name of a poll in the log.
std::string pollName(unsigned char command) {
    return command == doorBells[0].command ? "Door-bell poll" : "Door-bell poll of the second kind";
}

constexpr std::size_t shortestAnswer = 1;  // a completion code alone: no request

// One byte more than the controller can fill, so that the text is always terminated.
struct DoorBellBuffer {
    unsigned char bytes[doorBellSize + 1] = {};
    const char* text() const { return reinterpret_cast<const char*>(bytes); }
};

bool holdsInventoryRequest(const unsigned char* buffer) {
    const auto* text = reinterpret_cast<const char*>(buffer);
    return std::string(text, ::strnlen(text, doorBellSize)).find(inventoryRequest) != std::string::npos;
}

}  // namespace

bool IPMIUtils::checkIPMIDBRequest() {
    VOK_LOG_DEBUG("IPMI_DB", "Checking IPMI door bell request");
    DoorBellBuffer buffer;
    if (!pollDoorBell(doorBells[0].command, buffer.bytes)) {
        VOK_LOG_ERROR("IPMI_DB", "An error occurred in checking RMC request via IPMI");
        return false;
    }
    VOK_LOG_DEBUG("IPMI_DB", "Return buffer from door bell: %s", buffer.text());
    return holdsInventoryRequest(buffer.bytes);
}

int IPMIUtils::checkIPMIDBGenericRequest(int type) {
    VOK_LOG_DEBUG("IPMI_DB", "Checking IPMI door bell request");
    for (const auto& bell : doorBells) {
        if (bell.type != type) continue;
        DoorBellBuffer buffer;
        if (!pollDoorBell(bell.command, buffer.bytes)) {
            VOK_LOG_ERROR("IPMI_DB", "An error occurred in checking RMC request via IPMI");
            return 0;
        }
        VOK_LOG_DEBUG("IPMI_DB", "Return buffer from door bell: %s", buffer.text());
        return checkIPMIBuffer(type, buffer.bytes);
    }
    return 0;
}

int IPMIUtils::checkIPMIBuffer(int type, unsigned char* buffer) {
    if (!buffer) return 0;
    switch (type) {
        case 1:
            return holdsInventoryRequest(buffer) ? 1 : 0;
        case 2: {
            const bool isOne = buffer[0] == 1 && buffer[1] == 0 && buffer[2] == 0 && buffer[3] == 0;
            return isOne ? 1 : 2;
        }
        default:
            return 0;
    }
}

bool IPMIUtils::pollDoorBell(unsigned char command, unsigned char* buffer) {
    const std::lock_guard<std::mutex> lock(mlock);
    const unsigned char none = 0;
    unsigned char capacity = doorBellSize;
    const bool exchanged = execute(remoteCommandNetFn, command, 0, nullptr, none, buffer, capacity);
    const bool isAnswered = isProper(lastExchange_, shortestAnswer);
    if (command == doorBells[0].command)
        vokNoteDoorBell(vokWallClockSeconds(), isAnswered, exchanged && holdsInventoryRequest(buffer));
    reportPoll(pollName(command),
               isAnswered ? std::string() : exchangeText(lastExchange_, "the poll", shortestAnswer));
    return exchanged;
}

}  // namespace ipmi
