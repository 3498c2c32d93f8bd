// The only door to the vendor's closed RAID library, libstorelib.so, which speaks to the controllers. It
// loads the library and keeps what it tells in three caches: controllers, physical disks and logical drives.
//
// A build replaces the current content under cache_lock. A reader who does not get that lock within six
// seconds takes the build before it, so nobody waits for a build longer than that.
//
// cache_lock is the last of the locks that a callback of the library needs, see
// core/inventory/vokCachedResourceManager.h.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "megaraid/storelib/vokStoreLibInventory.h"
#include "megaraid/storelib/vokStoreLibRecords.h"
#include "platform/access/vokLibrary.h"

// The raw list of controllers, as the library fills it.
struct vokControllerList {
    static constexpr std::size_t most = 64;

    std::uint16_t count;
    std::uint8_t simulation;  // 1 in simulation mode
    std::uint8_t reserved3;
    std::uint32_t controllers[most];  // the id in the low 24 bits, the library's family in the top byte
};
static_assert(sizeof(vokControllerList) == 260);
static_assert(offsetof(vokControllerList, controllers) == 4);

class vokStoreLibInterface {
public:
    using ProcessLibCommand = std::uint32_t (*)(_SL_LIB_CMD_PARAM_T*);

    // Lives as long as the process.
    static vokStoreLibInterface* getInstance();

    // --- the library ---

    // Loads and initialises the library. True if it is usable; at once, also without controllers, if a call
    // before has loaded it. After a failed open the library is not looked for again.
    bool vokStoreInit();
    // The library's status; 0 is success.
    std::uint32_t InitializeLibraryMR();
    std::uint32_t UnInitializeLibrary();
    void unloadDLL(int code);
    void unloadDLLs();
    void mergeControllerLists();
    // Sends a command. Returns the library's status, and vokStoreLibInitNotDone without a library.
    std::uint32_t ProcessLibCommandCall(_SL_LIB_CMD_PARAM_T* command);
    // The same by the entry point of the MegaRAID family, whatever was selected.
    static std::uint32_t callLibraryMR(_SL_LIB_CMD_PARAM_T* command);
    // The controllers as the library last listed them, at most vokControllerList::most.
    std::vector<std::uint32_t> controllerList() const;
    // Keeps the library loaded while callbacks of it may come.
    vokLibrary::Hold holdLibrary() const;

    // --- the caches; each returns a copy ---

    std::vector<CTRL_INFO> getControllerCollection();
    // The controller of this id; without one, an entry with vokNoControllerId.
    CTRL_INFO getControllerInventory(std::uint32_t controllerId);
    // The id of the controller at "0000:5e:00.0", or vokNoControllerId.
    std::uint32_t getControllerID(const std::string& pciLocation);
    // The disks or logical drives of a controller; empty if it is not known.
    std::vector<PD_INFO> getPDInventoryForCtrl(std::uint32_t controllerId);
    std::vector<LD_INFO> getLDInventoryForCtrl(std::uint32_t controllerId);

    // Builds the caches of a kind: "All" or "ALL_EVENT", "PD_EVENT", "LD_EVENT", "CTRL_EVENT". Other texts
    // build nothing.
    void cacheBuild(const std::string& kind);

    // --- the forms of what is read ---

    static std::string getFWStateString(std::uint32_t firmwareState);
    static std::uint32_t getHealth(std::uint32_t firmwareState);
    static std::string getLDStateString(std::uint32_t state);
    static std::uint32_t getLDHealth(std::uint32_t state);
    static std::string getRAIDLevelString(unsigned primary, unsigned qualifier, unsigned secondary,
                                          unsigned spanDepth);

private:
    vokStoreLibInterface() = default;
    ~vokStoreLibInterface() = default;
};
