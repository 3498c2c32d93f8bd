// What a simulated host shows of itself to the processes that run on it, without asking it: its clock and
// the facts that system calls tell. They stand in a file that vok-simhost writes and the host-access module
// maps into its process, so reading the clock costs no exchange, and the clock runs on when vok-simhost has
// ended. The layout is the same for 32-bit and 64-bit programs.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <type_traits>

#include "common/FileDescriptor.h"

namespace simhost {

inline constexpr std::int64_t nanosecondsInSecond = 1000000000;

// The host has a time line of its own, in nanoseconds, that runs `speedThousandths`/1000 times as fast as
// the machine's CLOCK_MONOTONIC and never jumps. Its wall clock is that line and an offset, which a jump
// changes; its uptime is that line less the moment of the boot.
struct ClockState {
    alignas(8) std::int64_t
        machineBase;  // CLOCK_MONOTONIC of the machine at which the line was at `lineBase`
    alignas(8) std::int64_t lineBase;
    alignas(8) std::int64_t speedThousandths;
    alignas(8) std::int64_t wallOffset;
    alignas(8) std::int64_t boot;
};
static_assert(sizeof(ClockState) == 40);

struct HostAddress {
    char interface[16];
    std::uint8_t ipv4[4];
    std::uint8_t prefixLength;
    std::uint8_t isAddress;  // 0: the interface itself, with its hardware address
    std::uint8_t hardware[6];
    std::uint32_t flags;  // IFF_*
};
static_assert(sizeof(HostAddress) == 32);

inline constexpr std::size_t mostAddresses = 512;

struct HostFacts {
    alignas(8) std::uint64_t totalMBytes;
    alignas(8) std::uint64_t freeMBytes;
    char systemName[65];
    char nodeName[65];
    char release[65];
    char version[65];
    char machine[65];
    char reserved[3];
    std::uint32_t addressCount;
    std::uint32_t machineAnswers;  // 1: neither this nor the clock counts, but what the machine tells
    HostAddress addresses[mostAddresses];
};
static_assert(offsetof(HostFacts, addressCount) == 344 && offsetof(HostFacts, addresses) == 352);

// A text of the facts, cut to its field.
template <std::size_t Room>
void putText(char (&field)[Room], const std::string& text) {
    const std::size_t length = text.size() < Room ? text.size() : Room - 1;
    std::memcpy(field, text.data(), length);
    field[length] = '\0';
}

// A record that one process writes and others read whole: a sequence lock over 32-bit words.
template <class Record>
class SharedRecord {
    static_assert(std::is_trivially_copyable_v<Record> && sizeof(Record) % 4 == 0);
    static_assert(std::atomic<std::uint32_t>::is_always_lock_free);

public:
    void store(const Record& record) {
        std::uint32_t words[wordCount];
        std::memcpy(words, &record, sizeof(record));
        const std::uint32_t odd = sequence_.load(std::memory_order_relaxed) | 1;
        sequence_.store(odd, std::memory_order_relaxed);
        for (std::size_t i = 0; i < wordCount; ++i) words_[i].store(words[i], std::memory_order_release);
        sequence_.store(odd + 1, std::memory_order_release);
    }
    // False when the writer is in the middle of it; it may have ended there.
    bool load(Record& record) const {
        std::uint32_t words[wordCount];
        const std::uint32_t before = sequence_.load(std::memory_order_acquire);
        if (before & 1) return false;
        for (std::size_t i = 0; i < wordCount; ++i) words[i] = words_[i].load(std::memory_order_acquire);
        if (sequence_.load(std::memory_order_relaxed) != before) return false;
        std::memcpy(&record, words, sizeof(record));
        return true;
    }

private:
    static constexpr std::size_t wordCount = sizeof(Record) / 4;
    alignas(8) std::atomic<std::uint32_t> sequence_;
    std::uint32_t reserved_;
    std::atomic<std::uint32_t> words_[wordCount];
};
static_assert(sizeof(SharedRecord<ClockState>) == 48);

struct HostStatePage {
    char magic[8];
    std::uint32_t version;
    std::uint32_t size;
    SharedRecord<ClockState> clock;
    SharedRecord<HostFacts> facts;
};

// The mapped file. Reading works from any thread; writing is for vok-simhost.
class HostState {
public:
    HostState() = default;
    ~HostState();
    HostState(HostState&& other) noexcept : page_(other.page_), writable_(other.writable_) {
        other.page_ = nullptr;
    }
    HostState(const HostState&) = delete;
    HostState& operator=(const HostState&) = delete;
    HostState& operator=(HostState&&) = delete;

    // Opens for writing, making the file when there is none; a file that is there stays the same one, so
    // that who has it mapped sees what is written from now on. Throws std::system_error.
    static HostState create(const std::string& path);
    // Opens for reading; an unset one with a sentence in `error` when there is no such page.
    static HostState open(const std::string& path, std::string& error);

    explicit operator bool() const { return page_ != nullptr; }

    // The last whole record; false when there never was one.
    bool readClock(ClockState& clock) const;
    bool readFacts(HostFacts& facts) const;
    void writeClock(const ClockState& clock);
    void writeFacts(const HostFacts& facts);

private:
    HostStatePage* page_ = nullptr;
    bool writable_ = false;
};

// One vok-simhost serves a root: it holds a lock on a file while it runs. Throws std::system_error; an
// empty descriptor when another process holds it.
FileDescriptor lockHost(const std::string& path);
// True while a process holds the lock.
bool hostIsLocked(const std::string& path);

}  // namespace simhost
