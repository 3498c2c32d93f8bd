// Whatever a vendor's HBA library says about its adapters and their ports, a build ends, reads no more than
// 64 ports of an adapter, closes what it has opened, and gives an inventory of texts that end within their
// fields. The bytes of the input are the library's answers, in the order of its calls.
#include <algorithm>
#include <cstring>
#include <fstream>
#include <string>
#include <vector>

#include "FuzzAnswers.h"
#include "core/base/vokJsonText.h"
#include "fc/FCResourceManager.h"
#include "fc/hbaapi/hbaapilist.h"
#include "vokFuzzHost.h"

namespace {

constexpr HBA_UINT32 mostPorts = 64;

FuzzAnswers answers;

// Of one build.
struct Seen {
    HBA_UINT32 adapters = 0;
    HBA_UINT32 read = 0;        // adapters whose attributes were returned
    HBA_UINT32 portsOfOne = 0;  // read since then
    std::vector<HBA_HANDLE> open;
};
Seen seen;

HBA_HANDLE openAdapter(char* name) {
    require(std::strlen(name) < hbaNameLength);
    const HBA_HANDLE handle = answers.next() << 8 | answers.next();
    if (handle & 0xFF) seen.open.push_back(handle);
    return handle;
}

void closeAdapter(HBA_HANDLE handle) {
    require(!seen.open.empty() && seen.open.back() == handle);
    seen.open.pop_back();
}

HBA_STATUS attributesOf(HBA_HANDLE, HBA_ADAPTERATTRIBUTES* out) {
    seen.portsOfOne = 0;
    if (answers.mostlyGood() != HBA_STATUS_OK) return HBA_STATUS_ERROR;
    answers.fill(out, sizeof(*out));
    const unsigned ports = answers.next();
    if (ports < 0xF0) out->NumberOfPorts = ports % 4;
    ++seen.read;
    return HBA_STATUS_OK;
}

HBA_STATUS portAttributesOf(HBA_HANDLE, HBA_UINT32 port, HBA_PORTATTRIBUTES* out) {
    require(port < mostPorts && ++seen.portsOfOne <= mostPorts);
    answers.fill(out, sizeof(*out));
    const unsigned state = answers.next();
    if (state < 0xF0) out->PortState = state % 10;
    return answers.mostlyGood();
}

HBA_STATUS registerLibrary(HBA_ENTRYPOINTS* table) {
    *table = {};
    table->GetVersionHandler = [] { return HBA_UINT32{1}; };
    table->LoadLibraryHandler = [] { return HBA_STATUS_OK; };
    table->GetNumberOfAdaptersHandler = [] { return seen.adapters = answers.next() % 4; };
    table->GetAdapterNameHandler = [](HBA_UINT32 index, char* name) {
        const unsigned length = answers.next() + 1;
        std::memset(name, static_cast<int>('a' + index), length);
        return answers.mostlyGood();
    };
    table->OpenAdapterHandler = openAdapter;
    table->CloseAdapterHandler = closeAdapter;
    table->GetAdapterAttributesHandler = attributesOf;
    table->GetAdapterPortAttributesHandler = portAttributesOf;
    return HBA_STATUS_OK;
}

class FcFuzzHost : public vokFuzzHost {
public:
    void* openLibrary(const std::string&, int) override { return this; }
    std::string libraryFile(void*) override { return ""; }
    void* librarySymbol(void*, const char*) override { return reinterpret_cast<void*>(registerLibrary); }
    int closeLibrary(void*) override { return 0; }
};

void requireName(const std::string& name) {
    require(name == "Not Available" ||
            (name.size() == 23 && name.find_first_not_of("0123456789abcdef:") == std::string::npos));
}

void requireElement(const Json::Value& element) {
    require(element["Model"].asString().size() <= sizeof(HBA_ADAPTERATTRIBUTES::Model));
    require(element["SerialNumber"].asString().size() <= sizeof(HBA_ADAPTERATTRIBUTES::SerialNumber));
    require(element["FirmwareVersion"].asString().size() <= sizeof(HBA_ADAPTERATTRIBUTES::FirmwareVersion));
    require(element["RomVersion"].asString().size() <= sizeof(HBA_ADAPTERATTRIBUTES::OptionROMVersion));
    requireName(element["WWNN"].asString());
    requireName(element["WWPN"].asString());
    const std::string state = element["Status"]["State"].asString();
    const std::string health = element["Status"]["Health"].asString();
    require((health == "OK") == (state == "Online"));
    require((health == "Unknown") == (state == "Unknown"));
    require((health == "Critical") == (state == "Linkdown" || state == "Error"));
    const std::string text = vokJsonText(element);
    require(std::all_of(text.begin(), text.end(), [](unsigned char c) { return c >= 0x20 && c < 0x80; }));
}

void build() {
    seen = {};
    FCResourceManager& manager = *FCResourceManager::getInstance();
    manager.cacheBuild();
    require(seen.open.empty());
    std::vector<Json::Value> inventory;
    require(!manager.getInventoryJsonObject(inventory));
    require(inventory.size() == seen.read && seen.read <= seen.adapters);
    for (const Json::Value& element : inventory) requireElement(element);
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    vokFuzzHost::install<FcFuzzHost>();
    std::ofstream(vokHostAccess().path(hbaListFile)) << "vendor\tlibvendor.so\n";
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    answers = {textOf(data, size)};
    build();
    build();  // against the one before, with the answers that are left
    return 0;
}
