// Whatever the list of HBA libraries holds, no more than 32 are opened, each by a path of the characters that
// one may hold, and whatever a library answers, the adapters are as many as the count says, each with a name
// that ends in its field. The input is the list; its bytes are also the library's answers.
#include <array>
#include <cstring>
#include <fstream>
#include <string>

#include "FuzzAnswers.h"
#include "fc/hbaapi/hbaapilib.h"
#include "fc/hbaapi/hbaapitables.h"
#include "vokFuzzHost.h"

namespace {

FuzzAnswers answers;
int openLibraries = 0;

HBA_STATUS mostlyGood() {
    return answers.mostlyGood();
}

HBA_STATUS registerLibrary(HBA_ENTRYPOINTS* table) {
    *table = {};
    table->GetVersionHandler = [] { return HBA_UINT32{answers.next() % 8 != 7}; };
    if (answers.next() % 8 != 7) table->LoadLibraryHandler = mostlyGood;
    if (answers.next() % 2) table->FreeLibraryHandler = mostlyGood;
    if (answers.next() % 8 != 7)
        table->GetNumberOfAdaptersHandler = [] {
            const HBA_UINT32 count = answers.next();
            return count < 0xF0 ? count % 8 : count << 24;
        };
    table->GetAdapterNameHandler = [](HBA_UINT32, char* name) {
        const unsigned length = answers.next() % 2 ? answers.next() + 1 : 4;
        std::memset(name, static_cast<int>(answers.next()), length);
        return mostlyGood();
    };
    table->OpenAdapterHandler = [](char* name) {
        require(std::strlen(name) < hbaNameLength);
        return HBA_HANDLE{answers.next() << 24 | answers.next()};
    };
    if (answers.next() % 2)
        table->GetAdapterAttributesHandler = [](HBA_HANDLE, HBA_ADAPTERATTRIBUTES*) { return mostlyGood(); };
    return mostlyGood();
}

class HbaFuzzHost : public vokFuzzHost {
public:
    void* openLibrary(const std::string& name, int) override {
        const std::string last = name.substr(name.rfind('/') + 1);
        for (const char c : last)
            require((c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || c == '_' ||
                    c == '-' || c == '.');
        require(last.size() < hbaPathLength);
        if (answers.next() % 8 == 7) return nullptr;
        require(++openLibraries <= 32);
        return this;
    }
    std::string libraryFile(void*) override { return ""; }
    void* librarySymbol(void*, const char*) override {
        return answers.next() % 8 == 7 ? nullptr : reinterpret_cast<void*>(registerLibrary);
    }
    int closeLibrary(void*) override {
        require(--openLibraries >= 0);
        return 0;
    }
    std::string libraryError() override { return ""; }
};

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    vokFuzzHost::install<HbaFuzzHost>();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    answers = {textOf(data, size)};
    std::ofstream(vokHostAccess().path(hbaListFile), std::ios::binary) << answers.bytes;
    require(HBA_LoadLibrary() == HBA_STATUS_OK);
    for (const HBALibrary& library : librarytable()) {
        require(std::memchr(library.listed.name, '\0', sizeof(library.listed.name)) != nullptr);
        require(static_cast<bool>(library.library) == (library.status == HBALibraryStatus::loaded));
    }

    const HBA_UINT32 count = HBA_GetNumberOfAdapters();
    require(count <= hbaMostLibraries * hbaMostAdapters);
    std::array<char, hbaNameLength> name;
    for (HBA_UINT32 i = 0; i < count; ++i) {
        name.fill('#');
        require(HBA_GetAdapterName(i, name.data()) == HBA_STATUS_OK);
        require(std::memchr(name.data(), '\0', name.size()) != nullptr);
        if (i >= 64) continue;  // a search of the whole list for each would take too long
        const HBA_HANDLE handle = HBA_OpenAdapter(name.data());
        require(handle >> 16 < hbaMostLibraries);
        HBA_ADAPTERATTRIBUTES attributes;
        require(HBA_GetAdapterAttributes(handle, &attributes) <= HBA_STATUS_ERROR_NOT_SUPPORTED);
    }
    require(HBA_GetAdapterName(count, name.data()) == HBA_STATUS_ERROR_ILLEGAL_INDEX);
    HBA_FreeLibrary();
    require(openLibraries == 0);
    return 0;
}
