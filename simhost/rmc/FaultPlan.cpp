#include "rmc/FaultPlan.h"

#include <algorithm>

namespace simhost {

namespace {

constexpr unsigned nodeBusy = 0xC0;

struct KindRow {
    const char* word;
    Fault::Kind kind;
    long long most;       // of its value
    long long byDefault;  // -1: the value must be given; -2: it has none
};

constexpr KindRow kinds[] = {
    {"status", Fault::Kind::status, 255, -1},
    {"completion", Fault::Kind::completion, 255, -1},
    {"cc-only", Fault::Kind::onlyCode, 255, nodeBusy},
    {"late", Fault::Kind::late, 3600000, -1},
    {"never", Fault::Kind::never, 0, -2},
};

}  // namespace

void FaultPlan::add(Words& words) {
    Entry entry;
    entry.chunk = static_cast<std::size_t>(words.numberOption("--at-chunk", 1, 1 << 30).value_or(0));
    entry.left = words.numberOption("--count", 0, 1 << 30).value_or(1);
    const std::string target = words.option("--of").value_or("any");
    if (target == "inventory")
        entry.target = Target::inventory;
    else if (target == "event")
        entry.target = Target::event;
    else if (target == "poll")
        entry.target = Target::poll;
    else if (target != "any")
        throw UsageError("--of: \"" + target + "\" is none of any, inventory, event, poll");

    const std::string word = words.next("status, completion, cc-only, late, never or normal");
    if (word == "normal") {
        words.end();
        plan_.clear();
        return;
    }
    const auto row = std::find_if(std::begin(kinds), std::end(kinds),
                                  [&word](const KindRow& each) { return word == each.word; });
    if (row == std::end(kinds))
        throw UsageError("answer: \"" + word +
                         "\" is none of status, completion, cc-only, late, never, normal");
    entry.fault.kind = row->kind;
    if (row->byDefault == -1 || (row->byDefault >= 0 && !words.empty()))
        entry.fault.value = static_cast<unsigned>(words.nextNumber(word, 0, row->most));
    else if (row->byDefault >= 0)
        entry.fault.value = static_cast<unsigned>(row->byDefault);
    words.end();
    plan_.push_back(entry);
}

bool FaultPlan::matches(const Entry& entry, const AnswerPlace& place) {
    if (place.isPoll != (entry.target == Target::poll)) return false;
    if (entry.target == Target::inventory && place.command != "WriteInventory") return false;
    if (entry.target == Target::event && place.command != "MPEventGen") return false;
    return entry.chunk == 0 || entry.chunk == place.chunk;
}

std::optional<Fault> FaultPlan::take(const AnswerPlace& place) {
    const auto found = std::find_if(plan_.begin(), plan_.end(),
                                    [&place](const Entry& entry) { return matches(entry, place); });
    if (found == plan_.end()) return std::nullopt;
    const Fault fault = found->fault;
    if (found->left > 0 && --found->left == 0) plan_.erase(found);
    return fault;
}

}  // namespace simhost
