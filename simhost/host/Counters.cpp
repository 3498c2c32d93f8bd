#include "host/Counters.h"

#include "common/Text.h"

namespace simhost {

void Counters::putMoving(const std::string& name, double middle, double swing) {
    auto mixed = static_cast<std::uint64_t>(second_) * 0x9E3779B97F4A7C15u + all_.size();
    mixed = (mixed ^ mixed >> 30) * 0xBF58476D1CE4E5B9u;
    const double value = middle + swing * (static_cast<double>(mixed >> 40 & 0xFFFF) / 65535.0 - 0.5);
    put(name, formatText("%.2f", value));
}

}  // namespace simhost
