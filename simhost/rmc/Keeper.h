// Keeps what the controller received, in its output directory: one file an inventory, one line an event, one
// line a violation, one line a transfer.
#pragma once

#include <json/json.h>
#include <cstdint>
#include <string>

namespace simhost {

// How one command came, or did not come, through the interface.
struct KeptTransfer {
    const char* outcome = "complete";  // or "refused", "abandoned"
    std::string command;               // "WriteInventory"; empty for a short payload, which covers it
    std::size_t bytes = 0;             // that arrived
    std::size_t length = 0;            // announced with the first chunk; of a complete one `bytes`
    std::size_t chunks = 0;            // that were accepted
    std::size_t faults = 0;     // replies to its chunks that were late, missing or had a completion code
    double seconds = 0;         // from the first chunk
    unsigned status = 0;        // of a refusal
    std::uint32_t process = 0;  // of the sender
    std::string file;           // of an inventory that was kept
    std::string reason;         // of an abandoned one
    Json::Value event;          // number and time of an event that was kept
};

class Keeper {
public:
    // Makes the directory when it is not there, for the owner alone. Inventories that lie there stay; the
    // numbers go on behind them. Throws std::runtime_error.
    explicit Keeper(const std::string& directory);

    const std::string& directory() const { return directory_; }
    std::string controlSocket() const { return directory_ + "/" + controlSocketFile; }

    static constexpr char eventsFile[] = "events.jsonl";
    static constexpr char transfersFile[] = "transfers.jsonl";
    static constexpr char violationsFile[] = "violations.log";
    static constexpr char shortPayloadsFile[] = "short-payloads.txt";
    static constexpr char controlSocketFile[] = "control.sock";

    // Writes "inventory-0001.json" and so on; gives the name. Throws when it can't be written, as do all.
    std::string keepInventory(const std::string& text);
    // A line of events.jsonl, short-payloads.txt and violations.log. Newlines in the text become blanks.
    void keepEvent(const std::string& text);
    void keepShortPayload(const std::string& text);
    void keepViolation(const std::string& text);
    // A line of transfers.jsonl, with the time of the machine.
    void keepTransfer(const KeptTransfer& transfer);

private:
    void appendLine(const char* name, const std::string& text);

    std::string directory_;
    unsigned long inventories_ = 0;
};

// The same text with every byte that is no printable ASCII written as \xNN, for a terminal.
std::string printable(const std::string& text);

}  // namespace simhost
