// The common form of a decision table: a constexpr array of plain rows, keyed on enumerations or numbers,
// that reads like the table it comes from, and one function that finds the row. The properties of a table
// are checked beside it by static_assert.
//
// There are two kinds. In a table by key each row has a unique key(), the rows are sorted by it, and at
// most one applies. In a table of rules each row has a fits(), and the first row that fits applies.
#pragma once

#include <cstddef>
#include <cstdint>
#include <initializer_list>

// --- tables by key ---

// True if the keys ascend strictly: the rows are sorted and no key occurs twice.
template <typename Row, std::size_t count>
constexpr bool vokKeysAscend(const Row (&rows)[count]) {
    for (std::size_t i = 1; i < count; ++i)
        if (!(rows[i - 1].key() < rows[i].key())) return false;
    return true;
}

// The row of a key, or null.
template <typename Row, std::size_t count, typename Key>
constexpr const Row* vokFindRow(const Row (&rows)[count], const Key& key) {
    for (const Row& row : rows)
        if (row.key() == key) return &row;
    return nullptr;
}

// --- tables of rules ---

// A cell of a rule: one value, or any.
template <typename Value>
class vokCell {
public:
    constexpr vokCell(Value value) : isAny_(false), value_(value) {}
    static constexpr vokCell any() { return vokCell(); }

    constexpr bool fits(Value value) const { return isAny_ || value == value_; }

private:
    constexpr vokCell() : isAny_(true), value_() {}

    bool isAny_;
    Value value_;
};

// A cell of a rule: one of a few numbers, at most `most`, or any.
template <std::size_t most>
class vokOneOf {
public:
    constexpr vokOneOf(std::initializer_list<std::uint32_t> numbers) : isAny_(false) {
        for (const std::uint32_t number : numbers) numbers_[count_++] = number;
    }
    static constexpr vokOneOf any() { return vokOneOf(); }

    constexpr bool fits(std::uint32_t number) const {
        for (std::size_t i = 0; i < count_; ++i)
            if (numbers_[i] == number) return true;
        return isAny_;
    }

private:
    constexpr vokOneOf() : isAny_(true) {}

    bool isAny_;
    std::uint32_t numbers_[most] = {};
    std::size_t count_ = 0;
};

// The first rule that fits a case, or null.
template <typename Rule, std::size_t count, typename Case>
constexpr const Rule* vokFirstRule(const Rule (&rules)[count], const Case& each) {
    for (const Rule& rule : rules)
        if (rule.fits(each)) return &rule;
    return nullptr;
}

// True if each rule is the first that fits some case: none is hidden by the rules above it, singly or
// together. `caseOf(0)` to `caseOf(cases - 1)` are all possible cases.
template <typename Rule, std::size_t count, typename CaseOf>
constexpr bool vokEachRuleApplies(const Rule (&rules)[count], std::size_t cases, CaseOf caseOf) {
    bool applies[count] = {};
    for (std::size_t i = 0; i < cases; ++i)
        if (const Rule* const rule = vokFirstRule(rules, caseOf(i))) applies[rule - rules] = true;
    for (const bool each : applies)
        if (!each) return false;
    return true;
}
