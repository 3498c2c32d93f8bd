// The entry points that encode physical locations, like those of the manufacturer's library.
#pragma once

#include <cstdint>
#include <string>

#include "platform/places/vokPhysLocPlatform.h"

namespace locationLibrary {

inline int initRecord(vokPhysLocRecord* record, int) {
    *record = {};
    return 0;
}
inline physloc_rtn_t encodeRecord(vokPhysLocRecord* record, std::uint64_t* code) {
    *code = static_cast<std::uint64_t>(record->type) << 56 | static_cast<std::uint64_t>(record->lastLevel);
    return 0;
}

inline void* symbol(const std::string& name) {
    return name == vokPhysLocInitSymbol ? reinterpret_cast<void*>(initRecord)
                                        : reinterpret_cast<void*>(encodeRecord);
}

}  // namespace locationLibrary
