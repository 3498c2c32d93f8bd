// The only door to the vendor's closed RAID library, libstorelib.so, which speaks to the controllers. It
// loads the library and keeps what it reports in three caches: controllers, physical disks and logical
// drives.
//
// A build replaces the current content under cache_lock. A reader who does not get that lock within six
// seconds takes the build before it, so nobody waits for a build longer than that.
//
// cache_lock is the last of the locks that a callback of the library needs, see
// core/inventory/vokCachedResourceManager.h. After it come only locks that are held for a moment, without a
// call of anything else: libraryLock and those of the builds.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "megaraid/storelib/vokStoreLibBuilds.h"
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
static_assert(vokControllerListFields::controllers.most == vokControllerList::most);

// A RAID level of the library and its text.
struct vokRaidType {
    unsigned level;
    const char* text;

    constexpr unsigned key() const { return level; }
};

class vokStoreLibInterface {
public:
    using ProcessLibCommand = std::uint32_t (*)(_SL_LIB_CMD_PARAM_T*);
    using DiskRecord = vokStoreLibBlock<vokDiskRecordCommand>;
    using VolumeRecord = vokStoreLibBlock<vokVolumeRecordCommand>;

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

    // --- commands to the controller that the build in progress is at ---

    // INQUIRY with EVPD (SPC-5 6.7). `length` is the room in `buffer`, and on success the bytes that came;
    // 0 after another SCSI status. Returns 0, the library's status, the SCSI status, or -1 without memory.
    int fireSCSIVPDInquiry(std::uint16_t deviceId, std::uint8_t page, std::uint8_t* buffer,
                           std::size_t& length);
    // READ LOG EXT (ACS-4 7.24) by ATA PASS-THROUGH (16). False on failure; `length` as above, but unchanged
    // if the command fails.
    bool FireATAReadLogExt(std::uint16_t deviceId, std::uint8_t page, std::uint8_t* buffer,
                           std::size_t* length);
    // The block size of the first disk of a logical drive in bytes, 512 by default. Deliberately the
    // library's status if the disks can't be listed.
    std::uint32_t GetUserDataBlockSizeOfPdInLD(std::uint8_t target);

    // --- the forms of what is read ---

    // The rows for spanned RAID 5 and 6 are never used, see getRAIDLevelString().
    static const vokRaidType BASIC_RAID_TYPES[7];
    static const vokRaidType HYBRID_RAID_TYPES[5];

    static std::string getFWStateString(std::uint32_t firmwareState);
    static std::uint32_t getHealth(std::uint32_t firmwareState);
    static std::string getLDStateString(std::uint32_t state);
    static std::uint32_t getLDHealth(std::uint32_t state);
    // Deliberately empty for spanned RAID 5 and 6. `qualifier` is not used.
    static std::string getRAIDLevelString(unsigned primary, unsigned qualifier, unsigned secondary,
                                          unsigned spanDepth);

private:
    using SerialNumbers = std::map<std::uint32_t, std::string>;  // by device id
    static constexpr std::uint32_t noController = 0xFFFFFFFF;

    vokStoreLibInterface() = default;
    ~vokStoreLibInterface() = default;

    // --- the library ---
    bool openLibrary();
    bool findEntryPoint();
    // False if the library refuses the end.
    bool closeLibrary();
    static void setControllerList(const std::vector<std::uint32_t>& controllers);
    static std::uint32_t call(ProcessLibCommand function, _SL_LIB_CMD_PARAM_T* command);

    // --- commands ---
    // The entry of the list that commands act on, if there is one.
    std::optional<std::uint32_t> currentEntry() const;
    // Fills in the current controller.
    std::uint32_t sendToController(_SL_LIB_CMD_PARAM_T block);
    std::uint32_t sendToFirmware(std::uint32_t operation, void* data, std::uint32_t length);
    std::uint32_t PDInfo(std::uint16_t deviceId, DiskRecord& record);
    std::uint32_t FireLDInfo(std::uint8_t target, VolumeRecord& record);
    // The device ids of the disks of a logical drive. Returns the library's status.
    std::uint32_t listDisks(std::uint8_t target, std::vector<std::uint16_t>& deviceIds);

    // --- builds, with cache_lock held ---
    void buildControllerInfo();
    void getCtrlList();
    // False if the controller is to be skipped.
    bool readController(CTRL_INFO& info);
    std::string getControllerSerialNo();
    std::string getCtrlPCILoc();
    void buildPDInfo();
    std::vector<PD_INFO> readDisks(std::uint32_t controllerId);
    static PD_INFO diskOf(const DiskRecord& record);
    // `retries` is the retry counter of the same disk in the previous build, 0 without one.
    void populateDiskSerialNumber(const DiskRecord& record, std::int32_t retries, PD_INFO& disk);
    void setDriveVendorName(const DiskRecord& record, std::int32_t retries, PD_INFO& disk);
    void readVendorSignature(PD_INFO& disk);
    void buildLDInfo();
    bool readVolumes(std::uint32_t controllerId, std::vector<LD_INFO>& volumes);
    LD_INFO volumeOf(const VolumeRecord& record, const SerialNumbers& serialNumbers);
    std::vector<std::string> getPDInLD(std::uint8_t target, const SerialNumbers& serialNumbers);

    // --- the caches ---
    // Owns cache_lock, or nothing after three tries.
    std::unique_lock<std::mutex> takeLock();
    // The current list; the one of the previous build if a build does not end in time.
    template <typename Builds, typename... Key>
    auto read(const Builds& builds, Key... key);

    static std::atomic<ProcessLibCommand> pfnProcessLibCommandMR;
    static std::atomic<ProcessLibCommand> pfnProcessLibCommand;  // the one last selected
    static std::atomic<bool> libMRPresent;
    static std::atomic<bool> initializeMRsuccessful;
    static std::atomic<bool> doNotRetryLibLoad;
    static std::mutex loadingLock;  // of the loading and unloading; taken before libraryLock
    static std::mutex libraryLock;  // of dllInstanceMR, gCtrlList and gTotalControllers
    static vokLibrary& dllInstanceMR;
    static vokControllerList gCtrlListMR;  // as initialised
    static vokControllerList gCtrlList;    // the newest; its count fits
    static std::uint32_t gTotalControllers;
    static std::mutex cache_lock;

    // The index into gCtrlList that the commands of a build act on; -1 once the library is unloaded.
    std::atomic<std::uint32_t> currentController{0};
    std::map<std::uint32_t, std::uint32_t> controllerIds_;  // by index; used in builds only

    vokBuilds<CTRL_INFO> controllers_;
    vokBuildsByController<PD_INFO> disks_;
    vokBuildsByController<LD_INFO> volumes_;
};
