#include <algorithm>
#include <iterator>

#include "common/Text.h"
#include "modules/raid/library/StandIn.h"

namespace raid {

namespace {

template <std::size_t Count>
bool allZero(const std::uint8_t (&bytes)[Count]) {
    return std::all_of(std::begin(bytes), std::end(bytes), [](std::uint8_t each) { return each == 0; });
}

bool is(const simhost::RaidCommandRow& row, const simhost::RaidCommandRow& other) {
    return row.type == other.type && row.command == other.command;
}

// The size of the data block on this ABI.
std::uint32_t dataSizeOf(const simhost::RaidCommandRow& row) {
    return is(row, simhost::raidControllerCommand) ? sizeof(DcmdFrame) : row.dataSize;
}

std::string numbers(const char* what, std::uint32_t has, std::uint32_t wanted) {
    return std::string(what) + " is " + std::to_string(has) + ", not " + std::to_string(wanted);
}

std::uint32_t checkUnused(const Block& block, const simhost::RaidCommandRow& row) {
    const bool initializes = is(row, simhost::raidInitialize);
    if (block.initializes != (initializes ? 1 : 0))
        return violation(block, numbers("byte 2", block.initializes, initializes ? 1 : 0));
    if (block.zero3 != 0 || !allZero(block.zero11) || !allZero(block.zero20))
        return violation(block, "a reserved byte is not zero");
    if (row.type == 0 && block.controller != 0)
        return violation(block, "the command is for no controller, and its controller id is not zero");
    const bool usesDevice = row.type == 2 || is(row, simhost::raidScsiCommand);
    if (!usesDevice && block.device != 0)
        return violation(block, "the command is for no disk, and its device id is not zero");
    if (row.type != 3 && block.target != 0)
        return violation(block, "the command is for no logical drive, and its target id is not zero");
    const bool usesInput = is(row, simhost::raidRegister);
    if (!usesInput && !is(row, simhost::raidUnregister) && block.input != nullptr)
        return violation(block, "offset 16 is not zero");
    if (usesInput && !block.input) return violation(block, "offset 16: no registration");
    return simhost::raidSuccess;
}

}  // namespace

std::uint32_t checkBlock(const Block& block, const simhost::RaidCommandRow& row) {
    if (const std::uint32_t wrong = checkUnused(block, row)) return wrong;
    const std::uint32_t size = dataSizeOf(row);
    const bool atLeast = is(row, simhost::raidScsiCommand);
    if (atLeast ? block.dataSize < size : block.dataSize != size)
        return violation(block, numbers("the data size", block.dataSize, size));
    if (size > 0 && !block.data) return violation(block, "no data block");
    if (size == 0 && block.data) return violation(block, "a data block, which the command has none of");
    return simhost::raidSuccess;
}

std::uint32_t checkScsiHeader(const Block& block, const ScsiHeader& header) {
    if (header.one != 1 || header.zero3 != 0 || header.two != 2)
        return violation(
            block, simhost::formatText("bytes 2 to 4 of the header are %u, %u, %u, not 1, 0, 2",
                                       static_cast<unsigned>(header.one), static_cast<unsigned>(header.zero3),
                                       static_cast<unsigned>(header.two)));
    if (!allZero(header.zero5) || !allZero(header.zero28))
        return violation(block, "a reserved byte of the header is not zero");
    if (header.timeout != 60) return violation(block, numbers("the time-out", header.timeout, 60));
    if (header.commandLength < 6 || header.commandLength > 16)
        return violation(block, "the length of the SCSI command is " + std::to_string(header.commandLength));
    const std::uint32_t room = block.dataSize - static_cast<std::uint32_t>(sizeof(ScsiHeader));
    if (header.dataLength != room)
        return violation(block, numbers("the data length", header.dataLength, room));
    if (block.device != 0 && block.device != header.device)
        return violation(block, numbers("the device id of the block", block.device, header.device));
    return simhost::raidSuccess;
}

std::uint32_t checkFrame(const Block& block, const DcmdFrame& frame) {
    if (frame.flags != 2) return violation(block, numbers("the flags of the frame", frame.flags, 2));
    if (frame.zero8 != 0 || !allZero(frame.mailbox))
        return violation(block, "a mailbox or reserved byte of the frame is not zero");
    const std::uint32_t length = frame.opcode == simhost::raidSafeIdOpcode          ? 41
                                 : frame.opcode == simhost::raidManufacturingOpcode ? 32
                                                                                    : 0;
    if (length == 0) return violation(block, simhost::formatText("the opcode 0x%08x", frame.opcode));
    if (frame.length != length) return violation(block, numbers("the transfer length", frame.length, length));
    if (!frame.data) return violation(block, "no place for the data of the frame");
    return simhost::raidSuccess;
}

std::uint32_t checkRegistration(const Block& block, const AenInput& input) {
    if (input.count == 0 || input.count > simhost::mostRaidControllers)
        return violation(block, "a registration for " + std::to_string(input.count) + " controllers");
    if (!input.callback) return violation(block, "a registration without a callback");
    for (std::uint32_t i = 0; i < input.count; ++i) {
        const AenEntry& entry = input.entries[i];
        if (entry.zero6 != 0) return violation(block, "a reserved byte of the registration is not zero");
        if (entry.locale == 0) return violation(block, "a registration for no locale");
        if (entry.eventClass < -2 || entry.eventClass > 4)
            return violation(block, "a registration for the class " + std::to_string(entry.eventClass));
    }
    return simhost::raidSuccess;
}

}  // namespace raid
