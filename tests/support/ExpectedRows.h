// The requests that a fake expects, in order, each with its reply: one literal per row. A request that
// differs from the next row fails the test at once; rows that were not used fail it at the end.
#pragma once

#include <gtest/gtest.h>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

template <typename Row>
class ExpectedRows {
public:
    // From now on only these rows are expected; further calls append rows.
    void expect(std::vector<Row> rows) {
        const std::lock_guard<std::mutex> lock(guard_);
        expecting_ = true;
        for (Row& row : rows) rows_.push_back(std::move(row));
    }

    bool isExpecting() const {
        const std::lock_guard<std::mutex> lock(guard_);
        return expecting_;
    }

    // Takes the next row if `matches` accepts it. Otherwise fails the test, naming `request`, and keeps the
    // row.
    template <typename Matches>
    std::optional<Row> take(const std::string& request, const Matches& matches) {
        const std::lock_guard<std::mutex> lock(guard_);
        if (used_ == rows_.size()) {
            ADD_FAILURE() << "a request after all " << rows_.size() << " expected rows: " << request;
            return std::nullopt;
        }
        if (!matches(rows_[used_])) {
            ADD_FAILURE() << "row " << used_ << " expects another request than " << request;
            return std::nullopt;
        }
        return rows_[used_++];
    }

    // Fails the test if a row was not used.
    void checkAllUsed(const std::string& fake) const {
        const std::lock_guard<std::mutex> lock(guard_);
        if (used_ != rows_.size())
            ADD_FAILURE() << fake << ": " << rows_.size() - used_ << " of " << rows_.size()
                          << " expected rows were not used";
    }

private:
    mutable std::mutex guard_;
    bool expecting_ = false;
    std::vector<Row> rows_;
    std::size_t used_ = 0;
};
