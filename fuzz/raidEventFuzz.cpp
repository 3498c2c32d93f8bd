// An event of the vendor's RAID library of any bytes: the callback returns its status, passes on what is to
// be handled and nothing else, and each field that it passes on is one that an event may have.
#include <algorithm>
#include <cstdint>
#include <cstring>
#include <initializer_list>
#include <string>

#include "FuzzInput.h"
#include "megaraid/storelib/vokSASLSIEvent.h"
#include "megaraid/storelib/vokStoreLibInterface.h"
#include "vokFuzzHost.h"

namespace {

constexpr std::uint32_t controllerId = 1;
constexpr std::uint16_t deviceId = 0x0B;

void put(void* block, std::size_t offset, std::uint32_t value, std::size_t width) {
    auto* const bytes = static_cast<unsigned char*>(block);
    for (std::size_t i = 0; i < width; ++i) bytes[offset + i] = static_cast<unsigned char>(value >> 8 * i);
}

// A library with one controller, which has one disk.
std::uint32_t processLibCommand(_SL_LIB_CMD_PARAM_T* command) {
    if (command->data) std::memset(command->data, 0, command->dataSize);
    const int number = command->commandType << 8 | command->command;
    if (number == 0x0000 || number == 0x0003) {
        put(command->data, 0, 1, 2);
        put(command->data, 4, controllerId, 4);
    }
    if (number == 0x0100) put(command->data, 0, 0x005D1000, 4);  // a chip that is known
    if (number == 0x0104) {
        put(command->data, 4, 1, 4);
        put(command->data, 8, deviceId, 2);
    }
    if (number == 0x0200) std::memcpy(static_cast<char*>(command->data) + 40, "DISK11", 6);
    return 0;
}

class Host : public vokFuzzHost {
public:
    void* openLibrary(const std::string&, int) override { return &library_; }
    std::string libraryFile(void*) override { return ""; }
    void* librarySymbol(void*, const char*) override { return reinterpret_cast<void*>(&processLibCommand); }
    int closeLibrary(void*) override { return 0; }
    std::string libraryError() override { return ""; }

private:
    int library_ = 0;
};

int passedOn = 0;
VOK_SAS_EVENT_DETAIL passed;

void take(VOK_SAS_EVENT_DETAIL* detail) {
    ++passedOn;
    passed = *detail;
}

// Registers with the caches built.
bool begin() {
    vokFuzzHost::install<Host>();
    const bool registered = vokSASLSIEvent::getInstance()->RegisterForAEN(&take);
    vokStoreLibInterface::getInstance()->cacheBuild("All");
    return registered;
}

bool isOneOf(const std::string& text, std::initializer_list<const char*> texts) {
    return std::find(texts.begin(), texts.end(), text) != texts.end();
}

void checkPassed(const _SL_EVENT_DETAIL_T& event, const vokRecordReader& reader) {
    require(reader.number({0, 2}) == 0);
    require(passed.controllerId == reader.number({4, 4}));
    require(std::equal(passed.eventDetail.begin(), passed.eventDetail.end(), event.bytes.begin() + 12));
    require(passed.eventCode == reader.number({20, 4}));
    require(isOneOf(passed.eventLocale, {"LD_EVENT", "PD_EVENT", "CTRL_EVENT", "BBU_EVENT"}));
    require(passed.eventClass <= 7);
    require(passed.description == std::string(reader.text({140, 128})));

    const bool isDisk = passed.eventLocale == "PD_EVENT";
    const bool isVolume = passed.eventLocale == "LD_EVENT";
    require(passed.enclosure >= -1 && passed.enclosure <= 0xFFFF);
    require(passed.slot >= -1 && passed.slot <= 0xFF);
    require(isDisk || (passed.enclosure == -1 && passed.slot == -1));
    require((passed.enclosure == -1) == (passed.slot == -1));
    require(passed.targetId >= -1 && passed.targetId <= 0xFFFF);
    require(isVolume || passed.targetId == -1);
    require(isDisk || isVolume || passed.extraValue == 0);
    require(isOneOf(passed.controllerSerial, {"", "NotAvailable"}));
    require((passed.controllerSerial == "NotAvailable") == (passed.controllerId != controllerId));
    require(isOneOf(passed.driveSerial, {"DISK11", "NotAvailable"}));
    require(passed.driveSerial == "NotAvailable" || (isDisk && passed.controllerId == controllerId));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const bool isRegistered = begin();
    require(isRegistered);

    _SL_EVENT_DETAIL_T event{};
    std::copy_n(data, std::min(size, event.bytes.size()), event.bytes.begin());
    const vokRecordReader reader(event.bytes);
    passedOn = 0;
    require(vokSASLSIEvent::AENCallBack(&event) == reader.number({0, 2}));
    require(passedOn <= 1);
    // An event of one of these locales is always passed on.
    const std::uint64_t locale = reader.number({24, 2});
    if (reader.number({0, 2}) == 0 && (locale == 1 || locale == 2 || locale == 8 || locale == 0x20))
        require(passedOn == 1);
    if (passedOn == 1) checkPassed(event, reader);
    return 0;
}
