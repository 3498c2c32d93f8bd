// Notice of operations that take longer than expected: commands, calls of closed libraries, requests to
// devices. A caller puts the guard around the operation:
//
//     const vokLongOperation operation(vokOperationKind::libraryCall, "vendor_get_list");
//     const int result = getList_(&list);
//
// One thread, the watch, reports an operation that has taken thirty seconds, once; the thread that runs the
// operation reports its end. The guard costs some ten nanoseconds and wakes the watch only when that sleeps
// without a time-out: a busy agent wakes it once in thirty seconds, an idle one not at all.
#pragma once

#include <pthread.h>
#include <condition_variable>
#include <cstddef>
#include <mutex>

enum class vokOperationKind : unsigned char {
    command,        // `name` is its text
    libraryCall,    // `name` is the entry point
    deviceRequest,  // `name` is the device, `request` the number of the request
    scsiCommand,    // `request` is the operation code, `descriptor` the open device
};

struct vokOperation {
    vokOperationKind kind = vokOperationKind::command;
    const char* name = nullptr;
    unsigned long request = 0;
    int descriptor = -1;
};

class vokLongOperation {
public:
    // The name is not copied: it has to live as long as the guard.
    vokLongOperation(vokOperationKind kind, const char* name, unsigned long request = 0)
        : vokLongOperation(vokOperation{kind, name, request}) {}
    explicit vokLongOperation(const vokOperation& operation) noexcept;
    // Preserves errno.
    ~vokLongOperation();
    vokLongOperation(const vokLongOperation&) = delete;
    vokLongOperation& operator=(const vokLongOperation&) = delete;

private:
    struct vokOperationSlot* slot_;  // null if there were more operations than slots
};

// The thread that notices long operations. There is at most one at a time.
class vokLongOperationWatch {
public:
    static constexpr long limitSeconds = 30;

    // Starts the thread. Without it, if it can't be started, no operation is reported.
    vokLongOperationWatch();
    // Ends the thread and joins it.
    ~vokLongOperationWatch();
    vokLongOperationWatch(const vokLongOperationWatch&) = delete;
    vokLongOperationWatch& operator=(const vokLongOperationWatch&) = delete;

    bool isRunning() const { return running_; }

private:
    void run();

    pthread_t thread_{};
    bool running_ = false;
};

// Receives the report of an operation: its description, the whole seconds that it has taken, and whether it
// has ended. Called by the watch and by threads that end operations, and may log.
using vokLongOperationReport = void (*)(const char* description, long seconds, bool hasEnded);

// Binds the function that reports. Called when the library is loaded, and by tests before any thread runs.
void vokBindLongOperationReport(vokLongOperationReport report);

// The same operation for a table of those that hang, before the report of its begin or end.
struct vokLongOperationNotice {
    static constexpr std::size_t slots = 64;

    std::size_t slot = 0;  // its own until it has ended
    const char* description = nullptr;
    long seconds = 0;
    bool hasEnded = false;
    int classId = -1;  // of the vokWorkScope that it began in
};

// Bound beside the report, under the same conditions.
using vokLongOperationListener = void (*)(const vokLongOperationNotice& notice);
void vokBindLongOperationListener(vokLongOperationListener listener);
