// A firmware table of any content does no harm: not to the reader of its records, and not to the map of
// GeoIDs that is made of them. The input is what the device file holds.
#include <sys/mman.h>
#include <unistd.h>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <map>
#include <string>

#include "platform/firmware/vokSmBiosRecords.h"
#include "platform/utils/vokUtils.h"
#include "support/SmBiosTable.h"
#include "vokFuzzHost.h"

namespace {

void check(bool holds) {
    if (!holds) std::abort();
}

std::string deviceContents;

class TableHost : public vokFuzzHost {
public:
    int openDevice(const std::string&, int) override {
        const int device = ::memfd_create("smbios", MFD_CLOEXEC);
        const auto size = static_cast<ssize_t>(deviceContents.size());
        check(::write(device, deviceContents.data(), deviceContents.size()) == size &&
              ::lseek(device, 0, SEEK_SET) == 0);
        return device;
    }
    int closeDevice(int descriptor) override { return ::close(descriptor); }
};

template <std::size_t Size>
void checkText(const char (&text)[Size]) {
    const std::size_t length = ::strnlen(text, Size);
    check(length < Size);
    for (std::size_t i = 0; i < length; ++i) check(text[i] >= 0x20 && text[i] <= 0x7E);
}

void checkTexts(const DmiSystemSlot& slot) {
    checkText(slot.designation);
}
void checkTexts(const DmiOnboardDeviceEx& device) {
    checkText(device.designation);
}
void checkTexts(const DmiSystemInfo& system) {
    checkText(system.manufacturer);
    checkText(system.productName);
    checkText(system.version);
    checkText(system.serialNumber);
    checkText(system.uuid);
    checkText(system.skuNumber);
    checkText(system.family);
}

template <typename Record>
void readRecords() {
    vokSmBiosRecords<Record> records;
    check((records.fetch() == 0) == !records.empty());
    check(static_cast<std::size_t>(records.end() - records.begin()) <= deviceContents.size() / 4);
    for (const Record& record : records) {
        check(record.type == vokSmBiosTypeOf<Record>::value);
        checkTexts(record);
    }
}

// The agent runs on one platform for its life, here on the second; a few designations go the first's way too.
void searchDesignations() {
    constexpr std::ptrdiff_t few = 8;
    vokSmBiosRecords<DmiSystemSlot> slots;
    slots.fetch();
    for (const DmiSystemSlot& slot : slots) {
        if (&slot - slots.begin() == few) break;
        const std::string geoID = vokUtils::getGeoIDFromDesignation(slot.designation);
        check(geoID.empty() || (geoID.size() == 12 && std::strstr(slot.designation, geoID.c_str())));
    }
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    vokFuzzHost::install<TableHost>();
    deviceContents = SmBiosTable().addSystem("Maker", "7711PID03020102").contents();
    vokUtils::initializeSMBIOS();
    check(vokUtils::getPlatformFamily() == "7711PID03020102");
    SmBiosDeinit();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    deviceContents.assign(reinterpret_cast<const char*>(data), size);
    vokUtils::initializeSMBIOS();
    // Twice: making strings printable changes the table.
    for (int round = 0; round < 2; ++round) {
        readRecords<DmiSystemInfo>();
        readRecords<DmiSystemSlot>();
        readRecords<DmiOnboardDeviceEx>();
    }
    searchDesignations();
    vokUtils::initGeoIDMap();
    for (const auto& entry : vokUtils::getGeoIDMap()) {
        check(vokUtils::isPCIAddress(entry.first) && entry.second.size() < 128);
        const std::vector<std::string> elements = vokUtils::getGeoIDInfo(entry.first);
        check(elements.empty() || elements.size() == 3);
    }
    // A machine's table is read once; here the next must not find the entries of this one.
    const_cast<std::map<std::string, std::string>&>(vokUtils::getGeoIDMap()).clear();
    void* records = nullptr;
    check(getSmbiosRecordsByType(smbiosSystemSlotType, &records) == -1 && !records);
    return 0;
}
