// A fake of the vendor's RAID library: a few controllers with disks and logical drives, which a test changes
// between the calls. It fills the library's blocks at their offsets, with noise in all bytes between the
// fields, and counts the commands. A block of a wrong size fails the test.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "megaraid/storelib/vokStoreLibRecords.h"

class FakeHost;

struct FakeRaidDisk {
    std::uint16_t deviceId = 0;
    std::uint16_t enclosure = 252;
    std::uint8_t slot = 0;
    std::string serial = "S1";  // the 32 bytes after the inquiry data; at most 32 characters
    std::string vendor = "SEAGATE";
    std::string product = "ST1000NM";
    std::string revision = "0001";
    std::uint8_t scsiType = 0;
    std::uint16_t state = 24;        // online
    std::uint8_t interfaceType = 2;  // SAS; 3 is SATA
    std::uint64_t blocks = 2097152;
    std::uint16_t blockSize = 512;
    std::uint8_t media = 0;  // rotating
    std::string vpdSerial;   // of VPD page 80h; empty: the page fails
    std::string logD0;       // at offset 24 of log page D0h; empty: the page fails
};

struct FakeRaidVolume {
    std::uint8_t target = 0;
    std::uint8_t raidLevel = 5;
    std::uint8_t secondaryLevel = 0;
    std::uint8_t spanDepth = 1;
    std::uint8_t state = 3;  // optimal
    std::uint64_t blocks = 4194304;
    std::string id = std::string(16, 'V');  // sixteen bytes
    std::vector<std::uint16_t> disks;       // device ids
};

struct FakeRaidController {
    std::uint32_t id = 0;  // the whole entry of the list
    std::string serial = "SV00000001";
    std::string firmware = "24.21.0-0148";
    std::uint32_t chipset = 0x005D1000;
    std::uint32_t board = 0x93631000;
    std::uint32_t bus = 0x5e;
    std::vector<FakeRaidDisk> disks;
    std::vector<FakeRaidVolume> volumes;
    std::uint8_t device = 0;
    std::uint8_t function = 0;
    std::uint32_t domain = 0;
};

// (command type, command), as in the library's block.
using FakeStoreLibCommand = std::pair<int, int>;

class FakeStoreLib {
public:
    // Installs itself as libstorelib.so of `host`. One at a time.
    explicit FakeStoreLib(FakeHost& host);
    ~FakeStoreLib();
    FakeStoreLib(const FakeStoreLib&) = delete;
    FakeStoreLib& operator=(const FakeStoreLib&) = delete;

    // --- what a test sets, before the agent calls or under mutex() ---
    std::vector<FakeRaidController> controllers;
    bool simulation = false;
    // The status that a command returns instead of its data.
    std::map<FakeStoreLibCommand, std::uint32_t> failures;
    // The count that a list reports instead of the number of its entries.
    std::map<FakeStoreLibCommand, std::uint32_t> counts;
    // Asked first with every command; returns true, with the status in the second argument, to answer
    // instead of the fake. Runs without a lock.
    std::function<bool(_SL_LIB_CMD_PARAM_T&, std::uint32_t&)> answer;
    std::uint32_t newestSequence = 100;
    std::uint32_t registrationId = 0x1234;
    std::mutex& mutex() const { return guard_; }

    // --- what a test reads ---
    int count(FakeStoreLibCommand command) const;  // of calls
    int calls() const;                             // of all commands
    // The blocks of all calls in order, with null data pointers.
    std::vector<_SL_LIB_CMD_PARAM_T> commands() const;
    // The blocks of all pass-through commands in order, as sent: the SCSI headers without their data, and the
    // DCMD frames.
    std::vector<std::string> passedThrough() const;
    // The registration for events: the input block as sent; empty without one.
    std::vector<std::uint8_t> registration() const;

    // Calls the registered callback on this thread with a record of 268 bytes: status, controller id, and the
    // event record of at most 256 bytes. Returns what the callback does.
    std::uint32_t deliver(std::uint16_t status, std::uint32_t controllerId, const std::string& record);

    // An event record: code at 8, locale at 12, class at 15, argument type at 16, arguments from 32, text
    // from 128.
    static std::string eventRecord(std::uint32_t code, std::uint16_t locale, int eventClass,
                                   std::uint8_t argumentType, const std::string& arguments,
                                   const std::string& text);

private:
    static std::uint32_t processLibCommand(_SL_LIB_CMD_PARAM_T* command);
    std::uint32_t process(_SL_LIB_CMD_PARAM_T& command);
    std::uint32_t execute(_SL_LIB_CMD_PARAM_T& command);
    void record(const _SL_LIB_CMD_PARAM_T& command);
    std::uint32_t ofLibrary(_SL_LIB_CMD_PARAM_T& command);
    const FakeRaidController* find(std::uint32_t controllerId) const;

    mutable std::mutex guard_;
    std::vector<_SL_LIB_CMD_PARAM_T> commands_;
    std::vector<std::string> passedThrough_;
    std::vector<std::uint8_t> registration_;
};
