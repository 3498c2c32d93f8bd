// The content of a cache: the current build and the one before it. A list doesn't change once it is stored,
// so only the pointers are guarded, and a reader copies one list without holding a lock.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <utility>
#include <vector>

enum class vokBuild { current, previous };

template <typename Record>
using vokBuiltList = std::shared_ptr<const std::vector<Record>>;  // never null

// One list.
template <typename Record>
class vokBuilds {
public:
    using List = vokBuiltList<Record>;

    List list(vokBuild build) const {
        const std::lock_guard<std::mutex> lock(lock_);
        return build == vokBuild::current ? current_ : previous_;
    }
    // Empties the current build. Unless it was empty already, it becomes the previous one.
    void begin() {
        const std::lock_guard<std::mutex> lock(lock_);
        if (current_->empty()) return;
        previous_ = std::exchange(current_, std::make_shared<const std::vector<Record>>());
    }
    void store(std::vector<Record> records) {
        auto list = std::make_shared<const std::vector<Record>>(std::move(records));
        const std::lock_guard<std::mutex> lock(lock_);
        current_ = std::move(list);
    }

private:
    mutable std::mutex lock_;
    List current_ = std::make_shared<const std::vector<Record>>();
    List previous_ = current_;
};

// A list for each controller.
template <typename Record>
class vokBuildsByController {
public:
    using List = vokBuiltList<Record>;

    // Empty if the build has none for this controller.
    List list(vokBuild build, std::uint32_t controllerId) const {
        const std::lock_guard<std::mutex> lock(lock_);
        const auto& lists = build == vokBuild::current ? current_ : previous_;
        const auto found = lists.find(controllerId);
        return found == lists.end() ? none_ : found->second;
    }
    // Empties the current build, which becomes the previous one.
    void begin() {
        const std::lock_guard<std::mutex> lock(lock_);
        previous_ = std::exchange(current_, {});
    }
    void store(std::uint32_t controllerId, std::vector<Record> records) {
        auto list = std::make_shared<const std::vector<Record>>(std::move(records));
        const std::lock_guard<std::mutex> lock(lock_);
        current_[controllerId] = std::move(list);
    }

private:
    mutable std::mutex lock_;
    std::map<std::uint32_t, List> current_;
    std::map<std::uint32_t, List> previous_;
    const List none_ = std::make_shared<const std::vector<Record>>();
};
