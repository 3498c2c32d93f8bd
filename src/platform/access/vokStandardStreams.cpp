#include "platform/access/vokStandardStreams.h"

#include <fcntl.h>
#include <unistd.h>
#include <cerrno>
#include <initializer_list>

void vokOccupyClosedStandardStreams() {
    for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (::fcntl(stream, F_GETFD) == 0 || errno != EBADF) continue;
        // Opened for the opposite direction; gets the lowest free number.
        [[maybe_unused]] const int opened = ::open("/dev/null", stream == STDIN_FILENO ? O_WRONLY : O_RDONLY);
    }
}
