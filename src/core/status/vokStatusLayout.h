// The layout of the status record: 64-bit words alone, so that both ABIs have the same one and a program of
// one reads the record of the other. The agent writes it as atomic words; a reader has a copy of plain ones.
// A change of the layout is a new `version`.
//
// A group is a struct that starts with a sequence: its values belong together. The sequence is odd while the
// group is written, and each write increases it by two.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>

namespace vokStatusLayout {

// On tmpfs, so that no write to the record ever waits for a disk.
inline constexpr char path[] = "/var/run/vokStatus.bin";

inline constexpr std::uint64_t magic = 0x45544154534b4f56;  // "VOKSTATE" in the file
inline constexpr std::uint64_t version = 1;

inline constexpr std::size_t classes = 8;      // by id: FIBRE_CHANNEL_DEVICES to TRUSTED_PLATFORM_MODULE
inline constexpr std::size_t sections = 4;     // of a class
inline constexpr std::size_t events = 64;      // numbers
inline constexpr std::size_t operations = 64;  // by the slot of the watch, see vokLongOperation.h
inline constexpr std::size_t leftOut = 8;      // libraries; more are not shown

// Ends with the first NUL, or fills the words.
template <typename Word, std::size_t bytes>
struct Text {
    static_assert(bytes % sizeof(std::uint64_t) == 0);
    static constexpr std::size_t size = bytes;
    Word words[bytes / sizeof(std::uint64_t)];
};

template <typename Word>
struct Section {
    Text<Word, 32> name;
    Word ok, warning, critical, unknown, linkDown;
};

template <typename Word>
struct Build {
    Word sequence;
    Word isReady, isBuilding;
    Word lastEnd, lastDuration, begin, builds;
};

// Of the current inventory, which also changes between two builds.
template <typename Word>
struct Inventory {
    Word sequence;
    Word records, sectionCount;
    Section<Word> section[sections];
};

template <typename Word>
struct Class {
    Word isPresent, isEnabled;
    Word failedCommands, nextBuild;
    Build<Word> build;
    Inventory<Word> inventory;
};

template <typename Word>
struct Push {
    Word sequence;
    Word begin, isRunning, bytes, chunks, answer, duration, lastAccepted, pushes, failed;
    Text<Word, 192> answerText;
};

template <typename Word>
struct DoorBell {
    Word polls, answered, requests, lastPoll, lastAnswer, next;
};

// A number is 0 until it is raised for the first time; the entries fill from the start.
template <typename Word>
struct Event {
    Word number;
    Word raised, delivered, refused, failed, dropped, lastRaised;
};

template <typename Word>
struct Operation {
    Word sequence;
    Word isHanging, begin, classId;  // the class plus 1; 0: none
    Text<Word, 192> description;
};

// A library that is left out of this run; the entries fill from the start. Written as the first words are.
template <typename Word>
struct LeftOut {
    Word crashes;  // 0: no entry
    Text<Word, 64> name;
    Text<Word, 16> lastEnd;
    Text<Word, 128> lastCall;
};

template <typename Word>
struct Record {
    // Written before the file gets its name, and not changed afterwards.
    Word magic;
    Word version;
    Word size;
    Word process, start;
    Word refreshSeconds, pushSeconds, doorBellSeconds;
    Text<Word, 32> agentVersion;

    Word stop;
    Word nextPush;
    Push<Word> push;
    DoorBell<Word> doorBell;
    Class<Word> classes[vokStatusLayout::classes];
    Event<Word> events[vokStatusLayout::events];
    Operation<Word> operations[vokStatusLayout::operations];
    LeftOut<Word> leftOut[vokStatusLayout::leftOut];
};

using Word = std::atomic<std::uint64_t>;
static_assert(sizeof(Word) == 8 && Word::is_always_lock_free, "a writer never waits for another");
using Shared = Record<Word>;
using Copy = Record<std::uint64_t>;
static_assert(sizeof(Shared) == sizeof(Copy));

static_assert(sizeof(Section<std::uint64_t>) == 72);
static_assert(sizeof(Build<std::uint64_t>) == 56);
static_assert(sizeof(Inventory<std::uint64_t>) == 312);
static_assert(sizeof(Class<std::uint64_t>) == 400);
static_assert(sizeof(Push<std::uint64_t>) == 272);
static_assert(sizeof(DoorBell<std::uint64_t>) == 48);
static_assert(sizeof(Event<std::uint64_t>) == 56);
static_assert(sizeof(Operation<std::uint64_t>) == 224);
static_assert(sizeof(LeftOut<std::uint64_t>) == 216);
static_assert(offsetof(Copy, push) == 112);
static_assert(sizeof(Copy) == 112 + 272 + 48 + 8 * 400 + 64 * 56 + 64 * 224 + 8 * 216);

}  // namespace vokStatusLayout
