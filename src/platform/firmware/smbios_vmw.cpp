#include "platform/firmware/smbios_vmw.h"

#include <fcntl.h>
#include <syslog.h>
#include <unistd.h>
#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <mutex>

#include "platform/access/vokDevice.h"
#include "platform/access/vokHostAccess.h"
#include "platform/access/vokMallocPtr.h"
#include "platform/firmware/vokSmBiosTable.h"

namespace {

constexpr const char* deviceFile = "/vmfs/devices/char/mem/smbios";
constexpr std::size_t bufferSize = 65536;

using Buffer = vokMallocPtr<unsigned char>;

// Returns the unused rest of the buffer to the heap.
void shrinkToFit(Buffer& data, std::size_t length) {
    if (length == 0) return;
    if (void* const shrunk = std::realloc(data.get(), length)) {
        static_cast<void>(data.release());
        data.reset(static_cast<unsigned char*>(shrunk));
    }
}

std::mutex tableMutex;  // guards all below, and the table's bytes
bool initialised = false;
Buffer buffer;
vokSmBiosTable table;

template <typename Record>
void decodeInto(std::size_t at, void* records, std::size_t index) {
    Record& record = static_cast<Record*>(records)[index];
    record = {};
    table.decode(at, record);
}

struct RecordKind {
    unsigned char type;
    std::size_t size;
    void (*decodeInto)(std::size_t at, void* records, std::size_t index);
    const char* noMemory;
};

constexpr RecordKind recordKinds[] = {
    {smbiosSystemInfoType, sizeof(DmiSystemInfo), decodeInto<DmiSystemInfo>,
     "Malloc failed for SystemInfo table with SystemInfo : 0x0 "},
    {smbiosSystemSlotType, sizeof(DmiSystemSlot), decodeInto<DmiSystemSlot>,
     "Malloc failed for SystemSlots table with pSlotTbl : 0x0 "},
    {smbiosOnboardDeviceExType, sizeof(DmiOnboardDeviceEx), decodeInto<DmiOnboardDeviceEx>,
     "Malloc failed for Onboard Devices Extended Info table with pDevice : 0x0"},
};

}  // namespace

int SmBiosInit() {
    const std::lock_guard<std::mutex> lock(tableMutex);
    if (initialised) return 0;
    vokDevice device(deviceFile, O_RDONLY | O_SYNC);
    if (!device) return -1;
    Buffer data(static_cast<unsigned char*>(std::malloc(bufferSize)));
    const ssize_t count = data ? ::read(device.descriptor(), data.get(), bufferSize) : -1;
    const int reason = count < 0 ? errno : ENODATA;
    device.close();
    const std::size_t length = count < 0 ? 0 : static_cast<std::size_t>(count);
    shrinkToFit(data, length);
    if (!vokSmBiosTable::find(data.get(), length, table)) {
        errno = reason;
        return -1;
    }
    buffer = std::move(data);
    initialised = true;
    return 0;
}

void SmBiosDeinit() {
    const std::lock_guard<std::mutex> lock(tableMutex);
    buffer.reset();
    table = {};
    initialised = false;
}

int getSmbiosRecordsByType(unsigned char type, void** records, std::size_t* count) {
    *records = nullptr;
    if (count) *count = 0;
    const std::lock_guard<std::mutex> lock(tableMutex);
    if (!initialised) return -1;
    const std::size_t total = table.countOf(type);
    if (total == 0) return -1;
    const auto* const kind = std::find_if(std::begin(recordKinds), std::end(recordKinds),
                                          [type](const RecordKind& each) { return each.type == type; });
    if (kind == std::end(recordKinds)) return -1;
    void* const array = std::malloc(total * kind->size);
    if (!array) {
        vokHostAccess().systemLog(LOG_DAEMON | LOG_WARNING, kind->noMemory);
        return -1;
    }
    // Decoding makes strings printable in place, and those of a structure with a wrong length may overlap its
    // own head: the next one is located first, so that this walk visits the same structures as the counting
    // one.
    std::size_t decoded = 0;
    for (std::size_t at = 0, next = 0; decoded < total && table.hasStructure(at); at = next) {
        next = table.next(at);
        if (table.typeOf(at) == type) kind->decodeInto(at, array, decoded++);
    }
    *records = array;
    if (count) *count = decoded;
    return 0;
}
