// The counters of one sample of esxtop, in the order of its columns.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace simhost {

class Counters {
public:
    struct Counter {
        std::string name;  // after the two backslashes and the host's name
        std::string value;
    };
    // `second` of the wall clock is the sample's.
    explicit Counters(std::int64_t second) : second_(second) {}

    void put(const std::string& name, const std::string& value) { all_.push_back({name, value}); }
    void putWhole(const std::string& name, std::uint64_t value) { put(name, std::to_string(value)); }
    // A made-up value that moves a little from sample to sample and repeats for the same second and column.
    void putMoving(const std::string& name, double middle, double swing);

    const std::vector<Counter>& all() const { return all_; }

private:
    std::int64_t second_;
    std::vector<Counter> all_;
};

}  // namespace simhost
