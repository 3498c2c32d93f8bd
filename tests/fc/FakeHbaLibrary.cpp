#include "fc/FakeHbaLibrary.h"

#include <gtest/gtest.h>
#include <algorithm>
#include <cstring>
#include <utility>

#include "support/FakeHost.h"
#include "support/FakeLibraries.h"

namespace {

constexpr char libraryPath[] = "/usr/lib/vendor/libfakehba.so";

FakeHbaLibrary* installed = nullptr;

template <std::size_t size>
void write(char (&field)[size], const std::string& text) {
    std::memset(field, 0, size);
    std::memcpy(field, text.data(), std::min(text.size(), size));
}

void writeName(HBA_WWN& out, HBA_UINT8 first, HBA_UINT8 last) {
    out = {{first, 0, 0, 0, 0xC9, 0, 0, last}};
}

}  // namespace

FakeHbaLibrary::FakeHbaLibrary(FakeHost& host) {
    EXPECT_EQ(installed, nullptr);
    installed = this;
    host.root.writeFile("/etc/config/mev/vok/hba.conf", std::string("fake\t") + libraryPath + "\n");
    host.part<FakeLibraries>().symbols[host.path(libraryPath)] = {
        {HBA_RegisterLibrarySymbol, &FakeHbaLibrary::registerLibrary}};
}

FakeHbaLibrary::~FakeHbaLibrary() {
    installed = nullptr;
}

std::vector<std::string> FakeHbaLibrary::takeCalls() {
    return std::exchange(calls_, {});
}

HBA_STATUS FakeHbaLibrary::registerLibrary(HBA_ENTRYPOINTS* entryPoints) {
    *entryPoints = {};
    entryPoints->GetVersionHandler = []() -> HBA_UINT32 { return 1; };
    entryPoints->LoadLibraryHandler = []() -> HBA_STATUS {
        installed->begin("load");
        return HBA_STATUS_OK;
    };
    entryPoints->FreeLibraryHandler = []() -> HBA_STATUS { return HBA_STATUS_OK; };
    entryPoints->GetNumberOfAdaptersHandler = []() -> HBA_UINT32 {
        installed->begin("count", false);
        return static_cast<HBA_UINT32>(installed->adapters.size());
    };
    entryPoints->GetAdapterNameHandler = [](HBA_UINT32 index, char* out) {
        return installed->name(index, out);
    };
    entryPoints->OpenAdapterHandler = [](char* adapter) { return installed->open(adapter); };
    entryPoints->CloseAdapterHandler = [](HBA_HANDLE handle) {
        installed->begin("close " + std::to_string(handle));
    };
    entryPoints->GetAdapterAttributesHandler = [](HBA_HANDLE handle, HBA_ADAPTERATTRIBUTES* out) {
        return installed->attributes(handle, *out);
    };
    entryPoints->GetAdapterPortAttributesHandler = [](HBA_HANDLE handle, HBA_UINT32 port,
                                                      HBA_PORTATTRIBUTES* out) {
        return installed->portAttributes(handle, port, *out);
    };
    return HBA_STATUS_OK;
}

void FakeHbaLibrary::begin(const std::string& call, bool isRecorded) {
    ++allCalls_;
    if (isRecorded) calls_.push_back(call);
    if (onCall) onCall(call);
}

FakeHbaAdapter* FakeHbaLibrary::find(HBA_HANDLE handle) {
    const auto found = std::find_if(adapters.begin(), adapters.end(), [&](const FakeHbaAdapter& adapter) {
        return handle != 0 && adapter.handle == handle;
    });
    return found == adapters.end() ? nullptr : &*found;
}

HBA_STATUS FakeHbaLibrary::name(HBA_UINT32 index, char* out) {
    begin("name " + std::to_string(index), false);
    if (index >= adapters.size()) return HBA_STATUS_ERROR_ILLEGAL_INDEX;
    std::memcpy(out, adapters[index].name.c_str(), adapters[index].name.size() + 1);
    return HBA_STATUS_OK;
}

HBA_HANDLE FakeHbaLibrary::open(const char* adapter) {
    begin(std::string("open ") + adapter);
    for (const FakeHbaAdapter& each : adapters)
        if (each.name == adapter) return each.handle;
    return 0;
}

HBA_STATUS FakeHbaLibrary::attributes(HBA_HANDLE handle, HBA_ADAPTERATTRIBUTES& out) {
    begin("attributes " + std::to_string(handle));
    const FakeHbaAdapter* const adapter = find(handle);
    if (!adapter) return HBA_STATUS_ERROR_INVALID_HANDLE;
    if (adapter->status != HBA_STATUS_OK) return adapter->status;
    write(out.Model, adapter->model);
    write(out.SerialNumber, adapter->serialNumber);
    write(out.FirmwareVersion, adapter->firmwareVersion);
    write(out.OptionROMVersion, adapter->romVersion);
    writeName(out.NodeWWN, 0x20, adapter->number);
    out.NumberOfPorts = adapter->reportedPorts.value_or(static_cast<HBA_UINT32>(adapter->ports.size()));
    return HBA_STATUS_OK;
}

HBA_STATUS FakeHbaLibrary::portAttributes(HBA_HANDLE handle, HBA_UINT32 port, HBA_PORTATTRIBUTES& out) {
    begin("port " + std::to_string(handle) + " " + std::to_string(port));
    const FakeHbaAdapter* const adapter = find(handle);
    if (!adapter || port >= adapter->ports.size()) return HBA_STATUS_ERROR_ILLEGAL_INDEX;
    const FakeHbaPort& from = adapter->ports[port];
    // A port that can't be read leaves rubbish.
    writeName(out.PortWWN, from.status == HBA_STATUS_OK ? 0x10 : 0xFF, from.number);
    out.PortState = from.state;
    return from.status;
}
