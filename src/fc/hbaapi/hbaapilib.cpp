#include "fc/hbaapi/hbaapilib.h"

#include <dlfcn.h>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>

#include "core/base/vokLog.h"
#include "fc/hbaapi/hbaapilist.h"
#include "fc/hbaapi/hbaapitables.h"
#include "platform/access/vokHostAccess.h"

namespace {

constexpr char tag[] = "HBA_API";
constexpr HBA_UINT32 libraryShift = 16;
constexpr HBA_UINT32 vendorMask = 0xFFFF;

// The loader's name for a library of the list: a bare name stays as it is.
std::string loaderName(const std::string& path) {
    return path.find('/') == std::string::npos ? path : vokHostAccess().path(path);
}

std::string withStatus(const char* what, HBA_STATUS status) {
    return std::string(what) + " returned " + std::to_string(status);
}

// Opens the library of an entry and has it fill in its handlers. Returns why it can't be used; empty if it
// can.
std::string start(HBALibrary& entry) {
    if (!entry.library.open(loaderName(entry.listed.path), RTLD_LAZY))
        return entry.library.reason().empty() ? "it can't be opened" : entry.library.reason();
    const auto registerLibrary =
        reinterpret_cast<HBA_REGISTERLIBRARY>(entry.library.find(HBA_RegisterLibrarySymbol));
    if (!registerLibrary) return std::string("it has no ") + HBA_RegisterLibrarySymbol;

    const HBA_STATUS registered =
        callVendor(entry, HBA_RegisterLibrarySymbol, registerLibrary, &entry.entryPoints);
    if (registered != HBA_STATUS_OK) return withStatus(HBA_RegisterLibrarySymbol, registered);
    const HBA_ENTRYPOINTS& handlers = entry.entryPoints;
    if (!handlers.GetVersionHandler) return "it has no GetVersionHandler";
    if (callVendor(entry, "HBA_GetVersion", handlers.GetVersionHandler) == 0) return "its version is 0";
    if (!handlers.LoadLibraryHandler) return "it has no LoadLibraryHandler";
    const HBA_STATUS loaded = callVendor(entry, "HBA_LoadLibrary", handlers.LoadLibraryHandler);
    return loaded == HBA_STATUS_OK ? "" : withStatus("LoadLibraryHandler", loaded);
}

// Closes the library of an entry. Its handlers are forgotten, since their code is gone.
void release(HBALibrary& entry) {
    entry.library.close();
    entry.entryPoints = {};
    entry.status = HBALibraryStatus::failed;
    entry.vendorHandle = 0;
}

void load(HBALibrary& entry) {
    const std::string reason = start(entry);
    if (reason.empty()) {
        entry.status = HBALibraryStatus::loaded;
        entry.vendorHandle = 0;
        return;
    }
    VOK_LOG_WARNING(tag, "The HBA library %s (%s) is not used: %s.", entry.listed.name, entry.listed.path,
                    reason.c_str());
    release(entry);
}

// Appends the adapter of a library, without a name if the library does not tell it. Returns whether it does.
bool appendAdapter(HBA_UINT32 libraryIndex, HBA_UINT32 adapterIndex) {
    char name[2 * hbaNameLength] = {};  // more than the standard's room: not every library keeps to that
    const HBALibrary& entry = librarytable()[libraryIndex];
    const HBA_STATUS status = callVendor(entry, "HBA_GetAdapterName", entry.entryPoints.GetAdapterNameHandler,
                                         adapterIndex, static_cast<char*>(name));
    HBAAdapter adapter;
    adapter.library = libraryIndex;
    adapter.isNamed = status == HBA_STATUS_OK;
    if (adapter.isNamed) std::memcpy(adapter.name, name, hbaNameLength - 1);
    adaptertable().push_back(adapter);
    return adapter.name[0] != '\0';
}

void appendAdapters(HBA_UINT32 libraryIndex) {
    const HBALibrary& entry = librarytable()[libraryIndex];
    HBA_UINT32 count =
        callVendor(entry, "HBA_GetNumberOfAdapters", entry.entryPoints.GetNumberOfAdaptersHandler);
    if (count > hbaMostAdapters) {
        VOK_LOG_WARNING(tag, "The HBA library %s reports %u adapters; only the first %u are listed.",
                        entry.listed.name, count, hbaMostAdapters);
        count = hbaMostAdapters;
    }
    HBA_UINT32 unnamed = 0;
    for (HBA_UINT32 i = 0; i < count; ++i)
        if (!appendAdapter(libraryIndex, i)) ++unnamed;
    if (unnamed > 0)
        VOK_LOG_WARNING(tag, "The HBA library %s gives no name for %u of its %u adapters.", entry.listed.name,
                        unnamed, count);
}

// The listed adapter of this name, or null. One whose name could not be read is not found.
const HBAAdapter* findAdapter(const char* name) {
    for (const HBAAdapter& adapter : adaptertable())
        if (adapter.isNamed && std::strcmp(adapter.name, name) == 0) return &adapter;
    return nullptr;
}

}  // namespace

// --- libraries ---

HBA_STATUS HBA_LoadLibrary() {
    // A second load must not leave a library open twice, nor an entry of a longer list.
    HBA_FreeLibrary();
    adaptertable().clear();
    for (HBALibrary& entry : librarytable()) entry = {};

    HBALibraryList list;
    if (!list.open()) {
        const int error = errno;
        if (error == ENOENT)  // as on each host without Fibre Channel
            VOK_LOG_DEBUG(tag, "There is no list of HBA libraries %s.", hbaListFile);
        else
            VOK_LOG_WARNING(tag, "The list of HBA libraries %s can't be opened: %s.", hbaListFile,
                            std::strerror(error));
        return HBA_STATUS_ERROR;
    }
    HBA_UINT32 count = 0;
    for (HBAListEntry listed; list.next(listed);) {
        if (count == librarytable().size()) {
            VOK_LOG_WARNING(tag, "%s names more than %u libraries; the further ones are not loaded.",
                            hbaListFile, hbaMostLibraries);
            break;
        }
        HBALibrary& entry = librarytable()[count++];
        entry.listed = listed;
        load(entry);
    }
    return HBA_STATUS_OK;
}

HBA_STATUS HBA_FreeLibrary() {
    HBA_STATUS status = HBA_STATUS_OK;
    for (HBALibrary& entry : librarytable()) {
        if (entry.status != HBALibraryStatus::loaded) continue;
        if (entry.entryPoints.FreeLibraryHandler)
            status = callVendor(entry, "HBA_FreeLibrary", entry.entryPoints.FreeLibraryHandler);
        release(entry);
    }
    return status;
}

HBA_UINT32 HBA_GetVersion() {
    return 1;
}

HBA_STATUS HBA_CheckLibrary(HBA_HANDLE handle, HBA_UINT32& libraryIndex, HBA_HANDLE& vendorHandle) {
    libraryIndex = handle >> libraryShift;
    if (libraryIndex >= librarytable().size()) return HBA_STATUS_ERROR_INVALID_HANDLE;
    const HBALibrary& entry = librarytable()[libraryIndex];
    if (entry.status != HBALibraryStatus::loaded) return HBA_STATUS_ERROR;
    vendorHandle = entry.vendorHandle;
    return HBA_STATUS_OK;
}

// --- adapters ---

HBA_UINT32 HBA_GetNumberOfAdapters() {
    adaptertable().clear();
    for (HBA_UINT32 i = 0; i < librarytable().size(); ++i) {
        const HBALibrary& entry = librarytable()[i];
        if (entry.status == HBALibraryStatus::loaded && entry.entryPoints.GetNumberOfAdaptersHandler &&
            entry.entryPoints.GetAdapterNameHandler)
            appendAdapters(i);
    }
    return static_cast<HBA_UINT32>(adaptertable().size());
}

HBA_STATUS HBA_GetAdapterName(HBA_UINT32 index, char* name) {
    if (index >= adaptertable().size()) return HBA_STATUS_ERROR_ILLEGAL_INDEX;
    std::memcpy(name, adaptertable()[index].name, hbaNameLength);
    return HBA_STATUS_OK;
}

HBA_STATUS HBA_GetLibraryPath(HBA_UINT32 index, char* path, HBA_HANDLE* vendorHandle) {
    if (index >= adaptertable().size()) return HBA_STATUS_ERROR_ILLEGAL_INDEX;
    const HBALibrary& entry = librarytable()[adaptertable()[index].library];
    std::memcpy(path, entry.listed.path, hbaPathLength);
    *vendorHandle = entry.vendorHandle;
    return HBA_STATUS_OK;
}

HBA_HANDLE HBA_OpenAdapter(char* name) {
    const HBAAdapter* const adapter = findAdapter(name);
    if (!adapter) return 0;
    HBALibrary& entry = librarytable()[adapter->library];
    // A freed library, whose adapters are still listed, has no handlers.
    if (!entry.entryPoints.OpenAdapterHandler) return 0;
    char given[hbaNameLength];  // a library may write to what it is given
    std::memcpy(given, adapter->name, sizeof(given));
    entry.vendorHandle =
        callVendor(entry, "HBA_OpenAdapter", entry.entryPoints.OpenAdapterHandler, static_cast<char*>(given));
    return adapter->library << libraryShift | (entry.vendorHandle & vendorMask);
}
