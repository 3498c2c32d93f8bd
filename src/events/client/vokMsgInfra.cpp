#include "events/client/vokMsgInfra.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>
#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <memory>
#include <string>

#include "core/base/vokLog.h"
#include "events/vokDelivery.h"
#include "platform/access/vokHostAccess.h"
#include "platform/access/vokOwnedDescriptor.h"

namespace {

constexpr char module[] = "VOK_MSGINFRA";

// How long a client may take to open or empty its pipe: 200 times 10 ms.
constexpr int writeAttempts = 200;
constexpr unsigned long attemptPause = 10000;

std::atomic<bool> abandonWaits{false};

// Writing to a pipe whose reader has gone raises SIGPIPE, which would end the whole agent. Blocks the
// signal on this thread alone, and discards one that a write here has caused.
class BrokenPipeSignalBlock {
public:
    BrokenPipeSignalBlock() {
        ::sigemptyset(&brokenPipe_);
        ::sigaddset(&brokenPipe_, SIGPIPE);
        sigset_t pending;
        ::sigpending(&pending);
        wasPending_ = ::sigismember(&pending, SIGPIPE) == 1;
        ::pthread_sigmask(SIG_BLOCK, &brokenPipe_, &before_);
    }
    ~BrokenPipeSignalBlock() {
        const timespec atOnce{};
        if (!wasPending_)
            while (::sigtimedwait(&brokenPipe_, nullptr, &atOnce) < 0 && errno == EINTR) {
            }
        ::pthread_sigmask(SIG_SETMASK, &before_, nullptr);
    }
    BrokenPipeSignalBlock(const BrokenPipeSignalBlock&) = delete;
    BrokenPipeSignalBlock& operator=(const BrokenPipeSignalBlock&) = delete;

private:
    sigset_t brokenPipe_;
    sigset_t before_;
    bool wasPending_;
};

bool isFifo(int descriptor) {
    struct stat status {};
    if (::fstat(descriptor, &status) != 0) return false;
    if (S_ISFIFO(status.st_mode)) return true;
    errno = ENOTSUP;
    return false;
}

// A symbolic link is not followed, and a file of another type is rejected.
int openFifo(const std::string& hostPath, int flags) {
    vokOwnedDescriptor fifo;
    do {
        fifo.reset(::open(hostPath.c_str(), flags | O_NOFOLLOW | O_CLOEXEC));
    } while (!fifo && errno == EINTR);
    return fifo && isFifo(fifo.get()) ? fifo.release() : -1;
}

// Waits for the next attempt. False, without a wait, if there is to be none.
bool waitForNextAttempt(int attempt) {
    if (abandonWaits || attempt >= writeAttempts) return false;
    vokHostAccess().pause(attemptPause);
    return true;
}

}  // namespace

void vokAbandonPipeWaits(bool abandon) {
    abandonWaits = abandon;
}

bool vokCreatePipe(const char* path) {
    const bool made = ::mkfifo(vokHostAccess().path(path).c_str(), S_IRUSR | S_IWUSR) == 0;
    if (made)
        VOK_LOG_DEBUG(module, "Creation of Pipe %s is successfull.", path);
    else
        VOK_LOG_DEBUG(module, "Creation of Pipe %s failed.", path);
    return made;
}

bool vokReadPipe(const char* path, _VOK_MESSAGE_PACKET* packet) {
    const vokOwnedDescriptor pipe(openFifo(vokHostAccess().path(path), O_RDONLY));
    VOK_LOG_DEBUG(module, "readFd = %d.\n", pipe.get());
    if (!pipe) {
        VOK_LOG_DEBUG(module, "vokReadPipe:Open of %s failed while reading.", path);
        return false;
    }
    *packet = {};
    auto* const bytes = reinterpret_cast<char*>(packet);
    std::size_t received = 0;
    while (received < sizeof(*packet)) {
        const ssize_t count = ::read(pipe.get(), bytes + received, sizeof(*packet) - received);
        if (count < 0 && errno == EINTR) continue;
        if (count <= 0) break;
        received += static_cast<std::size_t>(count);
    }
    return received > 0;
}

bool vokWritePipe(const char* path, _VOK_MESSAGE_PACKET* packet) {
    const std::string hostPath = vokHostAccess().path(path);
    int attempt = 0;
    vokOwnedDescriptor pipe;
    do {
        pipe.reset(openFifo(hostPath, O_WRONLY | O_NONBLOCK));
    } while (!pipe && errno == ENXIO && waitForNextAttempt(++attempt));  // ENXIO: it has no reader yet
    VOK_LOG_DEBUG(module, "writeFd = %d.\n", pipe.get());
    if (!pipe) {
        VOK_LOG_DEBUG(module, "vokWritePipe: Open of %s failed while writing.", path);
        return false;
    }

    const BrokenPipeSignalBlock block;
    ssize_t written = -1;
    do {
        do {
            written = ::write(pipe.get(), packet, sizeof(*packet));  // atomic: all or nothing
        } while (written < 0 && errno == EINTR);
    } while (written < 0 && errno == EAGAIN && waitForNextAttempt(++attempt));
    VOK_LOG_DEBUG(module, "%d bytes written on pipe =%s", static_cast<int>(written), path);
    return written == static_cast<ssize_t>(sizeof(*packet));
}

void sendResponseToClient(int clientPID, int status, const vokDelivery* delivery) {
    const auto packet = std::make_unique<_VOK_MESSAGE_PACKET>();
    packet->header.kind = vokResponseKind;
    packet->header.size = vokResponseSize;
    const auto value = static_cast<std::int32_t>(status);
    std::memcpy(packet->payload, &value, sizeof(value));
    if (delivery) {
        vokDeliveryDetail detail{};
        detail.kind = static_cast<std::uint8_t>(delivery->kind);
        delivery->text.copy(detail.text, sizeof(detail.text) - 1);
        std::memcpy(packet->payload + vokDeliveryDetailOffset, &detail, sizeof(detail));
    }
    char path[50];
    std::snprintf(path, sizeof(path), "%s%d", vokClientPipePrefix, clientPID);
    VOK_LOG_DEBUG(module, "Writing to the response named pipe.");
    vokWritePipe(path, packet.get());
}
