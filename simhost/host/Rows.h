// The rows of a constexpr array, without its length: how a module hands out its tables.
#pragma once

#include <cstddef>

namespace simhost {

template <class Row>
class Rows {
public:
    constexpr Rows() = default;
    template <std::size_t Count>
    constexpr Rows(const Row (&rows)[Count]) : begin_(rows), end_(rows + Count) {}

    constexpr const Row* begin() const { return begin_; }
    constexpr const Row* end() const { return end_; }

private:
    const Row* begin_ = nullptr;
    const Row* end_ = nullptr;
};

}  // namespace simhost
