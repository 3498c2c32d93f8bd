#include "events/client/vokServer.h"

#include <fcntl.h>
#include <poll.h>
#include <pthread.h>
#include <sys/select.h>
#include <unistd.h>
#include <algorithm>
#include <cerrno>
#include <cstring>
#include <mutex>

#include "core/base/vokLog.h"
#include "events/client/vokMsgInfra.h"
#include "events/client/vokRequest.h"
#include "events/client/vokServerPipe.h"
#include "events/vokDelivery.h"
#include "platform/access/vokHostAccess.h"

int serStopPipeFd[2] = {-1, -1};
int pipefd[2] = {-1, -1};

namespace {

constexpr char module[] = "VOK_SERVER";
constexpr int stopAttempts = 3;
constexpr unsigned long pauseAfterFailure = 100000;  // so that a lasting failure does not spin

std::mutex lifecycle;  // starting and stopping, one at a time; guards the two below
bool serverRuns = false;
pthread_t serverThread;

std::mutex stopPipeGuard;  // guards serStopPipeFd and the flag
bool stopPipeFailed = false;

// Called before the thread starts, so that an immediate stop finds the pipe, and again by the thread, which
// only reports a failure of the first call.
bool makeStopPipe() {
    const std::lock_guard<std::mutex> lock(stopPipeGuard);
    if (serStopPipeFd[1] < 0 && !stopPipeFailed)
        stopPipeFailed = ::pipe2(serStopPipeFd, O_CLOEXEC | O_NONBLOCK) != 0;
    return !stopPipeFailed;
}

void closeStopPipe() {
    const std::lock_guard<std::mutex> lock(stopPipeGuard);
    for (int& end : serStopPipeFd) {
        if (end >= 0) ::close(end);
        end = -1;
    }
    stopPipeFailed = false;
}

int stopPipeReadEnd() {
    const std::lock_guard<std::mutex> lock(stopPipeGuard);
    return serStopPipeFd[0];
}

// A descriptor that the thread waits for; -1 is ignored.
struct Waited {
    int descriptor;
    bool readable = false;
};

template <std::size_t count>
int waitWithPoll(Waited (&all)[count]) {
    pollfd polled[count];
    for (std::size_t i = 0; i < count; ++i) polled[i] = {all[i].descriptor, POLLIN, 0};
    const int ready = ::poll(polled, count, -1);
    for (std::size_t i = 0; i < count; ++i) all[i].readable = ready > 0 && polled[i].revents != 0;
    return ready;
}

// Waits without a time-out. The number of readable descriptors, or -1 with errno.
template <std::size_t count>
int waitForReadable(Waited (&all)[count]) {
    fd_set readable;
    FD_ZERO(&readable);
    int highest = -1;
    for (Waited& each : all) {
        each.readable = false;
        if (each.descriptor >= FD_SETSIZE) return waitWithPoll(all);  // an fd_set has no such bit
        if (each.descriptor >= 0) FD_SET(each.descriptor, &readable);
        highest = std::max(highest, each.descriptor);
    }
    const int ready = ::select(highest + 1, &readable, nullptr, nullptr, nullptr);
    if (ready > 0)
        for (Waited& each : all) each.readable = each.descriptor >= 0 && FD_ISSET(each.descriptor, &readable);
    return ready;
}

void readAndServe(int pipe) {
    _VOK_MESSAGE_PACKET
    packet{};  // cleared each time: a short packet must not show parts of the previous one
    const ssize_t count = ::read(pipe, &packet, sizeof(packet));
    if (count <= 0) {
        VOK_LOG_ERROR(module, "recv failed");
        vokHostAccess().pause(pauseAfterFailure);
        return;
    }
    VOK_LOG_DEBUG(module, "done reading (%zu bytes)\n", static_cast<std::size_t>(count));
    const vokDeliveryRecord record;
    const int result = vokServeRequest(packet);
    sendResponseToClient(packet.clientPID, result,
                         packet.options == vokReportDelivery ? &record.last() : nullptr);
}

}  // namespace

void VOKServer::initializeVOKServer() {
    const std::lock_guard<std::mutex> lock(lifecycle);
    if (serverRuns) {
        VOK_LOG_DEBUG(module, "VOK Server is already running.");
        return;
    }
    const bool stoppable = makeStopPipe();
    if (vokHostAccess().startThread(&serverThread, startTestEventServer, nullptr) != 0) {
        VOK_LOG_DEBUG(module, "Unable to spawn a thread to handle event.");
        closeStopPipe();
        return;
    }
    serverRuns = stoppable;
    if (stoppable) return;
    vokHostAccess().joinThread(serverThread);  // it ends at once, after logging the reason
    closeStopPipe();
}

void* startTestEventServer(void*) {
    vokServerPipe requests(vokServerPipePath);
    requests.open();
    if (!makeStopPipe()) {
        VOK_LOG_ERROR(module, "Unable to open a pipe for serStopPipeFd file descriptor");
        return nullptr;
    }
    VOK_LOG_INFO(module, "VOK Server Thread started");
    const int stop = stopPipeReadEnd();
    for (;;) {
        Waited waited[] = {{stop}, {requests.descriptor()}, {requests.watch()}};
        const Waited& stopRequest = waited[0];
        const Waited& request = waited[1];
        const Waited& pathChange = waited[2];
        const int ready = waitForReadable(waited);
        if (ready < 0) {
            const bool interrupted = errno == EINTR;
            VOK_LOG_ERROR(module, "select returned -1.");
            if (!interrupted) vokHostAccess().pause(pauseAfterFailure);
        } else if (ready == 0) {
            VOK_LOG_DEBUG(module, "select() timed out");
        } else if (stopRequest.readable) {
            break;
        } else if (request.readable) {  // before a path change, which would lose the pipe's content
            readAndServe(request.descriptor);
        } else if (pathChange.readable) {
            requests.reopenIfReplaced();
        }
    }
    closeStopPipe();
    return nullptr;
}

void VOKServer::stopVOKServer() {
    VOK_LOG_INFO(module, "Stopping VOK Server.");
    const std::lock_guard<std::mutex> lock(lifecycle);
    bool signalled = false;
    int failures = 0;
    while (!signalled && failures < stopAttempts) {
        const std::lock_guard<std::mutex> pipeLock(stopPipeGuard);
        if (serStopPipeFd[1] < 0) {
            VOK_LOG_ERROR(module, "Invalid file descriptor");
            break;
        }
        const ssize_t result = ::write(serStopPipeFd[1], "S", 1);
        const int reason = errno;
        signalled = result == 1;
        if (!signalled) {
            ++failures;
            VOK_LOG_ERROR(module, "Unable to write to pipe fd, result: %d, Error: %s",
                          static_cast<int>(result), std::strerror(reason));
        }
    }
    if (failures == stopAttempts) VOK_LOG_ERROR(module, "Unable to write to pipe fd");
    if (!signalled) return;
    vokAbandonPipeWaits(true);
    VOK_LOG_DEBUG(module, "For VOK Server to stop, write on serPipe");
    if (serverRuns) vokHostAccess().joinThread(serverThread);
    serverRuns = false;
    vokAbandonPipeWaits(false);
    VOK_LOG_DEBUG(module, "Signalled for stop");
}
