#include "recording/LibraryParameters.h"

#include <algorithm>
#include <cstring>

#include "megaraid/storelib/vokSASLSIEventBlocks.h"

namespace recording {

namespace {

constexpr std::size_t longestBlock = std::size_t{16} << 20;

void addDataBlock(void* data, std::size_t length, LibraryParameters& parameters) {
    parameters.push_back(changedBytes("data", data, std::min(length, longestBlock)));
}

void addRegistration(const _SL_LIB_CMD_PARAM_T& block, LibraryParameters& parameters) {
    const auto* const input = static_cast<const _SL_REG_AEN_INPUT_T*>(block.input);
    const std::size_t count =
        input ? std::min<std::size_t>(input->count, std::size(input->controllers)) : std::size_t{0};
    parameters.push_back(readBytes(
        "registration", input,
        input ? offsetof(_SL_REG_AEN_INPUT_T, controllers) + count * sizeof(_SL_REG_AEN_INPUT_T::Controller)
              : 0));
}

void addFirmwareCommand(const _SL_LIB_CMD_PARAM_T& block, LibraryParameters& parameters) {
    const auto* const frame = static_cast<const _MR_DCMD_FRAME*>(block.data);
    if (!frame) return;
    parameters.push_back(readNumber("length", frame->transferLength));
    parameters.push_back(readNumber("operation", frame->operation));
    parameters.push_back(readNumber("flags", frame->flags));
    parameters.push_back(readBytes("mailbox", frame->mailbox, sizeof(frame->mailbox)));
    addDataBlock(frame->data, frame->transferLength, parameters);
}

bool isCommand(const _SL_LIB_CMD_PARAM_T& block, const vokStoreLibCommand& command) {
    return block.commandType == command.type && block.command == command.command;
}

}  // namespace

LibraryParameter readNumber(const char* name, std::uint64_t value) {
    return {[name, value](Fields& question) { question[name] = std::to_string(value); }, nullptr, nullptr};
}

LibraryParameter readBytes(const char* name, const void* data, std::size_t length) {
    return {[=](Fields& question) {
                question[name] = std::string(static_cast<const char*>(data), data ? length : 0);
            },
            nullptr, nullptr};
}

LibraryParameter readText(const char* name, const char* text) {
    return readBytes(name, text, text ? std::strlen(text) : 0);
}

LibraryParameter changedBytes(const char* name, void* data, std::size_t length) {
    if (!data) return {};
    return {nullptr,
            [=](Fields& answer) {
                answer[name] = withoutZerosAtEnd({static_cast<const char*>(data), length});
            },
            [=](const Fields& answer) {
                const std::size_t count = copyOf(answer, name, data, length);
                std::memset(static_cast<char*>(data) + count, 0, length - count);
            }};
}

LibraryParameter changedText(const char* name, char* text, std::size_t room) {
    if (!text) return {};
    return {nullptr, [=](Fields& answer) { answer[name] = std::string(text, ::strnlen(text, room)); },
            [=](const Fields& answer) {
                const std::size_t count = copyOf(answer, name, text, room);
                if (count < room) text[count] = '\0';
            }};
}

LibraryParameter changedNumber(const char* name, std::uint64_t* number) {
    if (!number) return {};
    return {nullptr, [=](Fields& answer) { answer[name] = std::to_string(*number); },
            [=](const Fields& answer) { *number = unsignedOf(answer, name); }};
}

LibraryParameter changedCount(const char* name, HBA_UINT32* number) {
    if (!number) return {};
    const HBA_UINT32 room = *number;
    return {[=](Fields& question) { question[name] = std::to_string(room); },
            [=](Fields& answer) { answer[name] = std::to_string(*number); },
            [=](const Fields& answer) { *number = static_cast<HBA_UINT32>(unsignedOf(answer, name)); }};
}

LibraryParameters parametersOfInit(vokPhysLocRecord* record, int version) {
    return {readNumber("version", static_cast<std::uint64_t>(version)),
            changedBytes("record", record, sizeof(*record))};
}

LibraryParameters parametersOfEncode(vokPhysLocRecord* record, std::uint64_t* code) {
    return {readBytes("record", record, sizeof(*record)), changedNumber("code", code)};
}

LibraryParameters parametersOfRaidCommand(_SL_LIB_CMD_PARAM_T* block) {
    if (!block) return {};
    LibraryParameters parameters = {
        readNumber("type", block->commandType), readNumber("number", block->command),
        readNumber("flag", block->flag),        readNumber("controller", block->controllerId),
        readNumber("device", block->deviceId),  readNumber("target", block->targetId),
    };
    if (isCommand(*block, vokDcmdPassThroughCommand)) {
        addFirmwareCommand(*block, parameters);
        return parameters;
    }
    parameters.push_back(readNumber("size", block->dataSize));
    if (isCommand(*block, vokRegisterAenCommand)) addRegistration(*block, parameters);
    if (isCommand(*block, vokUnregisterAenCommand)) parameters.push_back(readNumber("id", block->uniqueId));
    if (isCommand(*block, vokScsiPassThroughCommand) && block->dataSize >= sizeof(vokScsiPassThroughHeader))
        parameters.push_back(readBytes("header", block->data, sizeof(vokScsiPassThroughHeader)));
    addDataBlock(block->data, block->dataSize, parameters);
    return parameters;
}

}  // namespace recording
