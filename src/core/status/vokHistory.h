// The last events and pushes on disk: a ring of fixed records in /opt/mev/vok/data/vokHistory.bin, at most
// 256 KiB, mode 0600. Each record has a checksum, so one that a kill or a full disk cut short is left out.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

enum class vokHistoryKind : std::uint32_t { event = 1, push = 2, start = 3, stop = 4 };

struct vokHistoryEntry {
    std::uint64_t number = 0;  // ascending without end, also over restarts
    vokHistoryKind kind = vokHistoryKind::event;
    std::int64_t time = 0;       // seconds since the Epoch
    std::uint64_t duration = 0;  // milliseconds
    int event = 0;               // its number; 0 of others
    std::uint32_t outcome = 0;   // a vokDeliveryKind of an event, a vokPushAnswer of a push
    std::uint64_t bytes = 0;
    std::uint64_t chunks = 0;
    std::string subject;  // of an event: its class, device and location; at most 120 bytes
    std::string answer;   // what the controller answered, a clause; at most 120 bytes
};

// From now on entries are appended. Called by the agent when it starts: a report of vokd appends none.
void vokOpenHistory();

// Appends an entry; `number` is given here. Safe from any thread. A failure costs the entry alone, with a
// line in the log when entries begin to fail.
void vokAppendHistory(vokHistoryEntry entry);

// The last `most` whole entries, oldest first. False with a clause in `reason` if there is no file or it
// can't be read.
bool vokReadHistory(std::size_t most, std::vector<vokHistoryEntry>& entries, std::string& reason);
