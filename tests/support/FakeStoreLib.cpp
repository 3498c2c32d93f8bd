#include "support/FakeStoreLib.h"

#include <gtest/gtest.h>
#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstring>

#include "support/FakeHost.h"
#include "support/FakeLibraries.h"

struct _SL_EVENT_DETAIL_T;

namespace {

constexpr char libraryName[] = "libstorelib.so";
constexpr bool is32Bit = sizeof(void*) == 4;

// Where the pointer of a block lies: the vendor's offset on 32-bit x86, natural alignment elsewhere.
constexpr std::size_t registrationCallback = is32Bit ? 772 : 776;
constexpr std::size_t registrationSize = is32Bit ? 776 : 784;
constexpr std::size_t frameData = is32Bit ? 28 : 32;
constexpr std::size_t frameSize = is32Bit ? 32 : 40;
constexpr std::size_t scsiHeaderSize = 64;

std::atomic<FakeStoreLib*> installed{nullptr};

// The data block of a command. Bytes beyond its size are not written.
class Block {
public:
    Block(void* data, std::size_t size) : data_(static_cast<unsigned char*>(data)), size_(size) {}
    explicit Block(const _SL_LIB_CMD_PARAM_T& command) : Block(command.data, command.dataSize) {}

    void number(std::size_t offset, std::size_t width, std::uint64_t value) const {
        for (std::size_t i = 0; i < width; ++i) byte(offset + i, static_cast<unsigned char>(value >> 8 * i));
    }
    // Until a field is set, no byte is one that a test expects.
    void noise() const {
        for (std::size_t i = 0; i < size_; ++i) byte(i, 0xA5);
    }
    // Padded with `padding` to `width` bytes, or cut.
    void text(std::size_t offset, std::size_t width, const std::string& text, char padding = ' ') const {
        for (std::size_t i = 0; i < width; ++i)
            byte(offset + i, static_cast<unsigned char>(i < text.size() ? text[i] : padding));
    }

private:
    void byte(std::size_t offset, unsigned char value) const {
        if (offset < size_) data_[offset] = value;
    }

    unsigned char* data_;
    std::size_t size_;
};

// Where a list has its count, and the width of it.
struct CountField {
    std::size_t offset;
    std::size_t width;
};

const std::map<FakeStoreLibCommand, CountField> countFields = {
    {{0, 0}, {0, 2}}, {{0, 3}, {0, 2}}, {{1, 4}, {4, 4}}, {{1, 13}, {0, 4}}, {{3, 11}, {0, 4}},
};

// The size of the data block of each command.
const std::map<FakeStoreLibCommand, std::size_t> sizes = {
    {{0, 0}, 260},  {{0, 1}, 264},  {{0, 2}, 0},         {{0, 3}, 260},   {{0, 9}, 0},
    {{1, 0}, 2464}, {{1, 4}, 6152}, {{1, 11}, 112},      {{1, 13}, 4104}, {{2, 0}, 512},
    {{3, 0}, 384},  {{3, 11}, 516}, {{6, 3}, frameSize}, {{7, 0}, 20},
};

bool hasItsSize(const _SL_LIB_CMD_PARAM_T& command) {
    const FakeStoreLibCommand key{command.commandType, command.command};
    if (key == FakeStoreLibCommand{6, 0}) {
        EXPECT_GT(command.dataSize, scsiHeaderSize);
        return command.dataSize > scsiHeaderSize && command.data;
    }
    const auto size = sizes.find(key);
    if (size == sizes.end()) {
        ADD_FAILURE() << "no command: " << key.first << ", " << key.second;
        return false;
    }
    EXPECT_EQ(command.dataSize, size->second) << "of the command " << key.first << ", " << key.second;
    return command.dataSize == size->second && (size->second == 0 || command.data);
}

template <typename Items, typename IsThis>
auto findIn(const Items& items, IsThis isThis) {
    const auto found = std::find_if(items.begin(), items.end(), isThis);
    return found == items.end() ? nullptr : &*found;
}

const FakeRaidDisk* diskOf(const FakeRaidController& controller, std::uint16_t deviceId) {
    return findIn(controller.disks, [&](const FakeRaidDisk& disk) { return disk.deviceId == deviceId; });
}

const FakeRaidVolume* volumeOf(const FakeRaidController& controller, std::uint8_t target) {
    return findIn(controller.volumes, [&](const FakeRaidVolume& volume) { return volume.target == target; });
}

// --- the records ---

void fillControllerList(const Block& block, const std::vector<FakeRaidController>& controllers,
                        bool simulation) {
    block.number(0, 2, controllers.size());
    block.number(2, 1, simulation ? 1 : 0);
    for (std::size_t i = 0; i < controllers.size(); ++i) block.number(4 + 4 * i, 4, controllers[i].id);
}

void fillController(const Block& block, const FakeRaidController& controller) {
    block.number(0, 4, controller.chipset);
    block.number(4, 4, controller.board);
    block.text(1600, controller.firmware.size() + 1, controller.firmware, '\0');
}

void fillDiskList(const Block& block, const FakeRaidController& controller) {
    block.number(4, 4, controller.disks.size());
    for (std::size_t i = 0; i < controller.disks.size(); ++i)
        block.number(8 + 24 * i, 2, controller.disks[i].deviceId);
}

void fillPciLocation(const Block& block, const FakeRaidController& controller) {
    block.number(0, 4, controller.bus);
    block.number(4, 1, controller.device);
    block.number(5, 1, controller.function);
    block.number(80, 4, controller.domain);
}

void fillVolumeList(const Block& block, const FakeRaidController& controller) {
    block.number(0, 4, controller.volumes.size());
    for (std::size_t i = 0; i < controller.volumes.size(); ++i)
        block.number(8 + 16 * i, 1, controller.volumes[i].target);
}

void fillDisk(const Block& block, const FakeRaidDisk& disk) {
    block.text(12, 8, disk.vendor);
    block.text(20, 16, disk.product);
    block.text(36, 4, disk.revision);
    block.text(40, 32, disk.serial);
    block.number(165, 1, disk.scsiType);
    block.number(184, 2, disk.state);
    block.number(189, 1, static_cast<unsigned>(disk.interfaceType) << 4);
    block.number(232, 8, disk.blocks);
    block.number(256, 2, disk.enclosure);
    block.number(259, 1, disk.slot);
    block.number(370, 1, disk.media);
    block.number(404, 2, disk.blockSize);
}

void fillVolume(const Block& block, const FakeRaidVolume& volume) {
    block.number(0, 4, volume.target);
    block.number(32, 1, volume.raidLevel);
    block.number(34, 1, volume.secondaryLevel);
    block.number(37, 1, volume.spanDepth);
    block.number(38, 1, volume.state);
    block.number(256, 8, volume.blocks);
    block.text(312, 16, volume.id);
}

void fillVolumeDisks(const Block& block, const FakeRaidVolume& volume) {
    block.number(0, 4, volume.disks.size());
    for (std::size_t i = 0; i < volume.disks.size(); ++i) block.number(4 + 2 * i, 2, volume.disks[i]);
}

// --- the pass-through commands ---

std::uint32_t firmwareCommand(const _SL_LIB_CMD_PARAM_T& command, const FakeRaidController& controller) {
    const auto* const frame = static_cast<const unsigned char*>(command.data);
    const vokRecordReader reader(frame, frameSize);
    void* data = nullptr;
    std::memcpy(&data, frame + frameData, sizeof(data));
    const Block block(data, static_cast<std::size_t>(reader.number({0, 4})));
    const std::uint64_t operation = reader.number({4, 4});
    block.noise();
    if (operation == 0x01160300) block.text(0, 41, "SAFEID", '\0');
    if (operation == 0x010E0301) block.text(2, controller.serial.size() + 1, controller.serial, '\0');
    return operation == 0x01160300 || operation == 0x010E0301 ? vokStoreLibSuccess : vokStoreLibFailed;
}

// Answers with the page, at most as much as was asked for.
std::uint32_t answerPage(const _SL_LIB_CMD_PARAM_T& command, const std::string& page) {
    const Block block(command);
    const std::size_t room = command.dataSize - scsiHeaderSize;
    block.number(10, 1, page.empty() ? 2 : 0);
    block.number(60, 4, std::min(page.size(), room));
    block.text(64, std::min(page.size(), room), page);
    return vokStoreLibSuccess;
}

std::uint32_t scsiCommand(const _SL_LIB_CMD_PARAM_T& command, const FakeRaidController& controller) {
    const vokRecordReader header(command.data, scsiHeaderSize);
    const FakeRaidDisk* const disk = diskOf(controller, static_cast<std::uint16_t>(header.number({0, 2})));
    if (!disk) return vokStoreLibFailed;
    if (header.byte(12) == 0x12 && header.byte(14) == 0x80) {
        std::string page;
        if (!disk->vpdSerial.empty())
            page =
                std::string("\x00\x80\x00", 3) + static_cast<char>(disk->vpdSerial.size()) + disk->vpdSerial;
        return answerPage(command, page);
    }
    if (header.byte(12) != 0x85 || header.byte(20) != 0xD0 || disk->logD0.empty()) return vokStoreLibFailed;
    std::string page(512, '\0');
    page[1] = '\xD0';
    page.replace(24, disk->logD0.size(), disk->logD0);
    return answerPage(command, page);
}

std::uint32_t ofDisk(const _SL_LIB_CMD_PARAM_T& command, const FakeRaidController& controller) {
    const FakeRaidDisk* const disk = diskOf(controller, command.deviceId);
    if (!disk) return vokStoreLibFailed;
    fillDisk(Block(command), *disk);
    return vokStoreLibSuccess;
}

std::uint32_t ofVolume(const _SL_LIB_CMD_PARAM_T& command, const FakeRaidController& controller) {
    const FakeRaidVolume* const volume = volumeOf(controller, command.targetId);
    if (!volume) return vokStoreLibFailed;
    if (command.command == 0) fillVolume(Block(command), *volume);
    if (command.command == 11) fillVolumeDisks(Block(command), *volume);
    return vokStoreLibSuccess;
}

std::uint32_t ofController(const _SL_LIB_CMD_PARAM_T& command, const FakeRaidController& controller) {
    const Block block(command);
    if (command.command == 0) fillController(block, controller);
    if (command.command == 4) fillDiskList(block, controller);
    if (command.command == 11) fillPciLocation(block, controller);
    if (command.command == 13) fillVolumeList(block, controller);
    return vokStoreLibSuccess;
}

}  // namespace

FakeStoreLib::FakeStoreLib(FakeHost& host) {
    installed = this;
    host.part<FakeLibraries>().symbols[libraryName] = {{"ProcessLibCommand", &processLibCommand}};
}

FakeStoreLib::~FakeStoreLib() {
    installed = nullptr;
}

std::uint32_t FakeStoreLib::processLibCommand(_SL_LIB_CMD_PARAM_T* command) {
    FakeStoreLib* const library = installed;
    return library && command ? library->process(*command) : vokStoreLibFailed;
}

void FakeStoreLib::record(const _SL_LIB_CMD_PARAM_T& command) {
    commands_.push_back(command);
    commands_.back().data = nullptr;
    const auto* const data = static_cast<const char*>(command.data);
    if (command.commandType == 6 && command.command == 0) passedThrough_.emplace_back(data, scsiHeaderSize);
    if (command.commandType == 6 && command.command == 3) passedThrough_.emplace_back(data, frameSize);
}

std::uint32_t FakeStoreLib::process(_SL_LIB_CMD_PARAM_T& command) {
    if (!hasItsSize(command)) return vokStoreLibFailed;
    {
        const std::lock_guard<std::mutex> lock(guard_);
        record(command);
    }
    std::uint32_t status = vokStoreLibSuccess;
    if (answer && answer(command, status)) return status;

    const std::lock_guard<std::mutex> lock(guard_);
    const auto failure = failures.find({command.commandType, command.command});
    if (failure != failures.end()) return failure->second;
    const std::uint32_t result = execute(command);
    const auto reported = counts.find({command.commandType, command.command});
    if (reported != counts.end()) {
        const CountField& field = countFields.at(reported->first);
        Block(command).number(field.offset, field.width, reported->second);
    }
    return result;
}

std::uint32_t FakeStoreLib::execute(_SL_LIB_CMD_PARAM_T& command) {
    if (command.commandType != 6) Block(command).noise();  // a pass-through has its request there
    if (command.commandType == 0) return ofLibrary(command);
    const FakeRaidController* const controller = find(command.controllerId);
    if (!controller) return vokStoreLibInvalidController;
    switch (command.commandType) {
        case 1:
            return ofController(command, *controller);
        case 2:
            return ofDisk(command, *controller);
        case 3:
            return ofVolume(command, *controller);
        case 6:
            return command.command == 0 ? scsiCommand(command, *controller)
                                        : firmwareCommand(command, *controller);
        default:
            Block(command).number(0, 4, newestSequence);
            return vokStoreLibSuccess;
    }
}

std::uint32_t FakeStoreLib::ofLibrary(_SL_LIB_CMD_PARAM_T& command) {
    if (command.command == 0 || command.command == 3)
        fillControllerList(Block(command), controllers, simulation);
    if (command.command == 1) {
        const auto* const input = static_cast<const std::uint8_t*>(command.input);
        registration_.assign(input, input + registrationSize);
        Block(command).number(260, 4, registrationId);
    }
    if (command.command == 2) {
        if (registration_.empty() || command.uniqueId != registrationId) return vokStoreLibFailed;
        registration_.clear();
    }
    return vokStoreLibSuccess;
}

const FakeRaidController* FakeStoreLib::find(std::uint32_t controllerId) const {
    return findIn(controllers, [&](const FakeRaidController& each) { return each.id == controllerId; });
}

int FakeStoreLib::count(FakeStoreLibCommand command) const {
    const std::lock_guard<std::mutex> lock(guard_);
    return static_cast<int>(
        std::count_if(commands_.begin(), commands_.end(), [&](const _SL_LIB_CMD_PARAM_T& each) {
            return FakeStoreLibCommand{each.commandType, each.command} == command;
        }));
}

int FakeStoreLib::calls() const {
    const std::lock_guard<std::mutex> lock(guard_);
    return static_cast<int>(commands_.size());
}

std::vector<_SL_LIB_CMD_PARAM_T> FakeStoreLib::commands() const {
    const std::lock_guard<std::mutex> lock(guard_);
    return commands_;
}

std::vector<std::string> FakeStoreLib::passedThrough() const {
    const std::lock_guard<std::mutex> lock(guard_);
    return passedThrough_;
}

std::vector<std::uint8_t> FakeStoreLib::registration() const {
    const std::lock_guard<std::mutex> lock(guard_);
    return registration_;
}

std::uint32_t FakeStoreLib::deliver(std::uint16_t status, std::uint32_t controllerId,
                                    const std::string& record) {
    const std::vector<std::uint8_t> input = registration();
    std::uint32_t (*callback)(_SL_EVENT_DETAIL_T*) = nullptr;
    if (!input.empty()) std::memcpy(&callback, &input[registrationCallback], sizeof(callback));
    if (!callback) {
        ADD_FAILURE() << "no callback is registered";
        return vokStoreLibFailed;
    }
    alignas(std::uint32_t) std::uint8_t event[268] = {};
    const Block block(event, sizeof(event));
    block.number(0, 2, status);
    block.number(4, 4, controllerId);
    block.text(12, 256, record, '\0');
    return callback(reinterpret_cast<_SL_EVENT_DETAIL_T*>(event));
}

std::string FakeStoreLib::eventRecord(std::uint32_t code, std::uint16_t locale, int eventClass,
                                      std::uint8_t argumentType, const std::string& arguments,
                                      const std::string& text) {
    std::string record(256, '\0');
    const Block block(record.data(), record.size());
    block.number(8, 4, code);
    block.number(12, 2, locale);
    block.number(15, 1, static_cast<unsigned char>(eventClass));
    block.number(16, 1, argumentType);
    block.text(32, 96, arguments, '\0');
    block.text(128, 128, text, '\0');
    return record;
}
