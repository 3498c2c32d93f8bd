// A stand-in of the closed library of the RAID controllers' vendor: checks the blocks that it gets and
// answers with what vok-simhost has. What is wrong with a block is the status 0x80F1 and a line in the host's
// log of violations.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "library/LibraryClient.h"
#include "modules/raid/RaidWire.h"

namespace raid {

inline constexpr bool is32Bit = sizeof(void*) == 4;

// The block of each command. The offsets are those of 32-bit x86; on other ABIs a pointer has its natural
// size and alignment.
struct Block {
    std::uint8_t type;
    std::uint8_t command;
    std::uint8_t initializes;
    std::uint8_t zero3;
    std::uint32_t controller;
    std::uint16_t device;
    std::uint8_t target;
    std::uint8_t zero11[5];
    union {
        const void* input;
        std::uint32_t uniqueId;
    };
    std::uint8_t zero20[8];
    std::uint32_t dataSize;
    void* data;
};
static_assert(offsetof(Block, controller) == 4 && offsetof(Block, device) == 8);
static_assert(offsetof(Block, target) == 10 && offsetof(Block, input) == 16);
static_assert(offsetof(Block, dataSize) == (is32Bit ? 28 : 32));
static_assert(offsetof(Block, data) == (is32Bit ? 32 : 40));
static_assert(sizeof(Block) == (is32Bit ? 36 : 48));

struct AenEntry {
    std::uint32_t controller;
    std::uint16_t locale;
    std::uint8_t zero6;
    std::int8_t eventClass;
    std::uint32_t sequence;
};
static_assert(sizeof(AenEntry) == 12 && offsetof(AenEntry, eventClass) == 7);

using Callback = std::uint32_t (*)(void* event);

struct AenInput {
    std::uint32_t count;
    AenEntry entries[simhost::mostRaidControllers];
    Callback callback;
};
static_assert(offsetof(AenInput, entries) == 4);
static_assert(offsetof(AenInput, callback) == (is32Bit ? 772 : 776));
static_assert(sizeof(AenInput) == (is32Bit ? 776 : 784));

struct AenOutput {
    std::uint8_t zero[260];
    std::uint32_t uniqueId;
};
static_assert(sizeof(AenOutput) == 264);

struct EventDetail {
    std::uint16_t status;
    std::uint16_t zero2;
    std::uint32_t controller;
    std::uint32_t zero8;
    std::uint8_t record[256];
};
static_assert(sizeof(EventDetail) == 268 && offsetof(EventDetail, record) == 12);

struct ScsiHeader {
    std::uint16_t device;
    std::uint8_t one;
    std::uint8_t zero3;
    std::uint8_t two;
    std::uint8_t zero5[3];
    std::uint16_t timeout;  // seconds
    std::uint8_t status;
    std::uint8_t commandLength;
    std::uint8_t command[16];
    std::uint8_t zero28[32];
    std::uint32_t dataLength;
};
static_assert(sizeof(ScsiHeader) == 64);
static_assert(offsetof(ScsiHeader, timeout) == 8 && offsetof(ScsiHeader, status) == 10);
static_assert(offsetof(ScsiHeader, command) == 12 && offsetof(ScsiHeader, dataLength) == 60);

struct DcmdFrame {
    std::uint32_t length;
    std::uint32_t opcode;
    std::uint32_t zero8;
    std::uint32_t flags;
    std::uint8_t mailbox[12];
    void* data;
};
static_assert(offsetof(DcmdFrame, opcode) == 4 && offsetof(DcmdFrame, flags) == 12);
static_assert(offsetof(DcmdFrame, mailbox) == 16);
static_assert(offsetof(DcmdFrame, data) == (is32Bit ? 28 : 32));
static_assert(sizeof(DcmdFrame) == (is32Bit ? 32 : 40));

// Reports it to the host: a line of run/simhost/raid-violations.log. The status of the command that it is.
std::uint32_t violation(const Block& block, const std::string& text);

// The fields of the block that its command does not use are zero, its sizes are right and its pointers are
// there: 0, otherwise the status of a violation.
std::uint32_t checkBlock(const Block& block, const simhost::RaidCommandRow& row);
std::uint32_t checkScsiHeader(const Block& block, const ScsiHeader& header);
std::uint32_t checkFrame(const Block& block, const DcmdFrame& frame);
std::uint32_t checkRegistration(const Block& block, const AenInput& input);

// Asks the host: the library's status, and the bytes of the reply after it. `bytes` is what belongs to the
// command.
std::uint32_t ask(const Block& block, const std::string& bytes, std::string& reply);

// The commands of events.
std::uint32_t registerForEvents(const Block& block);
std::uint32_t unregisterFromEvents(const Block& block);
// Without a further event; for the exit of the library.
void stopEvents();

}  // namespace raid
