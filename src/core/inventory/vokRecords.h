// The records from which a manager builds its inventory. A manager has one vokRecords or vokRecordHistory
// member for each kind of record, registered in its `recordStores`; the shared half
// (core/inventory/vokCachedResourceManager.h) empties them at the start of a build, keeps the previous ones
// for comparison, and counts them.
#pragma once

#include <cstddef>
#include <map>
#include <type_traits>
#include <utility>
#include <vector>

// The operations of the shared half, independent of the type of the records.
class vokRecordStore {
public:
    vokRecordStore(const vokRecordStore&) = delete;
    vokRecordStore& operator=(const vokRecordStore&) = delete;

    // At the start of a build: copies the current records to the previous ones. mlock and prevInventoryLock
    // are held.
    virtual void keep() = 0;
    // For these mlock is held.
    virtual void clear() = 0;
    virtual std::size_t size() const = 0;

protected:
    explicit vokRecordStore(std::vector<vokRecordStore*>& stores) { stores.push_back(this); }
    ~vokRecordStore() = default;
};

// Records that are not compared with those of the previous build.
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

    // The previous records with the key of `record`, in their order. `keyOf(record)` identifies a record
    // across builds.
    template <typename KeyOf>
    std::vector<const Record*> previousOf(const Record& record, KeyOf keyOf) const {
        std::vector<const Record*> found;
        for (const Record& each : previous)
            if (keyOf(each) == keyOf(record)) found.push_back(&each);
        return found;
    }

    // Calls `judge(record, before)` for each current record, in order, and collects the events that it
    // returns as a std::optional. `before` is the result of previousOf() and never empty: records that are
    // new in this build are skipped, and so are those that have disappeared.
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
