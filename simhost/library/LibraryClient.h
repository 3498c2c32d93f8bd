// How a stand-in of a vendor's library reaches vok-simhost: requests, and events for the callbacks that its
// user registers. Linked into each stand-in.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "common/FileDescriptor.h"
#include "library/OwnPlace.h"

// Marks an entry point of the library that the stand-in is of; nothing else is exported.
#define VOK_ENTRY_POINT extern "C" __attribute__((visibility("default")))

namespace simhost {

struct LibraryReply {
    std::int32_t status = 0;  // LibraryMessage.h
    std::string bytes;
};

// Requests. Any thread may call; one request is under way at a time.
class LibraryClient {
public:
    explicit LibraryClient(std::string root) : root_(std::move(root)) {}
    LibraryClient(const LibraryClient&) = delete;
    LibraryClient& operator=(const LibraryClient&) = delete;

    // Asks and waits for the reply. Without a host, or when it ends before it has replied, the status is
    // libraryHostGone; the next request looks for the host anew.
    LibraryReply request(std::uint32_t kind, const std::string& bytes);

private:
    bool send(const std::string& packet);

    std::string root_;
    std::mutex mutex_;
    FileDescriptor socket_;
    std::uint32_t lastId_ = 0;
};

// The requests of the library that this is linked into, to the host in whose lib it lies.
LibraryClient& ownLibraryClient();

// Events, on a thread of its own, which calls the callback with one after another in the order in which the
// host posted them. When the host ends no more come; the callback learns nothing of it.
class LibraryEvents {
public:
    using Callback = std::function<void(std::uint32_t kind, const std::string& bytes)>;

    LibraryEvents() = default;
    // Stops. Not to be called in the callback, which can't wait for itself.
    ~LibraryEvents() { stop(); }
    LibraryEvents(const LibraryEvents&) = delete;
    LibraryEvents& operator=(const LibraryEvents&) = delete;

    // Subscribes to these kinds, none for all: what the host posts after this has returned true comes. False
    // when there is no host, it is subscribed already, or in the callback.
    bool start(const std::string& root, const std::vector<std::uint32_t>& kinds, Callback callback);

    // After it no callback runs or will run, and no thread is left, whether the host is there or gone. With a
    // callback in progress it waits for that one, so the caller holds no lock that the callback takes. In the
    // callback itself it only sees to it that there is no further one; the thread is then freed by the next
    // stop() of another thread, or by the destructor.
    void stop();

private:
    void run();

    std::mutex mutex_;  // of starting and stopping; never taken in the callback
    FileDescriptor socket_;
    Callback callback_;
    std::atomic<bool> stopping_{false};
    std::thread thread_;
};

}  // namespace simhost
