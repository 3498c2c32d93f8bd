// The asynchronous events of RAID controllers: one callback is registered with the vendor's library for all
// controllers. It runs on a thread of the library, refreshes the cache that the event touches, and passes the
// event in the agent's form to the registered function.
#pragma once

#include <atomic>
#include <cstdint>
#include <mutex>

#include "megaraid/storelib/vokRemoveLockEx.h"
#include "megaraid/storelib/vokSASEventDetail.h"
#include "megaraid/storelib/vokSASLSIEventBlocks.h"
#include "platform/access/vokLibrary.h"

class vokSASLSIEvent {
public:
    using Function = void (*)(VOK_SAS_EVENT_DETAIL*);

    // Lives as long as the process.
    static vokSASLSIEvent* getInstance();

    // Registers for the events of all controllers from now on. False, with the reason in the log, on failure.
    bool RegisterForAEN(Function function);
    // Ends the registration after the callbacks in progress have returned, so no lock may be held that a
    // callback needs, and it must not be called in one. Returns the library's status, 0 also without a
    // registration. Callbacks are refused afterwards, also if the library refuses, and also after a later
    // registration.
    std::uint32_t UnregisterForAEN();

    // The library's status.
    std::uint32_t IssueEventSequenceInfo(_MR_EVT_LOG_INFO* info, std::uint32_t controllerId);
    std::uint32_t RegisterAENCall(_SL_REG_AEN_INPUT_T* input, _SL_REG_AEN_OUTPUT_T* output);

    // The callback. Returns the status of the record. Throws nothing, as its caller is C.
    static std::uint32_t AENCallBack(_SL_EVENT_DETAIL_T* event);

private:
    vokSASLSIEvent() = default;
    ~vokSASLSIEvent() = default;

    void keepRegistration(const _SL_REG_AEN_OUTPUT_T& newOutput, vokLibrary::Hold library);
    void handle(const vokRecordReader& event) const;

    std::atomic<Function> _vokSASFunc{nullptr};
    vokRemoveLockEx epRemoveLock;
    // Held while a registration ends. No callback and no registration takes it.
    std::mutex ending;
    std::mutex guard;  // of what follows; no other lock is taken while it is held
    std::uint32_t registered = 0;
    _SL_REG_AEN_OUTPUT_T output{};
    vokLibrary::Hold hold;  // while registered: the library may call back
};
