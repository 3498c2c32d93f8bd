// The items that a record lists. A position beyond the end is not there: it reads as an item with its
// defaults, and setting or removing it changes nothing.
#pragma once

#include <cstddef>
#include <utility>
#include <vector>

template <typename Item>
class vokRecordList {
public:
    const std::vector<Item>& items() const { return items_; }
    unsigned int size() const { return static_cast<unsigned int>(items_.size()); }
    Item at(unsigned int position) const { return position < items_.size() ? items_[position] : Item(); }

    void add(Item item) { items_.push_back(std::move(item)); }
    void set(unsigned int position, Item item) {
        if (position < items_.size()) items_[position] = std::move(item);
    }
    void remove(unsigned int position) {
        if (position < items_.size()) items_.erase(items_.begin() + static_cast<std::ptrdiff_t>(position));
    }
    void clear() { items_.clear(); }

private:
    std::vector<Item> items_;
};
