#include "megaraid/storelib/vokSASLSIEvent.h"

#include <cxxabi.h>
#include <algorithm>
#include <exception>
#include <iterator>
#include <string>
#include <utility>
#include <vector>

#include "core/base/vokDecisionTable.h"
#include "core/base/vokLog.h"
#include "megaraid/storelib/vokSASLSIEventRecord.h"
#include "megaraid/storelib/vokStoreLibInterface.h"
#include "platform/access/vokHostAccess.h"
#include "platform/access/vokLongOperation.h"

namespace {

constexpr char tag[] = "LSI_EVENT_INTERF";

// --- the registration ---

struct FailureRow {
    std::uint32_t status;
    const char* text;

    constexpr std::uint32_t key() const { return status; }
};
constexpr FailureRow failures[] = {
    {vokStoreLibInitNotDone, "Init not done"},
    {vokStoreLibWmiInitFailed, "WMI Init failed"},
    {vokStoreLibWmiRegistrationFailed, "WMI Registration failed"},
    {vokStoreLibComInitFailed, "COM Init failed"},
    {vokStoreLibInvalidEventMask, "Invalid Event Mask"},
    {vokStoreLibCommandTimeout, "Command Timeout"},
    {vokStoreLibInvalidController, "Invalid controller"},
    {vokStoreLibMemoryAllocationFailed, "Memory Allocation failed"},
};
static_assert(vokKeysAscend(failures));

constexpr std::uint16_t allLocales = 0xFFFF;
constexpr std::uint8_t classInformation = 0;

constexpr int endAttempts = 3;
constexpr unsigned long betweenAttempts = 100000;  // microseconds

std::uint32_t idOf(const _SL_REG_AEN_OUTPUT_T& output) {
    return static_cast<std::uint32_t>(vokRecordReader(output).number(vokRegistrationId));
}

// Selects the controllers that report the newest sequence number of their events.
void selectControllers(vokSASLSIEvent& events, const std::vector<std::uint32_t>& controllers,
                       _SL_REG_AEN_INPUT_T& input) {
    static_assert(vokControllerList::most <= std::size(decltype(input.controllers){}));
    for (const std::uint32_t id : controllers) {
        // Written again for the next controller unless it is counted.
        _SL_REG_AEN_INPUT_T::Controller& entry = input.controllers[input.count];
        entry.controllerId = id;
        entry.locale = allLocales;
        entry.eventClass = classInformation;
        _MR_EVT_LOG_INFO info{};
        const std::uint32_t status = events.IssueEventSequenceInfo(&info, id);
        if (status != vokStoreLibSuccess) {
            VOK_LOG_WARNING(tag,
                            "Failed to determine event sequence info."
                            "                             "
                            "Skipping AEN registration for this controller. (ID: [%u]; rval = [0x%x])",
                            id, status);
            continue;
        }
        entry.sequence = info.newest;
        ++input.count;
    }
}

// --- the events ---

std::string serialOfController(std::uint32_t controllerId) {
    const CTRL_INFO controller = vokStoreLibInterface::getInstance()->getControllerInventory(controllerId);
    return controller.controllerId == vokNoControllerId ? vokNotAvailable : controller.serialNumber;
}

void lookUpDisk(const vokEventDisk& named, VOK_SAS_EVENT_DETAIL& detail) {
    constexpr std::uint32_t stateChanged = 0x72;
    constexpr std::uint32_t inserted = 0x5B;

    std::vector<PD_INFO> disks =
        vokStoreLibInterface::getInstance()->getPDInventoryForCtrl(detail.controllerId);
    const auto disk = std::find_if(disks.begin(), disks.end(), [&](const PD_INFO& each) {
        return each.deviceId == static_cast<std::uint32_t>(named.deviceId);
    });
    if (disk == disks.end()) return;
    detail.driveSerial = disk->serialNumber;
    if (detail.eventCode == stateChanged || detail.eventCode == inserted) {
        VOK_LOG_DEBUG(tag, "Resetting retry/failure counters on PD inserted/state-change event @ [%d:%d].",
                      detail.enclosure, detail.slot);
        // This is a copy: the counter in the cache stays as it is.
        disk->serialRetryCount = 0;
    }
}

void fillDisk(const vokSASLSIEventRecord& record, VOK_SAS_EVENT_DETAIL& detail) {
    const std::optional<vokEventDisk> named = record.disk();
    if (!named)
        VOK_LOG_INFO(tag, "Ignoring LSI MegaRAID PD-locale event argument type: [%d]; Event code: [0x%x]",
                     record.argumentType(), detail.eventCode);
    const vokEventDisk disk = named.value_or(vokEventDisk());
    detail.enclosure = disk.enclosure;
    detail.slot = disk.slot;
    detail.extraValue = disk.extraValue;
    lookUpDisk(disk, detail);
}

void fillVolume(const vokSASLSIEventRecord& record, VOK_SAS_EVENT_DETAIL& detail) {
    const std::optional<vokEventVolume> named = record.volume();
    if (!named)
        VOK_LOG_DEBUG(tag, "Ignoring LSI MegaRAID LD-locale event argument type: [%d]; Event code: [0x%x]",
                      record.argumentType(), detail.eventCode);
    const vokEventVolume volume = named.value_or(vokEventVolume());
    detail.targetId = volume.targetId;
    detail.extraValue = volume.extraValue;
}

// Throws nothing: if memory has run out, the line may be lost too.
void logLostEvent(const vokRecordReader& event, const char* reason) {
    try {
        VOK_LOG_ERROR(tag, "An event of controller %u was lost: %s",
                      static_cast<unsigned>(event.number(vokEventController)), reason);
    } catch (...) {
        return;
    }
}

void useNoArguments(const vokSASLSIEventRecord&, VOK_SAS_EVENT_DETAIL&) {}

// The categories that are handled, and what is taken from their arguments.
struct HandledRow {
    std::string_view category;
    void (*fill)(const vokSASLSIEventRecord& record, VOK_SAS_EVENT_DETAIL& detail);

    constexpr std::string_view key() const { return category; }
};
constexpr HandledRow handled[] = {
    {vokBatteryEvent, useNoArguments},
    {vokControllerEvent, useNoArguments},
    {vokVolumeEvent, fillVolume},
    {vokDiskEvent, fillDisk},
};
static_assert(vokKeysAscend(handled));

}  // namespace

vokSASLSIEvent* vokSASLSIEvent::getInstance() {
    static auto* const instance = new vokSASLSIEvent;
    return instance;
}

std::uint32_t vokSASLSIEvent::IssueEventSequenceInfo(_MR_EVT_LOG_INFO* info, std::uint32_t controllerId) {
    *info = {};
    _SL_LIB_CMD_PARAM_T block = vokCommandBlock(vokEventSequenceCommand, info);
    block.controllerId = controllerId;
    const std::uint32_t status = vokStoreLibInterface::getInstance()->ProcessLibCommandCall(&block);
    if (status == vokStoreLibInvalidController)
        VOK_LOG_DEBUG(tag, "Invalid controller");
    else if (status != vokStoreLibSuccess)
        VOK_LOG_DEBUG(tag, "GetEventSequenceInfo : ProcessLibCommandCall failed");
    return status;
}

std::uint32_t vokSASLSIEvent::RegisterAENCall(_SL_REG_AEN_INPUT_T* input, _SL_REG_AEN_OUTPUT_T* newOutput) {
    _SL_LIB_CMD_PARAM_T block = vokCommandBlock(vokRegisterAenCommand, newOutput->data());
    block.input = input;
    const std::uint32_t status = vokStoreLibInterface::getInstance()->ProcessLibCommandCall(&block);
    if (status == vokStoreLibSuccess)
        VOK_LOG_DEBUG(tag, "RegisterAENCall successful");
    else if (const FailureRow* const row = vokFindRow(failures, status))
        VOK_LOG_ERROR(tag, "RegisterAENCall failed %s", row->text);
    else
        VOK_LOG_ERROR(tag, "RegisterAENCall failed  (rval:%u)", status);
    return status;
}

bool vokSASLSIEvent::RegisterForAEN(Function function) {
    vokStoreLibInterface* const library = vokStoreLibInterface::getInstance();
    if (!library->vokStoreInit()) return false;
    _vokSASFunc = function;

    _SL_REG_AEN_INPUT_T input{};
    const std::vector<std::uint32_t> controllers = library->controllerList();
    selectControllers(*this, controllers, input);
    if (input.count == 0) {
        VOK_LOG_WARNING(
            tag,
            "Unable to register for AEN: No controllers could be selected. (Total: [%u]; Selected: [%u])",
            static_cast<unsigned>(controllers.size()), input.count);
        return false;
    }

    input.callback = &AENCallBack;
    _SL_REG_AEN_OUTPUT_T newOutput{};
    vokLibrary::Hold loaded = library->holdLibrary();
    const std::uint32_t status = RegisterAENCall(&input, &newOutput);
    if (status != vokStoreLibSuccess) {
        const FailureRow* const row = vokFindRow(failures, status);
        VOK_LOG_DEBUG(tag, "%s", row ? row->text : "RegisterAEN command failed");
        return false;
    }
    keepRegistration(newOutput, std::move(loaded));
    VOK_LOG_DEBUG(tag, "AEN Registration successful for [%u] LSI MR controllers. (Unique ID: [0x%x])",
                  input.count, idOf(newOutput));
    return true;
}

void vokSASLSIEvent::keepRegistration(const _SL_REG_AEN_OUTPUT_T& newOutput, vokLibrary::Hold library) {
    const std::lock_guard<std::mutex> lock(guard);
    registered = 1;
    output = newOutput;
    hold = std::move(library);
}

std::uint32_t vokSASLSIEvent::UnregisterForAEN() {
    const std::lock_guard<std::mutex> one(ending);
    std::uint32_t id = 0;
    {
        const std::lock_guard<std::mutex> lock(guard);
        if (registered != 1) return vokStoreLibSuccess;
        id = idOf(output);
    }
    {
        const vokLongOperation operation(vokOperationKind::libraryCall,
                                         "ProcessLibCommand: the last callback before the end of events");
        epRemoveLock.close();
    }

    std::uint32_t status = vokStoreLibSuccess;
    for (int attempt = 1; attempt <= endAttempts; ++attempt) {
        if (attempt > 1) vokHostAccess().pause(betweenAttempts);
        _SL_LIB_CMD_PARAM_T block = vokCommandBlock(vokUnregisterAenCommand, nullptr);
        block.uniqueId = id;
        status = vokStoreLibInterface::callLibraryMR(&block);
        if (status == vokStoreLibSuccess) {
            const std::lock_guard<std::mutex> lock(guard);
            registered = 0;
            hold.release();
            break;
        }
        VOK_LOG_WARNING(tag,
                        "Failed to unregister AEN for LSI MR controllers on attempt #%d. "
                        "(Unique ID: [0x%x]; rval: [0x%x])",
                        attempt, id, status);
    }
    return status;
}

std::uint32_t vokSASLSIEvent::AENCallBack(_SL_EVENT_DETAIL_T* event) {
    if (!event) return vokStoreLibSuccess;
    const vokRecordReader reader(event->bytes);
    const auto status = static_cast<std::uint32_t>(reader.number(vokEventStatus));
    vokSASLSIEvent* const events = getInstance();
    const vokRemoveLockEx::Entry entry(events->epRemoveLock);
    if (!entry.isOpen() || status != vokStoreLibSuccess) return status;
    try {
        events->handle(reader);
    } catch (const abi::__forced_unwind&) {
        throw;  // the library cancels its thread, which must not be prevented
    } catch (const std::exception& failure) {
        logLostEvent(reader, failure.what());
    } catch (...) {
        logLostEvent(reader, "unknown failure");
    }
    return status;
}

void vokSASLSIEvent::handle(const vokRecordReader& event) const {
    VOK_SAS_EVENT_DETAIL detail;
    detail.controllerId = static_cast<std::uint32_t>(event.number(vokEventController));
    detail.controllerSerial = serialOfController(detail.controllerId);
    const std::string_view bytes = event.bytes(vokEventRecord);
    std::copy(bytes.begin(), bytes.end(), detail.eventDetail.begin());

    const vokSASLSIEventRecord record(detail.eventDetail);
    detail.eventCode = record.code();
    detail.eventLocale = record.category();
    const HandledRow* const row = vokFindRow(handled, record.category());
    if (!row) return;
    detail.eventClass = record.eventClass();
    row->fill(record, detail);
    detail.description = record.description();
    VOK_LOG_INFO(tag, "[Msg # 0x%04x] %s", detail.eventCode, detail.description.c_str());

    vokStoreLibInterface::getInstance()->cacheBuild(detail.eventLocale);
    if (const Function function = _vokSASFunc) function(&detail);
}
