// Lets the end of a registration wait for the callbacks in progress. Once it is closed it stays closed for
// the run of the program.
#pragma once

#include <atomic>
#include <condition_variable>
#include <mutex>

class vokRemoveLockEx {
public:
    // One callback. It may do its work only if isOpen().
    class Entry {
    public:
        explicit Entry(vokRemoveLockEx& lock);
        ~Entry();
        Entry(const Entry&) = delete;
        Entry& operator=(const Entry&) = delete;

        bool isOpen() const { return isOpen_; }

    private:
        vokRemoveLockEx& lock_;
        bool isOpen_ = false;
    };

    vokRemoveLockEx() = default;
    vokRemoveLockEx(const vokRemoveLockEx&) = delete;
    vokRemoveLockEx& operator=(const vokRemoveLockEx&) = delete;

    // Closes it and waits until the last callback has left. Only the first call does anything. Must not be
    // called with a lock held that a callback needs, nor in a callback.
    void close();
    bool isClosed() const { return removing; }

private:
    void release();

    std::atomic<bool> removing{false};
    std::atomic<int> outstanding{1};  // one for the owner, one for each callback in progress
    std::mutex mutex;                 // of the condition only
    std::condition_variable left;
    // The count has reached 0. Kept, since callbacks that are refused still count for a moment.
    bool isEmpty = false;
};
