// The questions and answers of a recording while it is made, by several threads, within a bound of memory.
#pragma once

#include <atomic>
#include <cstddef>
#include <map>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "recording/Recording.h"

class ExchangeLog {
public:
    // Of all content: exchanges and files.
    static constexpr std::size_t mostBytes = std::size_t{64} << 20;

    explicit ExchangeLog(std::size_t most = mostBytes) : room_(most) {}

    // `taken`: bytes of the answer that take() has counted already.
    void add(const char* kind, const recording::Fields& question, recording::Fields answer,
             std::size_t taken = 0);
    // A sentence for the reader of the archive; each once.
    void remark(const std::string& text);
    // Takes `bytes` of the bound. False if it is reached: what was to be kept is dropped, and the recording
    // is incomplete.
    bool take(std::size_t bytes);
    bool isComplete() const { return !full_; }

    // Moves exchanges and remarks into `recording`. An answer that is only repeated at the end is left out,
    // as the last one is given again anyway.
    void moveTo(recording::Recording& recording);

private:
    mutable std::mutex mutex_;  // guards all but the two atomics
    std::vector<recording::Exchange> exchanges_;
    std::map<std::pair<std::string, recording::Fields>, std::size_t> places_;
    std::vector<std::string> remarks_;
    std::atomic<std::size_t> room_;
    std::atomic<bool> full_{false};
};
