// The records of which a manager makes its inventory. A manager has one vokRecords for each kind, as a member
// that is made with its `recordStores`; the shared half (core/inventory/vokCachedResourceManager.h) then
// empties them at the start of a build, keeps the previous ones where they are compared, and counts them.
#pragma once

#include <cstddef>
#include <map>
#include <type_traits>
#include <utility>
#include <vector>

// What the shared half does with the records, whatever they are.
class vokRecordStore {
public:
    vokRecordStore(const vokRecordStore&) = delete;
    vokRecordStore& operator=(const vokRecordStore&) = delete;

    // A build starts: makes the previous records a copy of the current ones. mlock and prevInventoryLock are
    // held.
    virtual void keep() = 0;
    // mlock is held for the others.
    virtual void clear() = 0;
    virtual std::size_t size() const = 0;

protected:
    explicit vokRecordStore(std::vector<vokRecordStore*>& stores) { stores.push_back(this); }
    ~vokRecordStore() = default;
};

// Records of which nobody asks what they were in the previous build.
template <typename Record>
class vokRecords final : public vokRecordStore {
public:
    explicit vokRecords(std::vector<vokRecordStore*>& stores) : vokRecordStore(stores) {}

    std::vector<Record> current;  // under mlock

    void keep() override {}
    void clear() override { current.clear(); }
    std::size_t size() const override { return current.size(); }
};

// Records that are compared with those of the previous build.
template <typename Record>
class vokRecordHistory final : public vokRecordStore {
public:
    explicit vokRecordHistory(std::vector<vokRecordStore*>& stores) : vokRecordStore(stores) {}

    std::vector<Record> current;   // under mlock
    std::vector<Record> previous;  // written under mlock and prevInventoryLock, so either is enough to read

    void keep() override { previous = current; }
    void clear() override { current.clear(); }
    std::size_t size() const override { return current.size(); }

    // The previous records with the key of `record`, in their order. `keyOf(record)` is what identifies a
    // record from build to build.
    template <typename KeyOf>
    std::vector<const Record*> previousOf(const Record& record, KeyOf keyOf) const {
        std::vector<const Record*> found;
        for (const Record& each : previous)
            if (keyOf(each) == keyOf(record)) found.push_back(&each);
        return found;
    }

    // Asks `judge(record, before)` about each current record, in their order, and collects the events that it
    // returns as a std::optional; `before` is as from previousOf() and never empty. A record that is new in
    // this build is not asked about, and neither is one that has gone.
    template <typename KeyOf, typename Judge>
    auto compare(KeyOf keyOf, Judge judge) const {
        std::map<std::decay_t<decltype(keyOf(current.front()))>, std::vector<const Record*>> byKey;
        for (const Record& record : previous) byKey[keyOf(record)].push_back(&record);

        using Verdict = decltype(judge(current.front(), byKey.begin()->second));
        std::vector<typename Verdict::value_type> events;
        for (const Record& record : current) {
            const auto before = byKey.find(keyOf(record));
            if (before == byKey.end()) continue;
            if (auto event = judge(record, before->second)) events.push_back(*std::move(event));
        }
        return events;
    }
};
