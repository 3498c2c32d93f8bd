// The host's log of its boots and shutdowns, /var/log/vmksummary.log.
#pragma once

#include <cstdint>
#include <string>

namespace simhost {

// "2026-11-15T08:38:22Z" for an instant in nanoseconds since the Epoch.
std::string summaryStamp(std::int64_t wall);

class SummaryLog {
public:
    explicit SummaryLog(std::string path) : path_(std::move(path)) {}

    // A log of a host that was installed a month before `boot`, rebooted in order, and booted at `boot`.
    void writeHistory(std::int64_t boot);
    void rebooting(std::int64_t wall);
    void booted(std::int64_t wall);
    // A new log of a host of whose past no more is known than its last boot.
    void startWith(std::int64_t boot);

private:
    void append(std::int64_t wall, const char* text);

    std::string path_;
};

}  // namespace simhost
