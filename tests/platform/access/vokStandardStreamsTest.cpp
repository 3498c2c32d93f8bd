#include "platform/access/vokStandardStreams.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>
#include <cerrno>

#include "platform/access/vokOwnedDescriptor.h"

namespace vokStandardStreamsTest {
namespace {

// The exit status of `body`, which runs in a process of its own.
template <typename Body>
int statusOf(Body body) {
    const pid_t child = ::fork();
    if (child == 0) ::_exit(body());
    int status = 0;
    EXPECT_EQ(::waitpid(child, &status, 0), child);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

TEST(vokStandardStreams, AClosedStreamIsNotTakenByTheNextFileAndEachUseOfItFails) {
    for (const int stream : {0, 1, 2})
        EXPECT_EQ(statusOf([stream] {
                      ::close(stream);
                      vokOccupyClosedStandardStreams();
                      const vokOwnedDescriptor next(::open("/dev/null", O_RDWR));
                      if (next.get() <= 2) return 1;
                      char byte = 0;
                      const ssize_t done = stream == 0 ? ::read(0, &byte, 1) : ::write(stream, &byte, 1);
                      return done == -1 && errno == EBADF ? 0 : 2;
                  }),
                  0)
            << stream;
}

TEST(vokStandardStreams, AnOpenStreamIsLeftAsItIs) {
    EXPECT_EQ(statusOf([] {
                  int ends[2];
                  if (::pipe(ends) != 0 || ::dup2(ends[1], 1) != 1) return 1;
                  vokOccupyClosedStandardStreams();
                  char byte = 0;
                  return ::write(1, "x", 1) == 1 && ::read(ends[0], &byte, 1) == 1 && byte == 'x' ? 0 : 2;
              }),
              0);
}

}  // namespace
}  // namespace vokStandardStreamsTest
