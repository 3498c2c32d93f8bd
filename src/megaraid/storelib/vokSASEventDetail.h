// An event of a RAID controller's firmware, in the agent's form.
#pragma once

#include <array>
#include <cstdint>
#include <string>

inline constexpr char vokNotAvailable[] = "NotAvailable";

// The severity: the vendor's class plus 2.
enum vokSASEventClass : std::uint32_t {
    vokEventClassDebug = 0,
    vokEventClassProgress = 1,
    vokEventClassInformation = 2,
    vokEventClassWarning = 3,
    vokEventClassCritical = 4,
    vokEventClassFatal = 5,
    vokEventClassDead = 6,
    vokEventClassUnknown = 7,
};

struct VOK_SAS_EVENT_DETAIL {
    std::uint32_t eventCode = 0;  // the vendor's
    std::uint32_t eventClass = vokEventClassUnknown;
    std::string eventLocale;  // the category: "PD_EVENT", "LD_EVENT", "CTRL_EVENT", "BBU_EVENT", ...
    std::uint32_t controllerId = 0;
    std::string controllerSerial = vokNotAvailable;
    std::string driveSerial = vokNotAvailable;
    std::int32_t enclosure = -1;                  // of the disk; -1 if unknown
    std::int32_t slot = -1;                       // of the disk; -1 if unknown
    std::uint32_t extraValue = 0;                 // the new firmware state of a disk, the count of a volume
    std::string description;                      // the vendor's text
    std::int32_t targetId = -1;                   // of the logical drive; -1 if unknown
    std::array<std::uint8_t, 256> eventDetail{};  // the record as received
};
