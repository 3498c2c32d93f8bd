// The life of an object that several threads hold and whose device may leave while they do: a reference
// count, the word that says that the device has left, and weak references that find the object as long as
// anybody holds it.
#pragma once

#include <atomic>
#include <memory>
#include <mutex>

class vokRemoveLock {
public:
    vokRemoveLock(const vokRemoveLock&) = delete;
    vokRemoveLock& operator=(const vokRemoveLock&) = delete;

    // True once the device has left, which is final.
    bool isRemoved() const { return removed_ != 0; }
    void setRemoved() { removed_ = 1; }

    // The creator's reference is the first. Dropping the last one deletes the object.
    void addReference() { ++references_; }
    void dropReference() {
        if (--references_ > 0) return;
        {
            const std::lock_guard<std::mutex> lock(self_->mutex);
            self_->object = nullptr;
        }
        delete this;
    }

protected:
    vokRemoveLock() : self_(std::make_shared<Self>()) { self_->object = this; }
    virtual ~vokRemoveLock() = default;

private:
    friend class vokWeakReference;

    struct Self {
        std::mutex mutex;
        vokRemoveLock* object;  // null once the last reference has been dropped; under mutex
    };

    // Adds a reference unless the last one has been dropped.
    bool tryAddReference() {
        int held = references_;
        while (held > 0)
            if (references_.compare_exchange_weak(held, held + 1)) return true;
        return false;
    }

    std::atomic<int> removed_{0};
    std::atomic<int> references_{1};
    std::shared_ptr<Self> self_;
};

// Finds an object that it does not keep alive.
class vokWeakReference {
public:
    explicit vokWeakReference(const vokRemoveLock& object) : self_(object.self_) {}

    // The object with one more reference, which the caller drops; null if nobody holds it any more.
    vokRemoveLock* hold() const {
        const std::lock_guard<std::mutex> lock(self_->mutex);
        return self_->object && self_->object->tryAddReference() ? self_->object : nullptr;
    }

private:
    std::shared_ptr<vokRemoveLock::Self> self_;
};
