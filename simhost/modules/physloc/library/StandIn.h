// A stand-in of a platform's closed location library: checks the record that it gets, and writes its numbers
// into the code so that a person can read them there.
//
//     PKKA RRRB SSCT LLXX      e.g. 203A001B05C20300
//     P  2 or 3: libvkloc0202.so, libvkloc0302.so      T   third level, 0 where there is none
//     KK kind of unit                                  LL  last level
//     RRR rack   SS second level                       XX  sub-location
//
// All are decimal; A, B and C only part them. What is wrong with a record is a result other than 0 and a line
// in the host's log of violations.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#define VOK_ENTRY_POINT extern "C" __attribute__((visibility("default")))

namespace physloc {

inline constexpr std::size_t recordSize = 16;
inline constexpr int recordVersion = 2;

// Results of physloc_encode.
enum Result : std::int32_t {
    encoded = 0,
    noPointer = 1,
    notInitialized = 2,
    unknownKind = 3,
    notZero = 4,
    outOfRange = 5,
};

struct Platform {
    unsigned digit;
    bool hasThirdLevel;
    // PCI slot, on-board Ethernet adapter, internal drive, external drive, storage backplane.
    std::int32_t kinds[5];
};

// Of the library that this is linked into.
extern const Platform platform;

// The record that this thread has had initialized and not encoded yet; null for none.
extern thread_local const std::uint8_t* initializedRecord;

// One line in run/simhost/physloc-violations.log of the host whose lib this library lies in. Outside of a
// simulated host there is no such file and nothing is written.
void reportViolation(const std::string& text);

}  // namespace physloc
