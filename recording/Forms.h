// The encodings of what the agent asked of a host and what it got, common to the recorder and the playback.
//
// Each exchange has a kind; its question and its answers are named values (Recording.h). The names of a
// kind's fields are listed with its functions:
//
//   FormsCommands.h    command-read, command-run
//   FormsDevices.h     open, scsi, csmi, ioctl, ipmi
//   FormsLibraries.h   library, symbol, call
//   FormsSystem.h      system-name, system-information, interface-addresses
//
// Numbers are decimal text. Bytes of records stand in one field each, without any pointer, so that a
// recording of either ABI plays on both. Paths and command texts are those of the host: without a host root.
// Every answer that can fail has "error": the errno, 0 if it succeeded.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "recording/Recording.h"

namespace recording {

namespace kinds {
inline constexpr char commandRead[] = "command-read";  // IvokHostAccess::openCommand() to closeCommand()
inline constexpr char commandRun[] = "command-run";    // IvokHostAccess::runCommand()
inline constexpr char open[] = "open";                 // of a device
inline constexpr char scsi[] = "scsi";                 // SG_IO
inline constexpr char csmi[] = "csmi";                 // a CSMI request
inline constexpr char ioctl[] = "ioctl";             // any other request, with its block if its size is known
inline constexpr char ipmi[] = "ipmi";               // a message to the controller and its answer
inline constexpr char library[] = "library";         // IvokHostAccess::openLibrary()
inline constexpr char symbol[] = "symbol";           // IvokHostAccess::librarySymbol()
inline constexpr char call[] = "call";               // of an entry point of a library
inline constexpr char systemName[] = "system-name";  // uname(2)
inline constexpr char systemInformation[] = "system-information";    // sysinfo(2)
inline constexpr char interfaceAddresses[] = "interface-addresses";  // getifaddrs(3)
}  // namespace kinds

// A field: empty if it is missing.
const std::string& textOf(const Fields& fields, const std::string& name);
// A field as a number: 0 if it is missing or no number; the nearest if it is beyond 64 bits.
std::int64_t numberOf(const Fields& fields, const std::string& name);
std::uint64_t unsignedOf(const Fields& fields, const std::string& name);
// The same, and the nearest number that an int holds.
int intOf(const Fields& fields, const std::string& name);

// Copies the bytes of a field, at most `room` of them, and returns how many.
std::size_t copyOf(const Fields& fields, const std::string& name, void* to, std::size_t room);

// `bytes` without the zeros at its end, but at least `least` bytes of it.
std::string withoutZerosAtEnd(std::string_view bytes, std::size_t least = 0);

}  // namespace recording
