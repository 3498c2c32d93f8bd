// Keeps what the controller received, in its output directory: one file an inventory, one line an event, one
// line a violation.
#pragma once

#include <cstdint>
#include <string>

namespace simhost {

class Keeper {
public:
    // Makes the directory when it is not there, for the owner alone. Inventories that lie there stay; the
    // numbers go on behind them. Throws std::runtime_error.
    explicit Keeper(const std::string& directory);

    const std::string& directory() const { return directory_; }
    std::string controlSocket() const { return directory_ + "/control.sock"; }

    // Writes "inventory-0001.json" and so on; gives the name. Throws when it can't be written, as do all.
    std::string keepInventory(const std::string& text);
    // A line of events.jsonl, short-payloads.txt and violations.log. Newlines in the text become blanks.
    void keepEvent(const std::string& text);
    void keepShortPayload(const std::string& text);
    void keepViolation(const std::string& text);

private:
    void appendLine(const char* name, const std::string& text);

    std::string directory_;
    unsigned long inventories_ = 0;
};

// The same text with every byte that is no printable ASCII written as \xNN, for a terminal.
std::string printable(const std::string& text);

}  // namespace simhost
