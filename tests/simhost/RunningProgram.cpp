#include "simhost/RunningProgram.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>
#include <chrono>
#include <csignal>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <thread>
#include <utility>

namespace {

std::string readAll(const std::string& place) {
    std::ifstream stream(place, std::ios::binary);
    std::ostringstream content;
    content << stream.rdbuf();
    return content.str();
}

[[noreturn]] void become(const std::vector<std::string>& command, int output, int errors) {
    ::dup2(output, STDOUT_FILENO);
    ::dup2(errors, STDERR_FILENO);
    std::vector<char*> arguments;
    for (const auto& word : command) arguments.push_back(const_cast<char*>(word.c_str()));
    arguments.push_back(nullptr);
    ::execv(arguments[0], arguments.data());
    ::_exit(127);
}

int statusOf(int waited) {
    return WIFEXITED(waited) ? WEXITSTATUS(waited) : 128 + WTERMSIG(waited);
}

int openOutput(const std::string& place) {
    return ::open(place.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
}

}  // namespace

RunningProgram::RunningProgram(const std::string& directory, const std::string& name,
                               const std::vector<std::string>& command, const std::string& ready)
    : place_(directory + "/" + name) {
    const int output = openOutput(place_ + ".out");
    const int errors = openOutput(place_ + ".err");
    process_ = ::fork();
    if (process_ == 0) become(command, output, errors);
    ::close(output);
    ::close(errors);
    for (int tries = 0; tries < 4000; ++tries) {
        if (this->output().find(ready) != std::string::npos) return;
        int waited = 0;
        if (::waitpid(process_, &waited, WNOHANG) == process_) {
            process_ = 0;
            throw std::runtime_error(name + " ended: " + this->errors());
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    end(SIGKILL);
    throw std::runtime_error(name + " did not get ready");
}

RunningProgram::~RunningProgram() {
    if (process_ > 0) end(SIGKILL);
}

RunningProgram::RunningProgram(RunningProgram&& other) noexcept
    : process_(std::exchange(other.process_, 0)), place_(std::move(other.place_)) {}

RunningProgram& RunningProgram::operator=(RunningProgram&& other) noexcept {
    if (this == &other) return *this;
    if (process_ > 0) end(SIGKILL);
    process_ = std::exchange(other.process_, 0);
    place_ = std::move(other.place_);
    return *this;
}

std::string RunningProgram::output() const {
    return readAll(place_ + ".out");
}

std::string RunningProgram::errors() const {
    return readAll(place_ + ".err");
}

int RunningProgram::end(int signal) {
    if (process_ <= 0) return -1;
    ::kill(process_, signal);
    int waited = 0;
    ::waitpid(std::exchange(process_, 0), &waited, 0);
    return statusOf(waited);
}

Ran runProgram(const std::vector<std::string>& command) {
    int pipe[2];
    if (::pipe2(pipe, O_CLOEXEC) != 0) return {};
    const pid_t process = ::fork();
    if (process == 0) become(command, pipe[1], pipe[1]);
    ::close(pipe[1]);
    Ran ran;
    char buffer[4096];
    for (ssize_t count; (count = ::read(pipe[0], buffer, sizeof(buffer))) > 0;)
        ran.output.append(buffer, static_cast<std::size_t>(count));
    ::close(pipe[0]);
    int waited = 0;
    ::waitpid(process, &waited, 0);
    ran.status = statusOf(waited);
    return ran;
}
