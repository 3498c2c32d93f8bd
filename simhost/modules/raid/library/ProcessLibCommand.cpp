#include <unistd.h>
#include <algorithm>
#include <atomic>
#include <cstring>

#include "common/ByteCodec.h"
#include "common/Text.h"
#include "library/LibraryFault.h"
#include "modules/raid/library/StandIn.h"

namespace raid {

namespace {

std::atomic<bool> initialized{false};

bool is(const Block& block, const simhost::RaidCommandRow& row) {
    return block.type == row.type && block.command == row.command;
}

std::uint32_t fillData(const Block& block) {
    std::string reply;
    const std::uint32_t status = ask(block, "", reply);
    if (status == simhost::raidSuccess)
        std::memcpy(block.data, reply.data(), std::min<std::size_t>(reply.size(), block.dataSize));
    return status;
}

std::uint32_t initialize(const Block& block) {
    const std::uint32_t status = fillData(block);
    if (status == simhost::raidSuccess) initialized = true;
    return status;
}

std::uint32_t exitLibrary(const Block& block) {
    std::string reply;
    const std::uint32_t status = ask(block, "", reply);
    if (status != simhost::raidSuccess) return status;
    stopEvents();
    initialized = false;
    return status;
}

std::uint32_t passScsiCommand(const Block& block) {
    auto* const header = static_cast<ScsiHeader*>(block.data);
    if (const std::uint32_t wrong = checkScsiHeader(block, *header)) return wrong;
    Block asked = block;
    asked.device = header->device;
    const std::string command(reinterpret_cast<const char*>(header->command), header->commandLength);
    std::string reply;
    const std::uint32_t status =
        ask(asked, simhost::ByteWriter().number(header->dataLength).text(command).bytes(), reply);
    if (reply.empty()) return status;
    header->status = static_cast<std::uint8_t>(reply[0]);
    const std::size_t length = std::min<std::size_t>(reply.size() - 1, header->dataLength);
    std::memcpy(header + 1, reply.data() + 1, length);
    header->dataLength = static_cast<std::uint32_t>(length);
    return status;
}

std::uint32_t passControllerCommand(const Block& block) {
    const auto* const frame = static_cast<const DcmdFrame*>(block.data);
    if (const std::uint32_t wrong = checkFrame(block, *frame)) return wrong;
    std::string reply;
    const std::uint32_t status =
        ask(block, simhost::ByteWriter().number(frame->opcode).number(frame->length).bytes(), reply);
    if (status == simhost::raidSuccess)
        std::memcpy(frame->data, reply.data(), std::min<std::size_t>(reply.size(), frame->length));
    return status;
}

struct Special {
    simhost::RaidCommandRow row;
    std::uint32_t (*run)(const Block& block);
};
constexpr Special specials[] = {
    {simhost::raidInitialize, initialize},           {simhost::raidRegister, registerForEvents},
    {simhost::raidUnregister, unregisterFromEvents}, {simhost::raidExit, exitLibrary},
    {simhost::raidScsiCommand, passScsiCommand},     {simhost::raidControllerCommand, passControllerCommand},
};

}  // namespace

std::uint32_t violation(const Block& block, const std::string& text) {
    const std::string command = simhost::formatText("command (%u, %u): ", static_cast<unsigned>(block.type),
                                                    static_cast<unsigned>(block.command));
    simhost::ownLibraryClient().request(simhost::raidViolation, command + text);
    return simhost::raidInvalidParameter;
}

std::uint32_t ask(const Block& block, const std::string& bytes, std::string& reply) {
    simhost::ByteWriter packet;
    packet.number(block.type).number(block.command).number(block.controller).number(block.device);
    packet.number(block.target).number(static_cast<std::uint32_t>(::getpid()));
    const simhost::LibraryReply got =
        simhost::ownLibraryClient().request(simhost::raidCommand, packet.bytes() + bytes);
    simhost::ByteReader reader(got.bytes.data(), got.bytes.size());
    const auto status = reader.number<std::uint32_t>();
    if (got.status != 0 || !reader.good()) return simhost::raidFailed;  // no host
    reply = got.bytes.substr(sizeof(status));
    return status;
}

}  // namespace raid

VOK_ENTRY_POINT std::uint32_t ProcessLibCommand(void* parameter) {
    using namespace raid;
    simhost::sufferLibraryFault("ProcessLibCommand");
    static constexpr Block none{};
    if (!parameter) return violation(none, "no block");
    const Block& block = *static_cast<const Block*>(parameter);
    const simhost::RaidCommandRow* row = simhost::findRaidCommand(block.type, block.command);
    if (!row) return violation(block, "the library has no such command");
    if (const std::uint32_t wrong = checkBlock(block, *row)) return wrong;
    if (!initialized && !is(block, simhost::raidInitialize)) {
        violation(block, "before the library was initialized");
        return simhost::raidNotInitialized;
    }
    for (const Special& each : specials)
        if (is(block, each.row)) return each.run(block);
    return fillData(block);
}
