#include "platform/access/vokDeviceWaits.h"

#include <poll.h>
#include <sys/select.h>
#include <algorithm>
#include <cerrno>
#include <iterator>

int vokDeviceWaits::wait(int descriptor) {
    if (descriptor < 0) {
        errno = EBADF;
        return -1;
    }
    if (!stop_.isMade()) {
        const int ready = waitUntilStop(descriptor);
        if (ready != 0) return ready;
    }
    return waitDuringStop(descriptor);
}

int vokDeviceWaits::waitUntilStop(int descriptor) const {
    const int stop = stop_.descriptor();
    if (std::max(descriptor, stop) >= FD_SETSIZE) {  // too large for an fd_set
        pollfd waited[] = {{descriptor, POLLIN, 0}, {stop, POLLIN, 0}};
        const int ready = ::poll(waited, std::size(waited), -1);
        return ready > 0 && waited[0].revents == 0 ? 0 : ready;
    }
    fd_set readable;
    FD_ZERO(&readable);
    FD_SET(descriptor, &readable);
    if (stop >= 0) FD_SET(stop, &readable);
    const int ready = ::select(std::max(descriptor, stop) + 1, &readable, nullptr, nullptr, nullptr);
    return ready > 0 && !FD_ISSET(descriptor, &readable) ? 0 : ready;
}

int vokDeviceWaits::waitDuringStop(int descriptor) {
    const int limit = aDeviceHangs_ ? 0 : std::max(stop_.timeLeft(limits_.afterStop), limits_.ofOneWait);
    pollfd waited{descriptor, POLLIN, 0};
    const int ready = ::poll(&waited, 1, limit);
    if (ready != 0) return ready;
    aDeviceHangs_ = true;
    errno = ECANCELED;
    return -1;
}
