// A program that the player starts: in a process group of its own, so that a key at the terminal reaches the
// player alone, and dead when the player is.
#pragma once

#include <sys/types.h>
#include <optional>
#include <string>
#include <vector>

namespace simhost {

class ChildProcess {
public:
    ChildProcess() = default;
    // Both of its outputs go to the descriptor `output`. The program is looked up in PATH when it has no
    // slash; one that can't be run ends with status 127 and a sentence. Throws std::system_error when no
    // process can be made.
    ChildProcess(const std::vector<std::string>& command, int output);
    // Kills the whole group.
    ~ChildProcess();
    ChildProcess(ChildProcess&& other) noexcept;
    ChildProcess& operator=(ChildProcess&& other) noexcept;
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    // True from the start until ended() has returned a status.
    explicit operator bool() const { return process_ > 0; }
    // The exit status, or 128 and the signal's number, as soon as it has ended; what is left of its group is
    // killed.
    std::optional<int> ended();
    // To its whole group.
    void signal(int number) const;

private:
    pid_t process_ = 0;
};

}  // namespace simhost
