// Libraries of the vendors, and thunks in the place of their entry points.
//
// kind library                  IvokHostAccess::openLibrary()
//   question  library           the name or path on the host
//   answer    opened            1 or 0
//             error             the dynamic loader's text (without the host root), empty if it was opened
//
// kind symbol                   IvokHostAccess::librarySymbol()
//   question  library, symbol
//   answer    found             1 or 0
//             error             the dynamic loader's text, empty if it was found
//
// kind call                     a call of an entry point
//   question  library, entry, and the parameters that the library reads
//   answer    result            missing for a function without one
//             and the parameters that it changes
//
// Parameters by entry. Numbers are text; bytes are those of the record, the same on both ABIs (offsets:
// vokPhysLocPlatform.h, vokStoreLibRecords.h, hbaapi.h).
//
//   physloc_init_data      version; answer: record (16 bytes)
//   physloc_encode         record (16 bytes); answer: code
//   ProcessLibCommand      type, number (of the command), flag, controller, device, target, size (of the
//   data,
//                          not of a command of the firmware); further, in the question:
//                            registration for events: registration (count and 12 bytes for each controller)
//                            end of a registration:   id
//                            SCSI pass-through:       header (64 bytes)
//                            command of the firmware: length, operation, flags, mailbox (12 bytes)
//                          answer: data (the data block; of a SCSI pass-through header and data)
//   HBA_RegisterLibrary    answer: handlers (the names of those that the library has, one a line)
//   handlers of HBA_ENTRYPOINTS by the names of its members, "GetAdapterAttributesHandler": the parameters by
//                          the names in hbaapi.h. Answer: name, attributes, statistics, information,
//                          events, response, sense as bytes; size, count, entries as numbers. The entries of
//                          a target mapping and of a persistent binding are not recorded.
//
// Zeros at the end of bytes are left out of an answer; the playback stores them.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "recording/Forms.h"

namespace recording {

Fields libraryQuestion(const std::string& library);
Fields symbolQuestion(const std::string& library, const std::string& symbol);
Fields libraryAnswer(bool isOpen, const std::string& error);
Fields symbolAnswer(bool isFound, const std::string& error);

// The entry point of the RAID library.
inline constexpr char raidEntryPoint[] = "ProcessLibCommand";

// One call that came in through a thunk.
class LibraryCall {
public:
    virtual ~LibraryCall() = default;
    // The question, with "library" as the thunks' owner has named it.
    virtual const Fields& question() const = 0;
    // Makes the call of the library's own function and returns the answer; errno stays the library's.
    // Handlers that HBA_RegisterLibrary fills in are replaced by thunks. The function must have been set with
    // LibraryThunks::setOriginal().
    virtual Fields make() = 0;
    // Gives the caller a recorded answer. A missing "result" is a failure; handlers are thunks.
    virtual void play(const Fields& answer) = 0;
};

// What the calls of one library come to. It may get several at a time.
class LibraryCallee {
public:
    virtual ~LibraryCallee() = default;
    // Calls either make() or play().
    virtual void called(LibraryCall& call) = 0;
};

// The thunks of one library: plain functions, which therefore exist in a fixed number of sets. A set is bound
// to its library's name until the process ends, since code may call a thunk at any time; the same name gets
// the same set again.
class LibraryThunks {
public:
    static constexpr std::size_t most = 40;  // more libraries than the agent ever opens

    // Nothing when all sets are in use. `callee` replaces the one of before.
    static std::optional<LibraryThunks> of(const std::string& library, LibraryCallee& callee);
    // Ends all calls to `callee`: what comes later returns a failure.
    static void forget(const LibraryCallee& callee);

    // The thunk of an entry point; null for an unknown symbol.
    void* find(const std::string& symbol) const;
    // The library's own function, for LibraryCall::make().
    void setOriginal(const std::string& symbol, void* function) const;

private:
    explicit LibraryThunks(std::size_t set) : set_(set) {}

    std::size_t set_;
};

}  // namespace recording
