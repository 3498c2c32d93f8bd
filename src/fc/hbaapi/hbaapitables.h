// The two tables of the common layer: the vendors' libraries and the adapters of all of them. They live as
// long as the process, and one thread uses them.
#pragma once

#include <array>
#include <cstdio>
#include <vector>

#include "fc/hbaapi/hbaapi.h"
#include "fc/hbaapi/hbaapilist.h"
#include "platform/access/vokLibrary.h"
#include "platform/access/vokLibraryCall.h"

inline constexpr HBA_UINT32 hbaMostLibraries = 32;
// Of one library: more than any host has, so that a library that reports nonsense is left at some point.
inline constexpr HBA_UINT32 hbaMostAdapters = 1024;

enum class HBALibraryStatus : HBA_UINT32 {
    empty = 0,
    loaded = 1,
    failed = 2,  // or released
};

struct HBALibrary {
    HBAListEntry listed;
    vokLibrary library;
    HBA_ENTRYPOINTS entryPoints{};
    HBALibraryStatus status = HBALibraryStatus::empty;
    HBA_HANDLE vendorHandle = 0;            // of the adapter that was opened last
    HBA_STATUS lastResult = HBA_STATUS_OK;  // of the library's latest function that returned one
};

struct HBAAdapter {
    char name[hbaNameLength] = {};
    bool isNamed = false;    // false if the library failed to give the name
    HBA_UINT32 library = 0;  // index in librarytable()
};

std::array<HBALibrary, hbaMostLibraries>& librarytable();
std::vector<HBAAdapter>& adaptertable();

// Calls a function of a vendor's library. `name` is that of the standard's function.
template <typename Result, typename... Parameters>
Result callVendor(const HBALibrary& library, const char* name, Result (*handler)(Parameters...),
                  Parameters... arguments) {
    char description[128];  // names the vendor in the report of a call that hangs
    std::snprintf(description, sizeof(description), "%s of %s", name, library.listed.name);
    const vokLibraryCall call(library.library.identity(), description);
    return handler(arguments...);
}
