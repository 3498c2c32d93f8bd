#include "scenario/ChildProcess.h"

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <system_error>
#include <utility>

namespace simhost {

namespace {

[[noreturn]] void become(const std::vector<std::string>& command, int output, pid_t parent) {
    ::setpgid(0, 0);
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (::getppid() != parent) ::_exit(127);  // it ended before the line above
    std::signal(SIGPIPE, SIG_DFL);
    const int input = ::open("/dev/null", O_RDONLY | O_CLOEXEC);
    ::dup2(input, STDIN_FILENO);
    ::dup2(output, STDOUT_FILENO);
    ::dup2(output, STDERR_FILENO);
    std::vector<char*> arguments;
    arguments.reserve(command.size() + 1);
    for (const auto& word : command) arguments.push_back(const_cast<char*>(word.c_str()));
    arguments.push_back(nullptr);
    ::execvp(arguments[0], arguments.data());
    ::dprintf(STDERR_FILENO, "%s can't be run: %s\n", arguments[0], std::strerror(errno));
    ::_exit(127);
}

}  // namespace

ChildProcess::ChildProcess(const std::vector<std::string>& command, int output) {
    const pid_t parent = ::getpid();
    process_ = ::fork();
    if (process_ < 0) throw std::system_error(errno, std::generic_category(), "fork");
    if (process_ == 0) become(command, output, parent);
    ::setpgid(process_, process_);  // also here: a signal to the group may be the next thing that is done
}

ChildProcess::~ChildProcess() {
    if (process_ <= 0) return;
    signal(SIGKILL);
    ::waitpid(process_, nullptr, 0);
}

ChildProcess::ChildProcess(ChildProcess&& other) noexcept : process_(std::exchange(other.process_, 0)) {}

ChildProcess& ChildProcess::operator=(ChildProcess&& other) noexcept {
    std::swap(process_, other.process_);
    return *this;
}

std::optional<int> ChildProcess::ended() {
    int waited = 0;
    if (process_ <= 0 || ::waitpid(process_, &waited, WNOHANG) != process_) return std::nullopt;
    signal(SIGKILL);
    process_ = 0;
    return WIFEXITED(waited) ? WEXITSTATUS(waited) : 128 + WTERMSIG(waited);
}

void ChildProcess::signal(int number) const {
    if (process_ > 0) ::kill(-process_, number);
}

}  // namespace simhost
