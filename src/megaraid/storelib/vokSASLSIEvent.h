// The asynchronous events of RAID controllers: one callback is registered with the vendor's library for all
// controllers. It runs on a thread of the library, refreshes the cache that the event touches, and passes the
// event in the agent's form to the registered function.
#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>

#include "megaraid/storelib/vokRemoveLockEx.h"
#include "megaraid/storelib/vokSASEventDetail.h"
#include "megaraid/storelib/vokStoreLibRecords.h"
#include "platform/access/vokLibrary.h"

// What the library passes to the callback.
struct _SL_EVENT_DETAIL_T;
// The sequence numbers of a controller's events.
struct _MR_EVT_LOG_INFO;
// What a registration takes and gives.
struct _SL_REG_AEN_INPUT_T;
using _SL_REG_AEN_OUTPUT_T = std::array<std::uint8_t, 264>;

class vokSASLSIEvent {
public:
    using Function = void (*)(VOK_SAS_EVENT_DETAIL*);

    // Lives as long as the process.
    static vokSASLSIEvent* getInstance();

    // Registers for the events of all controllers from now on. False, with the reason in the log, on failure.
    bool RegisterForAEN(Function function);
    // Ends the registration after the callbacks in progress have returned, so no lock may be held that a
    // callback needs. Returns the library's status, 0 also without a registration. Callbacks are refused
    // afterwards, also after a later registration.
    std::uint32_t UnregisterForAEN();

    // The library's status.
    std::uint32_t IssueEventSequenceInfo(_MR_EVT_LOG_INFO* info, std::uint32_t controllerId);
    std::uint32_t RegisterAENCall(_SL_REG_AEN_INPUT_T* input, _SL_REG_AEN_OUTPUT_T* output);

    // The callback. Returns the status of the record.
    static std::uint32_t AENCallBack(_SL_EVENT_DETAIL_T* event);

private:
    vokSASLSIEvent() = default;
    ~vokSASLSIEvent() = default;
};
