#include "daemon/recording/ExchangeLog.h"

#include <algorithm>

namespace {

std::size_t sizeOf(const recording::Fields& fields) {
    std::size_t size = 0;
    for (const auto& [name, value] : fields) size += name.size() + value.size();
    return size;
}

}  // namespace

void ExchangeLog::add(const char* kind, const recording::Fields& question, recording::Fields answer,
                      std::size_t taken) {
    if (!take(sizeOf(question) + sizeOf(answer) - taken)) return;
    const std::lock_guard<std::mutex> lock(mutex_);
    const auto [place, isNew] = places_.try_emplace({kind, question}, exchanges_.size());
    if (isNew) exchanges_.push_back({kind, question, {}});
    exchanges_[place->second].answers.push_back(std::move(answer));
}

void ExchangeLog::remark(const std::string& text) {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (std::find(remarks_.begin(), remarks_.end(), text) == remarks_.end()) remarks_.push_back(text);
}

bool ExchangeLog::take(std::size_t bytes) {
    std::size_t room = room_;
    do {
        if (full_ || bytes > room) {
            full_ = true;
            return false;
        }
    } while (!room_.compare_exchange_weak(room, room - bytes));
    return true;
}

void ExchangeLog::moveTo(recording::Recording& recording) {
    const std::lock_guard<std::mutex> lock(mutex_);
    for (recording::Exchange& exchange : exchanges_) {
        auto& answers = exchange.answers;
        while (answers.size() > 1 && answers[answers.size() - 1] == answers[answers.size() - 2])
            answers.pop_back();
    }
    recording.exchanges = std::exchange(exchanges_, {});
    recording.remarks = std::exchange(remarks_, {});
    places_.clear();
}
