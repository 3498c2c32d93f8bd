// The system log of a fake host, which keeps each line.
#pragma once

#include <functional>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

class FakeSystemLog {
public:
    virtual ~FakeSystemLog() = default;

    using Line = std::pair<int, std::string>;  // priority and text

    // Called with each line before it is kept; the logger's lock is held.
    std::function<void(const std::string& text)> onLine;

    std::vector<Line> lines() const {
        const std::lock_guard<std::mutex> lock(guard_);
        return lines_;
    }
    void clear() {
        const std::lock_guard<std::mutex> lock(guard_);
        lines_.clear();
    }

    // The operation of the seam.
    virtual void write(int priority, const std::string& text) {
        if (onLine) onLine(text);
        const std::lock_guard<std::mutex> lock(guard_);
        lines_.emplace_back(priority, text);
    }

private:
    mutable std::mutex guard_;
    std::vector<Line> lines_;
};
