// The blocks of a registration for events with the vendor's RAID library. All numbers are little-endian.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "megaraid/storelib/vokStoreLibRecords.h"

// What the library passes to the callback.
struct _SL_EVENT_DETAIL_T {
    std::array<std::uint8_t, 268> bytes;
};

inline constexpr vokRecordNumber vokEventStatus = {0, 2};  // no event unless 0
inline constexpr vokRecordNumber vokEventController = {4, 4};
inline constexpr vokRecordBytes vokEventRecord = {12, 256};  // see vokSASLSIEventRecord.h
static_assert(vokEventRecord.offset + vokEventRecord.length == sizeof(_SL_EVENT_DETAIL_T));

// The sequence numbers of a controller's events.
struct _MR_EVT_LOG_INFO {
    std::uint32_t newest;
    std::uint32_t others[4];
};
static_assert(sizeof(_MR_EVT_LOG_INFO) == 20);

// What a registration takes. The layout on 32-bit x86 is the vendor's.
struct _SL_REG_AEN_INPUT_T {
    struct Controller {
        std::uint32_t controllerId;
        std::uint16_t locale;
        std::uint8_t reserved6;
        std::uint8_t eventClass;  // the lowest that is reported
        std::uint32_t sequence;   // of the event to begin after
    };

    std::uint32_t count;
    Controller controllers[64];
    std::uint32_t (*callback)(_SL_EVENT_DETAIL_T*);
};
static_assert(sizeof(_SL_REG_AEN_INPUT_T::Controller) == 12);
static_assert(offsetof(_SL_REG_AEN_INPUT_T::Controller, locale) == 4);
static_assert(offsetof(_SL_REG_AEN_INPUT_T::Controller, eventClass) == 7);
static_assert(offsetof(_SL_REG_AEN_INPUT_T::Controller, sequence) == 8);
static_assert(offsetof(_SL_REG_AEN_INPUT_T, controllers) == 4);
static_assert(sizeof(void*) != 4 || offsetof(_SL_REG_AEN_INPUT_T, callback) == 772);
static_assert(sizeof(void*) != 4 || sizeof(_SL_REG_AEN_INPUT_T) == 776);

// What a registration returns.
using _SL_REG_AEN_OUTPUT_T = std::array<std::uint8_t, 264>;
static_assert(sizeof(_SL_REG_AEN_OUTPUT_T) == 264);

inline constexpr vokRecordNumber vokRegistrationId = {260, 4};
