// The parameters of the entry points of the vendors' libraries: what each reads and what it changes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "fc/hbaapi/hbaapi.h"
#include "megaraid/storelib/vokStoreLibRecords.h"
#include "platform/places/vokPhysLocPlatform.h"
#include "recording/Forms.h"

namespace recording {

// One parameter of a call. A function that it has not is null.
struct LibraryParameter {
    std::function<void(Fields& question)> ask;
    std::function<void(Fields& answer)> answer;
    std::function<void(const Fields& answer)> play;
};
using LibraryParameters = std::vector<LibraryParameter>;

// --- what the library reads ---

LibraryParameter readNumber(const char* name, std::uint64_t value);
LibraryParameter readBytes(const char* name, const void* data, std::size_t length);
LibraryParameter readText(const char* name, const char* text);

// --- what it changes; nothing for a null pointer ---

LibraryParameter changedBytes(const char* name, void* data, std::size_t length);
// A text in a field that it may fill without a NUL.
LibraryParameter changedText(const char* name, char* text, std::size_t room);
LibraryParameter changedNumber(const char* name, std::uint64_t* number);
// What it also reads: the room that it has.
LibraryParameter changedCount(const char* name, HBA_UINT32* number);

// --- by entry point ---

LibraryParameters parametersOfInit(vokPhysLocRecord* record, int version);
LibraryParameters parametersOfEncode(vokPhysLocRecord* record, std::uint64_t* code);
LibraryParameters parametersOfRaidCommand(_SL_LIB_CMD_PARAM_T* block);

}  // namespace recording
