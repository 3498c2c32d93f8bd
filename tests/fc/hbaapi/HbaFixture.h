// A host whose HBA libraries are played by the test: a table of plain functions for each of two vendors.
#pragma once

#include <gtest/gtest.h>
#include <cstring>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "fc/hbaapi/hbaapilib.h"
#include "fc/hbaapi/hbaapitables.h"
#include "support/FakeHost.h"
#include "support/FakeLibraries.h"
#include "support/LoggedLines.h"

// What a vendor's library is to answer, and what it was asked.
struct FakeVendor {
    HBA_STATUS registerResult = HBA_STATUS_OK;
    HBA_UINT32 version = 1;
    HBA_STATUS loadResult = HBA_STATUS_OK;
    HBA_STATUS freeResult = HBA_STATUS_OK;
    std::optional<HBA_UINT32> count;                          // by default the number of names
    std::vector<std::string> names;                           // with all their bytes; an index beyond is 6
    std::vector<std::pair<std::string, HBA_HANDLE>> handles;  // by name; others are not opened
    HBA_STATUS attributesResult = HBA_STATUS_OK;
    HBA_ENTRYPOINTS handlers{};  // what the library registers

    std::vector<std::string> calls;
    HBA_UINT32 nameCalls = 0;
    HBA_HANDLE attributesHandle = 0;  // of the last request
};

template <int number>
struct FakeVendorLibrary {
    static inline FakeVendor vendor;

    static HBA_STATUS registerLibrary(HBA_ENTRYPOINTS* table) {
        vendor.calls.emplace_back("register");
        *table = vendor.handlers;
        return vendor.registerResult;
    }
    static HBA_UINT32 getVersion() {
        vendor.calls.emplace_back("version");
        return vendor.version;
    }
    static HBA_STATUS loadLibrary() {
        vendor.calls.emplace_back("load");
        return vendor.loadResult;
    }
    static HBA_STATUS freeLibrary() {
        vendor.calls.emplace_back("free");
        return vendor.freeResult;
    }
    static HBA_UINT32 getNumberOfAdapters() {
        return vendor.count.value_or(static_cast<HBA_UINT32>(vendor.names.size()));
    }
    static HBA_STATUS getAdapterName(HBA_UINT32 index, char* name) {
        ++vendor.nameCalls;
        if (index >= vendor.names.size()) {
            std::strcpy(name, "left over");  // what a failed call leaves is undefined
            return HBA_STATUS_ERROR_ILLEGAL_INDEX;
        }
        std::memcpy(name, vendor.names[index].data(), vendor.names[index].size());
        return HBA_STATUS_OK;
    }
    static HBA_HANDLE openAdapter(char* name) {
        vendor.calls.push_back(std::string("open ") + name);
        for (const auto& [known, handle] : vendor.handles) {
            if (known != name) continue;
            name[0] = '?';  // the argument is not const
            return handle;
        }
        return 0;
    }
    static void closeAdapter(HBA_HANDLE handle) { vendor.calls.push_back("close " + std::to_string(handle)); }
    static HBA_STATUS getAdapterAttributes(HBA_HANDLE handle, HBA_ADAPTERATTRIBUTES*) {
        vendor.attributesHandle = handle;
        return vendor.attributesResult;
    }

    static FakeVendor& reset() {
        vendor = FakeVendor();
        vendor.handlers.GetVersionHandler = getVersion;
        vendor.handlers.LoadLibraryHandler = loadLibrary;
        vendor.handlers.FreeLibraryHandler = freeLibrary;
        vendor.handlers.GetNumberOfAdaptersHandler = getNumberOfAdapters;
        vendor.handlers.GetAdapterNameHandler = getAdapterName;
        vendor.handlers.OpenAdapterHandler = openAdapter;
        vendor.handlers.CloseAdapterHandler = closeAdapter;
        vendor.handlers.GetAdapterAttributesHandler = getAdapterAttributes;
        return vendor;
    }
};

class HbaTest : public testing::Test {
protected:
    static constexpr char firstPath[] = "/usr/lib/libfirst-hba.so";
    static constexpr char secondPath[] = "/usr/lib/libsecond-hba.so";

    HbaTest() {
        logEverything(host);
        provide(firstPath);
        libraries.symbols[host.path(secondPath)] = {
            {"HBA_RegisterLibrary", &FakeVendorLibrary<2>::registerLibrary}};
    }
    ~HbaTest() override { HBA_FreeLibrary(); }

    // The first vendor's library, also at this path of the host.
    void provide(const std::string& path) {
        provideAs(path.find('/') == std::string::npos ? path : host.path(path));
    }
    void provideAs(const std::string& loaderName) {
        libraries.symbols[loaderName] = {{"HBA_RegisterLibrary", &FakeVendorLibrary<1>::registerLibrary}};
    }
    void writeList(const std::string& text) { host.root.writeFile("/etc/config/mev/vok/hba.conf", text); }
    // Loads a list of this text.
    void load(const std::string& text) {
        writeList(text);
        EXPECT_EQ(HBA_LoadLibrary(), 0u);
    }
    void loadBoth() { load("first /usr/lib/libfirst-hba.so\nsecond /usr/lib/libsecond-hba.so\n"); }
    // The same followed by a count of the adapters.
    void listBoth() {
        loadBoth();
        HBA_GetNumberOfAdapters();
    }
    static HBA_HANDLE open(std::string name) { return HBA_OpenAdapter(name.data()); }

    static HBA_UINT32 status(std::size_t index) {
        return static_cast<HBA_UINT32>(librarytable()[index].status);
    }
    static std::string name(std::size_t index) { return librarytable()[index].listed.name; }
    static std::string path(std::size_t index) { return librarytable()[index].listed.path; }
    static std::string adapterName(HBA_UINT32 index) {
        char text[hbaNameLength];
        std::memset(text, '#', sizeof(text));
        return HBA_GetAdapterName(index, text) == 0 ? text : "none";
    }

    FakeHost host;
    FakeLibraries& libraries = host.part<FakeLibraries>();
    FakeVendor& first = FakeVendorLibrary<1>::reset();
    FakeVendor& second = FakeVendorLibrary<2>::reset();
};
