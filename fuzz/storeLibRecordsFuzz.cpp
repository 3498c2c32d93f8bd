// The vendor's RAID library, with any bytes in each block and any status: nothing outside the blocks is read,
// no list is longer than its block, and each cached value is one that it may have. The first three bytes of
// an input choose the command that fails, if any, its status, and the kind of list that is left at its full
// length; each block is filled from the bytes that follow, over and over, beginning at a byte that depends on
// the command.
#include <algorithm>
#include <cstring>

#include "FuzzInput.h"
#include "megaraid/storelib/vokStoreLibInterface.h"
#include "vokFuzzHost.h"

namespace {

// The kind of list whose count is left as it is; the others are short, so that an input takes little time.
enum class FullList { none, controllers, disks, volumes };

std::string bytes;
FullList fullList = FullList::none;
int failing = 0;
std::uint32_t failure = 0;
int command = 0;
bool isOver = false;  // only the list of controllers can be read

void fill(void* data, std::size_t size, std::size_t first) {
    if (bytes.empty()) return;
    auto* block = static_cast<char*>(data);
    std::size_t from = first % bytes.size();
    while (size > 0) {
        const std::size_t length = std::min(size, bytes.size() - from);
        std::memcpy(block, bytes.data() + from, length);
        block += length;
        size -= length;
        from = 0;
    }
}

// Limits a count of `width` bytes to those of `mask`, unless lists of this kind are left as they are.
void shorten(FullList kind, unsigned char* count, std::size_t width, unsigned char mask) {
    if (kind == fullList) return;
    count[0] &= mask;
    std::memset(count + 1, 0, width - 1);
}

std::uint32_t processLibCommand(_SL_LIB_CMD_PARAM_T* block) {
    require(block && (block->dataSize == 0 || block->data));
    if (block->commandType == 0 && (block->command == 0 || isOver)) {
        // The first initialisation finds one controller, so that commands are sent.
        auto& controllers = *static_cast<vokControllerList*>(block->data);
        controllers = {};
        controllers.count = 1;
        return 0;
    }
    if (isOver) return vokStoreLibFailed;
    if (++command == failing) return failure;
    const std::size_t first = block->commandType * 7u + block->command;
    if (block->commandType == 6 && block->command == 3) {
        const auto& frame = *static_cast<const _MR_DCMD_FRAME*>(block->data);
        fill(frame.data, frame.transferLength, first);
        return 0;
    }
    fill(block->data, block->dataSize, first);
    auto* const list = static_cast<unsigned char*>(block->data);
    const unsigned char few = fullList == FullList::controllers ? 1 : 7;
    if (block->commandType == 0) shorten(FullList::controllers, list, 2, 1);
    if (block->commandType == 1 && block->command == 4) shorten(FullList::disks, list + 4, 4, few);
    if (block->commandType == 1 && block->command == 13) shorten(FullList::volumes, list, 4, few);
    return 0;
}

class Library : public vokFuzzHost {
public:
    void* openLibrary(const std::string&, int) override { return this; }
    std::string libraryFile(void*) override { return ""; }
    void* librarySymbol(void*, const char*) override { return reinterpret_cast<void*>(&processLibCommand); }
    int closeLibrary(void*) override { return 0; }
};

// Brings the caches to the same content after each input. An input that frees fewer blocks than it allocates
// makes libFuzzer look for leaks, which takes a hundred times as long as the input.
void resetCaches(vokStoreLibInterface& store) {
    bytes = std::string();
    isOver = true;
    for (int build = 0; build < 2; ++build) store.cacheBuild("All");  // the current and the previous one
    isOver = false;
}

bool isWithoutSpace(const std::string& text) {
    return text.find_first_of(std::string(" \t\n\v\f\r\0", 7)) == std::string::npos;
}

void checkDisk(const PD_INFO& disk) {
    require(disk.serialNumber.size() <= 60 && isWithoutSpace(disk.serialNumber));
    require(disk.modelName.size() <= 16 && isWithoutSpace(disk.modelName));
    require(disk.vendorName.size() <= 8 && isWithoutSpace(disk.vendorName));
    require(disk.firmwareRevision.size() <= 4);
    require(disk.slotNumber <= 255 && disk.enclosureDeviceId <= 65535 && disk.deviceId <= 65535);
    require(disk.health == 1 || disk.health == 3 || disk.health == 4);
    require(disk.mediaType == "HDD" || disk.mediaType == "SSD");
    require(disk.serialRetryCount >= 0 && disk.serialRetryCount <= 3);
    require(disk.vendorRetryCount >= 0 && disk.vendorRetryCount <= 3);
}

void checkVolume(const LD_INFO& volume) {
    require(volume.durableName.size() == 32);
    require(volume.durableName.find_first_not_of("0123456789abcdef") == std::string::npos);
    require((volume.capacityBytes & 0xFFFFF) == 0);
    require(volume.health >= 1 && volume.health <= 4);
    require(volume.raidLevel != "RAID50" && volume.raidLevel != "RAID60");
    require(volume.physicalDiskSerials.size() <= 256);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    auto* const store = vokStoreLibInterface::getInstance();
    static const bool isUsable = (vokFuzzHost::install<Library>(), store->vokStoreInit());
    require(isUsable);
    failing = size > 0 ? data[0] : 0;
    failure = size > 1 ? 0x8000u | data[1] : 0;
    fullList = size > 2 && data[2] < 4 ? static_cast<FullList>(data[2]) : FullList::none;
    bytes = size > 3 ? textOf(data + 3, size - 3) : std::string();
    command = 0;
    store->cacheBuild("All");

    require(store->controllerList().size() <= 64);
    const std::vector<CTRL_INFO> controllers = store->getControllerCollection();
    require(controllers.size() <= 64);
    for (const CTRL_INFO& each : controllers) {
        require(each.controllerId <= 0xFFFFFF);
        require(each.serialNumber.size() <= 30 && each.firmwareVersion.size() <= 864);
        require(each.protocols == "SAS/SATA" || each.protocols == "SAS/SATA/NVMe");
        require(each.pciLocation.size() <= 23);
        require(store->getControllerInventory(each.controllerId).controllerId == each.controllerId);
        const std::vector<PD_INFO> disks = store->getPDInventoryForCtrl(each.controllerId);
        const std::vector<LD_INFO> volumes = store->getLDInventoryForCtrl(each.controllerId);
        require(disks.size() <= 256 && volumes.size() <= 256);
        for (const PD_INFO& disk : disks) checkDisk(disk);
        for (const LD_INFO& volume : volumes) checkVolume(volume);
    }
    resetCaches(*store);
    return 0;
}
