// Measuring in a process of its own, so that the agent in it finds nothing cached.
#pragma once

#include <sys/wait.h>
#include <unistd.h>
#include <type_traits>

// The result of `measure`, run in a child of this process; one made by default if the child failed.
template <typename Measure>
auto inChildProcess(Measure measure) {
    std::invoke_result_t<Measure> result{};
    static_assert(std::is_trivially_copyable_v<decltype(result)>);
    int ends[2];
    if (::pipe(ends) != 0) return result;
    const pid_t child = ::fork();
    if (child == 0) {
        result = measure();
        ::_exit(::write(ends[1], &result, sizeof(result)) == sizeof(result) ? 0 : 1);
    }
    ::close(ends[1]);
    if (child < 0 || ::read(ends[0], &result, sizeof(result)) != sizeof(result)) result = {};
    ::close(ends[0]);
    if (child > 0) ::waitpid(child, nullptr, 0);
    return result;
}
